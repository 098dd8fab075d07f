// SPDX-License-Identifier: MIT
// The authority in the places where programs look, with the real certutil.
#include "devserver/program/TrustCommand.h"

#include "devserver/crypto/CertificateAuthority.h"
#include "tests/support/TemporaryFolder.h"

#include <filesystem>
#include <sstream>

#include <gmock/gmock.h>

namespace devserver::test {
namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

class TrustTest : public testing::Test {
protected:
    TrustTest() { options.authorityFolder = (folder / "authority").string(); }

    std::string home() const { return (folder / "home").string(); }
    std::string ownDatabase() const { return home() + "/.pki/nssdb"; }
    std::string profile() const { return home() + "/.mozilla/firefox/x.default"; }
    void makeDatabase(const std::string& path) const {
        fs::create_directories(path);
        ASSERT_EQ(
            runCommand({"certutil", "-N", "-d", "sql:" + path, "--empty-password"}), std::nullopt);
    }
    static bool isTrusting(const std::string& database) {
        return !runCommand(
            {"certutil", "-V", "-u", "L", "-d", "sql:" + database, "-n", "quillet-devserver"},
            CommandOutput::dropped);
    }

    /// The user's places, and a system whose authorities are in this folder.
    TrustPlaces places() const {
        TrustPlaces found = TrustPlaces::of(home());
        found.system = {(folder / "system/quillet.crt").string(),
            {"touch", (folder / "updated").string()}, {"touch", (folder / "forgotten").string()}};
        found.isRoot = true;
        return found;
    }
    int run(bool isTrusted, const std::string& answer) {
        options.isTrusted = isTrusted;
        std::istringstream in(answer);
        out.str("");
        err.str("");
        return runTrust(options, places(), in, out, err);
    }

    TemporaryFolder folder;
    TrustOptions options;
    std::ostringstream out;
    std::ostringstream err;
};

TEST_F(TrustTest, AuthorityIsPutWhereProgramsLookAndTakenAway) {
    makeDatabase(profile());
    for (int time = 0; time < 2; ++time) { // twice: it is there already
        EXPECT_EQ(run(true, "y\n"), 0) << err.str();
        EXPECT_TRUE(isTrusting(ownDatabase()));
        EXPECT_TRUE(isTrusting(profile()));
        EXPECT_EQ(contentOf(folder / "system/quillet.crt"),
            contentOf(CertificateAuthority::fileIn(options.authorityFolder)));
        EXPECT_TRUE(fs::remove(folder / "updated"));
    }
    for (int time = 0; time < 2; ++time) {
        EXPECT_EQ(run(false, "y\n"), 0) << err.str();
        EXPECT_FALSE(isTrusting(ownDatabase()));
        EXPECT_FALSE(isTrusting(profile()));
        EXPECT_FALSE(fs::exists(folder / "system/quillet.crt"));
        EXPECT_TRUE(fs::remove(folder / "forgotten"));
    }
    EXPECT_EQ(err.str(), "");
}

TEST_F(TrustTest, NothingIsDoneBeforeItWasToldAndAgreedTo) {
    for (const char* answer : {"", "\n", "n\n", "no way\n"}) {
        EXPECT_EQ(run(true, answer), 1);
        EXPECT_THAT(out.str(),
            HasSubstr("\n    certutil -N -d sql:" + ownDatabase()
                + " --empty-password\n    certutil "
                  "-A -d sql:"
                + ownDatabase() + " -n quillet-devserver -t C,, -i "
                + CertificateAuthority::fileIn(options.authorityFolder) + "\n"));
        EXPECT_THAT(out.str(), HasSubstr("Shall this be done? [y/N] Nothing was changed.\n"));
        EXPECT_FALSE(fs::exists(home()));
        EXPECT_FALSE(fs::exists(folder / "system"));
    }
    options.isConfirmed = true;
    EXPECT_EQ(run(true, ""), 0);
    EXPECT_THAT(out.str(), Not(HasSubstr("[y/N]")));
    EXPECT_TRUE(isTrusting(ownDatabase()));
}

TEST_F(TrustTest, WhatFailsIsToldAndTheRestIsDone) {
    writeFile(folder / "system", "no folder");
    EXPECT_EQ(run(true, "y\n"), 1);
    EXPECT_THAT(err.str(), HasSubstr("the authorities of the whole system, which the agent"));
    EXPECT_THAT(err.str(), HasSubstr("quillet.crt\" failed\n"));
    EXPECT_FALSE(fs::exists(folder / "updated"));
    EXPECT_TRUE(isTrusting(ownDatabase()));
}

TEST(TrustPlan, SystemIsChangedByItsAdministrator) {
    TrustPlaces places;
    places.database = "/home/it's/.pki/nssdb";
    places.system = {"/usr/local/share/ca-certificates/q.crt", {"/usr/sbin/update-ca-certificates"},
        {"/usr/sbin/update-ca-certificates", "--fresh"}};
    const std::vector<TrustStep> steps = trustSteps(places, "/a b/authority.pem");
    ASSERT_EQ(steps.size(), 2U);
    EXPECT_EQ(shellText(steps[0].commands[0]),
        "sudo install -D -m 644 '/a b/authority.pem' /usr/local/share/ca-certificates/q.crt");
    EXPECT_EQ(shellText(steps[0].commands[1]), "sudo /usr/sbin/update-ca-certificates");
    EXPECT_EQ(shellText(steps[1].commands[0]), "mkdir -p -m 700 '/home/it'\\''s/.pki/nssdb'");
    places.isRoot = true;
    EXPECT_EQ(
        shellText(trustSteps(places, "/a")[0].commands[1]), "/usr/sbin/update-ca-certificates");
    places.system.reset();
    EXPECT_EQ(trustSteps(places, "/a").size(), 1U);
    EXPECT_THAT(untrustSteps(places), IsEmpty()); // there is no database
}

TEST(RunCommandTest, FailuresAreTold) {
    EXPECT_EQ(runCommand({"true"}), std::nullopt);
    EXPECT_EQ(runCommand({"false"}), "\"false\" failed");
    EXPECT_EQ(runCommand({"no-such-program", "x"}),
        "no-such-program cannot be started: No such file or directory");
}

} // namespace
} // namespace devserver::test
