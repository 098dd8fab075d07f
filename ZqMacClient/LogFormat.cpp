// SPDX-License-Identifier: MIT
#include "ZqMacClient/LogFormat.h"

namespace {

/// The length of the directive at the start of `text`, whose first character is the per-cent sign:
/// position, flags, width, precision and length modifiers, then one conversion character, which may
/// take several bytes. Zero when the text ends before that.
std::size_t directiveLength(std::string_view text) {
    const std::size_t conversion = text.find_first_not_of("0123456789$-+ #'*.hlqLztj", 1);
    if (conversion == std::string_view::npos) {
        return 0;
    }
    std::size_t end = conversion + 1;
    while (end < text.size() && (static_cast<unsigned char>(text[end]) & 0xC0) == 0x80) {
        ++end;
    }
    return end;
}

} // namespace

std::string logFormatted(std::string_view format) {
    std::string text;
    text.reserve(format.size());
    while (!format.empty()) {
        const std::size_t sign = format.find('%');
        text += format.substr(0, sign);
        if (sign == std::string_view::npos) {
            break;
        }
        format.remove_prefix(sign);
        const std::size_t length = directiveLength(format);
        if (length == 0) {
            text += format;
            break;
        }
        text += format.substr(0, length) == "%%" ? "%" : "(null)";
        format.remove_prefix(length);
    }
    return text;
}
