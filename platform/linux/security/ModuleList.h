// SPDX-License-Identifier: MIT
// PKCS #11 modules: which there are, and which may be loaded.
#pragma once

#include <chrono>
#include <filesystem>
#include <string>
#include <vector>

namespace platform {

/// How long a module may take to begin.
inline constexpr std::chrono::seconds moduleLimit{5};

struct CardModule {
    std::string source; ///< the folder whose list names it, or "p11-kit"
    std::string name;
    std::string library; ///< as it is to be opened; once it was tried, its file
    std::string loadText; ///< how NSS is told to load it
    std::string problem; ///< why it must not be loaded; empty when it may
};

/// The modules that the list of an NSS database names beside NSS's own.
std::vector<CardModule> modulesListedIn(const std::filesystem::path& database);

/// Tries modules in another process, where they can hang or crash without harm.
class ModuleTrial {
public:
    /// Starts to try `listed` and, when `withConfigured` says so, all modules that p11-kit has
    /// configured for this program. Without any of both it does nothing.
    ModuleTrial(std::vector<CardModule> listed, bool withConfigured);
    ModuleTrial(const ModuleTrial&) = delete;
    ModuleTrial& operator=(const ModuleTrial&) = delete;
    ~ModuleTrial();

    /// Waits for the outcome: the listed modules, then those of p11-kit with the highest priority
    /// first. A file that is there twice is told once.
    std::vector<CardModule> modules();

private:
    void start();
    std::string readAnswer() const;
    void note(const std::string& line);

    std::vector<CardModule> m_modules;
    bool m_withConfigured;
    std::size_t m_answered = 0; ///< listed modules with an outcome
    int m_process = -1;
    int m_output = -1;
};

} // namespace platform
