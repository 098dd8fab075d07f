// SPDX-License-Identifier: MIT
#include "platform/shared/TerminalText.h"

#include "foundation/Utf8.h"

namespace platform {

namespace {

std::string withoutControls(std::string_view text, std::string_view kept) {
    std::string shown;
    for (const char c : utf8Repaired(text)) {
        const auto byte = static_cast<unsigned char>(c);
        const bool isSecondControl = !shown.empty() && shown.back() == '\xC2' && byte < 0xA0
            && byte >= 0x80; // U+0080 to U+009F
        if (isSecondControl) {
            shown.pop_back();
        }
        const bool isControl = byte < 0x20 || byte == 0x7F;
        if (isSecondControl || (isControl && kept.find(c) == std::string_view::npos)) {
            shown += "\xEF\xBF\xBD";
        } else {
            shown += c;
        }
    }
    return shown;
}

} // namespace

std::string displayable(std::string_view text) {
    return withoutControls(text, "\n\t");
}

std::string displayableLine(std::string_view text) {
    return withoutControls(text, "");
}

} // namespace platform
