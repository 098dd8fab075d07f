// SPDX-License-Identifier: MIT
#include "tests/browser/Browser.h"
#include "tests/devserver/TestAgent.h"
#include "tests/documents/Verifiers.h"

#include <gmock/gmock.h>

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

class PageTest : public testing::Test {
protected:
    void SetUp() override {
        home.makeIdentities(2);
        ASSERT_TRUE(server.waitForOutput("an agent refuses the server.")) << server.output();
        const std::string output = server.output();
        const std::string label = "page       ";
        const std::size_t start = output.find(label) + label.size();
        address = output.substr(start, output.find('\n', start) - start);
        // The browser trusts the authority as the server has told.
        const Outcome trusted = ::run("certutil -A -d sql:" + home.databaseFolder().string()
            + " -n quillet-devserver -t C,, -i " + authority());
        ASSERT_EQ(trusted.status, 0) << trusted.output;
        browser.emplace(home);
        browser->resize(1280, 900);
        browser->open(address);
        browser->waitForText("#status", "Waiting for the agent");
    }

    void TearDown() override {
        browser.reset();
        server.terminate();
        EXPECT_EQ(server.waitForEnd(), (ProcessEnd{0, 0})) << server.output();
    }

    std::string authority() const { return (home.path() / "authority/authority.pem").string(); }
    std::string link() { return browser->attribute("#link", "href"); }
    std::string room() { return link().substr(link().find("roomId=") + 7); }
    std::uint16_t port() const {
        return static_cast<std::uint16_t>(std::stoi(address.substr(address.rfind(':') + 1)));
    }

    void startAgent() {
        agent = std::make_unique<AgentProcess>(home, std::vector<std::string>{link()},
            std::map<std::string, std::string>{{"SSL_CERT_FILE", authority()}});
        browser->waitForText("#status", "The agent is connected");
    }

    void choose(const std::string& path) { browser->type("#file", path); }

    void sign(const std::string& path) {
        choose(path);
        browser->waitUntilEnabled("#sign");
        browser->click("#sign");
    }

    /// The file of that name, once the browser has put it in the place of the empty one that keeps
    /// the name.
    std::string downloaded(const std::string& name) {
        const std::filesystem::path file = browser->downloads() / name;
        std::error_code error;
        EXPECT_TRUE(eventually([&] {
            return std::filesystem::file_size(file, error) > 0 && !error;
        })) << name;
        return contentOf(file);
    }

    /// Keeps a picture where the environment asks for them.
    void picture(const std::string& name, const std::string& shown = "h1") {
        if (const char* folder = std::getenv("QUILLET_SCREENSHOTS")) {
            browser->run(
                "document.querySelector('" + shown + "').scrollIntoView({block: 'center'})");
            browser->saveScreenshot(std::filesystem::path(folder) / (name + ".png"));
        }
    }

    AgentHome home;
    AgentProcess server{home, {"--port", "0", "--authority", (home.path() / "authority").string()},
        {}, DEVSERVER_PROGRAM};
    std::string address;
    std::optional<Browser> browser;
    std::unique_ptr<AgentProcess> agent;
};

TEST_F(PageTest, DocumentsAreSignedByTheAgentOfTheLink) {
    EXPECT_THAT(link(), StartsWith("quillet://localhost:"));
    EXPECT_EQ(browser->text("#command"),
        "SSL_CERT_FILE='" + authority() + "' ZqMacClient '" + link() + "'");
    EXPECT_THAT(browser->text("#code"), testing::MatchesRegex("[0-9]{6}"));
    EXPECT_FALSE(browser->isEnabled("#sign"));
    picture("waiting");

    startAgent();
    EXPECT_THAT(browser->text("#system"), StartsWith("macOS "));
    EXPECT_EQ(browser->text("#stomp"), "1.2");
    EXPECT_EQ(browser->count(".certificate"), 2U);
    EXPECT_THAT(browser->text(".certificate"), HasSubstr("Identity 000"));
    EXPECT_THAT(browser->text(".certificate"), HasSubstr("Issued by "));
    EXPECT_THAT(browser->text(".certificate"), HasSubstr("Digest "));
    EXPECT_FALSE(browser->isShown("#invitation"));

    browser->click("#send");
    sign(DEVSERVER_SAMPLES "/contract.pdf");
    browser->waitForText("#signed", "Signed: contract-signed.pdf, ");
    EXPECT_EQ(
        browser->run("return document.body.textContent.includes('\"pdfToSign\": \"JVBERi0x')"),
        true);
    browser->waitUntilEnabled("#sign");
    sign(DEVSERVER_SAMPLES "/order.xml");
    browser->waitForText("#signed", "Signed: order-signed.xml, ");
    picture("signed-light");
    browser->preferColors("dark");
    picture("signed-dark");
    browser->preferColors("light");
    browser->resize(390, 844);
    EXPECT_TRUE(
        browser->run("return document.documentElement.scrollWidth <= window.innerWidth").as_bool());
    picture("signed-narrow");
    browser->resize(1280, 900);

    browser->click("#signed a");
    EXPECT_THAT(
        pdfsig(downloaded("contract-signed.pdf")).validations, ElementsAre("Signature is Valid."));

    // SERVER_CONNECT to SIGN_XML_RESPONSE: the challenge for the certificate makes one pair more.
    EXPECT_EQ(browser->count("#messages li"), 12U);
    EXPECT_THAT(browser->text("#messages li"), HasSubstr("SERVER_CONNECT"));
    EXPECT_EQ(browser->count("#messages details[open]"), 0U);
    browser->click("#messages details summary");
    EXPECT_THAT(browser->text("#messages details pre"), HasSubstr("\"command\": "));

    browser->run("location.reload()");
    browser->waitForText("#status", "The agent is connected");
    browser->waitForText("#signed", "order-signed.xml");

    browser->click("#end");
    browser->waitForText("#no-certificates", "The agent has left: the session is over.");
    EXPECT_EQ(agent->waitForEnd(), (ProcessEnd{0, 0}));
    EXPECT_TRUE(browser->isShown("#link"));
    EXPECT_THAT(browser->consoleErrors(), IsEmpty());
}

TEST_F(PageTest, EverythingCanBeDoneWithTheKeyboard) {
    EXPECT_EQ(browser->press(Browser::tab), "link");
    EXPECT_EQ(browser->press(Browser::tab), "command");
    EXPECT_EQ(browser->press(Browser::tab), "copy");
    EXPECT_EQ(browser->press(Browser::tab), "help-summary");
    EXPECT_EQ(browser->press(Browser::tab), "file");
    startAgent();
    choose(DEVSERVER_SAMPLES "/order.xml");
    browser->waitUntilEnabled("#sign");
    browser->run("document.activeElement.blur(); window.getSelection().removeAllRanges()");
    browser->run("document.getElementById('end').focus()");
    EXPECT_EQ(browser->press(Browser::tab), "certificate-0");
    EXPECT_EQ(browser->press(Browser::down), "certificate-1");
    EXPECT_EQ(browser->press(Browser::tab), "list");
    EXPECT_EQ(browser->press(Browser::tab), "file");
    EXPECT_EQ(browser->press(Browser::tab), "send");
    EXPECT_EQ(browser->press(Browser::tab), "sign");
    browser->press(Browser::enter);
    browser->waitForText("#signed", "order-signed.xml");

    // What a screen reader says.
    EXPECT_EQ(browser->role("#status"), "status");
    EXPECT_EQ(browser->role("#problem"), "alert");
    EXPECT_EQ(browser->role("#certificates"), "group");
    EXPECT_EQ(browser->label("#certificates"), "Sign with");
    EXPECT_EQ(browser->role("#certificate-1"), "radio");
    EXPECT_THAT(browser->label("#certificate-1"), HasSubstr("Identity 000"));
    EXPECT_THAT(browser->label("#file"), HasSubstr("PDF or XML file"));
    EXPECT_EQ(browser->label("#sign"), "Sign");
    EXPECT_EQ(browser->label("#signed a"), "order-signed.xml");
    EXPECT_EQ(browser->run("return document.documentElement.lang"), "en");
    // Everything that takes the focus has a name.
    EXPECT_EQ(browser->run("return document.querySelectorAll('h1').length"), 1);
    EXPECT_EQ(browser->role("main section"), "region");
    EXPECT_EQ(browser->label("main section"), "Signing agent");
}

TEST_F(PageTest, BadInputIsToldAndThePageGoesOn) {
    startAgent();
    writeFile(home.path() / "text.pdf", "text");
    sign((home.path() / "text.pdf").string());
    browser->waitForText("#problem", "text.pdf was not signed: this is not a PDF");
    picture("problem");

    writeFile(home.path() / "large.pdf", "%PDF-1.7\n");
    std::filesystem::resize_file(home.path() / "large.pdf", std::uintmax_t{300} << 20); // sparse
    choose((home.path() / "large.pdf").string());
    browser->waitForText("#problem", "large.pdf cannot be signed: the file is larger than 100 MiB");
    EXPECT_FALSE(browser->isEnabled("#sign"));

    devserver::test::TestAgent other;
    other.start(port(), contentOf(authority()), room());
    EXPECT_THAT(other.finish(), StartsWith("Room is taken"));
    browser->waitForText("#problem", "A second agent asked for this room and was turned away.");
    other.start(port(), contentOf(authority()), "wrong");
    EXPECT_THAT(other.finish(), StartsWith("Unknown room"));
    browser->waitForText("#problem", "An agent asked for the room \"wrong\"");

    agent->terminate();
    browser->waitForText("#no-certificates", "The agent has left");
    EXPECT_FALSE(browser->isEnabled("#sign"));

    startAgent();
    browser->run("const dropped = new DataTransfer();"
                 "dropped.items.add(new File(['<a/>'], 'dropped.xml'));"
                 "document.getElementById('drop').dispatchEvent("
                 "new DragEvent('drop', { dataTransfer: dropped }))");
    browser->waitUntilEnabled("#sign");
    browser->click("#sign");
    browser->waitForText("#signed", "dropped-signed.xml");
}

TEST_F(PageTest, DamagedPdfIsWrittenAnewOnlyWhenItsUserSaysSo) {
    std::string damaged = contentOf(DEVSERVER_SAMPLES "/contract.pdf");
    damaged.insert(damaged.find('\n') + 1, "% all that follows has moved\n");
    const std::string file = (home.path() / "damaged.pdf").string();
    writeFile(file, damaged);
    startAgent();
    const std::size_t messages = browser->count("#messages li");
    sign(file);
    browser->waitForText("#problem", "damaged.pdf was not signed: the PDF is damaged: ");
    browser->waitForText("#question", "Should the PDF be written anew before it is signed");
    EXPECT_THAT(browser->text("#question"),
        HasSubstr("What you get may show less, or something else, than the file that you have"));
    EXPECT_EQ(browser->role("#damaged"), "group");
    EXPECT_THAT(browser->label("#damaged"), StartsWith("Should the PDF be written anew"));
    picture("repair", "#question");

    browser->click("#leave");
    EXPECT_FALSE(browser->isShown("#damaged"));
    EXPECT_EQ(browser->text("#problem"), "");
    EXPECT_EQ(browser->attribute("#file", "value"), "");
    EXPECT_FALSE(browser->isEnabled("#sign"));

    sign(file); // the same file can be chosen again
    browser->waitForText("#question", "Should the PDF be written anew");
    EXPECT_EQ(browser->count("#messages li"), messages); // the agent was asked for nothing
    browser->waitUntilEnabled("#repair");
    browser->click("#repair");
    browser->waitForText("#signed", "Signed: damaged-signed.pdf, ");
    EXPECT_FALSE(browser->isShown("#damaged"));
    EXPECT_EQ(browser->count("#signed li"), 1U);
    browser->click("#signed a");
    const std::string result = downloaded("damaged-signed.pdf");
    EXPECT_THAT(pdfsig(result).validations, ElementsAre("Signature is Valid."));
    EXPECT_EQ(qpdfCheck(result).status, 0);
    EXPECT_EQ(contentOf(file), damaged);
    EXPECT_THAT(browser->consoleErrors(), IsEmpty());
}

TEST_F(PageTest, TextsOfTheAgentAreTextsAndItsSilentEndIsTold) {
    devserver::test::TestAgent other; // whose certificates have HTML in their issuers' names
    other.start(port(), contentOf(authority()), room(), {.leavesAt = "SIGN_XML"});
    browser->waitForText("#status", "The agent is connected");
    EXPECT_THAT(browser->text(".certificate"), HasSubstr("Issued by Issuer <b>1</b>"));
    EXPECT_EQ(browser->count("b"), 0U);
    sign(DEVSERVER_SAMPLES "/order.xml");
    browser->waitForText("#problem", "order.xml was not signed: the agent left before");
    browser->waitForText("#no-certificates", "The agent has left: the connection to it was lost.");
    EXPECT_THAT(browser->consoleErrors(), IsEmpty());
}

TEST_F(PageTest, WhatToDoWhenNothingHappensIsTold) {
    EXPECT_FALSE(browser->isShown("#trust"));
    browser->click("#help-summary");
    EXPECT_EQ(browser->text("#trust"),
        DEVSERVER_PROGRAM " trust --authority " + (home.path() / "authority").string());
    EXPECT_THAT(browser->text("#help"), HasSubstr("ZqMacClient install"));
    browser->resize(1280, 780);
    picture("help");
    browser->resize(1280, 900);
    browser->click("#help a");
    EXPECT_EQ(downloaded("quillet-devserver.pem"), contentOf(authority()));
}

TEST_F(PageTest, AgentWithoutCertificatesGetsToldHowToGetOne) {
    devserver::test::TestAgent other;
    other.start(port(), contentOf(authority()), room(), {.hasCertificates = false});
    browser->waitForText("#no-certificates", "The agent has no certificate to sign with.");
    EXPECT_THAT(browser->text("#certificate-help"), HasSubstr("pk12util -i identity.p12 "));
    browser->click("#end");
    EXPECT_EQ(other.finish(), "");
}

} // namespace
