// SPDX-License-Identifier: MIT
// What the keychain finds, in words for whoever helps a user.
#pragma once

#include <string>

namespace platform {

class NssDatabase;
class Whereabouts;

/// Sources, modules and tokens with their states, and why each certificate is offered or not.
/// `unlock` allows to ask for passwords.
std::string keychainReport(const std::string& databaseDirectory, NssDatabase& database,
    Whereabouts& whereabouts, bool unlock);

} // namespace platform
