// SPDX-License-Identifier: MIT
// Host names and the words for errors, without a network.
#include "platform/linux/net/HostName.h"
#include "platform/linux/net/NetworkErrorText.h"

#include <boost/asio/error.hpp>
#include <boost/beast/core/error.hpp>
#include <gtest/gtest.h>
#include <openssl/x509_vfy.h>

namespace {

using namespace platform::linux_;

const Peer peer{"host.example", 8443, std::chrono::seconds(60)};

TEST(HostNameTest, NamesAndAddressesAreTold) {
    EXPECT_FALSE(parseHostName("host.example")->isAddress);
    EXPECT_TRUE(parseHostName("192.0.2.1")->isAddress);
    const auto address = parseHostName("[2001:db8::1]");
    EXPECT_TRUE(address->isAddress);
    EXPECT_EQ(address->ascii, "2001:db8::1");
    EXPECT_EQ(address->display, "[2001:db8::1]");
    EXPECT_EQ(address->authority(8443, 443), "[2001:db8::1]:8443");
    EXPECT_EQ(address->authority(443, 443), "[2001:db8::1]");
}

TEST(HostNameTest, ZoneIsLookedUpButNotSent) {
    const auto address = parseHostName("[fe80::1%25lo]");
    ASSERT_TRUE(address);
    EXPECT_EQ(address->ascii, "fe80::1%lo");
    EXPECT_EQ(address->certificateName(), "fe80::1");
    EXPECT_EQ(address->authority(443, 443), "[fe80::1]");
}

TEST(HostNameTest, InternationalisedNamesBecomeALabels) {
    for (const char* text :
        {"b\xC3\xBC\x63her.example", "b%C3%BCcher.example", "B\xC3\x9C\x43HER.example"}) {
        const auto host = parseHostName(text);
        ASSERT_TRUE(host) << host.failure().text;
        EXPECT_EQ(host->ascii, "xn--bcher-kva.example");
    }
    EXPECT_EQ(parseHostName("b%C3%BCcher.example")->display, "b\xC3\xBC\x63her.example");
}

TEST(HostNameTest, TrailingDotIsNotSent) {
    EXPECT_EQ(parseHostName("host.example.")->authority(443, 443), "host.example");
}

TEST(HostNameTest, WhatCannotBeANameIsRefused) {
    for (const std::string& text : {std::string("a b"), std::string("a/b"), std::string("a\r\nb"),
             std::string("a%0d%0ab"), std::string("a\0b", 3), std::string("a%00%C3%BC"),
             std::string("2001%3Adb8%3A%3A1%00.eu.example.org"), std::string("%3A%3A1%00"),
             std::string("%FF"), std::string("%zz"), std::string("a:b"), std::string("[name]"),
             std::string(254, 'a'), std::string("\xE2\x80\xAE.example")}) {
        EXPECT_FALSE(parseHostName(text)) << text;
    }
    EXPECT_EQ(parseHostName("a\nb").failure().text, "a b is not a host name");
}

TEST(NetworkErrorTextTest, ErrorsOfLookupAndConnectionAreWords) {
    namespace error = boost::asio::error;
    EXPECT_EQ(
        networkErrorText(peer, error::host_not_found), "name host.example could not be found");
    EXPECT_EQ(networkErrorText(peer, error::connection_refused),
        "host.example refused the connection on port 8443");
    EXPECT_EQ(networkErrorText(peer, boost::beast::error::timeout),
        "host.example did not answer within 60 seconds");
    EXPECT_EQ(
        networkErrorText(peer, error::timed_out), "host.example did not answer within 60 seconds");
    EXPECT_EQ(networkErrorText(peer, error::network_unreachable),
        "host.example cannot be reached from this computer: is it online?");
    EXPECT_EQ(
        networkErrorText(peer, error::connection_reset), "the connection to host.example was lost");
}

TEST(NetworkErrorTextTest, DurationsAreReadable) {
    EXPECT_EQ(durationText(std::chrono::milliseconds(60000)), "60 seconds");
    EXPECT_EQ(durationText(std::chrono::milliseconds(1000)), "1 second");
    EXPECT_EQ(durationText(std::chrono::milliseconds(1050)), "1.05 seconds");
}

} // namespace
