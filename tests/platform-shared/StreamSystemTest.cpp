// SPDX-License-Identifier: MIT
#include "platform/shared/StreamSystem.h"

#include "tests/support/TemporaryFolder.h"

#include <cstdlib>
#include <filesystem>
#include <gtest/gtest.h>
#include <iostream>
#include <unistd.h>

namespace {

class OnlyStreams : public platform::StreamSystem {
public:
    OnlyStreams()
        : StreamSystem({"agent", "install"}, "Library/Logs") { }
    using StreamSystem::textToLog;
    void NSLog(platform::LogText) override { std::abort(); }
    std::optional<std::string> bundleIdentifier() override { std::abort(); }
    std::optional<platform::PropertyValue> objectForInfoDictionaryKey(const std::string&) override {
        std::abort();
    }
    platform::NSOperatingSystemVersion operatingSystemVersion() override { std::abort(); }
    std::int32_t LSSetDefaultHandlerForURLScheme(const std::string&, const std::string&) override {
        std::abort();
    }
    std::array<std::uint8_t, 20> CC_SHA1(BytesView) override { std::abort(); }
    std::array<std::uint8_t, 32> CC_SHA256(BytesView) override { std::abort(); }
};

/// Standard error is put back at the end.
class StreamSystemTest : public testing::Test {
protected:
    StreamSystemTest()
        : m_home(std::getenv("HOME") == nullptr ? "" : std::getenv("HOME"))
        , m_error(dup(STDERR_FILENO)) {
        setenv("HOME", folder.path().c_str(), 1);
    }
    ~StreamSystemTest() override {
        dup2(m_error, STDERR_FILENO);
        close(m_error);
        setenv("HOME", m_home.c_str(), 1);
    }

    static bool reopenAndWrite(const std::string& path, const std::string& mode) {
        const bool isReopened = OnlyStreams().reopenStandardError(path, mode);
        if (isReopened) {
            std::cerr << "later" << std::endl;
        }
        return isReopened;
    }
    std::string path(const std::string& name) const { return (folder.path() / name).string(); }

    TemporaryFolder folder;

private:
    const std::string m_home;
    const int m_error;
};

TEST_F(StreamSystemTest, LinesGoToStandardOutputAtOnce) {
    testing::internal::CaptureStdout();
    OnlyStreams().print("a line");
    OnlyStreams().print("a\x1B[2J\nb");
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "a line\na\uFFFD[2J\uFFFDb\n");
}

TEST_F(StreamSystemTest, ArgumentsAreThoseGiven) {
    EXPECT_EQ(OnlyStreams().arguments(), (std::vector<std::string>{"agent", "install"}));
}

TEST_F(StreamSystemTest, ControlCharactersAreLoggedOnlyIntoAFile) {
    OnlyStreams system;
    const std::vector<platform::LogPiece> pieces = {"a\nb", "\x1B"};
    EXPECT_EQ(system.textToLog(pieces), "a\uFFFDb\uFFFD");
    EXPECT_FALSE(system.reopenStandardError(path("no/Agent.log"), "w"));
    EXPECT_EQ(system.textToLog(pieces), "a\uFFFDb\uFFFD");
    EXPECT_TRUE(system.reopenStandardError(path("Agent.log"), "a+"));
    EXPECT_EQ(system.textToLog(pieces), "a\nb\x1B");
}

TEST_F(StreamSystemTest, LogIsInItsUsualPlace) {
    EXPECT_TRUE(reopenAndWrite(path("Agent.log"), "a+"));
    EXPECT_EQ(contentOf(folder / "Agent.log"), "later\n");
}

TEST_F(StreamSystemTest, LogThatCannotBeHadThereIsInTheUsersFolder) {
    std::filesystem::create_directories(path("Library/Logs"));
    std::filesystem::create_directory(path("Agent.log"));
    EXPECT_TRUE(reopenAndWrite(path("Agent.log"), "a+"));
    EXPECT_EQ(contentOf(folder / "Library/Logs/Agent.log"), "later\n");
}

TEST_F(StreamSystemTest, WithoutAnyPlaceForTheLogStandardErrorStays) {
    std::filesystem::create_directory(path("Agent.log"));
    EXPECT_FALSE(reopenAndWrite(path("Agent.log"), "a+"));
    unsetenv("HOME");
    EXPECT_FALSE(reopenAndWrite(path("Agent.log"), "a+"));
}

TEST_F(StreamSystemTest, NoOtherModeIsKnown) {
    for (const char* const mode : {"w", "a", ""}) {
        EXPECT_FALSE(reopenAndWrite(path("Agent.log"), mode));
    }
    EXPECT_FALSE(std::filesystem::exists(path("Agent.log")));
}

} // namespace
