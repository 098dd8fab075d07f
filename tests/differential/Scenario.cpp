// SPDX-License-Identifier: MIT
#include "tests/differential/Scenario.h"

#include "tests/differential/Envelopes.h"
#include "tests/support/ReferenceDigests.h"

#include <cstdio>

namespace differential {

namespace {

const std::vector<std::string> versions{"1.0", "1.1", "1.2", ""};

/// A text as a part of a URL: some of it escaped though it need not be.
struct UrlText {
    std::string decoded;
    std::string written; // in the link
    std::string encoded; // as the program writes it
};

UrlText urlText(Random& random, const std::vector<std::string>& plain,
    const std::vector<std::string>& escaped, std::size_t longest) {
    UrlText made;
    for (std::size_t count = random.below(longest) + 1; count > 0; --count) {
        const bool mustEscape = !escaped.empty() && random.chance(15);
        const std::string piece = random.pick(mustEscape ? escaped : plain);
        const bool isEscaped = mustEscape || random.chance(5);
        made.decoded += piece;
        for (const char c : piece) {
            char hex[8];
            std::snprintf(hex, sizeof hex, "%%%02X", static_cast<unsigned char>(c));
            made.written += isEscaped ? hex : std::string(1, c);
            made.encoded += mustEscape ? hex : std::string(1, c);
        }
    }
    return made;
}

const std::vector<std::string> needEscape{" ", "\"", "%", "<", "^", "\xC3\xA9", "\xE2\x82\xAC"};

void addHost(Link& link, Random& random) {
    const UrlText name = urlText(random, {"a", "b", "Z", "0", "-", ".", "x1"}, {"\xC3\xA9"}, 6);
    const bool isAddress = random.chance(10);
    link.host = isAddress ? "127.0.0.1" : "h" + name.decoded;
    link.encodedHost = isAddress ? link.host : "h" + name.encoded;
    link.text += "//" + (isAddress ? link.host : "h" + name.written);
    if (random.chance(50)) {
        link.port = random.below(65535) + 1;
        link.text += ":" + std::to_string(link.port);
    } else if (random.chance(10)) {
        link.text += ":"; // an empty port is none
    }
}

void addPath(Link& link, Random& random) {
    for (std::size_t count = random.below(3); count > 0; --count) {
        const UrlText part = urlText(random,
            {"a", "9", "-", "_", "~", "@", ":", "!", "$", "&", "(", ")", "=", "+"}, needEscape, 4);
        link.text += "/" + part.written;
        link.path += "/" + part.decoded;
        link.encodedPath += "/" + part.encoded;
    }
}

Link makeLink(Random& random) {
    Link link;
    link.text = "quillet:";
    addHost(link, random);
    addPath(link, random);
    const UrlText room = urlText(random, {"r", "1", "-", "Q", ".", ":", "/", "@", "!", "+", "="},
        {" ", "%", "&", "\\", "\xC3\xA9"}, 8);
    link.room = room.decoded;
    for (const char c : room.decoded) {
        // What a path holds as it stands.
        const bool isPlain = std::string("r1-Q.:/@!+=&").find(c) != std::string::npos;
        char hex[8];
        std::snprintf(hex, sizeof hex, "%%%02X", static_cast<unsigned char>(c));
        link.encodedRoom += isPlain ? std::string(1, c) : hex;
    }
    const std::string before = random.pick<std::string>({"", "", "a=1&", "room=x&", "&"});
    const std::string after = random.pick<std::string>({"", "", "&b", "&roomId=second"});
    switch (random.below(30)) {
    case 0:
        link.text += "?" + before + "roomid=" + room.written; // another name
        link.isAccepted = false;
        break;
    case 1:
        link.text += "?roomId"; // without a value
        link.isAccepted = false;
        break;
    case 2:
        link.text += "?roomId=" + room.written + "\x7f"; // no URL
        link.isAccepted = false;
        break;
    case 3:
        link.isAccepted = false; // no query at all
        break;
    default:
        link.text += "?" + before + "roomId=" + room.written + after;
        break;
    }
    return link;
}

Identity makeIdentity(Random& random, std::size_t number) {
    const auto names = [&]() -> std::optional<std::vector<std::string>> {
        if (random.chance(10)) {
            return std::nullopt;
        }
        std::vector<std::string> parts;
        for (std::size_t count = random.below(4); count > 0; --count) {
            parts.push_back(
                random.pick<std::string>({"NL", "Example Org", "", "a, b", "\xC3\xA9"}));
        }
        return parts;
    };
    Identity identity;
    identity.name = "identity" + std::to_string(number);
    identity.der = "DER" + anyText(random) + std::to_string(number);
    if (random.chance(80)) {
        identity.commonName = random.chance(15)
            ? random.pick<std::string>({"com.apple.x", "Com.apple.x", "com.apple", "com.apple."})
            : "Name " + anyText(random);
    }
    identity.issuer = names();
    identity.subject = names();
    if (!identity.commonName && !identity.subject) {
        identity.subject.emplace(); // neither of the two is another story
    }
    identity.serial = anyText(random);
    identity.hasOldDataKey = random.chance(10);
    if (random.chance(2)) {
        identity.serial.reset();
    }
    identity.hasValues = !random.chance(2);
    identity.fails = random.chance(2);
    identity.hasKey = !random.chance(3);
    return identity;
}

Answer makeAnswer(Random& random, const std::string& value) {
    Answer answer;
    switch (random.below(20)) {
    case 0:
        answer.kind = Answer::Kind::lost;
        answer.body = "lost, " + anyText(random);
        return answer;
    case 1:
        answer.kind = Answer::Kind::notJson;
        answer.body = random.pick<std::string>({"", "{", "7", "\"x\"", "null", "{} {}", "{'a':1}"});
        return answer;
    case 2:
        answer.json = Json::array({Json::string(value)});
        break;
    case 3:
        answer.json = Json::object({{"value", Json::string(value)}, {"status", anyJson(random, 1)},
            {"message", random.chance(50) ? Json::string(anyText(random)) : anyJson(random, 1)}});
        break;
    case 4:
        answer.json = Json::object({{"status", Json::number("404")}});
        break;
    case 5:
        answer.json = Json::object({{"value", Json::number("2.0")}});
        break;
    default:
        answer.json = Json::object({{"other", anyJson(random, 2)}, {"value", Json::string(value)}});
        break;
    }
    answer.body = spelled(answer.json, random);
    return answer;
}

} // namespace

std::string versionText(const std::vector<unsigned>& numbers) {
    std::string text;
    for (const unsigned number : numbers) {
        text += (text.empty() ? "" : ".") + std::to_string(number);
    }
    return text;
}

std::string baseUrl(const Link& link) {
    return "https://" + link.encodedHost + ":" + std::to_string(link.port) + link.encodedPath;
}

std::string versionUrl(const Scenario& scenario) {
    return baseUrl(scenario.link) + "/update/version?os=macos";
}

std::string bundleUrl(const Scenario& scenario) {
    return baseUrl(scenario.link)
        + "/update/bundle?os=macos&version=" + versionText(scenario.latest);
}

std::string digestOf(const Identity& identity) {
    const auto digest = referenceSha1(bytesOf(identity.der));
    return base64(std::string(digest.begin(), digest.end()));
}

Scenario makeScenario(std::uint64_t seed) {
    Random random(seed);
    Scenario scenario;
    scenario.seed = seed;
    for (std::size_t count = random.below(4); count > 0; --count) {
        scenario.identities.push_back(makeIdentity(random, count));
    }
    scenario.keychainOpens = !random.chance(3);
    scenario.queryFails = random.chance(3);
    scenario.algorithmSupported = !random.chance(5);
    if (!random.chance(10)) {
        scenario.signature = anyText(random);
    } else if (random.chance(50)) {
        scenario.signatureError = "refused: " + anyText(random);
    }
    scenario.linkIsArgument = random.chance(50);
    scenario.link = makeLink(random);
    for (std::size_t count = random.below(3) + 1; count > 0; --count) {
        scenario.latest.push_back(static_cast<unsigned>(random.below(random.chance(70) ? 3 : 12)));
    }
    scenario.versionAnswer = makeAnswer(random, versionText(scenario.latest));
    scenario.bundleAnswer = makeAnswer(random, "https://pages.example/get?v=2");
    scenario.acceptsUpgrade = random.chance(20);
    scenario.webSocketOpens = !random.chance(3);
    scenario.isGreeted = !random.chance(3);
    scenario.stompVersion = random.pick(versions);
    for (std::size_t count = random.below(8) + 1; count > 0; --count) {
        scenario.frames.push_back(makeFrame(random, scenario));
    }
    for (std::size_t count = random.below(3) + 1; count > 0; --count) {
        scenario.cuts.push_back(random.chance(30) ? random.below(8) + 1 : random.below(4000) + 1);
    }
    return scenario;
}

} // namespace differential
