// SPDX-License-Identifier: MIT
// The user's NSS databases, and with them the token of every module.
#pragma once

#include "platform/linux/security/KeychainSources.h"
#include "platform/linux/security/ModuleList.h"
#include "platform/linux/security/NssToken.h"
#include "platform/linux/security/Whereabouts.h"

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace platform {

class NssDatabase {
public:
    enum class OpenFailure {
        missing, ///< no certificate database in the folder
        notPermitted, ///< its files may not be read
        damaged, ///< NSS cannot make sense of them
    };

    /// In words.
    static std::string openFailureText(OpenFailure failure, const std::string& directory);

    using Log = std::function<void(const std::string&)>;

    /// Opens all sources for reading alone; what cannot be opened is logged and left out. Null only
    /// when NSS itself does not begin. `prompt` and `whereabouts` outlive the result.
    static std::unique_ptr<NssDatabase> open(const KeychainSources& sources, PasswordPrompt& prompt,
        Whereabouts& whereabouts, const Log& log);

    /// Shuts NSS down. All tokens are gone with it.
    ~NssDatabase();
    NssDatabase(const NssDatabase&) = delete;
    NssDatabase& operator=(const NssDatabase&) = delete;

    /// Why the user's own database is not open.
    const std::optional<OpenFailure>& failure() const { return m_failure; }
    /// Whether any other database is open or any card is there.
    bool holdsMore();

    /// A database that is open beside the user's own, and the modules of cards with their outcome.
    struct Profile {
        std::string path;
        bool isOpen = false;
    };
    const std::vector<Profile>& profiles() const { return m_profiles; }
    const std::vector<CardModule>& modules() const { return m_modules; }
    /// Whether tokens may take their time.
    bool hasModules() const;

    /// The tokens present now: the user's database first, then those of browsers, then those of
    /// modules in the order in which they were loaded. A token stays the same object for as long as
    /// the database is open; whoever keeps one for longer than a call keeps a weak reference.
    std::vector<std::shared_ptr<NssToken>> tokens();

    /// Locks all tokens that have a password.
    void lock();

private:
    struct Handles;

    NssDatabase(std::unique_ptr<Handles> handles, PasswordPrompt& prompt, Whereabouts& whereabouts);
    void openProfile(const std::string& path, const Log& log);
    void load(CardModule module, const Log& log);

    std::unique_ptr<Handles> m_handles; // declared first: closed after the tokens
    PasswordPrompt& m_prompt;
    Whereabouts& m_whereabouts;
    std::optional<OpenFailure> m_failure;
    std::vector<Profile> m_profiles;
    std::vector<CardModule> m_modules;
    std::vector<std::shared_ptr<NssToken>> m_tokens;
};

} // namespace platform
