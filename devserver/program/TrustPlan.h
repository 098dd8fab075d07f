// SPDX-License-Identifier: MIT
// What has to be done on this machine so that programs trust the server's authority, or do so no
// more.
#pragma once

#include "devserver/program/Command.h"

namespace devserver {

/// Where programs of this machine and its user look for authorities.
struct TrustPlaces {
    struct System {
        std::string file; // where an authority's certificate is put for it
        Command update; // what takes a new file over
        Command updateAnew; // ... and the absence of one
    };
    std::string database; // the user's key database, which Chromium reads
    bool hasDatabase = false;
    std::vector<std::string> furtherDatabases; // Firefox's profiles and the like
    std::optional<System> system; // nothing where it is not known
    bool isRoot = false;

    /// Those of the user whose home folder this is.
    static TrustPlaces of(const std::string& home);
};

/// One place's commands, which are shown before they are run.
struct TrustStep {
    std::string place; // in words, and who looks there
    std::vector<Command> commands;
    Command onlyIf = {}; // where there is one, the step is taken only if this succeeds
};

std::vector<TrustStep> trustSteps(const TrustPlaces& places, const std::string& authorityFile);
std::vector<TrustStep> untrustSteps(const TrustPlaces& places);

} // namespace devserver
