// SPDX-License-Identifier: MIT
// A file is the old one or the whole new one, whatever happens.
#include "devserver/program/Files.h"

#include "tests/support/TemporaryFolder.h"

#include <chrono>
#include <csignal>
#include <filesystem>
#include <functional>
#include <random>
#include <thread>

#include <gmock/gmock.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace devserver::test {
namespace {

constexpr int notPossibleHere = 77;

/// Runs `work` in a process of its own; its status, or minus the signal that ended it.
int inProcess(const std::function<int()>& work) {
    const pid_t child = fork();
    if (child == 0) {
        _exit(work());
    }
    int status = 0;
    waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

/// Makes a folder a disk of 256 KiB, seen by this process alone; false where that is not allowed.
bool hasSmallDisk(const std::filesystem::path& folder) {
    const std::string user = "0 " + std::to_string(geteuid()) + " 1";
    if (unshare(CLONE_NEWNS) != 0) {
        if (unshare(CLONE_NEWUSER | CLONE_NEWNS) != 0) {
            return false;
        }
        ::writeFile("/proc/self/uid_map", user);
    }
    return mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0
        && mount("tmpfs", folder.c_str(), "tmpfs", 0, "size=256k") == 0;
}

std::size_t filesIn(const std::filesystem::path& folder) {
    return static_cast<std::size_t>(std::distance(
        std::filesystem::directory_iterator(folder), std::filesystem::directory_iterator()));
}

class FilesTest : public testing::Test {
protected:
    std::string path(const std::string& name) const { return (folder / name).string(); }
    TemporaryFolder folder;
};

TEST_F(FilesTest, NewFileHasTheUsualPermissionsAndAnOldOneKeepsIts) {
    ASSERT_EQ(devserver::writeFile(path("a"), "new"), std::nullopt);
    const mode_t mask = umask(0);
    umask(mask);
    const auto permissions = std::filesystem::status(path("a")).permissions();
    EXPECT_EQ(static_cast<unsigned>(permissions), 0666U & ~mask);
    std::filesystem::permissions(path("a"), std::filesystem::perms(0600));
    ASSERT_EQ(devserver::writeFile(path("a"), "newer"), std::nullopt);
    EXPECT_EQ(std::filesystem::status(path("a")).permissions(), std::filesystem::perms(0600));
    EXPECT_EQ(contentOf(path("a")), "newer");
    EXPECT_EQ(filesIn(folder.path()), 1U);
}

TEST_F(FilesTest, WhatIsNoFileIsWrittenTo) {
    EXPECT_EQ(devserver::writeFile("/dev/null", "bytes"), std::nullopt);
    EXPECT_EQ(devserver::writeFile("/dev/full", "bytes"),
        "/dev/full cannot be written: No space left on device");
    EXPECT_TRUE(std::filesystem::is_character_file("/dev/null"));
}

TEST_F(FilesTest, TryingWhetherAFileCanBeWrittenLeavesNothing) {
    ::writeFile(folder / "a", "old");
    EXPECT_EQ(refusalToWrite(path("a")), std::nullopt);
    EXPECT_EQ(refusalToWrite(path("b")), std::nullopt);
    EXPECT_EQ(contentOf(path("a")), "old");
    EXPECT_EQ(filesIn(folder.path()), 1U);
    EXPECT_EQ(refusalToWrite(path("none/a")),
        path("none/a") + " cannot be written: No such file or directory");
}

TEST_F(FilesTest, ErrorInTheMiddleLeavesTheOldFile) {
    ::writeFile(folder / "a", "old");
    const int status = inProcess([&] {
        const rlimit limit{1000, 1000};
        setrlimit(RLIMIT_FSIZE, &limit);
        std::signal(SIGXFSZ, SIG_IGN);
        const auto cause = devserver::writeFile(path("a"), std::string(5000, 'x'));
        return cause == path("a") + " cannot be written: File too large" ? 0 : 1;
    });
    EXPECT_EQ(status, 0);
    EXPECT_EQ(contentOf(path("a")), "old");
    EXPECT_EQ(filesIn(folder.path()), 1U);
}

TEST_F(FilesTest, FullDiskLeavesTheOldFile) {
    const int status = inProcess([&] {
        if (!hasSmallDisk(folder.path())) {
            return notPossibleHere;
        }
        ::writeFile(folder / "a", "old");
        const auto cause = devserver::writeFile(path("a"), std::string(1 << 20, 'x'));
        const bool isRight = cause == path("a") + " cannot be written: No space left on device"
            && contentOf(path("a")) == "old" && filesIn(folder.path()) == 1;
        return isRight ? 0 : 1;
    });
    if (status == notPossibleHere) {
        GTEST_SKIP() << "no file system can be mounted here";
    }
    EXPECT_EQ(status, 0);
}

TEST_F(FilesTest, KilledAtAnyMomentTheFileIsWhole) {
    const std::string one(3 << 20, '1');
    const std::string two(2 << 20, '2');
    ASSERT_EQ(devserver::writeFile(path("a"), one), std::nullopt);
    std::minstd_rand random(static_cast<unsigned>(getpid()));
    for (int i = 0; i < 200; ++i) {
        const pid_t child = fork();
        if (child == 0) {
            for (;;) {
                devserver::writeFile(path("a"), two);
                devserver::writeFile(path("a"), one);
            }
        }
        std::this_thread::sleep_for(std::chrono::microseconds(random() % 20000));
        kill(child, SIGKILL);
        waitpid(child, nullptr, 0);
        const std::string content = contentOf(path("a"));
        ASSERT_TRUE(content == one || content == two) << i << ": " << content.size();
        for (const auto& entry : std::filesystem::directory_iterator(folder.path())) {
            if (entry.path() != folder / "a") { // what a killed process could not remove
                std::filesystem::remove(entry.path());
            }
        }
    }
}

TEST_F(FilesTest, NamesOfOneFileAreKnown) {
    ::writeFile(folder / "a", "");
    std::filesystem::create_symlink(path("a"), path("link"));
    std::filesystem::create_symlink(folder.path(), path("here"));
    EXPECT_TRUE(isSameFile(path("a"), path("link")));
    EXPECT_TRUE(isSameFile(path("a"), path("here/./a")));
    EXPECT_TRUE(isSameFile(path("none"), path("here/none")));
    EXPECT_FALSE(isSameFile(path("a"), path("none")));
    EXPECT_FALSE(isSameFile("/dev/null", "/dev/null")); // takes any number of files
}

} // namespace
} // namespace devserver::test
