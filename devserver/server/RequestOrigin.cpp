// SPDX-License-Identifier: MIT
#include "devserver/server/RequestOrigin.h"

#include <algorithm>
#include <cctype>

namespace devserver {

namespace {

/// The host without its port and brackets, in lower case.
std::string hostOf(const std::string& header) {
    std::string host = header;
    if (host.starts_with('[')) {
        const std::size_t end = host.find(']');
        host = end == std::string::npos ? "" : host.substr(1, end - 1);
    } else {
        host.erase(std::min(host.find(':'), host.size()));
    }
    std::transform(host.begin(), host.end(), host.begin(),
        [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return host;
}

bool holds(const std::vector<std::string>& names, const std::string& name) {
    return std::find(names.begin(), names.end(), name) != names.end();
}

} // namespace

bool isFromHere(const RecordedRequest& request) {
    const std::string* host = request.header("Host");
    const std::string* origin = request.header("Origin");
    return origin == nullptr || (host != nullptr && *origin == "https://" + *host);
}

bool isForHere(const RecordedRequest& request, const CertificateOptions& names) {
    const std::string* header = request.header("Host");
    if (header == nullptr) {
        return false;
    }
    const std::string host = hostOf(*header);
    return holds(names.dnsNames, host) || holds(names.addresses, host);
}

} // namespace devserver
