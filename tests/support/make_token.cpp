// SPDX-License-Identifier: MIT
// make_token MODULE init LABEL PIN           a new token in the first slot that has none
// make_token MODULE add LABEL PIN ID OBJECT...   objects under CKA_ID `ID`:
//     key=FILE, public=FILE       from a private key in PEM; RSA or a P-256 curve
//     careful-key=FILE            the key, which wants a PIN for each use
//     certificate=FILE            the bytes of the file, whatever they are
//     private-certificate=FILE    the same, seen only by who has logged in
// make_token MODULE remove LABEL PIN ID CLASS    key, public or certificate
#include "foundation/Handle.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dlfcn.h>
#include <fstream>
#include <iterator>
#include <openssl/bn.h>
#include <openssl/core_names.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <p11-kit/pkcs11.h>
#include <string>
#include <vector>

namespace {

using Text = std::string;
using Key = Handle<EVP_PKEY, EVP_PKEY_free>;

/// The OBJECT IDENTIFIER of the curve P-256.
constexpr char curve[] = "\x06\x08\x2A\x86\x48\xCE\x3D\x03\x01\x07";

[[noreturn]] void fail(const Text& what) {
    std::fprintf(stderr, "make_token: %s\n", what.c_str());
    std::exit(1);
}

void check(CK_RV result, const char* what) {
    if (result != CKR_OK) {
        fail(Text(what) + ": " + std::to_string(result));
    }
}

CK_UTF8CHAR* textPointer(Text& text) {
    return reinterpret_cast<CK_UTF8CHAR*>(text.data());
}

CK_FUNCTION_LIST* open(const char* module) {
    void* library = dlopen(module, RTLD_NOW);
    void* symbol = library == nullptr ? nullptr : dlsym(library, "C_GetFunctionList");
    if (symbol == nullptr) {
        fail(dlerror());
    }
    CK_FUNCTION_LIST* functions = nullptr;
    check(reinterpret_cast<CK_C_GetFunctionList>(symbol)(&functions), "C_GetFunctionList");
    check(functions->C_Initialize(nullptr), "C_Initialize");
    return functions;
}

/// The slot of the token called `label`; of one that is not there yet when it is empty.
CK_SLOT_ID slotOf(CK_FUNCTION_LIST* functions, const Text& label) {
    CK_SLOT_ID slots[64];
    CK_ULONG count = std::size(slots);
    check(functions->C_GetSlotList(CK_TRUE, slots, &count), "C_GetSlotList");
    for (CK_ULONG i = 0; i < count; ++i) {
        CK_TOKEN_INFO info{};
        check(functions->C_GetTokenInfo(slots[i], &info), "C_GetTokenInfo");
        const bool isPrepared = (info.flags & CKF_TOKEN_INITIALIZED) != 0;
        Text name(reinterpret_cast<char*>(info.label), sizeof info.label);
        name.erase(name.find_last_not_of(' ') + 1);
        if (label.empty() ? !isPrepared : isPrepared && name == label) {
            return slots[i];
        }
    }
    fail("no such token: " + label);
}

CK_SESSION_HANDLE login(CK_FUNCTION_LIST* functions, CK_SLOT_ID slot, CK_USER_TYPE user, Text pin) {
    CK_SESSION_HANDLE session = 0;
    check(functions->C_OpenSession(
              slot, CKF_SERIAL_SESSION | CKF_RW_SESSION, nullptr, nullptr, &session),
        "C_OpenSession");
    check(functions->C_Login(session, user, textPointer(pin), pin.size()), "C_Login");
    return session;
}

void prepare(CK_FUNCTION_LIST* functions, const Text& label, Text pin) {
    Text padded = label;
    padded.resize(32, ' ');
    const CK_SLOT_ID slot = slotOf(functions, "");
    check(functions->C_InitToken(slot, textPointer(pin), pin.size(), textPointer(padded)),
        "C_InitToken");
    const CK_SESSION_HANDLE session = login(functions, slotOf(functions, label), CKU_SO, pin);
    check(functions->C_InitPIN(session, textPointer(pin), pin.size()), "C_InitPIN");
}

/// The attributes of one object, with their values.
class Template {
public:
    explicit Template(CK_OBJECT_CLASS objectClass) { addNumber(CKA_CLASS, objectClass); }

    void add(CK_ATTRIBUTE_TYPE type, Text value) { m_values.emplace_back(type, std::move(value)); }
    void addNumber(CK_ATTRIBUTE_TYPE type, CK_ULONG value) {
        add(type, Text(reinterpret_cast<const char*>(&value), sizeof value));
    }
    void addFlag(CK_ATTRIBUTE_TYPE type, bool value) { add(type, Text(1, value ? 1 : 0)); }
    void addParameter(CK_ATTRIBUTE_TYPE type, const EVP_PKEY* key, const char* name) {
        BIGNUM* number = nullptr;
        if (EVP_PKEY_get_bn_param(key, name, &number) != 1) {
            fail(Text("no ") + name);
        }
        Text bytes(static_cast<std::size_t>(BN_num_bytes(number)), '\0');
        BN_bn2bin(number, reinterpret_cast<unsigned char*>(bytes.data()));
        BN_clear_free(number);
        add(type, bytes);
    }

    std::vector<CK_ATTRIBUTE> attributes() {
        std::vector<CK_ATTRIBUTE> list;
        for (auto& [type, value] : m_values) {
            list.push_back({type, value.data(), value.size()});
        }
        return list;
    }

private:
    std::vector<std::pair<CK_ATTRIBUTE_TYPE, Text>> m_values;
};

Text contentOf(const Text& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

Key readKey(const Text& path) {
    const Handle<BIO, BIO_free> file(BIO_new_file(path.c_str(), "r"));
    EVP_PKEY* key = file ? PEM_read_bio_PrivateKey(file.get(), nullptr, nullptr, nullptr) : nullptr;
    return key != nullptr ? Key(key) : (fail("no key in " + path), Key());
}

Template keyTemplate(const EVP_PKEY* key, bool isPrivate) {
    Template object(isPrivate ? CKO_PRIVATE_KEY : CKO_PUBLIC_KEY);
    object.addFlag(CKA_PRIVATE, isPrivate);
    object.addFlag(isPrivate ? CKA_SIGN : CKA_VERIFY, true);
    if (EVP_PKEY_is_a(key, "RSA") == 1) {
        object.addNumber(CKA_KEY_TYPE, CKK_RSA);
        object.addParameter(CKA_MODULUS, key, OSSL_PKEY_PARAM_RSA_N);
        object.addParameter(CKA_PUBLIC_EXPONENT, key, OSSL_PKEY_PARAM_RSA_E);
        if (isPrivate) {
            object.addParameter(CKA_PRIVATE_EXPONENT, key, OSSL_PKEY_PARAM_RSA_D);
            object.addParameter(CKA_PRIME_1, key, OSSL_PKEY_PARAM_RSA_FACTOR1);
            object.addParameter(CKA_PRIME_2, key, OSSL_PKEY_PARAM_RSA_FACTOR2);
            object.addParameter(CKA_EXPONENT_1, key, OSSL_PKEY_PARAM_RSA_EXPONENT1);
            object.addParameter(CKA_EXPONENT_2, key, OSSL_PKEY_PARAM_RSA_EXPONENT2);
            object.addParameter(CKA_COEFFICIENT, key, OSSL_PKEY_PARAM_RSA_COEFFICIENT1);
        }
        return object;
    }
    object.addNumber(CKA_KEY_TYPE, CKK_EC);
    object.add(CKA_EC_PARAMS, Text(curve, sizeof curve - 1));
    if (isPrivate) {
        object.addParameter(CKA_VALUE, key, OSSL_PKEY_PARAM_PRIV_KEY);
    } else {
        unsigned char point[65];
        std::size_t length = 0;
        EVP_PKEY_get_octet_string_param(key, OSSL_PKEY_PARAM_PUB_KEY, point, sizeof point, &length);
        object.add(CKA_EC_POINT, Text("\x04\x41") + Text(std::begin(point), point + length));
    }
    return object;
}

Template certificateTemplate(const Text& path, bool isPrivate) {
    Template object(CKO_CERTIFICATE);
    object.addNumber(CKA_CERTIFICATE_TYPE, CKC_X_509);
    object.addFlag(CKA_PRIVATE, isPrivate);
    object.add(CKA_SUBJECT, Text("\x30\x00", 2)); // the certificate itself counts
    object.add(CKA_VALUE, contentOf(path));
    return object;
}

Template templateOf(const Text& kind, const Text& path) {
    if (kind == "key" || kind == "public") {
        return keyTemplate(readKey(path).get(), kind == "key");
    }
    if (kind == "careful-key") {
        Template object = keyTemplate(readKey(path).get(), true);
        object.addFlag(CKA_ALWAYS_AUTHENTICATE, true);
        return object;
    }
    return certificateTemplate(path, kind == "private-certificate");
}

void add(CK_FUNCTION_LIST* functions, CK_SESSION_HANDLE session, const Text& id, const Text& what) {
    const std::size_t equals = what.find('=');
    Template object = templateOf(what.substr(0, equals), what.substr(equals + 1));
    object.add(CKA_ID, id);
    object.add(CKA_LABEL, id);
    object.addFlag(CKA_TOKEN, true);
    std::vector<CK_ATTRIBUTE> attributes = object.attributes();
    CK_OBJECT_HANDLE handle = 0;
    check(functions->C_CreateObject(session, attributes.data(), attributes.size(), &handle),
        "C_CreateObject");
}

void remove(
    CK_FUNCTION_LIST* functions, CK_SESSION_HANDLE session, const Text& id, const Text& kind) {
    Template wanted(kind == "key" ? CKO_PRIVATE_KEY
            : kind == "public"    ? CKO_PUBLIC_KEY
                                  : CKO_CERTIFICATE);
    wanted.add(CKA_ID, id);
    std::vector<CK_ATTRIBUTE> attributes = wanted.attributes();
    CK_OBJECT_HANDLE found = 0;
    CK_ULONG count = 0;
    check(functions->C_FindObjectsInit(session, attributes.data(), attributes.size()), "find");
    check(functions->C_FindObjects(session, &found, 1, &count), "find");
    check(functions->C_FindObjectsFinal(session), "find");
    check(count == 1 ? functions->C_DestroyObject(session, found) : CKR_OBJECT_HANDLE_INVALID,
        "C_DestroyObject");
}

} // namespace

int main(int argc, char** argv) {
    const std::vector<Text> words(argv, argv + argc);
    if (words.size() < 5) {
        fail("usage: make_token MODULE init|add|remove LABEL PIN [ID OBJECT...]");
    }
    CK_FUNCTION_LIST* functions = open(argv[1]);
    if (words[2] == "init") {
        prepare(functions, words[3], words[4]);
    } else {
        const CK_SESSION_HANDLE session
            = login(functions, slotOf(functions, words[3]), CKU_USER, words[4]);
        for (std::size_t i = 6; i < words.size(); ++i) {
            words[2] == "add" ? add(functions, session, words[5], words[i])
                              : remove(functions, session, words[5], words[i]);
        }
    }
    functions->C_Finalize(nullptr);
    return 0;
}
