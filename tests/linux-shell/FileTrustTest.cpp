// SPDX-License-Identifier: MIT
// Whose files may be run.
#include "platform/linux/FileTrust.h"

#include "tests/support/TemporaryFolder.h"

#include <gtest/gtest.h>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;
using platform::whyNotTrusted;

class FileTrustTest : public testing::Test {
protected:
    FileTrustTest() {
        writeFile(file, "");
        allow(folder.path(), fs::perms::owner_all | fs::perms::group_read | fs::perms::others_read);
        allow(file, fs::perms::owner_all | fs::perms::group_read | fs::perms::others_read);
    }
    static void allow(const fs::path& path, fs::perms permissions) {
        fs::permissions(path, permissions);
    }

    const TemporaryFolder folder;
    const fs::path file = folder / "program";
};

TEST_F(FileTrustTest, FileOfTheUserThatNobodyElseMayWriteIsTrusted) {
    EXPECT_EQ(whyNotTrusted(file), std::nullopt);
}

TEST_F(FileTrustTest, FileOfTheSystemIsTrusted) {
    EXPECT_EQ(whyNotTrusted("/etc/passwd"), std::nullopt);
}

TEST_F(FileTrustTest, WhatOthersMayWriteIsNot) {
    for (const fs::path& path : {file, folder.path()}) {
        for (const fs::perms more : {fs::perms::group_write, fs::perms::others_write}) {
            fs::permissions(path, more, fs::perm_options::add);
            EXPECT_EQ(whyNotTrusted(file), path.string() + " can be changed by other users");
            fs::permissions(path, more, fs::perm_options::remove);
        }
    }
}

TEST_F(FileTrustTest, WhatBelongsToAnotherUserIsNot) {
    if (geteuid() != 0) {
        GTEST_SKIP() << "only root can give a file away";
    }
    for (const fs::path& path : {file, folder.path()}) {
        ASSERT_EQ(chown(path.c_str(), 65534, 65534), 0);
        EXPECT_EQ(whyNotTrusted(file), path.string() + " belongs to another user");
        ASSERT_EQ(chown(path.c_str(), 0, 0), 0);
    }
}

TEST_F(FileTrustTest, LinkIsJudgedByWhatItLeadsTo) {
    fs::permissions(file, fs::perms::others_write, fs::perm_options::add);
    fs::create_symlink(file, folder / "link");
    EXPECT_NE(whyNotTrusted(folder / "link"), std::nullopt);
}

TEST_F(FileTrustTest, WhatIsNotThereIsNotTrusted) {
    EXPECT_EQ(whyNotTrusted(folder / "none"), (folder / "none").string() + " cannot be found");
}

} // namespace
