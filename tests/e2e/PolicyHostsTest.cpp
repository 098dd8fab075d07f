// SPDX-License-Identifier: MIT
// Every way to write a host that no list of servers may let through, with the real agent: what is
// counted are TCP connections.
#include "tests/e2e/PolicyTest.h"

namespace {

/// Names that lead to this machine, where the listener is.
constexpr const char* names = "sign.test evilsign.test sign.test.evil.test evil.test eu.test"
                              " x.eu.test a.b.eu.test evileu.test xn--bcher-kva.test"
                              " sign.test. evil.test."; // the last two for the trailing dot

struct Host {
    const char* name;
    const char* text;
    friend std::ostream& operator<<(std::ostream& out, const Host& host) {
        return out << host.text;
    }
};

class PolicyHosts : public PolicyTest, public testing::WithParamInterface<Host> {
protected:
    void setRulesAndNames(const std::string& rules) {
        home.setPolicy(R"({"version":1)" + rules + "}",
            "rm ../hosts && printf '127.0.0.1 localhost " + std::string(names) + "\\n' >../hosts");
    }
    void listServers() {
        const std::string port = ":" + listener.port() + "\",";
        setRulesAndNames(R"(,"servers":["sign.test)" + port + R"("*.eu.test)" + port
            + R"("[::2]","localhost"])");
    }
    void follow() {
        ASSERT_TRUE(listener.isListening());
        startAgent(
            {"quillet://" + std::string(GetParam().text) + ":" + listener.port() + "/?roomId=1"});
    }
    bool isConnectedTo() {
        return eventually([this] { return listener.sawConnection(); });
    }
};

class PolicyRefusedHosts : public PolicyHosts { };
class PolicyReachableHosts : public PolicyHosts { };
class PolicyListedHosts : public PolicyHosts { };

std::string nameOf(const testing::TestParamInfo<Host>& test) {
    return test.param.name;
}

} // namespace

TEST_P(PolicyRefusedHosts, CostNoConnection) {
    listServers();
    follow();
    expectFatalAlert("Server not allowed", "");
    EXPECT_FALSE(listener.sawConnection());
}

// Else the tests above would show nothing.
TEST_P(PolicyReachableHosts, AreConnectedToWithoutAList) {
    setRulesAndNames("");
    follow();
    EXPECT_TRUE(isConnectedTo()) << agent->output();
}

TEST_P(PolicyListedHosts, AreConnectedTo) {
    listServers();
    follow();
    EXPECT_TRUE(isConnectedTo()) << agent->output();
}

const auto refused = testing::Values(Host{"User", "user@sign.test"},
    Host{"UserAndPassword", "user:password@sign.test"}, Host{"EmptyUser", "@sign.test"},
    Host{"ListedNameAsUser", "sign.test@evil.test"}, Host{"Another", "evil.test"},
    Host{"UpperCase", "EVIL.Test"}, Host{"TrailingDot", "evil.test."},
    Host{"EscapedDot", "evil%2Etest"}, Host{"EscapedLetter", "%65vil.test"},
    Host{"International", "b%C3%BCcher.test"}, Host{"ALabel", "xn--bcher-kva.test"},
    Host{"AnotherPort", "localhost"}, Host{"Address", "127.0.0.1"}, Host{"ShortAddress", "127.1"},
    Host{"AddressAsNumber", "2130706433"}, Host{"AddressInHexadecimal", "0x7f000001"},
    Host{"LongAddress", "[::1]"}, Host{"LongAddressInFull", "[0:0:0:0:0:0:0:1]"},
    Host{"MappedAddress", "[::ffff:127.0.0.1]"}, Host{"MappedInHexadecimal", "[::FFFF:7F00:1]"},
    Host{"TwoLabels", "a.b.eu.test"}, Host{"Parent", "eu.test"},
    Host{"SuffixWithoutDot", "evileu.test"}, Host{"NameWithMoreBefore", "evilsign.test"},
    Host{"NameWithMoreBehind", "sign.test.evil.test"});

INSTANTIATE_TEST_SUITE_P(Forms, PolicyRefusedHosts, refused, nameOf);
INSTANTIATE_TEST_SUITE_P(Forms, PolicyReachableHosts, refused, nameOf);
INSTANTIATE_TEST_SUITE_P(Forms, PolicyListedHosts,
    testing::Values(Host{"AsListed", "sign.test"}, Host{"UpperCase", "SIGN.Test"},
        Host{"TrailingDot", "sign.test."}, Host{"EscapedDot", "sign%2Etest"},
        Host{"Wildcard", "x.eu.test"}),
    nameOf);
