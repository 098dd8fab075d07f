// SPDX-License-Identifier: MIT
// The way from a locked token to the user and back.
#pragma once

#include "platform/shared/RefusedTokens.h"

#include <functional>
#include <string>

namespace platform {

/// What a token says of the tries that are left for its PIN.
enum class PinState { usual, fewTries, lastTry, locked };

/// Asks the user for passwords of tokens while that is allowed, and remembers how the last
/// question ended.
class PasswordPrompt {
public:
    enum class Outcome { notAsked, notAllowed, cancelled, pinLocked, given };

    explicit PasswordPrompt(UserInterface& userInterface)
        : m_userInterface(userInterface)
        , m_refused(userInterface) { }

    void setAllowed(bool allowed) { m_allowed = allowed; }
    /// Where to tell the user what else to know or to do, a line at a time; from any thread.
    void setNotice(std::function<void(const std::string&)> notice) { m_notice = std::move(notice); }

    /// Whose password is not asked for any more in this session.
    RefusedTokens& refused() { return m_refused; }

    /// Forgets the earlier outcome.
    void begin() { m_outcome = Outcome::notAsked; }
    Outcome outcome() const { return m_outcome; }

    /// Whether the next try may be made: not when the PIN is locked, and the last try only when the
    /// user wants it, and not for a token whose password was refused in this session: then the user
    /// may end that, which is offered once. Never throws.
    bool mayTry(const char* tokenName, bool again, PinState state) noexcept;

    /// Asks, hands the password to `copy`, wipes it, and returns what `copy` made of it; null when
    /// asking is not allowed, the user cancels, or asking fails. Never throws.
    char* ask(const char* tokenName, bool again, char* (*copy)(const char*)) noexcept;

    /// Whether a token with a keypad of its own may ask there; tells the user to look at it.
    bool mayAskOnKeypad(const char* tokenName) noexcept;

private:
    void tell(const std::string& line) const;
    bool mayTry(const std::string& tokenName, bool again, PinState state);

    UserInterface& m_userInterface;
    std::function<void(const std::string&)> m_notice;
    RefusedTokens m_refused;
    bool m_allowed = false;
    Outcome m_outcome = Outcome::notAsked;
};

} // namespace platform
