// SPDX-License-Identifier: MIT
// The log and its file, as the Linux system writes them.
#include "platform/linux/LinuxSystem.h"
#include "platform/linux/LinuxApplication.h"
#include "tests/support/AssembledPlatform.h"
#include "tests/support/TemporaryFolder.h"

#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <openssl/evp.h>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

using platform::LinuxSystem;
using testing::EndsWith;
using testing::MatchesRegex;

namespace {

/// A system whose standard error is put back at the end.
class LinuxSystemTest : public testing::Test {
protected:
    LinuxSystemTest()
        : m_savedError(dup(STDERR_FILENO)) {
        setenv("XDG_STATE_HOME", (folder / "state").c_str(), 1);
    }
    ~LinuxSystemTest() override {
        dup2(m_savedError, STDERR_FILENO);
        close(m_savedError);
    }

    void log(const std::vector<platform::LogPiece>& pieces) { system.NSLog(pieces); }

    /// What was logged while standard error was no log file.
    std::string loggedToTerminal(const std::vector<platform::LogPiece>& pieces) {
        const auto path = folder / "terminal";
        const int descriptor = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
        dup2(descriptor, STDERR_FILENO);
        close(descriptor);
        log(pieces);
        return contentOf(path);
    }

    /// What was logged into a fresh file.
    std::string logged(const std::vector<platform::LogPiece>& pieces) {
        const auto path = folder / "fresh.log";
        std::filesystem::remove(path);
        EXPECT_TRUE(system.reopenStandardError(path.string(), "a+"));
        log(pieces);
        return contentOf(path);
    }

    TemporaryFolder folder;
    LinuxSystem system{0, nullptr};

private:
    int m_savedError;
};

} // namespace

TEST_F(LinuxSystemTest, LogLineHasTimeProcessAndThreadBeforeItsText) {
    EXPECT_THAT(logged({"label: ", "value"}),
        MatchesRegex("[0-9]{4}-[0-9]{2}-[0-9]{2} [0-9]{2}:[0-9]{2}:[0-9]{2}\\.[0-9]{3} "
                     "ZqMacClient\\["
            + std::to_string(getpid()) + ":" + std::to_string(gettid()) + "\\] label: value\n"));
}

TEST_F(LinuxSystemTest, FrameTerminatorsDoNotReachTheLog) {
    using namespace std::string_view_literals;
    EXPECT_THAT(logged({"body: ", "{}\0"sv}), EndsWith("] body: {}\n"));
    EXPECT_THAT(logged({"a\0b\0\0"sv, "c"}), EndsWith("] abc\n"));
}

TEST_F(LinuxSystemTest, IllFormedTextIsLoggedAsReplacementCharacters) {
    EXPECT_THAT(logged({"x\xff\xc3", "y"}), EndsWith("] x\xEF\xBF\xBD\xEF\xBF\xBDy\n"));
    const JudgedText judged("caf\xC3\xA9\xff\n");
    EXPECT_THAT(logged({judged.clean(), judged.rest()}), EndsWith("] caf\xC3\xA9\xEF\xBF\xBD\n\n"));
}

TEST_F(LinuxSystemTest, LineOfManyPiecesIsWrittenWhole) {
    const std::vector<platform::LogPiece> pieces(3000, "ab");
    std::string expected;
    for (const platform::LogPiece& piece : pieces) {
        expected += piece.view();
    }
    EXPECT_THAT(logged(pieces), EndsWith("] " + expected + "\n"));
}

TEST_F(LinuxSystemTest, LinesOfSeveralThreadsStayWhole) {
    const auto path = folder / "shared.log";
    ASSERT_TRUE(system.reopenStandardError(path.string(), "a+"));
    std::vector<std::thread> threads;
    for (const char* text : {"aaaaaaaaaaaaaaaaaaaa", "bbbbbbbbbbbbbbbbbbbb"}) {
        threads.emplace_back([this, text] {
            for (int i = 0; i < 500; ++i) {
                log({text, text});
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    std::ifstream lines(path);
    std::string line;
    int count = 0;
    while (std::getline(lines, line)) {
        EXPECT_THAT(line,
            testing::AnyOf(
                EndsWith("] " + std::string(40, 'a')), EndsWith("] " + std::string(40, 'b'))));
        ++count;
    }
    EXPECT_EQ(count, 1000);
}

TEST_F(LinuxSystemTest, CreatedLogFileIsItsUsersAlone) {
    const auto path = folder / "log";
    const mode_t before = umask(0);
    EXPECT_TRUE(system.reopenStandardError(path.string(), "a+"));
    umask(before);
    struct stat status { };
    ASSERT_EQ(stat(path.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777U, 0600U);
}

TEST_F(LinuxSystemTest, ExistingLogFileIsAppendedTo) {
    writeFile(folder / "log", "earlier\n");
    ASSERT_TRUE(system.reopenStandardError((folder / "log").string(), "a+"));
    log({"later"});
    EXPECT_THAT(contentOf(folder / "log"), testing::StartsWith("earlier\n"));
    EXPECT_THAT(contentOf(folder / "log"), EndsWith("] later\n"));
}

TEST_F(LinuxSystemTest, LogThatCannotBeOpenedIsKeptInTheUsersStateFolder) {
    ASSERT_TRUE(system.reopenStandardError((folder / "no folder/Quillet.log").string(), "a+"));
    log({"a line\x1b with", " a control"});
    EXPECT_THAT(
        contentOf(folder / "state/quillet/Quillet.log"), EndsWith("] a line\x1b with a control\n"));
    struct stat status { };
    ASSERT_EQ(stat((folder / "state/quillet").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777U, 0700U);
}

TEST_F(LinuxSystemTest, LinkUnderTheLogsNameIsNotFollowed) {
    writeFile(folder / "victim", "");
    std::filesystem::create_symlink(folder / "victim", folder / "log");
    EXPECT_TRUE(system.reopenStandardError((folder / "log").string(), "a+"));
    log({"elsewhere"});
    EXPECT_EQ(contentOf(folder / "victim"), "");
    EXPECT_THAT(contentOf(folder / "state/quillet/log"), EndsWith("] elsewhere\n"));
}

TEST_F(LinuxSystemTest, FileThatCannotBeOpenedLeavesStandardErrorAsItWas) {
    ASSERT_TRUE(system.reopenStandardError((folder / "log").string(), "a+"));
    writeFile(folder / "state", "no folder"); // so that there is no second place either
    EXPECT_FALSE(system.reopenStandardError((folder / "no folder/log").string(), "a+"));
    ASSERT_EQ(mkfifo((folder / "pipe").c_str(), 0600), 0);
    EXPECT_FALSE(system.reopenStandardError((folder / "pipe").string(), "a+"));
    log({"still\there"});
    EXPECT_THAT(contentOf(folder / "log"), EndsWith("still\there\n"));
}

TEST_F(LinuxSystemTest, NoControlCharactersReachATerminalOrAJournal) {
    using namespace std::string_view_literals;
    const std::string replacement = "\xEF\xBF\xBD";
    EXPECT_THAT(loggedToTerminal({"a\x1b[2J", "\nforged line\r\t\x7f\xC2\x9B", "b\0"sv}),
        EndsWith("] a" + replacement + "[2J" + replacement + "forged line" + replacement
            + replacement + replacement + replacement + "b\n"));
}

TEST_F(LinuxSystemTest, LinkIsTakenOutOfTheCommandLine) {
    std::string program = "agent://program", install = "install";
    std::string link = "quillet://host/?roomId=secret";
    std::array<char*, 3> words{program.data(), install.data(), link.data()};
    LinuxSystem started(3, words.data());
    EXPECT_THAT(started.arguments(),
        testing::ElementsAre("agent://program", "install", "quillet://host/?roomId=secret"));
    EXPECT_EQ(install, "install");
    EXPECT_EQ(link, "quillet://" + std::string(19, '*'));
}

TEST_F(LinuxSystemTest, KernelReleaseGivesThreeNumbers) {
    const auto text = [](std::string_view release) {
        const auto version = platform::versionOfKernelRelease(release);
        return std::to_string(version.majorVersion) + "." + std::to_string(version.minorVersion)
            + "." + std::to_string(version.patchVersion);
    };
    EXPECT_EQ(text("6.1.0-13-amd64"), "6.1.0");
    EXPECT_EQ(text("6.18-rc1"), "6.18.0");
    EXPECT_EQ(text("5.15.167.4-microsoft"), "5.15.167");
    EXPECT_EQ(text("unknown"), "0.0.0");
}

TEST_F(LinuxSystemTest, BundleInformationComesFromTheInformationPropertyList) {
    EXPECT_EQ(system.bundleIdentifier(), "com.quillet.ZqMacClient");
    const auto version = system.objectForInfoDictionaryKey("CFBundleShortVersionString");
    ASSERT_TRUE(version.has_value());
    EXPECT_THAT(*version->as<std::string>(), MatchesRegex("[0-9]+(\\.[0-9]+)*"));
    EXPECT_FALSE(system.objectForInfoDictionaryKey("NoSuchKey").has_value());
}

TEST(LinuxSystemDeathTest, DigestThatTheLibraryRefusesEndsTheProcessWithALine) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    platform::AssembledPlatform platform(std::make_unique<platform::LinuxApplication>(), nullptr,
        std::make_unique<LinuxSystem>(0, nullptr), nullptr, nullptr);
    const platform::PlatformScope scope(platform);
    const auto refuse = [] { EVP_set_default_properties(nullptr, "provider=none"); };
    EXPECT_EXIT(
        {
            refuse();
            platform.system().CC_SHA256({});
        },
        testing::KilledBySignal(SIGABRT), "Fatal error: the cryptographic library makes no digest");
    EXPECT_EXIT(
        {
            refuse();
            platform.system().CC_SHA1({});
        },
        testing::KilledBySignal(SIGABRT), "Fatal error: ");
}

TEST_F(LinuxSystemTest, DigestsOfTheEmptyBufferAreTheKnownOnes) {
    EXPECT_THAT(
        system.CC_SHA1({}), testing::AllOf(testing::SizeIs(20), testing::Contains(0xDA).Times(1)));
    EXPECT_EQ(system.CC_SHA1({})[0], 0xDA);
    EXPECT_EQ(system.CC_SHA1({})[19], 0x09);
    EXPECT_EQ(system.CC_SHA256({})[0], 0xE3);
    EXPECT_EQ(system.CC_SHA256({})[31], 0x55);
}
