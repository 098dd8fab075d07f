// SPDX-License-Identifier: MIT
// Any text as a signing policy: it is read or refused with a reason, and an entry that is taken is
// taken again in the form in which it is compared.
#include "ZqMacClient/ZqPolicy.h"
#include "tests/fuzz/FuzzTarget.h"
#include "tests/support/MemoryTrust.h"

using fuzz::require;

namespace {

void checkEntries(const std::optional<ZqServerList>& list) {
    if (!list) {
        return;
    }
    ZqServerList again;
    for (const std::string& entry : list->entries()) {
        require(!again.add(entry), "an entry is taken in its compared form");
    }
    require(again.entries() == list->entries(), "the compared form is final");
}

} // namespace

void fuzz::target(std::string_view bytes) {
    MemoryPlatform memory;
    const MemoryTrust trust(memory);
    const ZqPolicy::Reading reading = ZqPolicy::read(bytes);
    require(reading.policy.has_value() == reading.problem.empty(), "a policy or a reason");
    if (reading.policy) {
        checkEntries(reading.policy->servers());
        checkEntries(reading.policy->downloads());
    }
}
