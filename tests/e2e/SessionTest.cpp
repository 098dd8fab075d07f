// SPDX-License-Identifier: MIT
#include "tests/e2e/SessionTest.h"

#include "foundation/Handle.h"

#include <csignal>
#include <openssl/evp.h>
#include <openssl/x509.h>

using testing::Contains;
using testing::HasSubstr;

namespace { } // namespace

void SessionTest::SetUp() {
    if (AgentHome::isUnderPolicy() && !AgentHome::canSetPolicy()) {
        GTEST_SKIP() << "this user may not mount, so no policy can be put in place";
    }
    const auto problem = server.start();
    ASSERT_FALSE(problem.has_value()) << *problem;
    ASSERT_TRUE(server.writeAuthority((home.path() / "ca.pem").string()));
}

AgentProcess& SessionTest::startAgent() {
    return startAgent({server.link("room-1")});
}

AgentProcess& SessionTest::startAgent(const std::vector<std::string>& arguments) {
    environment["SSL_CERT_FILE"] = (home.path() / "ca.pem").string();
    agent = std::make_unique<AgentProcess>(home, arguments, environment);
    return *agent;
}

std::shared_ptr<devserver::AgentSession> SessionTest::waitForSession() {
    session = server.waitForAnyAgent(limit);
    return session;
}

void SessionTest::greet() {
    ASSERT_TRUE(session->sendCommand("SERVER_CONNECT"));
    receive("CLIENT_CONNECT");
}

void SessionTest::startSession() {
    startAgent();
    ASSERT_NE(waitForSession(), nullptr) << agent->output();
    greet();
}

json::value SessionTest::receive(const std::string& command) {
    const auto message = session->receive(limit);
    if (!message) {
        ADD_FAILURE() << "no answer " << command << "\n" << agent->output();
        return nullptr;
    }
    EXPECT_EQ(message->command(), command);
    return message->envelope;
}

json::array SessionTest::listCertificates() {
    session->sendCommand("LIST_CERTIFICATES");
    const json::value answer = receive("CERTIFICATE_LIST");
    return json::parse(bytesOfBase64(answer.at("payload").as_string())).as_array();
}

json::object SessionTest::signingRequest() {
    return {{"certificateDigest", listCertificates().at(0).at("certificateDigest")},
        {"signatureAlgorithm", "SHA256withRSA"}};
}

json::object SessionTest::pdfRequest(const std::string& bytes) {
    json::object request = signingRequest();
    request["bytesToSign"] = base64Of(bytes);
    return request;
}

json::object SessionTest::xmlRequest(const std::string& signedInfo) {
    json::object request = signingRequest();
    request["xmlSignedInfo"] = signedInfo;
    return request;
}

void SessionTest::expectEnd(ProcessEnd end) {
    agent->closeInput();
    const auto ended = agent->waitForEnd();
    ASSERT_TRUE(ended.has_value()) << "the agent does not end\n" << agent->output();
    EXPECT_EQ(ended->status, end.status);
    EXPECT_EQ(ended->signal, end.signal);
}

void SessionTest::expectFatalAlert(const std::string& message, const std::string& details) {
    ASSERT_TRUE(agent->waitForOutput("Press Enter to continue.")) << agent->output();
    EXPECT_THAT(agent->output(), HasSubstr("*** " + message + "\n" + details));
    EXPECT_TRUE(agent->isRunning());
    EXPECT_THAT(agent->log(), testing::Not(Contains("Exiting application after fatal error")));
    expectEnd({1, 0});
    const auto log = agent->log();
    ASSERT_GE(log.size(), 2U);
    EXPECT_THAT(
        log.end()[-2], testing::StartsWith("FATAL ERROR: " + message + ", details: " + details));
    EXPECT_EQ(log.back(), "Exiting application after fatal error");
}

void SessionTest::expectFatalError(const std::string& logged) {
    expectEnd({-1, SIGABRT});
    ASSERT_FALSE(agent->log().empty());
    EXPECT_THAT(agent->log().back(), HasSubstr("Fatal error: " + logged));
}

bool SessionTest::logHas(const std::string& line) const {
    const auto lines = agent->log();
    return std::find(lines.begin(), lines.end(), line) != lines.end();
}

std::string base64Of(std::string_view bytes) {
    std::string text((bytes.size() + 2) / 3 * 4 + 1, '\0');
    const int length = EVP_EncodeBlock(reinterpret_cast<unsigned char*>(text.data()),
        reinterpret_cast<const unsigned char*>(bytes.data()), static_cast<int>(bytes.size()));
    text.resize(static_cast<std::size_t>(length));
    return text;
}

std::string bytesOfBase64(std::string_view text) {
    std::string bytes(text.size() / 4 * 3 + 1, '\0');
    const int length = EVP_DecodeBlock(reinterpret_cast<unsigned char*>(bytes.data()),
        reinterpret_cast<const unsigned char*>(text.data()), static_cast<int>(text.size()));
    std::size_t size = length < 0 ? 0 : static_cast<std::size_t>(length);
    for (; !text.empty() && text.back() == '=' && size > 0; text.remove_suffix(1)) {
        --size;
    }
    bytes.resize(size);
    return bytes;
}

bool signatureIsValid(const std::string& certificate, const std::string& signature,
    std::string_view data, const char* digestName) {
    const std::string der = bytesOfBase64(certificate);
    const std::string bytes = bytesOfBase64(signature);
    const auto* position = reinterpret_cast<const unsigned char*>(der.data());
    const Handle<X509, X509_free> x509(d2i_X509(nullptr, &position, static_cast<long>(der.size())));
    const Handle<EVP_MD_CTX, EVP_MD_CTX_free> context(EVP_MD_CTX_new());
    return x509
        && EVP_DigestVerifyInit_ex(context.get(), nullptr, digestName, nullptr, nullptr,
               X509_get0_pubkey(x509.get()), nullptr)
        == 1
        && EVP_DigestVerify(context.get(), reinterpret_cast<const unsigned char*>(bytes.data()),
               bytes.size(), reinterpret_cast<const unsigned char*>(data.data()), data.size())
        == 1;
}

std::string digestOf(std::string_view data, const char* digestName) {
    std::string digest(EVP_MAX_MD_SIZE, '\0');
    unsigned int length = 0;
    EVP_Digest(data.data(), data.size(), reinterpret_cast<unsigned char*>(digest.data()), &length,
        EVP_get_digestbyname(digestName), nullptr);
    digest.resize(length);
    return digest;
}
