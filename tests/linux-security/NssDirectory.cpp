// SPDX-License-Identifier: MIT
#include "NssDirectory.h"

#include <fcntl.h>
#include <fstream>
#include <gtest/gtest.h>
#include <openssl/err.h>
#include <openssl/rsa.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace platform;

namespace {

std::shared_ptr<EVP_PKEY> publicKeyOf(BytesView certificate) {
    const unsigned char* position = certificate.data();
    const std::unique_ptr<X509, void (*)(X509*)> parsed(
        d2i_X509(nullptr, &position, static_cast<long>(certificate.size())), X509_free);
    return {X509_get_pubkey(parsed.get()), EVP_PKEY_free};
}

std::string firstCommonName(Security& security, const SecCertificateRef& certificate) {
    const auto values = security.SecCertificateCopyValues(certificate);
    const PropertyValue* names = values ? values->find(kSecOIDCommonName) : nullptr;
    if (names == nullptr) {
        return {};
    }
    const auto& texts
        = *names->as<PropertyDictionary>()->find(kSecPropertyKeyValue)->as<PropertyArray>();
    return *texts.at(0).as<std::string>();
}

} // namespace

bool run(const std::vector<std::string>& command) {
    std::vector<char*> arguments;
    for (const std::string& argument : command) {
        arguments.push_back(const_cast<char*>(argument.c_str()));
    }
    arguments.push_back(nullptr);
    posix_spawn_file_actions_t files;
    posix_spawn_file_actions_init(&files);
    for (const int descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        posix_spawn_file_actions_addopen(&files, descriptor, "/dev/null", O_RDWR, 0);
    }
    pid_t child = 0;
    const int failure
        = posix_spawnp(&child, arguments[0], &files, nullptr, arguments.data(), environ);
    posix_spawn_file_actions_destroy(&files);
    int status = 0;
    return failure == 0 && waitpid(child, &status, 0) == child && WIFEXITED(status)
        && WEXITSTATUS(status) == 0;
}

NssDirectory::NssDirectory(const std::string& name) {
    // The tools of NSS wait for the disk at every step; where there is memory, tests need not.
    const bool hasMemory = access("/dev/shm", W_OK) == 0;
    const std::filesystem::path base
        = hasMemory ? "/dev/shm" : std::filesystem::temp_directory_path();
    std::string pattern = (base / "quillet-nss-XXXXXX").string();
    m_parent = mkdtemp(pattern.data());
    m_path = m_parent / name;
    std::filesystem::create_directory(m_path);
}

NssDirectory::~NssDirectory() {
    std::error_code ignored;
    std::filesystem::remove_all(m_parent, ignored);
}

std::string NssDirectory::write(const std::string& fileName, BytesView content) const {
    const std::filesystem::path file = m_parent / fileName;
    std::ofstream(file, std::ios::binary)
        .write(reinterpret_cast<const char*>(content.data()),
            static_cast<std::streamsize>(content.size()));
    return file.string();
}

std::string NssDirectory::writePassword(const std::string& password) const {
    return write("password-" + std::to_string(password.size()), bytesOf(password + "\n"));
}

void NssDirectory::create(const std::string& password) {
    m_password = password;
    ASSERT_TRUE(run({"certutil", "-N", "-d", "sql:" + path(), "-f", writePassword(m_password)}));
}

Bytes NssDirectory::addIdentity(CertificateBuilder builder, const std::string& name) {
    Bytes certificate = builder.build();
    const std::string file = write("identity.p12", pkcs12(certificate, builder.key, name.c_str()));
    EXPECT_TRUE(run({"pk12util", "-i", file, "-d", "sql:" + path(), "-k", writePassword(m_password),
        "-W", "p12"}));
    return certificate;
}

Bytes NssDirectory::addCertificate(CertificateBuilder builder, const std::string& name) {
    Bytes certificate = builder.build();
    const std::string file = write("certificate.der", certificate);
    EXPECT_TRUE(run({"certutil", "-A", "-d", "sql:" + path(), "-n", name, "-t", "CT,C,C", "-i",
        file, "-f", writePassword(m_password)}));
    return certificate;
}

void NssDirectory::addManyIdentities(int count) {
    ASSERT_TRUE(run({MAKE_IDENTITIES, path(), std::to_string(count)}));
}

void NssDirectory::addModule(const std::string& name, const std::string& library) const {
    std::ofstream(m_path / "pkcs11.txt", std::ios::app)
        << "\nlibrary=" << library << "\nname=" << name << "\n";
}

void NssDirectory::changePassword(const std::string& password) {
    ASSERT_TRUE(run({"certutil", "-W", "-d", "sql:" + path(), "-f", writePassword(m_password), "-@",
        writePassword(password)}));
    m_password = password;
}

void NssDirectory::removeKeyAndCertificate(const std::string& name) {
    ASSERT_TRUE(run(
        {"certutil", "-F", "-d", "sql:" + path(), "-n", name, "-f", writePassword(m_password)}));
}

std::optional<std::string> ScriptedUserInterface::askForPassword(
    const std::string& tokenName, bool again) {
    questions.push_back(tokenName + (again ? " again" : ""));
    if (passwords.empty()) {
        return std::nullopt;
    }
    std::string password = passwords.front();
    passwords.erase(passwords.begin());
    return password;
}

PropertyDictionary allIdentities() {
    return {{kSecClass, kSecClassIdentity}, {kSecReturnData, true}, {kSecReturnRef, true},
        {kSecMatchLimit, kSecMatchLimitAll}};
}

std::vector<ListedIdentity> listed(Security& security) {
    const auto result = security.SecItemCopyMatching(allIdentities());
    EXPECT_EQ(result.status, errSecSuccess)
        << security.SecCopyErrorMessageString(result.status).value_or("");
    std::vector<ListedIdentity> identities;
    for (const PropertyValue& item : result.value.value_or(PropertyArray())) {
        const auto& dictionary = *item.as<PropertyDictionary>();
        ListedIdentity identity;
        identity.der = *dictionary.find(kSecValueData)->as<Bytes>();
        identity.identity = *dictionary.find(kSecValueRef)->as<SecIdentityRef>();
        identity.certificate = *security.SecIdentityCopyCertificate(identity.identity).value;
        identity.key = *security.SecIdentityCopyPrivateKey(identity.identity).value;
        identity.commonName = firstCommonName(security, identity.certificate);
        identities.push_back(std::move(identity));
    }
    return identities;
}

bool verifiesSha256Digest(BytesView certificate, BytesView digest, const Bytes& signature) {
    const auto key = publicKeyOf(certificate);
    const std::unique_ptr<EVP_PKEY_CTX, void (*)(EVP_PKEY_CTX*)> context(
        EVP_PKEY_CTX_new(key.get(), nullptr), EVP_PKEY_CTX_free);
    EVP_PKEY_verify_init(context.get());
    EVP_PKEY_CTX_set_rsa_padding(context.get(), RSA_PKCS1_PADDING);
    EVP_PKEY_CTX_set_signature_md(context.get(), EVP_sha256());
    const bool verified = EVP_PKEY_verify(context.get(), signature.data(), signature.size(),
                              digest.data(), digest.size())
        == 1;
    ERR_clear_error();
    return verified;
}

bool verifiesSha1Message(BytesView certificate, BytesView message, const Bytes& signature) {
    const auto key = publicKeyOf(certificate);
    const std::unique_ptr<EVP_MD_CTX, void (*)(EVP_MD_CTX*)> context(
        EVP_MD_CTX_new(), EVP_MD_CTX_free);
    EVP_DigestVerifyInit(context.get(), nullptr, EVP_sha1(), nullptr, key.get());
    const bool verified = EVP_DigestVerify(context.get(), signature.data(), signature.size(),
                              message.data(), message.size())
        == 1;
    ERR_clear_error();
    return verified;
}
