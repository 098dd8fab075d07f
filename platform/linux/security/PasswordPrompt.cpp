// SPDX-License-Identifier: MIT
#include "platform/linux/security/PasswordPrompt.h"

#include "foundation/Utf8.h"
#include "platform/UserInterface.h"

#include <openssl/crypto.h>
#include <optional>

namespace platform {

namespace {

std::string textOf(const char* tokenName) {
    return utf8Repaired(tokenName == nullptr ? "" : tokenName);
}

NSAlert lastTryAlert(const std::string& tokenName) {
    return {"Last try for the PIN of \"" + tokenName + "\"",
        "The PIN was wrong too often. If it is wrong once more, it is locked.",
        NSAlertStyle::warning, {"Continue", "Cancel"}};
}

} // namespace

void PasswordPrompt::tell(const std::string& line) const {
    if (m_notice) {
        m_notice(line);
    }
}

bool PasswordPrompt::mayTry(const char* tokenName, bool again, PinState state) noexcept {
    if (!m_allowed) {
        m_outcome = Outcome::notAllowed;
        return false;
    }
    m_outcome = state == PinState::locked ? Outcome::pinLocked : Outcome::cancelled;
    try {
        return mayTry(textOf(tokenName), again, state);
    } catch (...) { // the callers are C frames of NSS
    }
    return false;
}

bool PasswordPrompt::mayTry(const std::string& tokenName, bool again, PinState state) {
    if (state != PinState::locked && m_refused.contains(tokenName)) {
        return false;
    }
    switch (state) {
    case PinState::usual:
        break;
    case PinState::fewTries:
        if (!again) {
            tell("The PIN of \"" + tokenName + "\" was wrong before. Few tries are left.");
        }
        break;
    case PinState::lastTry:
        if (m_userInterface.runModal(lastTryAlert(tokenName)) != NSAlertFirstButtonReturn) {
            m_refused.add(tokenName);
            return false;
        }
        break;
    case PinState::locked:
        tell("The PIN of \"" + tokenName + "\" is locked, because it was wrong too often.");
        return false;
    }
    return true;
}

char* PasswordPrompt::ask(const char* tokenName, bool again, char* (*copy)(const char*)) noexcept {
    if (!m_allowed) {
        m_outcome = Outcome::notAllowed;
        return nullptr;
    }
    m_outcome = Outcome::cancelled;
    try {
        // Not passed on as a value: moving a short string leaves its characters behind.
        std::optional<std::string> password
            = m_userInterface.askForPassword(textOf(tokenName), again);
        if (!password) {
            m_refused.add(textOf(tokenName));
            return nullptr;
        }
        m_outcome = Outcome::given;
        char* copied = copy(password->c_str());
        OPENSSL_cleanse(password->data(), password->size());
        return copied;
    } catch (...) {
        return nullptr; // the callers are C frames of NSS
    }
}

bool PasswordPrompt::mayAskOnKeypad(const char* tokenName) noexcept {
    if (!m_allowed) {
        m_outcome = Outcome::notAllowed;
        return false;
    }
    m_outcome = Outcome::given;
    try {
        tell("Enter the PIN of \"" + textOf(tokenName) + "\" on the reader.");
    } catch (...) { // it can be entered all the same
    }
    return true;
}

} // namespace platform
