// SPDX-License-Identifier: MIT
#pragma once

#include "platform/linux/security/DerReader.h"

namespace platform {

/// Whether the extensions among `fields`, what follows the subjectPublicKeyInfo of a
/// TBSCertificate, are those of an authority (RFC 5280, 4.2.1.3 and 4.2.1.9).
bool hasExtensionsOfAuthority(DerReader fields);

} // namespace platform
