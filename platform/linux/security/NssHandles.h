// SPDX-License-Identifier: MIT
// Owners of what NSS hands out. Include this where NSS is called, and nowhere else.
#pragma once

#include "foundation/Handle.h"
#include "platform/Types.h"
#include "platform/linux/security/PasswordPrompt.h"

#include <keyhi.h>
#include <memory>
#include <nss.h>
#include <pk11pub.h>
#include <secmod.h>
#include <secport.h>
#include <string>

namespace platform::nss {

using ContextHandle = Handle<NSSInitContext, NSS_ShutdownContext>;
using SlotHandle = Handle<PK11SlotInfo, PK11_FreeSlot>;
using SlotListHandle = Handle<PK11SlotList, PK11_FreeSlotList>;
using PrivateKeyHandle = Handle<SECKEYPrivateKey, SECKEY_DestroyPrivateKey>;
using ModuleHandle = Handle<SECMODModule, SECMOD_DestroyModule>;
/// The head of a list: frees all of it.
using ObjectListHandle = Handle<PK11GenericObject, PK11_DestroyGenericObjects>;

struct ReleaseArena {
    void operator()(PLArenaPool* arena) const { PORT_FreeArena(arena, PR_FALSE); }
};
using ArenaHandle = std::unique_ptr<PLArenaPool, ReleaseArena>;

/// NSS takes its input bytes as mutable; it does not write to them.
inline SECItem itemOf(BytesView bytes) {
    return {siBuffer, const_cast<unsigned char*>(bytes.data()),
        static_cast<unsigned int>(bytes.size())};
}

/// A parameter's value in double quotes.
inline std::string quoted(const std::string& value) {
    std::string text = "\"";
    for (const char c : value) {
        if (c == '"' || c == '\\') {
            text += '\\';
        }
        text += c;
    }
    return text + "\"";
}

inline PinState pinState(PK11SlotInfo* slot) {
    CK_TOKEN_INFO info{};
    if (PK11_GetTokenInfo(slot, &info) != SECSuccess) {
        return PinState::usual;
    }
    if ((info.flags & CKF_USER_PIN_LOCKED) != 0) {
        return PinState::locked;
    }
    if ((info.flags & CKF_USER_PIN_FINAL_TRY) != 0) {
        return PinState::lastTry;
    }
    return (info.flags & CKF_USER_PIN_COUNT_LOW) != 0 ? PinState::fewTries : PinState::usual;
}

} // namespace platform::nss
