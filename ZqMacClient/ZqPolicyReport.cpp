// SPDX-License-Identifier: MIT
#include "ZqMacClient/ZqPolicyReport.h"

#include "ZqMacClient/ZqPolicy.h"
#include "platform/Platform.h"
#include "platform/Trust.h"

#include <cstdlib>

int ZqPolicyReport::print() {
    platform::System& system = platform::current().system();
    platform::Trust* const trust = platform::trust();
    const platform::ManagedPolicy managed
        = trust == nullptr ? platform::ManagedPolicy() : trust->managedPolicy();
    system.print("Signing policy: " + managed.source);
    for (const std::string& remark : managed.remarks) {
        system.print("Note: " + remark + ".");
    }
    if (managed.state == platform::ManagedPolicy::State::absent) {
        system.print("There is none: any server may be signed with.");
        return EXIT_SUCCESS;
    }
    ZqPolicy::Reading reading{std::nullopt, managed.text};
    if (managed.state == platform::ManagedPolicy::State::present) {
        reading = ZqPolicy::read(managed.text);
    }
    if (!reading.policy) {
        system.print("It cannot be used, so every link is refused: " + reading.problem);
        return EXIT_FAILURE;
    }
    system.print("It is in force:");
    for (const std::string& rule : reading.policy->description()) {
        system.print("  " + rule);
    }
    return EXIT_SUCCESS;
}
