// SPDX-License-Identifier: MIT
#include "platform/shared/CommandLine.h"

#include <algorithm>
#include <string_view>

namespace platform {

namespace {

void hideLink(char* argument) {
    constexpr std::string_view authorityStart = "://";
    const std::string_view text(argument);
    const std::size_t found = text.find(authorityStart);
    if (found != std::string_view::npos) {
        std::fill(argument + found + authorityStart.size(), argument + text.size(), '*');
    }
}

} // namespace

std::vector<std::string> takeArguments(int argc, char** argv) {
    std::vector<std::string> arguments(argv, argv + argc);
    std::for_each(argv, argv + argc, hideLink);
    return arguments;
}

} // namespace platform
