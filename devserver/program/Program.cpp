// SPDX-License-Identifier: MIT
#include "devserver/program/Program.h"

#include "devserver/program/CommandLine.h"
#include "devserver/program/DemoSession.h"
#include "devserver/program/Serve.h"

#include <iostream>

#include <unistd.h>

namespace devserver {

int runProgram(const std::vector<std::string>& arguments) {
    const CommandLine commandLine = parseCommandLine(arguments);
    if (const auto* demo = std::get_if<DemoOptions>(&commandLine)) {
        return runSignDemo(*demo, std::cout, std::cerr);
    }
    if (const auto* serve = std::get_if<ServeOptions>(&commandLine)) {
        LineReader input(STDIN_FILENO, endRequests());
        return runServe(*serve, input, std::cout, std::cerr);
    }
    if (const auto* error = std::get_if<UsageError>(&commandLine)) {
        std::cerr << "quillet-devserver: " << error->reason << "\n\n" << usageText;
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
