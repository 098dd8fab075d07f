// SPDX-License-Identifier: MIT
#include "devserver/program/Serve.h"
#include "devserver/server/Envelope.h"
#include "devserver/session/RoomId.h"
#include "tests/devserver/SharedOutput.h"
#include "tests/devserver/TestAgent.h"
#include "tests/devserver/WebClient.h"
#include "tests/documents/Verifiers.h"
#include "tests/support/TemporaryFolder.h"

#include <thread>

#include <gmock/gmock.h>
#include <unistd.h>

namespace devserver::test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

class WebTest : public testing::Test {
protected:
    WebTest() {
        EXPECT_EQ(pipe(stop), 0);
        serving = std::thread([this] {
            status = runServe({.port = 0, .authorityFolder = (folder / "authority").string()},
                stop[0], output, errors);
        });
        EXPECT_TRUE(output.waitFor("refuses the server.", patience)) << errors.text();
        port = static_cast<std::uint16_t>(
            std::stoi(output.valueOf("page       https://localhost:")));
        authority = contentOf(folder / "authority/authority.pem");
    }
    ~WebTest() override {
        EXPECT_EQ(write(stop[1], "", 1), 1);
        serving.join();
        EXPECT_EQ(status, 0) << errors.text();
        agent.finish();
        close(stop[0]);
        close(stop[1]);
    }

    WebReply get(const std::string& target) { return call(port, authority, "GET", target); }
    WebReply post(const std::string& target, const std::string& body = "") {
        return call(port, authority, "POST", target, body);
    }

    std::string openRoom() {
        const WebReply reply = post("/rooms");
        EXPECT_EQ(reply.status, 201U) << reply.body;
        return std::string(parsedJson(reply.body).value().at("room").as_string());
    }

    /// Opens a room, has the agent join, and reads its events until it has listed certificates.
    void beginSession(const TestAgent::Manner& manner = {}) {
        room = openRoom();
        agent.start(port, authority, room, manner);
        events.emplace(port, authority, "/rooms/" + room + "/events");
        ASSERT_TRUE(events->waitFor("event: certificates\n")) << events->text();
        // The agent can be given work once it has been listed and is idle.
        ASSERT_TRUE(untilReady()) << events->text();
    }

    /// Lists again until the agent is not busy any more.
    bool untilReady() {
        const auto limit = std::chrono::steady_clock::now() + patience;
        while (std::chrono::steady_clock::now() < limit) {
            if (post("/rooms/" + room + "/certificates").status == 202) {
                return events->waitFor("event: progress\ndata: {\"text\":\"\"}");
            }
        }
        return false;
    }

    /// Signs, again while the agent is busy.
    WebReply sign(const std::string& name, const std::string& document) {
        WebReply reply;
        do {
            reply = post(
                "/rooms/" + room + "/sign?certificate=" + percentEncodedDigest() + "&name=" + name,
                document);
        } while (reply.status == 409 && reply.body.find("busy") != std::string::npos);
        return reply;
    }

    std::string percentEncodedDigest() const {
        std::string text;
        for (const char c : agent.digest()) {
            text += c == '+' ? "%2B" : c == '/' ? "%2F" : c == '=' ? "%3D" : std::string(1, c);
        }
        return text;
    }

    TemporaryFolder folder;
    int stop[2] = {-1, -1};
    int status = -1;
    SharedOutput output;
    SharedOutput errors;
    std::uint16_t port = 0;
    std::string authority;
    std::string room;
    TestAgent agent;
    std::optional<EventReader> events;
    std::thread serving;
};

TEST_F(WebTest, PageComesWithAStrictPolicy) {
    for (const auto& [path, type] : {std::pair("/", "text/html; charset=utf-8"),
             std::pair("/page.css", "text/css; charset=utf-8"),
             std::pair("/page.js", "text/javascript; charset=utf-8")}) {
        WebReply reply = get(path);
        EXPECT_EQ(reply.status, 200U);
        EXPECT_EQ(reply.headers["Content-Type"], type);
        EXPECT_THAT(reply.headers["Content-Security-Policy"], StartsWith("default-src 'none';"));
        EXPECT_THAT(reply.headers["Content-Security-Policy"], Not(HasSubstr("unsafe")));
        EXPECT_EQ(reply.headers["X-Content-Type-Options"], "nosniff");
        EXPECT_THAT(reply.body, Not(HasSubstr("innerHTML")));
        EXPECT_THAT(reply.body, Not(HasSubstr("http://"))); // nothing comes from elsewhere
    }
    EXPECT_EQ(get("/page.txt").status, 404U);
    EXPECT_EQ(call(port, authority, "PUT", "/rooms").status, 405U);
}

TEST_F(WebTest, HeadIsAnsweredWithoutABody) {
    room = openRoom();
    for (const std::string& target : {std::string("/"), "/rooms/" + room}) {
        WebReply reply = call(port, authority, "HEAD", target);
        EXPECT_EQ(reply.status, 200U);
        EXPECT_EQ(reply.body, "");
        EXPECT_EQ(reply.headers["Content-Length"], std::to_string(get(target).body.size()));
    }
    EXPECT_EQ(call(port, authority, "HEAD", "/rooms/" + room + "/events").status, 200U);
    EXPECT_EQ(call(port, authority, "HEAD", "/none").status, 404U);
}

TEST_F(WebTest, LongHeadersAreRefusedInWords) {
    const WebReply reply
        = call(port, authority, "GET", "/", "", {{"X-Long", std::string(50000, 'x')}});
    EXPECT_EQ(reply.status, 431U);
    EXPECT_THAT(reply.body, HasSubstr("The headers are too large"));
}

TEST_F(WebTest, AgentFindsTheUpdateEndpointsBesideThePage) {
    EXPECT_EQ(get("/update/version?os=macos").body, "{\"value\":\"1.0.0\"}");
}

TEST_F(WebTest, RoomIsOpenedWithLinkAndCommand) {
    const boost::json::value reply = parsedJson(post("/rooms").body).value();
    const std::string name(reply.at("room").as_string());
    EXPECT_EQ(name.size(), 32U);
    const std::string link = "quillet://localhost:" + std::to_string(port) + "?roomId=" + name;
    EXPECT_EQ(reply.at("link").as_string(), link);
    EXPECT_EQ(reply.at("command").as_string(),
        "SSL_CERT_FILE='" + (folder / "authority/authority.pem").string() + "' ZqMacClient '" + link
            + "'");
    EXPECT_EQ(reply.at("code").as_string(), devserver::roomCode(name));
    EXPECT_EQ(get("/rooms/" + name).status, 200U);
    EXPECT_NE(openRoom(), name);
}

TEST(RoomCodeTest, ItIsSixDigitsOfTheDigestOfTheName) {
    EXPECT_EQ(devserver::roomCode(""), "012610");
    EXPECT_EQ(devserver::roomCode("r1"), "023174");
    EXPECT_EQ(devserver::roomCode("room5"), "034609");
}

TEST_F(WebTest, OtherPagesCannotOpenRooms) {
    const auto from = [&](const std::string& origin) {
        return call(port, authority, "POST", "/rooms", "", {{"Origin", origin}}).status;
    };
    EXPECT_EQ(from("https://localhost:" + std::to_string(port)), 201U);
    EXPECT_EQ(from("https://localhost"), 403U);
    EXPECT_EQ(from("https://example.org"), 403U);
    EXPECT_EQ(from("null"), 403U);
}

TEST_F(WebTest, UnknownRoomsAndPathsAreTold) {
    for (const char* target : {"/rooms/none", "/rooms/none/events", "/rooms/"}) {
        const WebReply reply = get(target);
        EXPECT_EQ(reply.status, 404U);
        EXPECT_THAT(reply.body, HasSubstr("There is no such room (any more)"));
    }
    room = openRoom();
    EXPECT_EQ(get("/rooms/" + room + "/nothing").status, 404U);
    EXPECT_EQ(get("/rooms/" + room + "/signed/1").status, 404U);
    EXPECT_EQ(get("/rooms/" + room + "/signed/x").status, 404U);
    EXPECT_THAT(post("/rooms/" + room + "/sign").body, HasSubstr("No certificate is chosen"));
    EXPECT_THAT(post("/rooms/" + room + "/sign?certificate=x", "%PDF-").body,
        HasSubstr("no agent is connected"));
    EXPECT_EQ(post("/rooms/" + room + "/end").status, 409U);
}

TEST_F(WebTest, WholeSessionIsToldAsEvents) {
    beginSession();
    EXPECT_THAT(events->text(), HasSubstr("data: {\"state\":\"joined\",\"stomp\":\"1.2\"}"));
    EXPECT_THAT(events->text(), HasSubstr("data: {\"os\":\"macOS\",\"version\":\"14.1.0\"}"));
    EXPECT_THAT(events->text(), HasSubstr("\"name\":\"First\",\"issuer\":\"Issuer <b>1</b>\""));
    EXPECT_THAT(events->text(), HasSubstr("\"direction\":\"received\""));

    const WebReply accepted
        = sign("a%20contract.pdf", contentOf(DEVSERVER_SAMPLES "/contract.pdf"));
    EXPECT_EQ(accepted.status, 202U) << accepted.body;
    ASSERT_TRUE(events->waitFor("event: signed\n")) << events->text();
    ASSERT_TRUE(events->waitFor("\"name\":\"a contract-signed.pdf\""));
    ASSERT_TRUE(events->waitFor("\"number\":1"));
    WebReply file = get("/rooms/" + room + "/signed/1");
    EXPECT_EQ(file.status, 200U);
    EXPECT_EQ(file.headers["Content-Type"], "application/pdf");
    EXPECT_EQ(file.headers["Content-Disposition"],
        "attachment; filename*=UTF-8''a%20contract-signed.pdf");
    EXPECT_THAT(pdfsig(file.body).validations, ElementsAre("Signature is Valid."));

    EXPECT_EQ(sign("order.xml", contentOf(DEVSERVER_SAMPLES "/order.xml")).status, 202U);
    ASSERT_TRUE(events->waitFor("\"number\":2")) << events->text();
    EXPECT_EQ(xmlsec1(get("/rooms/" + room + "/signed/2").body, agent.signer()).status, 0);

    EXPECT_EQ(post("/rooms/" + room + "/end").status, 202U);
    EXPECT_TRUE(events->waitFor("data: {\"state\":\"left\""));
}

TEST_F(WebTest, EventsAreToldAgainFromTheNumberThatWasSeen) {
    beginSession();
    EventReader again(port, authority, "/rooms/" + room + "/events");
    EXPECT_TRUE(again.waitFor("id: 1\nevent: agent\n"));
    EventReader rest(port, authority, "/rooms/" + room + "/events", "2");
    EXPECT_TRUE(rest.waitFor("id: 3\n"));
    EXPECT_THAT(rest.text(), Not(HasSubstr("id: 2\n")));
}

TEST_F(WebTest, DocumentsThatCannotBeSignedAreTold) {
    beginSession();
    EXPECT_EQ(sign("text.pdf", "text").status, 202U);
    EXPECT_TRUE(events->waitFor("text.pdf was not signed: this is not a PDF")) << events->text();
    EXPECT_EQ(sign("text.xml", "text").status, 202U);
    EXPECT_TRUE(events->waitFor("text.xml was not signed: this is not an XML document"));
    EXPECT_EQ(sign("order.xml", "<a/>").status, 202U);
    EXPECT_TRUE(events->waitFor("event: signed\n")); // it goes on
}

TEST_F(WebTest, LargeBodyIsRefusedInWordsAndTheServerGoesOn) {
    room = openRoom();
    const WebReply reply = post("/rooms/" + room + "/sign?certificate=x&name=a.pdf",
        std::string(std::size_t{300} << 20, 'x'));
    EXPECT_EQ(reply.status, 413U) << reply.body;
    EXPECT_THAT(reply.body, HasSubstr("the file is larger than 100 MiB"));
    EXPECT_EQ(get("/rooms/" + room).status, 200U);
}

TEST_F(WebTest, AgentThatLeavesInTheMiddleIsToldAndTheRoomIsFreeAgain) {
    beginSession({.leavesAt = "SIGN_XML"});
    EXPECT_EQ(sign("order.xml", "<a/>").status, 202U);
    EXPECT_TRUE(
        events->waitFor("order.xml was not signed: the agent left before SIGN_XML_RESPONSE came"))
        << events->text();
    EXPECT_TRUE(events->waitFor("\"state\":\"left\""));
    agent.start(port, authority, room);
    EXPECT_TRUE(events->waitFor("\"state\":\"joined\""));
    EXPECT_TRUE(events->waitFor("event: certificates\n"));
    EXPECT_EQ(sign("order.xml", "<a/>").status, 202U);
    EXPECT_TRUE(events->waitFor("event: signed\n")) << events->text();
}

TEST_F(WebTest, SecondAgentIsTurnedAway) {
    beginSession();
    TestAgent second;
    second.start(port, authority, room);
    EXPECT_EQ(second.finish(),
        "Room is taken: Another agent is in the room already. End its session first, or use a new "
        "link.");
    EXPECT_TRUE(events->waitFor("A second agent asked for this room and was turned away."));
    EXPECT_EQ(sign("order.xml", "<a/>").status, 202U);
    EXPECT_TRUE(events->waitFor("event: signed\n"));
}

TEST_F(WebTest, AgentThatHangsDoesNotKeepItsRoom) {
    beginSession({.hangsAt = "SIGN_XML"});
    EXPECT_EQ(sign("order.xml", "<a/>").status, 202U);
    EXPECT_EQ(post("/rooms/" + room + "/end").status, 202U);
    EXPECT_EQ(post("/rooms/" + room + "/end").status, 202U); // once more makes no difference
    EXPECT_TRUE(events->waitFor("\"state\":\"left\"")) << events->text();
    agent.start(port, authority, room);
    EXPECT_TRUE(events->waitFor("\"state\":\"joined\""));
}

TEST_F(WebTest, AgentThatComesAgainTakesThePlaceOfTheConnectionThatIsGoing) {
    room = openRoom();
    events.emplace(port, authority, "/rooms/" + room + "/events");
    TestClient going;
    ASSERT_TRUE(going.join(port, authority, room));
    ASSERT_TRUE(going.receive());
    agent.start(port, authority, room);
    std::this_thread::sleep_for(200ms); // it asks for the room while the other is there
    going.drop();
    EXPECT_TRUE(events->waitFor("\"state\":\"left\"")) << events->text();
    EXPECT_TRUE(events->waitFor("event: certificates\n")) << events->text();
}

TEST_F(WebTest, DamagedPdfIsWrittenAnewWhenThePageSaysSo) {
    beginSession();
    std::string damaged = contentOf(DEVSERVER_SAMPLES "/contract.pdf");
    damaged.insert(damaged.find('\n') + 1, "% all has moved\n");
    EXPECT_EQ(sign("damaged.pdf", damaged).status, 202U);
    EXPECT_TRUE(events->waitFor("damaged.pdf was not signed: the PDF is damaged: "));
    EXPECT_TRUE(events->waitFor("event: damaged\ndata: {\"name\":\"damaged.pdf\"}"));
    EXPECT_EQ(sign("damaged.pdf&repair=yes", damaged).status, 202U);
    EXPECT_TRUE(events->waitFor("event: signed\n")) << events->text();
    EXPECT_THAT(pdfsig(get("/rooms/" + room + "/signed/1").body).validations,
        ElementsAre("Signature is Valid."));
}

TEST_F(WebTest, AgentOfAnUnknownRoomIsTurnedAwayAndThePageTellsIt) {
    room = openRoom();
    events.emplace(port, authority, "/rooms/" + room + "/events");
    agent.start(port, authority, "wrong");
    EXPECT_THAT(agent.finish(), StartsWith("Unknown room: The server has no room \"wrong\"."));
    EXPECT_TRUE(events->waitFor(
        "An agent asked for the room \\\"wrong\\\", which does not exist, and was turned away."));
}

TEST_F(WebTest, UnusedRoomsMakePlaceForNewOnes) {
    beginSession();
    const std::string kept = room;
    const std::string first = openRoom();
    for (int i = 0; i < 40; ++i) {
        openRoom();
    }
    EXPECT_EQ(get("/rooms/" + kept).status, 200U);
    EXPECT_EQ(get("/rooms/" + first).status, 404U);
}

TEST_F(WebTest, TerminalShowsMessagesFolded) {
    beginSession();
    EXPECT_TRUE(output.waitFor("  to agent    {\"command\":\"SERVER_CONNECT\"}\n", patience));
    EXPECT_TRUE(output.waitFor("  from agent  {\"command\":\"CERTIFICATE_LIST\"", patience));
}

} // namespace
} // namespace devserver::test
