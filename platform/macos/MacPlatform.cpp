// SPDX-License-Identifier: MIT
// The platform of macOS.
#include "platform/macos/MacPlatform.h"

#include "platform/shared/CommandLine.h"
#include "platform/shared/CoreFile.h"
#include "platform/shared/MessagePlatform.h"

#include <csignal>
#include <cstdlib>

namespace platform {

std::unique_ptr<Platform> makeNativePlatform(int argc, char** argv) {
    forbidCoreFile();
    // A closed output or connection is an error of that write, not the end of the process.
    std::signal(SIGPIPE, SIG_IGN);
    const auto modalWork = std::make_shared<ModalWork>(mainDispatchQueue(), makeDispatchSemaphore);
    MessagePlatform::Answers answers;
    answers.system = makeMacSystem(takeArguments(argc, argv));
    answers.application = makeMacApplication(argc, argv, modalWork);
    answers.userInterface = makeMacUserInterface(modalWork);
    answers.security = makeMacSecurity(*answers.userInterface,
        [&application = *answers.application] { application.exit(EXIT_SUCCESS); });
    answers.network = makeMacNetwork(*answers.application);
    const auto policy = [identifier = answers.system->bundleIdentifier().value_or(std::string())] {
        return managedPreferences(identifier);
    };
    return std::make_unique<MessagePlatform>(std::move(answers), policy, mainDispatchQueue());
}

} // namespace platform
