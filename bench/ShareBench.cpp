// SPDX-License-Identifier: MIT
// What the agent itself adds to a small SIGN_PDF: the whole program in this process, with its real
// log and keychain, from the body of the request to the body of the answer. The time spent in calls
// of the keychain, which looks up and signs, is counted apart.
#include "ZqMacClient/ViewController.h"
#include "ZqMacClient/ZqClient.h"
#include "ZqMacClient/ZqKeychainAccess.h"
#include "bench/Measure.h"
#include "bench/Table.h"
#include "foundation/Base64.h"
#include "platform/linux/LinuxSystem.h"
#include "platform/linux/security/NssSecurity.h"
#include "tests/e2e/AgentHome.h"
#include "tests/support/MemoryPlatform.h"
#include "tests/support/StompText.h"

#include <stdexcept>

namespace {

using namespace platform;

/// The real keychain, and how long it was at work, in seconds.
class TimedSecurity : public Security {
    template <typename Call>
    static auto timed(double& sum, const Call& call) {
        const auto began = Clock::now();
        auto result = call();
        sum += secondsSince(began);
        return result;
    }

public:
    TimedSecurity(UserInterface& userInterface, const std::string& database)
        : m_keychain(userInterface, database) { }

    OSStatus SecKeychainCopyDefault() override {
        return timed(lookUp, [&] { return m_keychain.SecKeychainCopyDefault(); });
    }
    SecResult<PropertyArray> SecItemCopyMatching(const PropertyDictionary& query) override {
        return timed(lookUp, [&] { return m_keychain.SecItemCopyMatching(query); });
    }
    SecResult<SecKeyRef> SecIdentityCopyPrivateKey(const SecIdentityRef& identity) override {
        return timed(lookUp, [&] { return m_keychain.SecIdentityCopyPrivateKey(identity); });
    }
    SecResult<SecCertificateRef> SecIdentityCopyCertificate(
        const SecIdentityRef& identity) override {
        return timed(lookUp, [&] { return m_keychain.SecIdentityCopyCertificate(identity); });
    }
    std::optional<Bytes> SecCertificateCopySerialNumber(
        const SecCertificateRef& certificate) override {
        return timed(
            lookUp, [&] { return m_keychain.SecCertificateCopySerialNumber(certificate); });
    }
    std::optional<PropertyDictionary> SecCertificateCopyValues(
        const SecCertificateRef& certificate) override {
        return timed(lookUp, [&] { return m_keychain.SecCertificateCopyValues(certificate); });
    }
    bool SecKeyIsAlgorithmSupported(
        const SecKeyRef& key, SecKeyOperationType operation, SecKeyAlgorithm algorithm) override {
        return timed(lookUp,
            [&] { return m_keychain.SecKeyIsAlgorithmSupported(key, operation, algorithm); });
    }
    SecSignature SecKeyCreateSignature(
        const SecKeyRef& key, SecKeyAlgorithm algorithm, BytesView data) override {
        return timed(
            signature, [&] { return m_keychain.SecKeyCreateSignature(key, algorithm, data); });
    }
    std::optional<std::string> SecCopyErrorMessageString(OSStatus status) override {
        return m_keychain.SecCopyErrorMessageString(status);
    }
    OSStatus SecKeychainSetUserInteractionAllowed(bool allowed) override {
        return m_keychain.SecKeychainSetUserInteractionAllowed(allowed);
    }

    double lookUp = 0;
    double signature = 0;

private:
    NssSecurity m_keychain;
};

/// Application, view and network in memory; log and keychain as in the agent.
class BenchPlatform : public Platform {
public:
    BenchPlatform(const std::string& database, const std::string& log)
        : m_security(m_userInterface, database) {
        if (!m_system.reopenStandardError(log, "a+")) {
            throw std::runtime_error("no log file");
        }
    }

    MemoryApplication& application() override { return m_application; }
    UserInterface& userInterface() override { return m_userInterface; }
    System& system() override { return m_system; }
    TimedSecurity& security() override { return m_security; }
    MemoryNetwork& network() override { return m_network; }

    Trace trace;

private:
    MemoryApplication m_application{trace};
    MemoryUserInterface m_userInterface{trace};
    LinuxSystem m_system{0, nullptr};
    TimedSecurity m_security;
    MemoryNetwork m_network{trace, m_application.otherQueues,
        [this](std::function<void()> work) { m_application.performOnMainThread(std::move(work)); }};
    PlatformScope m_scope{*this};
};

class Session {
public:
    Session(const std::string& database, const std::string& log)
        : m_platform(database, log)
        , m_view(m_platform.userInterface().statusTextView()) {
        m_view.viewDidLoad();
        m_view.connectToServer("quillet://h/?roomId=bench");
        m_server = m_platform.network().webSockets.at(0);
        m_server->open();
        receive(connectedText());
    }

    /// Seconds of one command.
    struct Shares {
        double lookUp = 0;
        double signature = 0;
        double agent = 0; // all else
    };

    Shares roundTrip(const std::string& message) {
        m_platform.trace = {};
        m_server->sent.clear();
        TimedSecurity& keychain = m_platform.security();
        keychain.lookUp = keychain.signature = 0;
        const auto began = Clock::now();
        receive(message);
        const double whole = secondsSince(began);
        if (m_server->sent.size() != 1) {
            throw std::runtime_error("a command was not answered");
        }
        return {keychain.lookUp, keychain.signature, whole - keychain.lookUp - keychain.signature};
    }

    /// What a server calls the only identity.
    std::string digest() {
        const auto list = ZqKeychainAccess().listCertificates(false);
        return list.at(0).certificateDigest.value();
    }

private:
    void receive(const std::string& text) {
        m_server->receive(text);
        m_platform.application().runPending();
    }

    BenchPlatform m_platform;
    ViewController m_view;
    std::shared_ptr<MemoryWebSocket> m_server;
};

void measure() {
    const AgentHome home;
    home.makeIdentities(1);
    const std::string log = (home.path() / "log").string();
    Session session(home.databaseFolder().string(), log);
    const std::string request
        = messageText(R"({"command":"SIGN_PDF","payload":{"certificateDigest":")" + session.digest()
            + R"(","bytesToSign":")" + base64Encoded(Bytes(1024, 0x51))
            + R"(","signatureAlgorithm":"SHA256withRSA","pdfToSign":")"
            + base64Encoded(Bytes(1024, 0x52)) + R"("},"requestId":"q1"})");
    std::vector<double> agent, lookUp, signature;
    for (int run = 0; run < 500; ++run) {
        const Session::Shares shares = session.roundTrip(request);
        agent.push_back(shares.agent);
        lookUp.push_back(shares.lookUp);
        signature.push_back(shares.signature);
    }
    const double rsa = rsaSignatureTime();
    printRow("small SIGN_PDF: the keychain's RSA-2048 signature", median(signature),
        rsaBaselineName, rsa);
    printRow("small SIGN_PDF: the keychain's look-up", median(lookUp), rsaBaselineName, rsa);
    printRow("small SIGN_PDF: all else, in the agent", median(agent), rsaBaselineName, rsa);
    printRow("small SIGN_PDF: all else, in the agent", median(agent),
        "the keychain's RSA-2048 signature", median(signature));
}

} // namespace

int main() {
    try {
        measure();
    } catch (const std::exception& error) {
        std::printf("share_bench: %s\n", error.what());
        return 1;
    }
    return 0;
}
