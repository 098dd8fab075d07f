// SPDX-License-Identifier: MIT
#pragma once

#include "tests/support/TemporaryFolder.h"

#include <map>
#include <string>
#include <sys/types.h>
#include <vector>

/// A user's surroundings: home with key database, and a PATH with desktop tools that only note
/// what they were asked.
class AgentHome {
public:
    AgentHome();

    const std::filesystem::path& path() const { return m_folder.path(); }
    std::filesystem::path databaseFolder() const { return m_folder / "home/.pki/nssdb"; }

    /// A database with `count` RSA-2048 identities.
    void makeIdentities(int count) const;
    void makeEmptyDatabase() const;
    /// A database with one identity on an elliptic curve.
    void makeEllipticIdentity() const;
    /// A database with a password and one RSA-2048 identity.
    void makeProtectedIdentity(const std::string& password) const;

    /// A desktop tool that notes its arguments, and then fails if it should.
    void makeTool(const std::string& name, int exitStatus = 0) const;
    /// The arguments that a tool was last called with, one a line; waits for the call.
    std::string waitForToolCall(const std::string& name) const;
    bool toolWasCalled(const std::string& name) const;

    std::map<std::string, std::string> environment() const;

    /// Whether the tests run with the policy that rules nothing, whose log lines `log` leaves out.
    static bool isUnderPolicy();
    /// Whether this user may mount for a process of its own, and so put a policy in its place.
    static bool canSetPolicy();
    /// The agents that are started from now on find this file where an administrator would put it.
    /// `change` is a shell command that is run in its folder, as root there.
    void setPolicy(const std::string& text, const std::string& change = "true");
    /// What stands before the agent's path for that; nothing without a policy.
    std::vector<std::string> launcher() const;

private:
    void run(const std::string& command) const;
    void makeSelfSigned(const std::string& keyOptions) const;

    TemporaryFolder m_folder;
    bool m_hasPolicy = false;
};

/// Variables with which the loader notes what a process loads, for `loadedFiles`: nobody may look
/// into the agent from outside.
std::map<std::string, std::string> notingLoadedFiles(const AgentHome& home);
/// The loader's notes on that process so far.
std::string loadedFiles(const AgentHome& home, pid_t pid);
