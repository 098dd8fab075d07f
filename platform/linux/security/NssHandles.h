// SPDX-License-Identifier: MIT
// Owners of what NSS hands out. Include this where NSS is called, and nowhere else.
#pragma once

#include "platform/Types.h"

#include <keyhi.h>
#include <memory>
#include <nss.h>
#include <pk11pub.h>
#include <secport.h>

namespace platform::nss {

template <auto release>
struct Release {
    template <typename T>
    void operator()(T* handle) const {
        release(handle);
    }
};

using ContextHandle = std::unique_ptr<NSSInitContext, Release<NSS_ShutdownContext>>;
using SlotHandle = std::unique_ptr<PK11SlotInfo, Release<PK11_FreeSlot>>;
using SlotListHandle = std::unique_ptr<PK11SlotList, Release<PK11_FreeSlotList>>;
using PrivateKeyHandle = std::unique_ptr<SECKEYPrivateKey, Release<SECKEY_DestroyPrivateKey>>;
/// The head of a list: frees all of it.
using ObjectListHandle = std::unique_ptr<PK11GenericObject, Release<PK11_DestroyGenericObjects>>;

struct ReleaseArena {
    void operator()(PLArenaPool* arena) const { PORT_FreeArena(arena, PR_FALSE); }
};
using ArenaHandle = std::unique_ptr<PLArenaPool, ReleaseArena>;

/// NSS takes its input bytes as mutable; it does not write to them.
inline SECItem itemOf(BytesView bytes) {
    return {siBuffer, const_cast<unsigned char*>(bytes.data()),
        static_cast<unsigned int>(bytes.size())};
}

} // namespace platform::nss
