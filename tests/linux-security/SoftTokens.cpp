// SPDX-License-Identifier: MIT
#include "SoftTokens.h"
#include "NssDirectory.h"
#include "foundation/Handle.h"

#include <cstdlib>
#include <gtest/gtest.h>
#include <openssl/bio.h>
#include <openssl/pem.h>

namespace {

std::string pemOf(const KeyPair& key) {
    const Handle<BIO, BIO_free> memory(BIO_new(BIO_s_mem()));
    PEM_write_bio_PrivateKey(memory.get(), key.get(), nullptr, nullptr, 0, nullptr, nullptr);
    char* text = nullptr;
    const long length = BIO_get_mem_data(memory.get(), &text);
    return {text, static_cast<std::size_t>(length)};
}

} // namespace

SoftTokens::SoftTokens() {
    std::filesystem::create_directory(m_folder / "tokens");
    const auto configuration = m_folder / "softhsm2.conf";
    writeFile(configuration,
        "directories.tokendir = " + (m_folder / "tokens").string()
            + "\nobjectstore.backend = file\nlog.level = ERROR\n");
    setenv("SOFTHSM2_CONF", configuration.c_str(), 1);
}

SoftTokens::~SoftTokens() {
    unsetenv("SOFTHSM2_CONF");
}

std::string SoftTokens::module() {
    return SOFTHSM_MODULE;
}

void SoftTokens::create(const std::string& label) const {
    ASSERT_TRUE(run({MAKE_TOKEN, module(), "init", label, pin}));
}

SoftTokens::Stored SoftTokens::add(
    const std::string& label, CertificateBuilder builder, Objects objects) const {
    const Bytes certificate = builder.build();
    return store(label, certificate, builder.key, objects);
}

SoftTokens::Stored SoftTokens::add(const std::string& label, CertificateBuilder builder) const {
    return add(label, std::move(builder), Objects{});
}

SoftTokens::Stored SoftTokens::addBytes(const std::string& label, const Bytes& certificate) const {
    return store(label, certificate, makeKeyPair("RSA"), {});
}

SoftTokens::Stored SoftTokens::store(
    const std::string& label, const Bytes& certificate, const KeyPair& key, Objects objects) const {
    static int numbers = 0;
    const std::string id = "id-" + std::to_string(++numbers);
    const std::string keyFile = (m_folder / (id + ".pem")).string();
    const std::string certificateFile = (m_folder / (id + ".der")).string();
    writeFile(keyFile, pemOf(key));
    writeFile(certificateFile, std::string(certificate.begin(), certificate.end()));
    std::vector<std::string> command = {MAKE_TOKEN, module(), "add", label, pin, id};
    if (objects.key) {
        command.push_back((objects.alwaysAuthenticates ? "careful-key=" : "key=") + keyFile);
    }
    if (objects.publicKey) {
        command.push_back("public=" + keyFile);
    }
    if (objects.certificate) {
        command.push_back((objects.isCertificatePrivate ? "private-certificate=" : "certificate=")
            + certificateFile);
    }
    EXPECT_TRUE(run(command));
    return {id, certificate};
}

void SoftTokens::remove(
    const std::string& label, const std::string& id, const std::string& kind) const {
    ASSERT_TRUE(run({MAKE_TOKEN, module(), "remove", label, pin, id, kind}));
}
