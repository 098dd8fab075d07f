// SPDX-License-Identifier: MIT
#include "platform/linux/security/FirefoxProfiles.h"
#include "tests/support/TemporaryFolder.h"

#include <gtest/gtest.h>

using namespace platform;

namespace {

namespace fs = std::filesystem;

class FirefoxProfiles : public testing::Test {
protected:
    TemporaryFolder home;
    static constexpr const char* debian = ".mozilla/firefox";

    void makeProfile(const std::string& place, const std::string& name) {
        writeFile(home.path() / place / name / "cert9.db", "");
    }
    void write(const std::string& place, const std::string& file, const std::string& text) {
        writeFile(home.path() / place / file, text);
    }
    std::vector<std::string> found() {
        std::vector<std::string> names;
        for (const fs::path& profile : firefoxProfiles(home.path())) {
            names.push_back(fs::relative(profile, home.path()));
        }
        return names;
    }
};

using Names = std::vector<std::string>;

} // namespace

TEST_F(FirefoxProfiles, NoneWithoutFirefox) {
    EXPECT_EQ(found(), Names{});
}

TEST_F(FirefoxProfiles, InstallationTellsItsDefault) {
    makeProfile(debian, "old.default");
    makeProfile(debian, "new.default-release");
    write(debian, "profiles.ini",
        "[Profile1]\nName=default\nIsRelative=1\nPath=old.default\nDefault=1\n\n"
        "[Profile0]\nName=default-release\nIsRelative=1\nPath=new.default-release\n");
    write(debian, "installs.ini", "[4F96D1932A9F858E]\nDefault=new.default-release\nLocked=1\n");
    EXPECT_EQ(found(), Names{".mozilla/firefox/new.default-release"});
}

TEST_F(FirefoxProfiles, InstallationMayStandInTheProfilesFile) {
    makeProfile(debian, "old.default");
    makeProfile(debian, "new.default-release");
    write(debian, "profiles.ini",
        "[Install4F96D1932A9F858E]\r\nDefault=new.default-release\r\nLocked=1\r\n\r\n"
        "[Profile1]\r\nPath=old.default\r\nDefault=1\r\n");
    EXPECT_EQ(found(), Names{".mozilla/firefox/new.default-release"});
}

TEST_F(FirefoxProfiles, MarkedProfileIsTheDefaultWithoutInstallations) {
    makeProfile(debian, "one");
    makeProfile(debian, "two");
    write(debian, "profiles.ini",
        "[General]\nVersion=2\n[Profile0]\nPath=one\n[Profile1]\nPath=two\nDefault=1\n");
    EXPECT_EQ(found(), Names{".mozilla/firefox/two"});
}

TEST_F(FirefoxProfiles, OnlyProfileIsTheDefault) {
    makeProfile(debian, "one");
    write(debian, "profiles.ini", "[Profile0]\nPath=one\n");
    EXPECT_EQ(found(), Names{".mozilla/firefox/one"});
}

TEST_F(FirefoxProfiles, TwoUnmarkedProfilesAreNoDefault) {
    makeProfile(debian, "one");
    makeProfile(debian, "two");
    write(debian, "profiles.ini", "[Profile0]\nPath=one\n[Profile1]\nPath=two\n");
    EXPECT_EQ(found(), Names{});
}

TEST_F(FirefoxProfiles, PathMayBeAbsolute) {
    makeProfile("elsewhere", "one");
    write(debian, "profiles.ini",
        "[Profile0]\nIsRelative=0\nPath=" + (home / "elsewhere/one").string() + "\n");
    EXPECT_EQ(found(), Names{"elsewhere/one"});
}

TEST_F(FirefoxProfiles, PackageSnapAndFlatpakAreLookedAtInThisOrder) {
    const char* places[] = {debian, "snap/firefox/common/.mozilla/firefox",
        ".var/app/org.mozilla.firefox/.mozilla/firefox"};
    Names expected;
    for (const char* place : places) {
        makeProfile(place, "one");
        write(place, "profiles.ini", "[Profile0]\nPath=one\nDefault=1\n");
        expected.push_back(std::string(place) + "/one");
    }
    EXPECT_EQ(found(), expected);
}

TEST_F(FirefoxProfiles, FolderWithoutDatabaseIsLeftOut) {
    fs::create_directories(home.path() / debian / "one");
    write(debian, "profiles.ini", "[Profile0]\nPath=one\nDefault=1\n");
    EXPECT_EQ(found(), Names{});
}

TEST_F(FirefoxProfiles, OneProfileOfTwoInstallationsIsThereOnce) {
    makeProfile(debian, "one");
    write(debian, "installs.ini", "[A]\nDefault=one\n[B]\nDefault=one\n");
    write(debian, "profiles.ini", "not an ini file\n=\n[Profile0\n[]\n");
    EXPECT_EQ(found(), Names{".mozilla/firefox/one"});
}
