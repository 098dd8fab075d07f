// SPDX-License-Identifier: MIT
#include "platform/shared/LogFile.h"

#include "tests/support/TemporaryFolder.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

bool isOwnLogFile(const std::string& path) {
    const int descriptor = platform::openOwnLogFile(path);
    return descriptor >= 0 && close(descriptor) == 0;
}

TEST(LogLineTest, PiecesAreJoinedWithoutNul) {
    const platform::LogPiece pieces[]
        = {"STOMP message received: ", std::string_view("{}\0", 3), "\0", " \xff"};
    EXPECT_EQ(platform::logLine(pieces), "STOMP message received: {} \xff");
    EXPECT_EQ(platform::logLine({}), "");
}

class LogFileTest : public testing::Test {
protected:
    std::string path(const std::string& name) const { return (folder.path() / name).string(); }
    TemporaryFolder folder;
};

TEST_F(LogFileTest, MissingFileIsMadeForItsUserAlone) {
    const mode_t before = umask(0);
    EXPECT_TRUE(isOwnLogFile(path("log")));
    umask(before);
    struct stat status { };
    ASSERT_EQ(stat(path("log").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777U, 0600U);
}

TEST_F(LogFileTest, OwnFileKeepsItsContent) {
    std::ofstream(path("log")) << "earlier line\n";
    EXPECT_TRUE(isOwnLogFile(path("log")));
    std::string line;
    std::getline(std::ifstream(path("log")), line);
    EXPECT_EQ(line, "earlier line");
}

TEST_F(LogFileTest, WhatIsWrittenIsAppended) {
    std::ofstream(path("log")) << "earlier\n";
    const int descriptor = platform::openOwnLogFile(path("log"));
    ASSERT_GE(descriptor, 0);
    std::ofstream(path("log"), std::ios::app) << "of another process\n";
    EXPECT_EQ(write(descriptor, "later\n", 6), 6);
    close(descriptor);
    std::ifstream file(path("log"));
    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(file), {}),
        "earlier\nof another process\nlater\n");
}

TEST_F(LogFileTest, ALogOfMoreThan512MiBIsPutAside) {
    namespace fs = std::filesystem;
    constexpr std::uintmax_t limit = std::uintmax_t{512} << 20;
    std::ofstream(path("log")) << "first";
    fs::resize_file(path("log"), limit); // a sparse file
    EXPECT_TRUE(isOwnLogFile(path("log")));
    EXPECT_FALSE(fs::exists(path("log.1")));
    fs::resize_file(path("log"), limit + 1);
    EXPECT_TRUE(isOwnLogFile(path("log")));
    EXPECT_EQ(fs::file_size(path("log")), 0U);
    EXPECT_EQ(fs::file_size(path("log.1")), limit + 1);

    std::ofstream(path("log")) << "second";
    EXPECT_TRUE(isOwnLogFile(path("log")));
    EXPECT_EQ(fs::file_size(path("log")), 6U);
    fs::resize_file(path("log"), limit + 2);
    EXPECT_TRUE(isOwnLogFile(path("log")));
    EXPECT_EQ(fs::file_size(path("log.1")), limit + 2);
    EXPECT_FALSE(fs::exists(path("log.1.1")));
}

TEST_F(LogFileTest, ALogThatCannotBePutAsideIsGoneOnWith) {
    namespace fs = std::filesystem;
    constexpr std::uintmax_t size = (std::uintmax_t{512} << 20) + 1;
    std::ofstream(path("log")) << "";
    fs::resize_file(path("log"), size);
    fs::create_directories(path("log.1") + "/folder");
    EXPECT_TRUE(isOwnLogFile(path("log")));
    EXPECT_EQ(fs::file_size(path("log")), size);
}

TEST_F(LogFileTest, LinksPipesAndFoldersAreRefused) {
    std::ofstream(path("target")) << "";
    std::filesystem::create_symlink(path("target"), path("link"));
    ASSERT_EQ(mkfifo(path("pipe").c_str(), 0600), 0);
    EXPECT_FALSE(isOwnLogFile(path("link")));
    EXPECT_FALSE(isOwnLogFile(path("pipe")));
    EXPECT_FALSE(isOwnLogFile(folder.path().string()));
    EXPECT_FALSE(isOwnLogFile(path("missing/log")));
}

TEST_F(LogFileTest, FileThatOthersCouldReadIsClosedToThem) {
    for (const mode_t before : {0644U, 0666U, 0640U, 04600U}) {
        std::ofstream(path("log")) << "";
        ASSERT_EQ(chmod(path("log").c_str(), before), 0);
        EXPECT_TRUE(isOwnLogFile(path("log")));
        struct stat status { };
        ASSERT_EQ(stat(path("log").c_str(), &status), 0);
        EXPECT_EQ(status.st_mode & 07777U, 0600U) << before;
    }
}

TEST_F(LogFileTest, FileUnderASecondNameIsRefused) {
    std::ofstream(path("elsewhere")) << "";
    std::filesystem::create_hard_link(path("elsewhere"), path("log"));
    EXPECT_FALSE(isOwnLogFile(path("log")));
    std::filesystem::remove(path("elsewhere"));
    EXPECT_TRUE(isOwnLogFile(path("log")));
}

TEST_F(LogFileTest, DevicesAreRefused) {
    EXPECT_FALSE(isOwnLogFile("/dev/null"));
    EXPECT_EQ(platform::openOwnLogFile("/dev/null"), -1);
}

TEST_F(LogFileTest, RedirectedDescriptorAppendsToTheFileWhateverTakesItsName) {
    const int descriptor = open("/dev/null", O_WRONLY | O_CLOEXEC);
    ASSERT_GE(descriptor, 0);
    std::ofstream(path("log")) << "earlier\n";
    EXPECT_TRUE(platform::redirectToOwnLogFile(descriptor, path("log")));
    std::filesystem::rename(path("log"), path("moved"));
    std::ofstream(path("log")) << "";
    EXPECT_EQ(write(descriptor, "later\n", 6), 6);
    close(descriptor);
    EXPECT_EQ(contentOf(path("moved")), "earlier\nlater\n");
    EXPECT_EQ(contentOf(path("log")), "");
}

TEST_F(LogFileTest, WithoutAFileOfItsUserTheDescriptorStaysWhatItWas) {
    std::ofstream(path("target")) << "";
    std::filesystem::create_symlink(path("target"), path("link"));
    std::ofstream(path("before")) << "";
    const int descriptor = open(path("before").c_str(), O_WRONLY | O_CLOEXEC);
    EXPECT_FALSE(platform::redirectToOwnLogFile(descriptor, path("link")));
    EXPECT_EQ(write(descriptor, "text", 4), 4);
    close(descriptor);
    EXPECT_EQ(contentOf(path("before")), "text");
}

} // namespace
