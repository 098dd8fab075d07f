// SPDX-License-Identifier: MIT
// make_identities FOLDER COUNT: fills an NSS database with COUNT identities, each with an RSA-2048
// key of its own and a certificate named "Identity 0001", "Identity 0002", ...
//
// Keys for tests only: they share primes, because a thousand good keys would take minutes, and all
// databases of a build have the same ones.
#include "foundation/Handle.h"
#include "tests/keys/RsaKeys.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <keyhi.h>
#include <memory>
#include <nss.h>
#include <openssl/asn1.h>
#include <openssl/bn.h>
#include <openssl/core_names.h>
#include <openssl/evp.h>
#include <openssl/param_build.h>
#include <openssl/x509.h>
#include <pk11pub.h>
#include <string>
#include <vector>

namespace {

using Number = Handle<BIGNUM, BN_free>;
using NumberContext = Handle<BN_CTX, BN_CTX_free>;
using Key = RsaKeys::Key;
using KeyContext = Handle<EVP_PKEY_CTX, EVP_PKEY_CTX_free>;
using Certificate = Handle<X509, X509_free>;
using Pkcs8 = Handle<PKCS8_PRIV_KEY_INFO, PKCS8_PRIV_KEY_INFO_free>;
using Slot = Handle<PK11SlotInfo, PK11_FreeSlot>;
using Der = std::vector<unsigned char>;

constexpr unsigned long publicExponent = 65537;

[[noreturn]] void fail(const char* what) {
    std::fprintf(stderr, "make_identities: %s\n", what);
    std::exit(1);
}

template <typename T>
T checked(T value, const char* what) {
    if (!value) {
        fail(what);
    }
    return value;
}

Number number() {
    return Number(checked(BN_new(), "out of memory"));
}

Number parameterOf(const EVP_PKEY* key, const char* name) {
    BIGNUM* value = nullptr;
    checked(EVP_PKEY_get_bn_param(key, name, &value), "no parameter of a key");
    return Number(value);
}

/// As many 1024-bit primes as give `pairs` pairs, those of good keys.
std::vector<Number> primesForPairs(std::size_t pairs) {
    RsaKeys keys(QUILLET_RSA_KEYS);
    std::vector<Number> primes;
    while (primes.size() * (primes.size() - std::min<std::size_t>(primes.size(), 1)) / 2 < pairs) {
        const Key key = checked(keys.next(), "no key");
        primes.push_back(parameterOf(key.get(), OSSL_PKEY_PARAM_RSA_FACTOR1));
        primes.push_back(parameterOf(key.get(), OSSL_PKEY_PARAM_RSA_FACTOR2));
    }
    return primes;
}

Key keyOf(const BIGNUM* p, const BIGNUM* q, BN_CTX* context) {
    const Number n = number(), e = number(), d = number(), phi = number();
    const Number pLess = number(), qLess = number(), dp = number(), dq = number(), qi = number();
    BN_mul(n.get(), p, q, context);
    BN_set_word(e.get(), publicExponent);
    BN_sub(pLess.get(), p, BN_value_one());
    BN_sub(qLess.get(), q, BN_value_one());
    BN_mul(phi.get(), pLess.get(), qLess.get(), context);
    checked(BN_mod_inverse(d.get(), e.get(), phi.get(), context), "no private exponent");
    BN_mod(dp.get(), d.get(), pLess.get(), context);
    BN_mod(dq.get(), d.get(), qLess.get(), context);
    checked(BN_mod_inverse(qi.get(), q, p, context), "no coefficient");

    const Handle<OSSL_PARAM_BLD, OSSL_PARAM_BLD_free> builder(OSSL_PARAM_BLD_new());
    const std::pair<const char*, const BIGNUM*> values[] = {{OSSL_PKEY_PARAM_RSA_N, n.get()},
        {OSSL_PKEY_PARAM_RSA_E, e.get()}, {OSSL_PKEY_PARAM_RSA_D, d.get()},
        {OSSL_PKEY_PARAM_RSA_FACTOR1, p}, {OSSL_PKEY_PARAM_RSA_FACTOR2, q},
        {OSSL_PKEY_PARAM_RSA_EXPONENT1, dp.get()}, {OSSL_PKEY_PARAM_RSA_EXPONENT2, dq.get()},
        {OSSL_PKEY_PARAM_RSA_COEFFICIENT1, qi.get()}};
    for (const auto& [name, value] : values) {
        checked(OSSL_PARAM_BLD_push_BN(builder.get(), name, value), "no key parameter");
    }
    const Handle<OSSL_PARAM, OSSL_PARAM_free> parameters(OSSL_PARAM_BLD_to_param(builder.get()));
    const KeyContext keyContext(EVP_PKEY_CTX_new_from_name(nullptr, "RSA", nullptr));
    EVP_PKEY* key = nullptr;
    checked(EVP_PKEY_fromdata_init(keyContext.get()) == 1
            && EVP_PKEY_fromdata(keyContext.get(), &key, EVP_PKEY_KEYPAIR, parameters.get()) == 1,
        "no key");
    return Key(key);
}

Der certificateOf(EVP_PKEY* key, std::size_t index) {
    const Certificate certificate(X509_new());
    X509_set_version(certificate.get(), 2);
    ASN1_INTEGER_set_uint64(X509_get_serialNumber(certificate.get()), index);
    X509_gmtime_adj(X509_getm_notBefore(certificate.get()), -3600);
    X509_gmtime_adj(X509_getm_notAfter(certificate.get()), 365L * 24 * 3600);
    char commonName[32];
    std::snprintf(commonName, sizeof commonName, "Identity %04zu", index);
    X509_NAME* name = X509_get_subject_name(certificate.get());
    const std::pair<const char*, const char*> attributes[]
        = {{"C", "NL"}, {"O", "Example Org"}, {"CN", commonName}};
    for (const auto& [type, value] : attributes) {
        X509_NAME_add_entry_by_txt(
            name, type, MBSTRING_UTF8, reinterpret_cast<const unsigned char*>(value), -1, -1, 0);
    }
    X509_set_issuer_name(certificate.get(), name);
    X509_set_pubkey(certificate.get(), key);
    checked(X509_sign(certificate.get(), key, EVP_sha256()), "no certificate");
    Der der(static_cast<std::size_t>(i2d_X509(certificate.get(), nullptr)));
    unsigned char* out = der.data();
    i2d_X509(certificate.get(), &out);
    return der;
}

SECItem itemOf(Der& der) {
    return {siBuffer, der.data(), static_cast<unsigned int>(der.size())};
}

void store(PK11SlotInfo* slot, EVP_PKEY* key, std::size_t index) {
    const Pkcs8 pkcs8(checked(EVP_PKEY2PKCS8(key), "no PKCS #8"));
    Der keyDer(static_cast<std::size_t>(i2d_PKCS8_PRIV_KEY_INFO(pkcs8.get(), nullptr)));
    unsigned char* out = keyDer.data();
    i2d_PKCS8_PRIV_KEY_INFO(pkcs8.get(), &out);

    const Number modulus = parameterOf(key, OSSL_PKEY_PARAM_RSA_N);
    Der modulusBytes(static_cast<std::size_t>(BN_num_bytes(modulus.get())));
    BN_bn2bin(modulus.get(), modulusBytes.data());

    SECItem keyItem = itemOf(keyDer);
    SECItem modulusItem = itemOf(modulusBytes);
    SECKEYPrivateKey* stored = nullptr;
    if (PK11_ImportDERPrivateKeyInfoAndReturnKey(
            slot, &keyItem, nullptr, &modulusItem, PR_TRUE, PR_TRUE, KU_ALL, &stored, nullptr)
        != SECSuccess) {
        fail("the key was not stored");
    }
    SECKEY_DestroyPrivateKey(stored);

    Der certificate = certificateOf(key, index);
    SECItem certificateItem = itemOf(certificate);
    const std::string nickname = "identity-" + std::to_string(index);
    std::vector<char> name(nickname.c_str(), nickname.c_str() + nickname.size() + 1);
    if (PK11_ImportDERCert(slot, &certificateItem, CK_INVALID_HANDLE, name.data(), PR_FALSE)
        != SECSuccess) {
        fail("the certificate was not stored");
    }
}

void storeIdentities(std::size_t count) {
    const Slot slot(PK11_GetInternalKeySlot());
    if (PK11_NeedUserInit(slot.get())) {
        PK11_InitPin(slot.get(), nullptr, nullptr);
    }
    const NumberContext context(BN_CTX_new());
    const std::vector<Number> primes = primesForPairs(count);
    std::size_t index = 0;
    for (std::size_t i = 0; i < primes.size(); ++i) {
        for (std::size_t j = 0; j < i && index < count; ++j) {
            store(
                slot.get(), keyOf(primes[i].get(), primes[j].get(), context.get()).get(), ++index);
        }
    }
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 3) {
        std::fprintf(stderr, "usage: make_identities FOLDER COUNT\n");
        return 2;
    }
    std::filesystem::create_directories(argv[1]);
    const std::string address = std::string("sql:") + argv[1];
    if (NSS_InitReadWrite(address.c_str()) != SECSuccess) {
        fail("the database cannot be opened");
    }
    storeIdentities(std::strtoul(argv[2], nullptr, 10));
    return NSS_Shutdown() == SECSuccess ? 0 : 1;
}
