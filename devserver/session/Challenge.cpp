// SPDX-License-Identifier: MIT
#include "devserver/session/Challenge.h"

#include "devserver/documents/CmsSignature.h"

#include <random>

namespace devserver {

namespace {

using namespace std::string_view_literals;

/// A SET OF two attributes: content-type with the value id-data, and message-digest up to the 32
/// bytes of its value.
constexpr std::string_view upToTheDigest
    = "\x31\x4B"
      "\x30\x18\x06\x09\x2A\x86\x48\x86\xF7\x0D\x01\x09\x03"
      "\x31\x0B\x06\x09\x2A\x86\x48\x86\xF7\x0D\x01\x07\x01"
      "\x30\x2F\x06\x09\x2A\x86\x48\x86\xF7\x0D\x01\x09\x04\x31\x22\x04\x20"sv;

} // namespace

std::string newChallenge(std::string_view purpose) {
    std::random_device random;
    std::string text(purpose);
    for (int i = 0; i < 4; ++i) {
        text += "-" + std::to_string(random());
    }
    return std::string(upToTheDigest) + sha256({text});
}

} // namespace devserver
