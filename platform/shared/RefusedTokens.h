// SPDX-License-Identifier: MIT
// Whose password the user would not give in this session.
#pragma once

#include <functional>
#include <set>
#include <string>

namespace platform {

class UserInterface;

class RefusedTokens {
public:
    /// `userInterface` outlives this object.
    explicit RefusedTokens(UserInterface& userInterface)
        : m_userInterface(userInterface) { }

    /// What ends the session, once its user would rather have that than go on without the password.
    void setEnd(std::function<void()> end) { m_end = std::move(end); }

    void beginSession();
    void add(const std::string& tokenName) { m_names.insert(tokenName); }
    /// Whether the password of this token is not to be asked for any more. The first time that it
    /// is, the user may end the session.
    bool contains(const std::string& tokenName);

private:
    UserInterface& m_userInterface;
    std::function<void()> m_end;
    std::set<std::string> m_names;
    bool m_hasOfferedEnd = false;
};

} // namespace platform
