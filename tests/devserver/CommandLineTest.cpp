// SPDX-License-Identifier: MIT
#include "devserver/program/CommandLine.h"

#include <gtest/gtest.h>

namespace devserver::test {
namespace {

using Arguments = std::vector<std::string>;

std::string usageErrorOf(const Arguments& arguments) {
    const CommandLine commandLine = parseCommandLine(arguments);
    const auto* error = std::get_if<UsageError>(&commandLine);
    return error != nullptr ? error->reason : "(none)";
}

TEST(CommandLineTest, SignTakesAllItsOptions) {
    const CommandLine commandLine = parseCommandLine({"sign", "--pdf", "a.pdf", "--out", "b.pdf",
        "--xml", "c.xml", "--out", "d.xml", "--certificate", "D=", "--port", "8444", "--room", "r",
        "--timeout", "5", "--authority", "e", "--log", "f", "--send-document", "--agent", "g", "--",
        "--flag", "h", "--send-document"});
    const auto* sign = std::get_if<SignOptions>(&commandLine);
    ASSERT_NE(sign, nullptr);
    ASSERT_EQ(sign->tasks.size(), 2U);
    EXPECT_EQ(sign->tasks[0].kind, DocumentKind::pdf);
    EXPECT_EQ(sign->tasks[0].in, "a.pdf");
    EXPECT_EQ(sign->tasks[0].out, "b.pdf");
    EXPECT_EQ(sign->tasks[1].kind, DocumentKind::xml);
    EXPECT_EQ(sign->tasks[1].in, "c.xml");
    EXPECT_EQ(sign->tasks[1].out, "d.xml");
    EXPECT_EQ(sign->certificate, "D=");
    EXPECT_EQ(sign->port, 8444);
    EXPECT_EQ(sign->room, "r");
    EXPECT_EQ(sign->timeout, std::chrono::seconds(5));
    EXPECT_EQ(sign->authorityFolder, "e");
    EXPECT_EQ(sign->log, "f");
    EXPECT_EQ(sign->agent, "g");
    EXPECT_TRUE(sign->sendDocuments);
    EXPECT_EQ(sign->agentArguments, (Arguments{"--flag", "h", "--send-document"}));
}

TEST(CommandLineTest, SignTakesTheOptionsOfSignatures) {
    Arguments arguments = {"sign", "--pdf", "a", "--repair", "--out", "b", "--certificate", "first",
        "--password", "-", "--reason", "r", "--location", "l", "--id-attribute", "ID",
        "--signature-at", "after=Issuer"};
    const CommandLine commandLine = parseCommandLine(arguments);
    const auto* sign = std::get_if<SignOptions>(&commandLine);
    ASSERT_NE(sign, nullptr) << usageErrorOf(arguments);
    EXPECT_TRUE(sign->repair);
    EXPECT_EQ(sign->passwordFile, "-");
    EXPECT_EQ(sign->pdf.reason, "r");
    EXPECT_EQ(sign->pdf.location, "l");
    EXPECT_EQ(sign->xml.idAttribute, "ID");
    EXPECT_EQ(sign->xml.after, "Issuer");
    EXPECT_FALSE(sign->xml.isFirst);
    for (const char* place : {"after=", "middle"}) {
        arguments.back() = place;
        EXPECT_EQ(usageErrorOf(arguments),
            "'" + std::string(place) + "' cannot stand here for --signature-at");
    }
}

TEST(CommandLineTest, SignNeedsFilesAndCertificate) {
    EXPECT_EQ(usageErrorOf({"sign"}), "sign needs --pdf or --xml");
    EXPECT_EQ(usageErrorOf({"sign", "--pdf", "a"}), "'a' needs --out");
    EXPECT_EQ(usageErrorOf({"sign", "--out", "a"}), "'a' cannot stand here for --out");
    EXPECT_EQ(
        usageErrorOf({"sign", "--pdf", "a", "--xml", "b"}), "'b' cannot stand here for --xml");
    EXPECT_EQ(usageErrorOf({"sign", "--pdf", "a", "--out", "b", "--out", "c"}),
        "'c' cannot stand here for --out");
    EXPECT_EQ(usageErrorOf({"sign", "--pdf", "a", "--out", "b"}), "sign needs --certificate");
}

TEST(CommandLineTest, TrustTakesItsOptions) {
    for (const char* command : {"trust", "untrust"}) {
        const CommandLine commandLine = parseCommandLine({command, "--authority", "a", "--yes"});
        const auto* trust = std::get_if<TrustOptions>(&commandLine);
        ASSERT_NE(trust, nullptr);
        EXPECT_EQ(trust->isTrusted, std::string(command) == "trust");
        EXPECT_TRUE(trust->isConfirmed);
        EXPECT_EQ(trust->authorityFolder, "a");
        EXPECT_EQ(usageErrorOf({command, "--port", "1"}), "unknown option '--port'");
        EXPECT_EQ(usageErrorOf({command, "--", "x"}), "'x' is not expected");
    }
}

TEST(CommandLineTest, BadUsageIsToldInWords) {
    EXPECT_EQ(usageErrorOf({"sing"}), "unknown command 'sing'");
    EXPECT_EQ(usageErrorOf({"--help", "x"}), "unknown option '--help'");
    EXPECT_EQ(usageErrorOf({"--prot", "1"}), "unknown option '--prot'");
    EXPECT_EQ(usageErrorOf({"--port"}), "option --port needs a value");
    for (const char* port : {"65536", "-1", "80x", ""}) {
        EXPECT_EQ(usageErrorOf({"--port", port}),
            "'" + std::string(port) + "' cannot stand here for --port");
    }
    EXPECT_EQ(usageErrorOf({"--", "x"}), "'x' is not expected");
    const Arguments sign = {"sign", "--pdf", "a", "--out", "b", "--certificate", "first"};
    Arguments noTime = sign;
    noTime.insert(noTime.end(), {"--timeout", "0"});
    EXPECT_EQ(usageErrorOf(noTime), "'0' cannot stand here for --timeout");
    Arguments noAgent = sign;
    noAgent.insert(noAgent.end(), {"--", "x"});
    EXPECT_EQ(usageErrorOf(noAgent), "arguments for an agent need --agent");
}

TEST(CommandLineTest, WithoutACommandThePageIsServed) {
    const CommandLine plain = parseCommandLine({});
    const auto* serve = std::get_if<ServeOptions>(&plain);
    ASSERT_NE(serve, nullptr);
    EXPECT_EQ(serve->port, 8443);
    EXPECT_FALSE(serve->open);
    const CommandLine full = parseCommandLine({"--open", "--port", "0", "--authority", "d"});
    serve = std::get_if<ServeOptions>(&full);
    ASSERT_NE(serve, nullptr);
    EXPECT_EQ(serve->port, 0);
    EXPECT_TRUE(serve->open);
    EXPECT_EQ(serve->authorityFolder, "d");
}

} // namespace
} // namespace devserver::test
