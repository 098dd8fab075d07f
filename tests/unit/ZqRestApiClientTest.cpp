// SPDX-License-Identifier: MIT
#include "ZqMacClient/ZqRestApiClient.h"

#include "tests/support/RestEvents.h"

namespace {

using platform::TransportError;
using platform::URLResponse;
using testing::ElementsAreArray;

const std::string resource = "https://h:443/update/version?os=macos";

class ZqRestApiClientTest : public PlatformTest {
protected:
    std::optional<std::string> getValue() { return ZqRestApiClient(resource).getValue("doing it"); }

    /// The value that an answer with this body yields.
    std::optional<std::string> valueOf(const std::string& body) {
        memory.network().answer(resource, body);
        return getValue();
    }
    Events eventsOfAnswer(const std::string& body) {
        memory.network().answer(resource, body);
        return eventsOf([this] { getValue(); });
    }
    /// Everything up to the arrival of the answer.
    static Events beginning(const std::string& body) {
        return joined(requestStarts(resource, "doing it"), answerArrives(resource, body));
    }
    static std::string completeWithError(const std::string& details) {
        return "log: Task 'doing it' complete with: value=nil, error=Optional(Error doing it: "
            + details + ")";
    }
};

TEST_F(ZqRestApiClientTest, TextUnderValueIsReturnedAndLogged) {
    std::optional<std::string> value;
    memory.network().answer(resource, R"({"value":"2.0"})");
    EXPECT_THAT(eventsOf([&] { value = getValue(); }),
        ElementsAreArray(valueRequest(resource, "doing it", "2.0")));
    EXPECT_EQ(value, "2.0");
}

TEST_F(ZqRestApiClientTest, ValueMayBeAnyText) {
    EXPECT_EQ(valueOf(R"({"value":""})"), "");
    EXPECT_EQ(valueOf(R"({"other":1,"value":"\u00e9\n","message":"m"})"), "\xC3\xA9\n");
}

TEST_F(ZqRestApiClientTest, ValueThatIsNoTextIsAbsentWithoutAnError) {
    for (const std::string value : {"7", "null", "true", "[]", "{}"}) {
        const std::string body = R"({"value":)" + value + "}";
        EXPECT_THAT(eventsOfAnswer(body),
            ElementsAreArray(joined(beginning(body),
                Events{"log: Server REST API response: " + body,
                    "log: Task 'doing it' complete with: value=nil, error=nil"})));
        EXPECT_FALSE(getValue());
    }
}

TEST_F(ZqRestApiClientTest, MissingValueIsAbsentWithoutAnError) {
    EXPECT_FALSE(valueOf("{}"));
    EXPECT_FALSE(valueOf(R"({"Value":"2.0","message":"m"})"));
}

TEST_F(ZqRestApiClientTest, HttpStatusDoesNotCount) {
    memory.network().answers[resource]
        = {R"({"value":"2.0"})", URLResponse{resource, 500}, std::nullopt};
    EXPECT_EQ(getValue(), "2.0");
}

TEST_F(ZqRestApiClientTest, TransportErrorIsShownAfterTheWait) {
    memory.network().answers[resource]
        = {std::nullopt, std::nullopt, TransportError{"name h could not be found"}};
    EXPECT_THAT(eventsOf([this] { getValue(); }),
        ElementsAreArray(joined(requestStarts(resource, "doing it"),
            Events{"log: REST client completion handler running for: data=nil, response=nil, "
                   "error=Optional(name h could not be found)",
                completeWithError("name h could not be found")},
            fatalAlert("Error doing it", "name h could not be found"))));
}

TEST_F(ZqRestApiClientTest, TransportErrorCountsBeforeTheData) {
    memory.network().answers[resource]
        = {R"({"value":"2.0"})", URLResponse{resource, 200}, TransportError{"connection lost"}};
    EXPECT_THAT(eventsOf([this] { getValue(); }),
        ElementsAreArray(joined(requestStarts(resource, "doing it"),
            Events{"log: REST client completion handler running for: data=Optional(15 bytes), "
                   "response=Optional("
                    + resource + ", status 200), error=Optional(connection lost)",
                completeWithError("connection lost")},
            fatalAlert("Error doing it", "connection lost"))));
}

TEST_F(ZqRestApiClientTest, NeitherDataNorErrorStopsTheProgram) {
    memory.network().answers[resource] = {std::nullopt, URLResponse{resource, 200}, std::nullopt};
    EXPECT_THAT(eventsOf([this] { getValue(); }),
        AbortsAfter(joined(requestStarts(resource, "doing it"),
            Events{"log: REST client completion handler running for: data=nil, response=Optional("
                + resource + ", status 200), error=nil"})));
}

TEST_F(ZqRestApiClientTest, BodyThatIsNotJsonIsShownAtOnce) {
    for (const std::string body :
        {"", "<html>", "{", "{} x", "\"text\"", "7", "{\"value\":\"\xFF\"}"}) {
        EXPECT_THAT(eventsOfAnswer(body),
            ElementsAreArray(joined(
                beginning(body), fatalAlert("Error doing it", "Error parsing server response"))));
    }
}

TEST_F(ZqRestApiClientTest, JsonThatIsNoObjectIsShownAfterTheWait) {
    for (const std::string body : {"[]", R"(["value",{"status":1}])"}) {
        EXPECT_THAT(eventsOfAnswer(body),
            ElementsAreArray(
                joined(beginning(body), Events{completeWithError("Error parsing server response")},
                    fatalAlert("Error doing it", "Error parsing server response"))));
    }
}

TEST_F(ZqRestApiClientTest, StatusMarksAnErrorAnswer) {
    const std::string body = R"({"status":404,"message":"Not found"})";
    EXPECT_THAT(eventsOfAnswer(body),
        ElementsAreArray(joined(beginning(body),
            Events{"log: Server REST API response: " + body, completeWithError("(404) Not found")},
            fatalAlert("Error doing it", "(404) Not found"))));
}

TEST_F(ZqRestApiClientTest, StatusWithoutMessageEndsInABlank) {
    EXPECT_THAT(eventsOfAnswer(R"({"status":"x"})"),
        testing::IsSupersetOf(fatalAlert("Error doing it", "(x) ")));
}

TEST_F(ZqRestApiClientTest, StatusOfAnyKindCountsBeforeTheValue) {
    const std::vector<std::pair<std::string, std::string>> printed{{"200", "200"}, {"\"ok\"", "ok"},
        {"\"\"", ""}, {"null", "<null>"}, {"true", "true"}, {R"({"a":[1]})", R"({"a":[1]})"}};
    for (const auto& [status, text] : printed) {
        EXPECT_THAT(eventsOfAnswer(R"({"value":"2.0","status":)" + status + R"(,"message":"m"})"),
            testing::IsSupersetOf(fatalAlert("Error doing it", "(" + text + ") m")));
    }
}

TEST_F(ZqRestApiClientTest, LastOfRepeatedKeysCounts) {
    EXPECT_THAT(eventsOfAnswer(R"({"status":1,"st\u0061tus":2})"),
        testing::IsSupersetOf(fatalAlert("Error doing it", "(2) ")));
    EXPECT_EQ(valueOf(R"({"value":"1.0","value":"2.0"})"), "2.0");
}

TEST_F(ZqRestApiClientTest, MessageOfAnyKindIsPrinted) {
    const std::vector<std::pair<std::string, std::string>> printed{
        {"7", "7"}, {"null", "<null>"}, {"\"a\\\"b\"", "a\"b"}, {"[\"m\"]", "[\"m\"]"}};
    for (const auto& [message, text] : printed) {
        EXPECT_THAT(eventsOfAnswer(R"({"status":1,"message":)" + message + "}"),
            testing::IsSupersetOf(fatalAlert("Error doing it", "(1) " + text)));
    }
}

TEST_F(ZqRestApiClientTest, EachCallMakesARequestOfItsOwn) {
    const ZqRestApiClient client(resource);
    memory.network().answer(resource, R"({"value":"1"})");
    EXPECT_EQ(client.getValue("doing it"), "1");
    memory.network().answer(resource, "{}");
    EXPECT_FALSE(client.getValue("doing it"));
    EXPECT_THAT(memory.network().requestedUrls, testing::ElementsAre(resource, resource));
}

TEST_F(ZqRestApiClientTest, CreatingAClientRequestsNothing) {
    EXPECT_THAT(eventsOf([] { ZqRestApiClient client(resource); }), testing::IsEmpty());
}

} // namespace
