// SPDX-License-Identifier: MIT
// Where the keychain looks, and what it needs of the program around it.
#pragma once

#include <functional>
#include <string>

namespace platform {

/// $HOME/.pki/nssdb, the home folder falling back to that of the account.
std::string defaultDatabaseDirectory();

/// In the order in which identities are listed; then come the modules of the databases' lists.
struct KeychainSources {
    std::string database; ///< the folder of the user's NSS database
    std::string home; ///< whose browsers' profiles are looked at; empty for none
    bool configuredModules = false; ///< the modules that p11-kit has configured

    /// All that the user has.
    static KeychainSources ofUser();
};

struct KeychainHost {
    /// Writes a line to the log.
    std::function<void(const std::string&)> log;
    /// Shows the user a line, from any thread.
    std::function<void(const std::string&)> notice;
    /// Runs what may take its time and returns when it is done; what `waitingFor` names then, on
    /// any thread, is shown to the user when it does take time. The work may ask for a password.
    std::function<void(
        const std::function<std::string()>& waitingFor, const std::function<void()>& work)>
        aside;
    /// Called with the subject of the certificate that is about to sign, for which a password may
    /// be asked, and with nothing when it has signed. On the main thread.
    std::function<void(const std::string& subject)> certificateInUse;
};

} // namespace platform
