// SPDX-License-Identifier: MIT
#include "ZqMacClient/ZqGatekeeper.h"

#include "ZqMacClient/ZqError.h"
#include "ZqMacClient/ZqLogPrivacy.h"
#include "foundation/URLComponents.h"
#include "foundation/URLReference.h"
#include "platform/Platform.h"

#include <cstdlib>
#include <mutex>
#include <utility>

using platform::NSLog;

namespace {

constexpr const char* notAllowed = "Server not allowed";
constexpr std::uint64_t securePort = 443;
constexpr std::uint64_t plainPort = 80;
constexpr std::uint64_t lastPort = 65535;

/// The words of the last refusal, which the network's threads leave.
struct LastRefusal {
    std::mutex mutex;
    std::string words;
};

LastRefusal& lastRefusal() {
    static LastRefusal refusal;
    return refusal;
}

std::optional<platform::NetworkHost> hostToConnect(const std::string& host) {
    platform::Trust* const trust = platform::trust();
    return trust == nullptr ? std::nullopt : trust->hostToConnect(host);
}

/// Where a URL leads.
struct Destination {
    std::optional<platform::NetworkHost> host; // nothing when there can be no connection
    std::string authority; // for texts
    std::uint64_t port = 0;
    bool hasUserInformation = false;
};

Destination destinationOf(const std::string& url) {
    const URLComponents components = URLComponents::parse(url).value_or(URLComponents());
    const auto reference = URLReference::parse(url);
    const bool isPlain = reference && reference->hasScheme("http");
    const std::string host = components.host.value_or(std::string());
    Destination destination;
    destination.host = hostToConnect(host);
    destination.port = components.port.value_or(URLPort{isPlain ? plainPort : securePort})
                           .number.value_or(0); // beyond 64 bits: no port at all
    destination.authority = destination.host ? destination.host->authority(destination.port)
                                             : host + ':' + std::to_string(destination.port);
    destination.hasUserInformation
        = reference && reference->authority && reference->authority->userInformation;
    return destination;
}

/// The server as its user should see it; empty when there can be no connection to it.
std::string shownServer(const Destination& server) {
    if (!server.host || server.port == 0 || server.port > lastPort) {
        return "";
    }
    const std::string usual = ':' + std::to_string(securePort);
    return server.authority.ends_with(usual)
        ? server.authority.substr(0, server.authority.size() - usual.size())
        : server.authority;
}

std::string refusalOf(const std::string& authority, const std::string& kind) {
    return authority + " is not among the " + kind + " that this computer's administrator allows.";
}

std::string serverRefusal(const std::string& authority) {
    return refusalOf(authority, "signing servers");
}

[[noreturn]] void refuse(const std::string& authority, const std::string& words) {
    NSLog("Policy: ", authority, " is refused");
    ZqError(notAllowed, words).showAndExit();
    std::abort();
}

/// Holds every connection, wherever it comes from, against the list of servers.
platform::ConnectionRule ruleOf(const std::shared_ptr<const ZqPolicy>& policy) {
    if (!policy || !policy->servers()) {
        return {};
    }
    return [policy](const platform::NetworkHost& host, std::uint64_t port) {
        std::optional<std::string> words;
        if (!policy->servers()->allows(host, port)) {
            NSLog("Policy: no connection to ", host.authority(port));
            words = serverRefusal(host.authority(port));
            const std::lock_guard lock(lastRefusal().mutex);
            lastRefusal().words = *words;
        }
        return words;
    };
}

std::shared_ptr<const ZqPolicy> readPolicy() {
    platform::Trust* const trust = platform::trust();
    const platform::ManagedPolicy managed
        = trust == nullptr ? platform::ManagedPolicy() : trust->managedPolicy();
    for (const std::string& remark : managed.remarks) {
        NSLog("Policy: ", remark);
    }
    if (managed.state == platform::ManagedPolicy::State::absent) {
        return nullptr;
    }
    ZqPolicy::Reading reading{std::nullopt, managed.text};
    if (managed.state == platform::ManagedPolicy::State::present) {
        reading = ZqPolicy::read(managed.text);
    }
    if (!reading.policy) {
        NSLog("Policy: ", managed.source, " cannot be used");
        ZqError("The signing policy cannot be used", managed.source + ": " + reading.problem)
            .showAndExit();
    }
    std::string rules;
    for (const std::string& rule : reading.policy->description()) {
        rules += (rules.empty() ? "" : "; ") + rule;
    }
    NSLog("Policy: ", managed.source, " is in force: ", rules);
    return std::make_shared<const ZqPolicy>(*std::move(reading.policy));
}

} // namespace

ZqGatekeeper ZqGatekeeper::ofThisComputer() {
    ZqGatekeeper gatekeeper;
    gatekeeper.m_policy = readPolicy();
    ZqLogPrivacy::setRedacted(gatekeeper.m_policy && gatekeeper.m_policy->redactsLog());
    if (platform::Trust* const trust = platform::trust()) {
        trust->setConnectionRule(ruleOf(gatekeeper.m_policy));
    }
    return gatekeeper;
}

void ZqGatekeeper::admitServer(const std::string& link) const {
    if (!m_policy || !m_policy->servers()) {
        return;
    }
    const Destination server = destinationOf(link);
    if (server.hasUserInformation) {
        refuse(server.authority,
            "The link to " + server.authority
                + " names a user, and this computer's administrator allows no such links.");
    }
    if (!server.host || !m_policy->servers()->allows(*server.host, server.port)) {
        refuse(server.authority, serverRefusal(server.authority));
    }
    NSLog("Policy: ", server.authority, " is allowed");
}

void ZqGatekeeper::beginSession(
    const std::string& link, const std::function<std::string()>& roomCode) {
    if (platform::Trust* const trust = platform::trust()) {
        trust->later({}, nullptr);
        trust->beginSession(shownServer(destinationOf(link)), roomCode);
    }
}

void ZqGatekeeper::noteUse() const {
    const auto minutes = m_policy ? m_policy->idleMinutes() : std::nullopt;
    platform::Trust* const trust = platform::trust();
    if (minutes && trust != nullptr) {
        trust->later(std::chrono::minutes(*minutes), [trust, count = std::to_string(*minutes)] {
            NSLog("Policy: idle for ", count, " min, tokens are locked");
            trust->lockTokens();
        });
    }
}

void ZqGatekeeper::admitServer(const platform::NetworkHost& server, std::uint64_t port) const {
    if (m_policy && m_policy->servers() && !m_policy->servers()->allows(server, port)) {
        refuse(server.authority(port), serverRefusal(server.authority(port)));
    }
}

void ZqGatekeeper::admitPage(const std::string& url) const {
    if (!m_policy || !m_policy->downloads()) {
        return;
    }
    const Destination page = destinationOf(url);
    if (page.hasUserInformation || !page.host
        || !m_policy->downloads()->allows(*page.host, page.port)) {
        refuse(page.authority, refusalOf(page.authority, "download pages"));
    }
    NSLog("Policy: the page at ", page.authority, " is allowed");
}

platform::NetworkHost ZqGatekeeper::serverOf(const std::string& host) {
    return hostToConnect(host).value_or(platform::NetworkHost{host, false, host});
}

bool ZqGatekeeper::hasRefused(const std::string& words) {
    const std::lock_guard lock(lastRefusal().mutex);
    return !words.empty() && words == lastRefusal().words;
}
