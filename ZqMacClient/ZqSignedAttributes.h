// SPDX-License-Identifier: MIT
#pragma once

#include "foundation/Bytes.h"

/// Whether the bytes are what a PDF signature signs: the signed attributes of CMS as one complete
/// DER SET OF (RFC 5652, section 5.4), for data (id-data) with a digest of 32 bytes, and with no
/// attributes but those of CMS and CAdES. Nothing that another protocol signs is read so.
bool isSignedAttributes(BytesView bytes);
