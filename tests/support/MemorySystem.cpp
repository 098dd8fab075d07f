// SPDX-License-Identifier: MIT
#include "tests/support/MemorySystem.h"

#include "tests/support/ReferenceDigests.h"

using namespace platform;

void MemorySystem::NSLog(LogText text) {
    std::string line = "log: ";
    for (const LogPiece& piece : text) {
        line += piece.view();
    }
    m_trace.add(std::move(line));
}

void MemorySystem::print(std::string_view line) {
    m_trace.add("print: " + std::string(line));
}

bool MemorySystem::reopenStandardError(const std::string& path, const std::string& mode) {
    m_trace.add("reopen standard error: " + path + " " + mode);
    return canReopen;
}

std::optional<PropertyValue> MemorySystem::objectForInfoDictionaryKey(const std::string& key) {
    const auto found = info.find(key);
    return found == info.end() ? std::nullopt : std::optional(found->second);
}

std::int32_t MemorySystem::LSSetDefaultHandlerForURLScheme(
    const std::string& scheme, const std::string& bundleIdentifier) {
    m_trace.add("default handler: " + scheme + " " + bundleIdentifier);
    return 0;
}

std::array<std::uint8_t, 20> MemorySystem::CC_SHA1(BytesView data) {
    return referenceSha1(data);
}

std::array<std::uint8_t, 32> MemorySystem::CC_SHA256(BytesView data) {
    return referenceSha256(data);
}
