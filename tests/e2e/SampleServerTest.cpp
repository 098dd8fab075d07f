// SPDX-License-Identifier: MIT
// The sample server for Node with the real agent.
#include "devserver/crypto/CertificateAuthority.h"
#include "tests/devserver/WebClient.h"
#include "tests/documents/Verifiers.h"
#include "tests/e2e/AgentProcess.h"

#include <gmock/gmock.h>

namespace {

using devserver::test::call;
using testing::HasSubstr;

class SampleServerTest : public testing::Test {
protected:
    static constexpr const char* node = "/usr/bin/node";

    void SetUp() override {
        ASSERT_TRUE(std::filesystem::exists(node)) << "setup-debian.sh installs it";
        std::string error;
        const auto authority = devserver::CertificateAuthority::make({}, error);
        ASSERT_TRUE(authority) << error;
        authorityPem = authority->certificatePem();
        writeFile(home.path() / "ca.pem", authorityPem);
        writeFile(home.path() / "server.pem", authority->serverCertificatePem());
        writeFile(home.path() / "server.key", authority->serverKeyPem());
        server.emplace(home,
            std::vector<std::string>{QUILLET_SAMPLE_SERVER, "--cert", path("server.pem"), "--key",
                path("server.key"), "--port", "0", "--out", home.path().string()},
            std::map<std::string, std::string>{{"NODE_PATH", "/usr/share/nodejs"}}, node);
        ASSERT_TRUE(server->waitForOutput("/\n")) << server->output();
        const std::string output = server->output();
        const std::string start = "page https://localhost:";
        port = static_cast<std::uint16_t>(std::stoi(output.substr(start.size())));
    }

    std::string path(const std::string& name) const { return (home.path() / name).string(); }

    /// The link of a page that was opened.
    std::string link() {
        const std::string page = call(port, authorityPem, "GET", "/").body;
        const std::size_t start = page.find("quillet://");
        EXPECT_NE(start, std::string::npos) << page;
        return page.substr(start, page.find('"', start) - start);
    }

    AgentHome home;
    std::string authorityPem;
    std::optional<AgentProcess> server;
    std::uint16_t port = 0;
};

TEST_F(SampleServerTest, HasADocumentSignedByTheAgent) {
    home.makeIdentities(2);
    const std::string where = link();
    AgentProcess agent(home, {where}, {{"SSL_CERT_FILE", path("ca.pem")}});
    EXPECT_EQ(agent.waitForEnd(), (ProcessEnd{0, 0})) << agent.output();
    const std::string file = path(where.substr(where.find('=') + 1) + ".xml");
    ASSERT_TRUE(server->waitForOutput("signed " + file)) << server->output();
    const Outcome verified = run("xmlsec1 --verify --insecure " + file);
    EXPECT_EQ(verified.status, 0) << verified.output;
}

TEST_F(SampleServerTest, TurnsAwayAgentsOfRoomsThatItDidNotOpen) {
    home.makeEmptyDatabase();
    AgentProcess agent(home, {link() + "x"}, {{"SSL_CERT_FILE", path("ca.pem")}});
    EXPECT_TRUE(agent.waitForOutput("*** Unknown room")) << agent.output();
    agent.closeInput();
    EXPECT_EQ(agent.waitForEnd(), (ProcessEnd{1, 0}));
}

TEST_F(SampleServerTest, GoesOnAfterAnAgentWithoutCertificates) {
    home.makeEmptyDatabase();
    AgentProcess agent(home, {link()}, {{"SSL_CERT_FILE", path("ca.pem")}});
    ASSERT_TRUE(agent.waitForOutput("*** Error listing certificates 1")) << agent.output();
    agent.writeLine("");
    EXPECT_EQ(agent.waitForEnd(), (ProcessEnd{1, 0})) << agent.output();
    EXPECT_THAT(link(), HasSubstr("quillet://"));
}

} // namespace
