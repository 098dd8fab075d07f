// SPDX-License-Identifier: MIT
// The custom URL: it is refused as defined, or session and update check go to the host, port and
// path that it names. Input: the URL.
#include "ZqMacClient/ViewController.h"
#include "ZqMacClient/ZqClient.h"
#include "foundation/PercentEncoding.h"
#include "foundation/URLReference.h"
#include "tests/fuzz/DefinedEnd.h"

#include <algorithm>

using fuzz::require;

namespace {

/// Nothing when there is no such port.
std::optional<std::uint64_t> portOf(const URLComponents& url) {
    return url.port ? url.port->number : 443;
}

void requireSession(const platform::WebSocketRequest& request, const URLComponents& url) {
    const std::string path = *url.path + "/room/" + *url.getQueryParameter("roomId");
    require(request.secure, "the session is encrypted");
    require(request.host == *url.host, "the session goes to the URL's host");
    require(request.port == portOf(url), "the session goes to the URL's port");
    require(percentDecoded(request.target) == path, "the session goes to the room");
    require(std::all_of(request.target.begin(), request.target.end(),
                [](char c) { return c > ' ' && c < '\x7F'; }),
        "the target fits a request line");
}

void requireUpdateRequest(const std::string& text, const URLComponents& url) {
    const auto request = URLComponents::parse(text);
    require(request.has_value(), "the update check asks a URL");
    require(request->scheme == "https", "the update check is encrypted");
    require(request->host == url.host, "the update check goes to the URL's host");
    require(portOf(*request) == portOf(url), "the update check goes to the URL's port");
    require(request->path == *url.path + "/update/version", "the update check keeps the path");
    require(request->getQueryParameter("os") == "macos", "the update check names the system");
}

} // namespace

void fuzz::target(std::string_view text) {
    const std::string url(text);
    const auto components = URLComponents::parse(url);
    const bool isCustomUrl
        = components && components->scheme == "quillet" && components->getQueryParameter("roomId");
    const bool hasServer
        = isCustomUrl && components->host && portOf(*components) && components->path;
    {
        MemoryPlatform memory;
        ViewController view(memory.userInterface().statusTextView());
        const std::string end = endOf([&] { view.connectToServer(url); });
        const auto& sockets = memory.network().webSockets;
        require(end
                == (hasServer         ? "runs on"
                        : isCustomUrl ? "abort"
                                      : "exit 1"),
            "a session begins with a custom URL that names a server");
        requireDefinedEnd(memory, end);
        require(sockets.size() == (hasServer ? 1U : 0U), "one session begins, or none");
        if (hasServer) {
            requireSession(sockets[0]->request, *components);
        }
    }
    MemoryPlatform memory; // nobody answers the request
    ViewController view(memory.userInterface().statusTextView());
    const std::string end = endOf([&] { view.checkForUpdates(url); });
    const auto& requests = memory.network().requestedUrls;
    requireDefinedEnd(memory, end);
    require(requests.size() == (hasServer && end == "exit 1" ? 1U : 0U),
        "one request goes out, or none");
    if (!requests.empty()) {
        requireUpdateRequest(requests[0], *components);
    } else if (hasServer) {
        require(components->host->starts_with('[') || !hasOnlyURLCharacters(*components->host),
            "only brackets and what stands in no URL make a host unusable");
    }
}
