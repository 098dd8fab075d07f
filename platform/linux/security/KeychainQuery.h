// SPDX-License-Identifier: MIT
#pragma once

#include "platform/linux/security/KeychainEntry.h"

#include <optional>

namespace platform {

/// In which form a query wants the identities.
class KeychainQuery {
public:
    /// Nothing when it asks for more than all identities as data or references.
    static std::optional<KeychainQuery> read(const PropertyDictionary& query);

    /// The entry as the query's result holds it.
    PropertyValue itemOf(KeychainEntryRef entry) const;

private:
    bool m_wantsData = false;
    bool m_wantsReference = false;
};

} // namespace platform
