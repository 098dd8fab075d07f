// SPDX-License-Identifier: MIT
#include "devserver/crypto/CertificateAuthority.h"
#include "devserver/crypto/Encoding.h"
#include "devserver/crypto/OpenSsl.h"
#include "tests/devserver/TestClient.h"
#include "tests/support/TemporaryFolder.h"

#include <cstdio>
#include <fstream>
#include <sstream>
#include <thread>
#include <vector>

#include <gtest/gtest.h>
#include <unistd.h>

namespace devserver::test {
namespace {

TEST(CertificateTest, EveryNameAndAddressOfTheCertificateIsTrusted) {
    Server server;
    ASSERT_EQ(server.start(), std::nullopt);
    for (const char* host : {"localhost", "127.0.0.1"}) {
        const HttpReply reply = request(server, "/update/version?os=macos", host);
        EXPECT_EQ(reply.status, 200U) << host << ": " << reply.error;
    }
    const HttpReply overIpv6 = request(server, "/update/version?os=macos", "::1");
    // Machines without IPv6 have no ::1 to listen on; where there is one it is served.
    EXPECT_TRUE(overIpv6.status == 200U || overIpv6.error.find("verify") == std::string::npos)
        << overIpv6.error;
}

TEST(CertificateTest, AnotherAuthorityIsNotTrusted) {
    Server server;
    Server other;
    ASSERT_EQ(server.start(), std::nullopt);
    ASSERT_EQ(other.start(), std::nullopt);
    TestClient client;
    EXPECT_FALSE(client.open(server.port(), other.authorityPem(), "/room/1"));
    EXPECT_NE(client.error.find("certificate verify failed"), std::string::npos) << client.error;
}

TEST(CertificateTest, ExpiredCertificateIsRefused) {
    ServerOptions options;
    options.certificates.validFrom = -48h;
    options.certificates.validTo = -24h;
    Server server(options);
    ASSERT_EQ(server.start(), std::nullopt);
    EXPECT_NE(request(server, "/").error.find("certificate verify failed"), std::string::npos);
}

TEST(CertificateTest, CertificateForAnotherNameIsRefused) {
    ServerOptions options;
    options.certificates.dnsNames = {"elsewhere.example"};
    options.certificates.addresses = {};
    Server server(options);
    ASSERT_EQ(server.start(), std::nullopt);
    EXPECT_NE(request(server, "/").error.find("certificate verify failed"), std::string::npos);
}

TEST(CertificateTest, AuthorityIsWrittenAsPem) {
    Server server;
    ASSERT_EQ(server.start(), std::nullopt);
    const std::string path = testing::TempDir() + "devserver-authority.pem";
    ASSERT_TRUE(server.writeAuthority(path));
    std::stringstream text;
    text << std::ifstream(path).rdbuf();
    std::remove(path.c_str());
    EXPECT_EQ(text.str(), server.authorityPem());
    EXPECT_EQ(text.str().find("-----BEGIN CERTIFICATE-----\n"), 0U);
    EXPECT_FALSE(server.writeAuthority("/nonexistent/ca.pem"));
}

TEST(EncodingTest, Base64GoesBothWays) {
    for (const std::string bytes : {"", "a", "ab", "abc", "abcd"}) {
        EXPECT_EQ(base64Decoded(base64Encoded(bytes)), bytes);
    }
    EXPECT_EQ(base64Encoded("[]"), "W10=");
    EXPECT_EQ(base64Encoded("\xFB\xFF"), "+/8=");
}

TEST(EncodingTest, Base64IsReadStrictly) {
    for (const char* text :
        {"W10", "W10=\n", " W10=", "W1\n0=", "W=10", "====", "W===", "W-_=", "W10=W10=", "W"}) {
        EXPECT_EQ(base64Decoded(text), std::nullopt) << text;
    }
}

TEST(EncodingTest, Sha1IsTheStandardOne) {
    EXPECT_EQ(base64Encoded(sha1("abc")), "qZk+NkcGgWq6PiVxeFDCbJzQ2J0=");
}

TEST(EncodingTest, OnlyWholeCertificatesBecomePem) {
    std::string error;
    const auto authority = CertificateAuthority::make({}, error);
    ASSERT_TRUE(authority) << error;
    const std::string& pem = authority->certificatePem();
    std::string body = pem.substr(pem.find('\n'), pem.rfind("\n-----END") - pem.find('\n'));
    std::erase(body, '\n');
    const std::optional<std::string> der = base64Decoded(body);
    ASSERT_TRUE(der);
    EXPECT_EQ(certificatePemOfDer(*der), pem);
    EXPECT_EQ(certificatePemOfDer(*der + "x"), std::nullopt);
    EXPECT_EQ(certificatePemOfDer(der->substr(1)), std::nullopt);
    EXPECT_EQ(certificatePemOfDer(""), std::nullopt);
}

TEST(KeptAuthorityTest, IsTheSameAtTheNextStart) {
    const TemporaryFolder folder;
    const std::string kept = (folder / "a/b").string();
    std::string authority;
    for (int start = 0; start < 2; ++start) {
        Server server({.authorityFolder = kept});
        ASSERT_EQ(server.start(), std::nullopt);
        EXPECT_EQ(request(server, "/update/version?os=macos", "localhost").status, 200U);
        EXPECT_EQ(request(server, "/update/version?os=macos", "127.0.0.1").status, 200U);
        EXPECT_EQ(server.authorityPem(), contentOf(CertificateAuthority::fileIn(kept)));
        if (start == 1) {
            EXPECT_EQ(server.authorityPem(), authority);
        }
        authority = server.authorityPem();
    }
    const auto permissions = std::filesystem::status(kept + "/authority-key.pem").permissions();
    EXPECT_EQ(
        permissions, std::filesystem::perms::owner_read | std::filesystem::perms::owner_write);
}

TEST(KeptAuthorityTest, IsMadeOnceByAllWhoStartTogether) {
    const TemporaryFolder folder;
    std::vector<std::string> authorities(8);
    std::vector<std::thread> starts;
    for (std::string& authority : authorities) {
        starts.emplace_back([&] {
            std::string error;
            const auto kept = CertificateAuthority::kept((folder / "new").string(), {}, error);
            authority = kept ? kept->certificatePem() : error;
        });
    }
    for (std::thread& start : starts) {
        start.join();
    }
    for (const std::string& authority : authorities) {
        EXPECT_EQ(authority, contentOf(CertificateAuthority::fileIn((folder / "new").string())));
    }
}

TEST(KeptAuthorityTest, VouchesForThisMachineAlone) {
    const TemporaryFolder folder;
    ServerOptions options;
    options.authorityFolder = folder.path().string();
    options.certificates.dnsNames = {"localhost", "elsewhere.example"};
    Server server(options);
    ASSERT_EQ(server.start(), std::nullopt);
    EXPECT_NE(request(server, "/", "localhost").error.find("certificate verify failed"),
        std::string::npos);
}

TEST(KeptAuthorityTest, IsMadeAnewWhenItCannotBeUsed) {
    const TemporaryFolder folder;
    std::string error;
    const std::string kept = folder.path().string();
    const auto first = CertificateAuthority::kept(kept, {}, error);
    ASSERT_TRUE(first) << error;
    writeFile(CertificateAuthority::fileIn(kept), "damaged");
    const auto second = CertificateAuthority::kept(kept, {}, error);
    ASSERT_TRUE(second) << error;
    EXPECT_NE(second->certificatePem(), first->certificatePem());
    EXPECT_EQ(contentOf(CertificateAuthority::fileIn(kept)), second->certificatePem());
}

TEST(KeptAuthorityTest, VouchesForServersAlone) {
    const TemporaryFolder folder;
    std::string error;
    for (const auto& authority : {CertificateAuthority::make({}, error),
             CertificateAuthority::kept(folder.path(), {}, error)}) {
        ASSERT_TRUE(authority) << error;
        const openssl::Bio text(BIO_new_mem_buf(authority->certificatePem().data(), -1));
        const openssl::Certificate certificate(
            PEM_read_bio_X509(text.get(), nullptr, nullptr, nullptr));
        EXPECT_EQ(X509_get_extended_key_usage(certificate.get()), XKU_SSL_SERVER + 0U);
    }
}

TEST(KeptAuthorityTest, FilesThatOthersMayReachAreNotUsed) {
    namespace fs = std::filesystem;
    const TemporaryFolder folder;
    const std::string kept = (folder / "kept").string();
    std::string error;
    const auto first = CertificateAuthority::kept(kept, {}, error);
    ASSERT_TRUE(first) << error;
    EXPECT_EQ(fs::status(kept).permissions(), fs::perms::owner_all);
    const std::string key = kept + "/authority-key.pem";
    const std::string certificate = CertificateAuthority::fileIn(kept);
    const auto expectRefusal = [&](const std::string& path, fs::perms more, const char* what) {
        const fs::perms before = fs::status(path).permissions();
        fs::permissions(path, before | more);
        EXPECT_FALSE(CertificateAuthority::kept(kept, {}, error));
        EXPECT_EQ(error, path + " must belong to you, and nobody else may " + what + " it");
        fs::permissions(path, before);
    };
    expectRefusal(key, fs::perms::group_read, "read or change");
    expectRefusal(key, fs::perms::others_read, "read or change");
    expectRefusal(certificate, fs::perms::group_write, "change");
    expectRefusal(kept, fs::perms::others_write, "write to");
    if (geteuid() == 0) { // who alone can give a file away
        ASSERT_EQ(chown(key.c_str(), 65534, 65534), 0);
        EXPECT_FALSE(CertificateAuthority::kept(kept, {}, error));
        ASSERT_EQ(chown(key.c_str(), 0, 0), 0);
    }
    const auto last = CertificateAuthority::kept(kept, {}, error);
    ASSERT_TRUE(last) << error;
    EXPECT_EQ(last->certificatePem(), first->certificatePem());
}

TEST(KeptAuthorityTest, FolderThatCannotBeWrittenIsTold) {
    const TemporaryFolder folder;
    writeFile(folder / "file", "");
    Server server({.authorityFolder = (folder / "file").string()});
    EXPECT_EQ(server.start(), "the authority cannot be kept in " + (folder / "file").string());
}

} // namespace
} // namespace devserver::test
