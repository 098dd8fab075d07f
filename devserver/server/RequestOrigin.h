// SPDX-License-Identifier: MIT
// Whom a request is meant for, and which page sent it (RFC 9110, 7.2; RFC 6454).
#pragma once

#include "devserver/server/ServerOptions.h"

namespace devserver {

/// Whether the request comes from this server's own page or from no page at all. A browser names
/// the page in "Origin", also where it opens a WebSocket.
bool isFromHere(const RecordedRequest& request);

/// Whether the Host header, whatever its port, is one of the names of the server's certificate. A
/// page of another name that resolves to this computer would otherwise be of this server's origin.
bool isForHere(const RecordedRequest& request, const CertificateOptions& names);

} // namespace devserver
