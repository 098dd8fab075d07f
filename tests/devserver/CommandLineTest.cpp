// SPDX-License-Identifier: MIT
#include "devserver/program/CommandLine.h"
#include "devserver/program/ServeCommands.h"

#include <gtest/gtest.h>

namespace devserver::test {
namespace {

using Arguments = std::vector<std::string>;

std::string usageErrorOf(const Arguments& arguments) {
    const CommandLine commandLine = parseCommandLine(arguments);
    const auto* error = std::get_if<UsageError>(&commandLine);
    return error != nullptr ? error->reason : "(none)";
}

TEST(CommandLineTest, DemoTakesAllItsOptions) {
    const CommandLine commandLine
        = parseCommandLine({"sign-demo", "--pdf", "a.pdf", "--xml", "b.xml", "--out", "c", "--port",
            "8443", "--room", "r", "--timeout", "5", "--agent", "d", "--", "--flag", "e"});
    const auto* demo = std::get_if<DemoOptions>(&commandLine);
    ASSERT_NE(demo, nullptr);
    EXPECT_EQ(demo->pdf, "a.pdf");
    EXPECT_EQ(demo->xml, "b.xml");
    EXPECT_EQ(demo->out, "c");
    EXPECT_EQ(demo->port, 8443);
    EXPECT_EQ(demo->room, "r");
    EXPECT_EQ(demo->timeout, std::chrono::seconds(5));
    EXPECT_EQ(demo->agent, "d");
    EXPECT_EQ(demo->agentArguments, (Arguments{"--flag", "e"}));
}

TEST(CommandLineTest, DemoNeedsItsFiles) {
    EXPECT_EQ(usageErrorOf({"sign-demo"}), "sign-demo needs --pdf");
    EXPECT_EQ(usageErrorOf({"sign-demo", "--pdf", "a"}), "sign-demo needs --xml");
    EXPECT_EQ(usageErrorOf({"sign-demo", "--pdf", "a", "--xml", "b"}), "sign-demo needs --out");
}

TEST(CommandLineTest, BadUsageIsToldInWords) {
    EXPECT_EQ(usageErrorOf({}), "a command is needed");
    EXPECT_EQ(usageErrorOf({"sing"}), "unknown command 'sing'");
    EXPECT_EQ(usageErrorOf({"--help", "x"}), "unknown command '--help'");
    EXPECT_EQ(usageErrorOf({"serve", "--prot", "1"}), "unknown option '--prot' of serve");
    EXPECT_EQ(usageErrorOf({"serve", "--port"}), "option --port needs a value");
    for (const char* port : {"65536", "-1", "80x", ""}) {
        EXPECT_EQ(usageErrorOf({"serve", "--port", port}),
            "'" + std::string(port) + "' is no value for --port");
    }
    EXPECT_EQ(usageErrorOf({"serve", "--", "x"}), "'x' is not expected");
    EXPECT_EQ(
        usageErrorOf({"sign-demo", "--pdf", "a", "--xml", "b", "--out", "c", "--timeout", "0"}),
        "'0' is no value for --timeout");
    EXPECT_EQ(usageErrorOf({"sign-demo", "--pdf", "a", "--xml", "b", "--out", "c", "--", "x"}),
        "arguments for an agent need --agent");
}

TEST(CommandLineTest, ServeHasDefaults) {
    const CommandLine commandLine = parseCommandLine({"serve"});
    const auto* serve = std::get_if<ServeOptions>(&commandLine);
    ASSERT_NE(serve, nullptr);
    EXPECT_EQ(serve->port, 0);
    EXPECT_EQ(serve->room, "demo");
}

std::string envelopeOf(const std::string& line) {
    const ServeCommand command = parseServeCommand(line, "r1");
    const auto* post = std::get_if<PostCommand>(&command);
    return post != nullptr ? post->envelope : "(none)";
}

std::string replyTo(const std::string& line) {
    const ServeCommand command = parseServeCommand(line, "r1");
    const auto* reply = std::get_if<Reply>(&command);
    return reply != nullptr ? reply->text : "(none)";
}

TEST(ServeCommandTest, PlainCommandsCarryNothingElse) {
    EXPECT_EQ(envelopeOf("diagnostics"), R"({"command":"GET_DIAGNOSTICS"})");
    EXPECT_EQ(envelopeOf("  certificates \r"), R"({"command":"LIST_CERTIFICATES"})");
    EXPECT_EQ(envelopeOf("terminate"), R"({"command":"TERMINATE_CLIENT"})");
    EXPECT_EQ(envelopeOf("disconnect"), R"({"command":"SERVER_DISCONNECT"})");
}

TEST(ServeCommandTest, SigningCommandsReadTheirFile) {
    const std::string file = DEVSERVER_SAMPLES "/signed-info.xml";
    const std::string envelope = envelopeOf("sign-xml AbC=  " + file);
    EXPECT_EQ(envelope.find(R"({"command":"SIGN_XML","payload":{"certificateDigest":"AbC=",)"), 0U)
        << envelope;
    EXPECT_TRUE(envelope.ends_with(R"("signatureAlgorithm":"SHA256withRSA"},"requestId":"r1"})"));
    EXPECT_NE(envelopeOf("sign-pdf AbC= " + file).find(R"("pdfToSign":")"), std::string::npos);
    EXPECT_EQ(replyTo("sign-pdf AbC="), "sign-pdf needs a certificate's digest and a file");
    EXPECT_EQ(replyTo("sign-pdf AbC= /no such file"),
        "/no such file cannot be read: No such file or directory");
}

TEST(ServeCommandTest, AnyTextCanBeSent) {
    EXPECT_EQ(envelopeOf("send {\"a\": 1"), "{\"a\": 1");
}

TEST(ServeCommandTest, UnknownLinesAreAnswered) {
    EXPECT_EQ(replyTo(""), "");
    EXPECT_EQ(replyTo("sing"), "unknown command \"sing\"; try help");
    EXPECT_EQ(replyTo("quit now"), "\"quit\" takes no arguments");
    EXPECT_TRUE(std::holds_alternative<QuitCommand>(parseServeCommand("quit", "")));
}

} // namespace
} // namespace devserver::test
