// SPDX-License-Identifier: MIT
// The way from a locked token to the user and back.
#pragma once

namespace platform {

class UserInterface;

/// Asks the user for passwords of tokens while that is allowed, and remembers how the last
/// question ended.
class PasswordPrompt {
public:
    enum class Outcome { notAsked, notAllowed, cancelled, given };

    explicit PasswordPrompt(UserInterface& userInterface)
        : m_userInterface(userInterface) { }

    void setAllowed(bool allowed) { m_allowed = allowed; }

    /// Forgets the earlier outcome.
    void begin() { m_outcome = Outcome::notAsked; }
    Outcome outcome() const { return m_outcome; }

    /// Asks, hands the password to `copy`, wipes it, and returns what `copy` made of it; null when
    /// asking is not allowed, the user cancels, or asking fails. Never throws.
    char* ask(const char* tokenName, bool again, char* (*copy)(const char*)) noexcept;

    /// Whether a token with a keypad of its own may ask there.
    bool mayAskOnKeypad() noexcept;

private:
    UserInterface& m_userInterface;
    bool m_allowed = false;
    Outcome m_outcome = Outcome::notAsked;
};

} // namespace platform
