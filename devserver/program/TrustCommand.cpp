// SPDX-License-Identifier: MIT
#include "devserver/program/TrustCommand.h"

#include "devserver/crypto/CertificateAuthority.h"
#include "devserver/program/Files.h"

#include <cstdlib>
#include <filesystem>
#include <iostream>

namespace devserver {

namespace {

namespace fs = std::filesystem;

void showSteps(const std::vector<TrustStep>& steps, std::ostream& out) {
    for (const TrustStep& step : steps) {
        out << "\n  " << step.place << ":\n";
        for (const Command& command : step.commands) {
            out << "    " << shellText(command) << '\n';
        }
    }
    out << '\n';
}

bool isConfirmed(std::istream& in, std::ostream& out) {
    out << "Shall this be done? [y/N] " << std::flush;
    std::string answer;
    std::getline(in, answer);
    return answer == "y" || answer == "Y" || answer == "yes";
}

/// The first command that fails ends a step; the others still have their turn.
bool take(const std::vector<TrustStep>& steps, std::ostream& err) {
    bool isWhole = true;
    for (const TrustStep& step : steps) {
        if (!step.onlyIf.empty() && runCommand(step.onlyIf, CommandOutput::dropped)) {
            continue;
        }
        for (const Command& command : step.commands) {
            if (const std::optional<std::string> problem = runCommand(command)) {
                err << "quillet-devserver: " << step.place << ": " << *problem << '\n';
                isWhole = false;
                break;
            }
        }
    }
    return isWhole;
}

/// The certificate's file, made with the authority if there is none yet; nothing when that fails.
std::optional<std::string> authorityFile(const std::string& folder, std::string& error) {
    if (folder.empty()) {
        error = "there is no folder to keep the authority in; name one with --authority";
        return std::nullopt;
    }
    if (!CertificateAuthority::kept(folder, {}, error)) {
        return std::nullopt;
    }
    return fs::absolute(CertificateAuthority::fileIn(folder)).string();
}

} // namespace

int runTrust(const TrustOptions& options, const TrustPlaces& places, std::istream& in,
    std::ostream& out, std::ostream& err) {
    std::vector<TrustStep> steps;
    if (options.isTrusted) {
        std::string error;
        const auto file = authorityFile(
            options.authorityFolder.empty() ? dataFolder() : options.authorityFolder, error);
        if (!file) {
            err << "quillet-devserver: " << error << '\n';
            return 1;
        }
        steps = trustSteps(places, *file);
        out << "The server's authority can vouch for nothing but this machine (\"localhost\" and "
               "the loopback\naddresses). To have it trusted, it is put into:\n";
    } else {
        steps = untrustSteps(places);
        out << "The server's authority is taken out of:\n";
    }
    if (programInPath("certutil").empty()) {
        err << "quillet-devserver: certutil is missing; Debian's package libnss3-tools has it\n";
        return 1;
    }
    showSteps(steps, out);
    if (!options.isConfirmed && !isConfirmed(in, out)) {
        out << "Nothing was changed.\n";
        return 1;
    }
    if (!take(steps, err)) {
        return 1;
    }
    out << (options.isTrusted
            ? "Done. Restart the browsers that run; a Firefox that was never started has no "
              "profile yet.\n"
            : "Done.\n");
    return 0;
}

int runTrust(const TrustOptions& options) {
    const char* const home = std::getenv("HOME");
    if (home == nullptr || home[0] != '/') {
        std::cerr << "quillet-devserver: HOME names no folder\n";
        return 1;
    }
    return runTrust(options, TrustPlaces::of(home), std::cin, std::cout, std::cerr);
}

std::string trustCommand(const std::string& authorityFolder) {
    std::error_code error;
    const fs::path program = fs::read_symlink("/proc/self/exe", error);
    const std::string found = programInPath(program.filename().string());
    Command command
        = {fs::equivalent(found, program, error) ? program.filename().string() : program.string(),
            "trust"};
    if (!authorityFolder.empty() && authorityFolder != dataFolder()) {
        command.insert(command.end(), {"--authority", fs::absolute(authorityFolder).string()});
    }
    return shellText(command);
}

} // namespace devserver
