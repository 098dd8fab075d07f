// SPDX-License-Identifier: MIT
// The signing server's program with the real agent.
#include "tests/documents/Verifiers.h"
#include "tests/e2e/AgentProcess.h"

#include <gmock/gmock.h>

namespace {

using testing::Each;
using testing::HasSubstr;
using testing::SizeIs;

class SigningServerTest : public testing::Test {
protected:
    std::string path(const std::string& name) const { return (home.path() / name).string(); }

    std::unique_ptr<AgentProcess> serve(std::vector<std::string> arguments) {
        arguments.insert(arguments.end(), {"--authority", path("authority")});
        return std::make_unique<AgentProcess>(
            home, arguments, std::map<std::string, std::string>{}, QUILLET_DEVSERVER);
    }

    /// Signs with an agent that the server starts; what the server wrote.
    std::string sign(const std::string& kind, const std::string& in, const std::string& out) {
        const auto server = serve(
            {"sign", kind, in, "--out", out, "--certificate", "first", "--agent", QUILLET_AGENT});
        EXPECT_EQ(server->waitForEnd(), (ProcessEnd{0, 0})) << server->output();
        return server->output();
    }

    AgentHome home;
};

TEST_F(SigningServerTest, SignsFilesWithTheAgentAndAgain) {
    home.makeIdentities(1);
    const std::string output = sign("--pdf", QUILLET_SAMPLES "/contract.pdf", path("once.pdf"));
    EXPECT_THAT(output, HasSubstr("1 certificate, chosen: Identity 0001\n"));
    EXPECT_THAT(output, HasSubstr("\nSigned:\n  " + path("once.pdf") + "\n"));
    sign("--pdf", path("once.pdf"), path("twice.pdf"));
    const PdfSigVerdict verdict = pdfsig(contentOf(path("twice.pdf")));
    EXPECT_THAT(verdict.validations, SizeIs(2));
    EXPECT_THAT(verdict.validations, Each("Signature is Valid.")) << verdict.output;
    EXPECT_TRUE(verdict.lastCoversDocument);

    sign("--xml", QUILLET_SAMPLES "/order.xml", path("signed.xml"));
    const Outcome xml = run("xmlsec1 --verify --insecure " + path("signed.xml"));
    EXPECT_EQ(xml.status, 0) << xml.output;
}

/// In a pseudo-terminal, which `script` makes.
TEST_F(SigningServerTest, AgentThatItStartsInATerminalAsksThereForThePassword) {
    home.makeProtectedIdentity("Correct7");
    const std::string command = QUILLET_DEVSERVER " sign --pdf " QUILLET_SAMPLES
                                                  "/contract.pdf --certificate first --out "
        + path("signed.pdf") + " --authority " + path("authority") + " --agent " QUILLET_AGENT;
    AgentProcess terminal(home,
        {"--quiet", "--flush", "--return", "--command", command, "/dev/null"},
        std::map<std::string, std::string>{}, "/usr/bin/script");
    ASSERT_TRUE(terminal.waitForOutput("Password of \"NSS Certificate DB\" to sign with the "
                                       "certificate of Example Signer for the server localhost:"))
        << terminal.output();
    terminal.writeLine("wrong");
    ASSERT_TRUE(terminal.waitForOutput("That password is wrong.")) << terminal.output();
    terminal.writeLine("Correct7");
    EXPECT_EQ(terminal.waitForEnd(), (ProcessEnd{0, 0})) << terminal.output();
    EXPECT_THAT(terminal.output(), testing::Not(HasSubstr("Correct7"))) << "it is echoed";
    EXPECT_THAT(pdfsig(contentOf(path("signed.pdf"))).validations, Each("Signature is Valid."));
}

TEST_F(SigningServerTest, AgentOfAnotherRoomIsToldWhatToDo) {
    const auto server = serve({"sign", "--pdf", QUILLET_SAMPLES "/contract.pdf", "--out",
        path("out.pdf"), "--certificate", "first", "--room", "right"});
    ASSERT_TRUE(server->waitForOutput("agent      ")) << server->output();
    const std::string output = server->output();
    const std::size_t start = output.find("quillet://");
    const std::string link = output.substr(start, output.find("right", start) - start) + "wrong";
    AgentProcess agent(home, {link}, {{"SSL_CERT_FILE", path("authority/authority.pem")}});
    EXPECT_TRUE(agent.waitForOutput("*** Unknown room\nThe server has no room \"wrong\". Use the "
                                    "link that it shows now."))
        << agent.output();
    agent.closeInput();
    EXPECT_EQ(agent.waitForEnd(), (ProcessEnd{1, 0}));
    EXPECT_TRUE(server->waitForOutput(
        "An agent asked for the room \"wrong\" instead of \"right\" and was turned away."));
}

TEST_F(SigningServerTest, PageIsOpenedAndStopIsAGoodEnd) {
    const auto server = serve({"--port", "0", "--open"});
    const std::string opened = home.waitForToolCall("xdg-open");
    EXPECT_THAT(opened, testing::StartsWith("https://localhost:"));
    EXPECT_TRUE(server->waitForOutput("page       " + opened)) << server->output();
    server->terminate();
    EXPECT_EQ(server->waitForEnd(), (ProcessEnd{0, 0}));
}

} // namespace
