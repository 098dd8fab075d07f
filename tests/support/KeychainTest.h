// SPDX-License-Identifier: MIT
// The fixture of tests of the keychain's listing.
#pragma once

#include "ZqMacClient/ZqKeychainAccess.h"
#include "tests/support/CertificateValues.h"
#include "tests/support/KeychainEvents.h"
#include "tests/support/PlatformTest.h"

class ZqKeychainAccessTest : public PlatformTest {
protected:
    std::vector<ZqCertificate> list(bool withRawValues = false) {
        return ZqKeychainAccess().listCertificates(withRawValues);
    }
    Events listing() {
        return eventsOf([this] { list(); });
    }
    /// The only record of a keychain whose only identity has these values.
    ZqCertificate recordOf(platform::PropertyDictionary values) {
        keychain.addIdentity("signer").values = std::move(values);
        return list().at(0);
    }
    /// An item as the query returns it.
    platform::PropertyDictionary item(const std::string& name) {
        keychain.addIdentity(name);
        const platform::SecIdentityRef reference
            = std::make_shared<NamedObject<platform::SecIdentity>>(name);
        return {{platform::kSecValueRef, reference}};
    }
    void returnItems(platform::PropertyArray items) {
        keychain.matching = {platform::errSecSuccess, std::move(items)};
    }
};

inline std::vector<std::string> namesOf(const std::vector<ZqCertificate>& certificates) {
    std::vector<std::string> names;
    for (const ZqCertificate& certificate : certificates) {
        names.push_back(certificate.name.value());
    }
    return names;
}
