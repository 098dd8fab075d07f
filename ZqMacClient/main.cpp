// SPDX-License-Identifier: MIT
#include "ZqMacClient/AppDelegate.h"
#include "ZqMacClient/MainInterface.h"
#include "ZqMacClient/ZqPolicyReport.h"
#include "platform/OutOfMemory.h"
#include "platform/Platform.h"

int main(int argc, char** argv) {
    const std::unique_ptr<platform::Platform> native = platform::makeNativePlatform(argc, argv);
    const platform::PlatformScope scope(*native);
    platform::endWhenMemoryRunsOut();
    if (argc > 1 && argv[1] == ZqPolicyReport::argument) {
        return ZqPolicyReport::print();
    }
    MainInterface mainInterface;
    return native->application().run(mainInterface);
}
