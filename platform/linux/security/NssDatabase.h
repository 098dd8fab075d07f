// SPDX-License-Identifier: MIT
// The user's NSS certificate database, and with it every token of its module list.
#pragma once

#include "platform/linux/security/NssToken.h"

#include <memory>
#include <string>
#include <variant>
#include <vector>

namespace platform {

class NssDatabase {
public:
    enum class OpenFailure {
        missing, ///< no certificate database in the folder
        notPermitted, ///< its files may not be read
        damaged, ///< NSS cannot make sense of them
    };

    /// Opens `directory` for reading alone. `prompt` outlives the database.
    static std::variant<std::unique_ptr<NssDatabase>, OpenFailure> open(
        const std::string& directory, PasswordPrompt& prompt);

    /// Shuts NSS down. All tokens are gone with it.
    ~NssDatabase();
    NssDatabase(const NssDatabase&) = delete;
    NssDatabase& operator=(const NssDatabase&) = delete;

    /// The tokens present now: the database first, then those of further modules in the order of
    /// the module list. A token stays the same object for as long as the database is open; whoever
    /// keeps one for longer than a call keeps a weak reference.
    std::vector<std::shared_ptr<NssToken>> tokens();

private:
    struct Context;

    NssDatabase(std::unique_ptr<Context> context, PasswordPrompt& prompt);

    std::unique_ptr<Context> m_context; // declared first: closed after the tokens
    PasswordPrompt& m_prompt;
    std::vector<std::shared_ptr<NssToken>> m_tokens;
};

} // namespace platform
