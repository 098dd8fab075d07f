// SPDX-License-Identifier: MIT
#pragma once

#include "devserver/program/CommandLine.h"
#include "devserver/program/TrustPlan.h"

#include <istream>
#include <ostream>

namespace devserver {

/// Makes the programs of these places trust the server's authority, or undoes that: says what it
/// will do, asks unless told not to, and does it. What can be done is done, whatever else fails.
/// The exit status.
int runTrust(const TrustOptions& options, const TrustPlaces& places, std::istream& in,
    std::ostream& out, std::ostream& err);

/// The same for this machine and its user.
int runTrust(const TrustOptions& options);

/// The command that a person enters for it, with this very program.
std::string trustCommand(const std::string& authorityFolder);

} // namespace devserver
