// SPDX-License-Identifier: MIT
#include "platform/linux/security/KeychainQuery.h"

namespace platform {

std::optional<KeychainQuery> KeychainQuery::read(const PropertyDictionary& query) {
    KeychainQuery wanted;
    bool identities = false;
    bool all = false;
    for (const auto& [key, value] : query.entries()) {
        const auto* text = value.as<std::string>();
        const auto* flag = value.as<bool>();
        if (key == kSecClass && text != nullptr && *text == kSecClassIdentity) {
            identities = true;
        } else if (key == kSecMatchLimit && text != nullptr && *text == kSecMatchLimitAll) {
            all = true;
        } else if (key == kSecReturnData && flag != nullptr) {
            wanted.m_wantsData = *flag;
        } else if (key == kSecReturnRef && flag != nullptr) {
            wanted.m_wantsReference = *flag;
        } else {
            return std::nullopt;
        }
    }
    if (!identities || !all || (!wanted.m_wantsData && !wanted.m_wantsReference)) {
        return std::nullopt;
    }
    return wanted;
}

PropertyValue KeychainQuery::itemOf(KeychainEntryRef entry) const {
    if (!m_wantsReference) {
        return entry->der();
    }
    SecIdentityRef identity = std::make_shared<EntryIdentity>(entry);
    if (!m_wantsData) {
        return identity;
    }
    PropertyDictionary item;
    item.set(kSecValueData, entry->der());
    item.set(kSecValueRef, std::move(identity));
    return item;
}

} // namespace platform
