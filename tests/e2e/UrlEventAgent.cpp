// SPDX-License-Identifier: MIT
// The agent, with URL events from standard input: each line is one, as a desktop would deliver it.
#include "ZqMacClient/MainInterface.h"
#include "platform/Platform.h"
#include "platform/linux/LinuxApplication.h"

#include <iostream>
#include <thread>

int main(int argc, char** argv) {
    const std::unique_ptr<platform::Platform> native = platform::makeNativePlatform(argc, argv);
    const platform::PlatformScope scope(*native);
    auto& application = dynamic_cast<platform::LinuxApplication&>(native->application());
    std::thread events([&application] {
        std::string url;
        while (std::getline(std::cin, url)) {
            application.openURL(url);
        }
    });
    events.detach(); // ends with the process
    MainInterface mainInterface;
    return application.run(mainInterface);
}
