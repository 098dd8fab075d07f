// SPDX-License-Identifier: MIT
// The fixture of tests of the keychain's listing.
#pragma once

#include "ZqMacClient/ZqKeychainAccess.h"
#include "foundation/Base64.h"
#include "tests/support/CertificateValues.h"
#include "tests/support/PlatformTest.h"
#include "tests/support/ReferenceDigests.h"

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
    /// What happens while the query is made and the given identities are read.
    static Events reading(const std::vector<std::string>& names) {
        Events events{"SecKeychainCopyDefault", "SecItemCopyMatching"};
        for (const std::string& name : names) {
            events = joined(events,
                Events{"SecIdentityCopyPrivateKey <" + name + ">",
                    "SecIdentityCopyCertificate <" + name + ">",
                    "log: Parsing certificiate Optional(<" + name + ">)"});
        }
        return events;
    }

    ScriptedKeychain& keychain = memory.security();
};

inline std::string digestOf(const Bytes& der) {
    return base64Encoded(referenceSha1(der));
}

inline std::vector<std::string> namesOf(const std::vector<ZqCertificate>& certificates) {
    std::vector<std::string> names;
    for (const ZqCertificate& certificate : certificates) {
        names.push_back(certificate.name.value());
    }
    return names;
}
