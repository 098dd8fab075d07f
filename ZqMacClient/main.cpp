// SPDX-License-Identifier: MIT
#include "ZqMacClient/AppDelegate.h"
#include "ZqMacClient/MainInterface.h"
#include "platform/Platform.h"

int main(int argc, char** argv) {
    const std::unique_ptr<platform::Platform> native = platform::makeNativePlatform(argc, argv);
    const platform::PlatformScope scope(*native);
    MainInterface mainInterface;
    return native->application().run(mainInterface);
}
