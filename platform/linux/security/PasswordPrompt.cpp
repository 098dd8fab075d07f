// SPDX-License-Identifier: MIT
#include "platform/linux/security/PasswordPrompt.h"

#include "foundation/Utf8.h"
#include "platform/UserInterface.h"

#include <openssl/crypto.h>

namespace platform {

char* PasswordPrompt::ask(const char* tokenName, bool again, char* (*copy)(const char*)) noexcept {
    if (!m_allowed) {
        m_outcome = Outcome::notAllowed;
        return nullptr;
    }
    m_outcome = Outcome::cancelled;
    try {
        // Not passed on as a value: moving a short string leaves its characters behind.
        std::optional<std::string> password = m_userInterface.askForPassword(
            utf8Repaired(tokenName == nullptr ? "" : tokenName), again);
        if (!password) {
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

bool PasswordPrompt::mayAskOnKeypad() noexcept {
    m_outcome = m_allowed ? Outcome::given : Outcome::notAllowed;
    return m_allowed;
}

} // namespace platform
