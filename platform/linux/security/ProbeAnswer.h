// SPDX-License-Identifier: MIT
// What quillet-module-probe is asked and answers.
//
//     quillet-module-probe [--configured] [LIBRARY]...
//
// tries to begin each module: opens the library and lets it initialize itself. It answers one line
// for each LIBRARY, in their order, then one for each that p11-kit has configured for the program
// named here, in p11-kit's order:
//
//     NAME <tab> FILE <tab> PROBLEM
//
// and at last the line "end". NAME is p11-kit's and else empty, FILE is what was opened, an empty
// PROBLEM means that all is well.
#pragma once

namespace platform::probe {

inline constexpr const char* programName = "quillet-module-probe";
inline constexpr const char* lastLine = "end";
inline constexpr const char* configuredOption = "--configured";
/// What enable-in and disable-in of a module's configuration call this program.
inline constexpr const char* knownToP11KitAs = "ZqMacClient";

} // namespace platform::probe
