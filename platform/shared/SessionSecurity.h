// SPDX-License-Identifier: MIT
#pragma once

#include "platform/Security.h"
#include "platform/shared/RefusedTokens.h"

namespace platform {

/// The security of a platform whose one keychain asks its user itself. Once the user refuses that,
/// no key is used any more in the session, and the user may end it.
class SessionSecurity : public Security {
public:
    /// `userInterface` outlives this object.
    SessionSecurity(UserInterface& userInterface, std::function<void()> endSession)
        : m_refused(userInterface) {
        m_refused.setEnd(std::move(endSession));
    }

    /// What the user refused in the session before is asked for again.
    void beginSession() { m_refused.beginSession(); }
    /// Locks the default keychain.
    virtual void lock() = 0;

    SecSignature SecKeyCreateSignature(
        const SecKeyRef& key, SecKeyAlgorithm algorithm, BytesView data) final;

protected:
    struct Signed {
        SecSignature signature;
        long errorCode = 0;
    };
    virtual Signed sign(const SecKeyRef& key, SecKeyAlgorithm algorithm, BytesView data) = 0;

private:
    RefusedTokens m_refused;
};

} // namespace platform
