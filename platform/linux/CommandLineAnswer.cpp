// SPDX-License-Identifier: MIT
#include "platform/linux/CommandLineAnswer.h"

#include "BundleInfo.h"

namespace platform {

namespace {

constexpr const char* helpText = R"(usage: ZqMacClient [LINK]
       ZqMacClient install | policy | identities [--unlock]
       ZqMacClient --help | -h | --version

The signing agent of web applications. Without an argument it waits for a link from the browser.

  LINK        a quillet:// link, whose session is served
  install     makes this copy of the program the one that your quillet:// links start, and
              ends with status 1
  policy      prints the signing policy of this computer
  identities  prints which certificates are found, where, and what each lacks to sign;
              with --unlock also those that a password hides
  -h, --help  prints this text
  --version   prints the version
)";

} // namespace

std::optional<std::string> commandLineAnswer(const std::vector<std::string>& arguments) {
    const std::string first = arguments.size() > 1 ? arguments[1] : "";
    if (first == "--help" || first == "-h") {
        return helpText;
    }
    if (first == "--version") {
        return "ZqMacClient " + std::string(bundleVersion) + "\n";
    }
    return std::nullopt;
}

} // namespace platform
