// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <string_view>

namespace devserver {

/// Bytes for an agent to sign that are no document's: the signed attributes of CMS in DER (RFC
/// 5652, section 5.4), so that an agent that signs nothing but documents signs them too. The digest
/// in them is that of a random text which says what it is for, beginning with `purpose`.
std::string newChallenge(std::string_view purpose);

} // namespace devserver
