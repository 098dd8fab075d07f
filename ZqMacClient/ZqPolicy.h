// SPDX-License-Identifier: MIT
#pragma once

#include "ZqMacClient/ZqServerList.h"
#include "foundation/JsonValue.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

enum class ZqConsentRule { none, session, signature };
enum class ZqContentRule { any, documents };

/// What the administrator of this computer allows. What is not said is as without a policy.
class ZqPolicy {
public:
    struct Reading;

    /// Reads a policy's JSON text. Whatever is not understood makes all of it unusable.
    static Reading read(std::string_view text);

    /// Absent: any server may be signed with, and any page be opened.
    const std::optional<ZqServerList>& servers() const { return m_servers; }
    const std::optional<ZqServerList>& downloads() const { return m_downloads; }
    ZqConsentRule consent() const { return m_consent; }
    ZqContentRule content() const { return m_content; }
    /// After so many minutes without a list or a signature, tokens are locked. 1 to 1440.
    std::optional<unsigned> idleMinutes() const { return m_idleMinutes; }
    bool redactsLog() const { return m_redactsLog; }

    /// Each rule that is set, as "KEY: VALUE".
    std::vector<std::string> description() const;

private:
    /// What is wrong with a member, or nothing.
    std::optional<std::string> add(const std::string& key, const JsonValue& value);

    std::optional<ZqServerList> m_servers;
    std::optional<ZqServerList> m_downloads;
    ZqConsentRule m_consent = ZqConsentRule::none;
    ZqContentRule m_content = ZqContentRule::any;
    std::optional<unsigned> m_idleMinutes;
    bool m_redactsLog = false;
};

/// A policy, or the reason why there is none.
struct ZqPolicy::Reading {
    std::optional<ZqPolicy> policy;
    std::string problem;
};
