// SPDX-License-Identifier: MIT
#include "devserver/program/Program.h"

#include "devserver/program/CommandLine.h"
#include "devserver/program/ConsoleStream.h"
#include "devserver/program/Serve.h"
#include "devserver/program/SignCommand.h"
#include "devserver/program/StopSignal.h"
#include "devserver/program/TrustCommand.h"

#include <iostream>

namespace devserver {

int runProgram(const std::vector<std::string>& arguments) {
    ConsoleStream out(std::cout);
    ConsoleStream err(std::cerr);
    const CommandLine commandLine = parseCommandLine(arguments);
    if (const auto* sign = std::get_if<SignOptions>(&commandLine)) {
        return runSign(*sign, out, err);
    }
    if (const auto* serve = std::get_if<ServeOptions>(&commandLine)) {
        return runServe(*serve, stopSignals(), out, err);
    }
    if (const auto* trust = std::get_if<TrustOptions>(&commandLine)) {
        return runTrust(*trust);
    }
    if (const auto* error = std::get_if<UsageError>(&commandLine)) {
        err << "quillet-devserver: " << error->reason << "\n\n" << usageText;
        return 2;
    }
    if (std::holds_alternative<VersionRequest>(commandLine)) {
        std::cout << "quillet-devserver " QUILLET_DEVSERVER_VERSION "\n";
    } else {
        std::cout << usageText;
    }
    return 0;
}

} // namespace devserver
