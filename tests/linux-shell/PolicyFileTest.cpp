// SPDX-License-Identifier: MIT
// Which files count as an administrator's policy. The owner is this user, in place of root.
#include "platform/linux/PolicyFile.h"

#include "tests/support/TemporaryFolder.h"

#include <filesystem>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

namespace platform {

namespace {

namespace fs = std::filesystem;
using State = ManagedPolicy::State;
using testing::HasSubstr;

const std::string text = R"({"version": 1})";

class PolicyFileTest : public testing::Test {
protected:
    PolicyFileTest() {
        fs::create_directory(folder());
        chmod(folder().c_str(), 0755);
        writeFile(file(), text);
        chmod(file().c_str(), 0644);
    }

    fs::path folder() const { return m_folder / "quillet"; }
    fs::path file() const { return folder() / "policy.json"; }
    ManagedPolicy read(uid_t owner = geteuid()) const {
        return readPolicyFile(folder().string(), "policy.json", owner);
    }
    void expectUnusable(const std::string& cause) const {
        const ManagedPolicy policy = read();
        EXPECT_EQ(policy.state, State::unusable);
        EXPECT_THAT(policy.text, HasSubstr(cause));
        EXPECT_EQ(policy.source, file().string());
    }

    TemporaryFolder m_folder;
};

TEST_F(PolicyFileTest, AFileOfItsOwnerIsThePolicy) {
    const ManagedPolicy policy = read();
    EXPECT_EQ(policy.state, State::present) << policy.text;
    EXPECT_EQ(policy.text, text);
    EXPECT_EQ(policy.source, file().string());
}

TEST_F(PolicyFileTest, AnEmptyFileIsPresent) {
    writeFile(file(), "");
    EXPECT_EQ(read().state, State::present);
    EXPECT_EQ(read().text, "");
}

TEST_F(PolicyFileTest, NoFileAndNoFolderAreNoPolicy) {
    fs::remove(file());
    EXPECT_EQ(read().state, State::absent);
    fs::remove(folder());
    EXPECT_EQ(read().state, State::absent);
}

TEST_F(PolicyFileTest, ItIsReadAnewEachTime) {
    read();
    writeFile(file(), "{}");
    EXPECT_EQ(read().text, "{}");
}

TEST_F(PolicyFileTest, OfAnotherOwnerItIsUnusable) {
    const ManagedPolicy policy = read(geteuid() + 1);
    EXPECT_EQ(policy.state, State::unusable);
    EXPECT_THAT(policy.text, HasSubstr("belongs to user " + std::to_string(geteuid())));
}

TEST_F(PolicyFileTest, WritableByOthersItIsUnusable) {
    for (const mode_t mode : {0664U, 0646U, 0666U, 0622U}) {
        chmod(file().c_str(), mode);
        expectUnusable("The file can be written by others than its owner.");
    }
}

TEST_F(PolicyFileTest, AFolderThatOthersCanWriteIsUnusable) {
    for (const mode_t mode : {0775U, 0757U, 01777U}) {
        chmod(folder().c_str(), mode);
        expectUnusable("The folder " + folder().string() + " can be written by others");
    }
    fs::remove(file());
    expectUnusable("The folder " + folder().string() + " can be written by others");
}

TEST_F(PolicyFileTest, ALinkIsNotFollowed) {
    fs::rename(file(), m_folder / "elsewhere.json");
    fs::create_symlink(m_folder / "elsewhere.json", file());
    expectUnusable("The file is a link.");
    fs::remove(file());
    fs::create_symlink(m_folder / "nowhere.json", file());
    expectUnusable("The file is a link.");
}

TEST_F(PolicyFileTest, ALinkInPlaceOfTheFolderIsNotFollowed) {
    fs::rename(folder(), m_folder / "elsewhere");
    fs::create_directory_symlink(m_folder / "elsewhere", folder());
    expectUnusable("The folder " + folder().string() + " is a link.");
}

TEST_F(PolicyFileTest, WhatIsNoRegularFileIsUnusable) {
    fs::remove(file());
    ASSERT_EQ(mkfifo(file().c_str(), 0600), 0);
    expectUnusable("The file is not a regular file.");
}

TEST_F(PolicyFileTest, AFolderOfThatNameIsUnusable) {
    fs::remove(file());
    fs::create_directory(file());
    EXPECT_EQ(read().state, State::unusable);
}

TEST_F(PolicyFileTest, AFileInPlaceOfTheFolderIsUnusable) {
    fs::remove_all(folder());
    writeFile(folder(), text);
    EXPECT_EQ(read().state, State::unusable);
}

TEST_F(PolicyFileTest, MoreThan64KiBAreUnusable) {
    writeFile(file(), std::string(64 << 10, ' '));
    EXPECT_EQ(read().state, State::present);
    EXPECT_EQ(read().text.size(), std::size_t{64} << 10);
    writeFile(file(), std::string((64 << 10) + 1, ' '));
    expectUnusable("The file is larger than 64 KiB.");
}

TEST_F(PolicyFileTest, AFileThatMayNotBeReadIsUnusable) {
    if (geteuid() == 0) {
        GTEST_SKIP() << "root may read any file";
    }
    chmod(file().c_str(), 0);
    expectUnusable("The file cannot be opened: ");
}

TEST_F(PolicyFileTest, ItsPlaceIsFixed) {
    EXPECT_EQ(std::string(policyFolder) + "/" + policyFileName, "/etc/quillet/policy.json");
}

} // namespace

} // namespace platform
