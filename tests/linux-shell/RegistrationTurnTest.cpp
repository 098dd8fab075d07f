// SPDX-License-Identifier: MIT
// Whose turn it is to have the links, when there are several copies of the program.
#include "platform/linux/DesktopEntryFile.h"
#include "tests/linux-shell/RegistrationTest.h"

namespace fs = std::filesystem;
using platform::DesktopEntryFile;
using platform::Registration;
using platform::ShellKind;
using testing::HasSubstr;
using testing::Not;

namespace {

class RegistrationTurn : public RegistrationTest {
protected:
    RegistrationTurn()
        : m_program(fs::read_symlink("/proc/self/exe").string())
        , m_other((m_folder / "other/ZqMacClient").string()) {
        writeFile(m_other, "");
        fs::permissions(m_other, fs::perms::owner_all);
    }

    fs::path systemEntry() const {
        return m_folder / "system/applications/com.quillet.ZqMacClient.desktop";
    }
    static std::string entryOf(const std::string& program, bool isAskedFor = false) {
        return "[Desktop Entry]\nExec=" + platform::quotedForExec(program) + " %u\n"
            + (isAskedFor ? platform::askedForLine : "");
    }
    bool startSucceeds() const { return !problem(ShellKind::desktop); }
    bool installSucceeds() const { return !problem(ShellKind::desktop, Registration::askedFor); }
    static std::optional<fs::path> programToYieldTo() {
        return platform::programToYieldTo("com.quillet.ZqMacClient");
    }
    bool somethingWasWritten() const { return fs::exists(home()) || fs::exists(calls()); }

    const std::string m_program;
    const std::string m_other;
};

} // namespace

TEST_F(RegistrationTurn, StartWritesNothingWhereTheSystemHasAnEntry) {
    for (const std::string& program : {m_program, m_other}) {
        writeFile(systemEntry(), entryOf(program));
        EXPECT_TRUE(startSucceeds());
        EXPECT_FALSE(somethingWasWritten());
    }
}

TEST_F(RegistrationTurn, StartRegistersWhereTheSystemsProgramIsGone) {
    writeFile(systemEntry(), entryOf("/no/such/program"));
    EXPECT_TRUE(startSucceeds());
    EXPECT_THAT(contentOf(entry()), HasSubstr("Exec=" + m_program + " --link %u\n"));
}

TEST_F(RegistrationTurn, StartTakesAwayWhatAnOlderCopyLeftBeforeTheSystemsEntry) {
    writeFile(systemEntry(), entryOf(m_program));
    for (const std::string& left : {entryOf(m_other), entryOf("/no/such/program", true),
             entryOf(m_program, true), std::string("damaged")}) {
        for (const fs::path& file : {entry(), icon(), service()}) {
            writeFile(file, left);
        }
        EXPECT_TRUE(startSucceeds());
        for (const fs::path& file : {entry(), icon(), service()}) {
            EXPECT_FALSE(fs::exists(file)) << file << left;
        }
    }
    EXPECT_FALSE(fs::exists(calls()));
}

TEST_F(RegistrationTurn, CopyThatWasAskedForKeepsTheLinks) {
    writeFile(entry(), entryOf(m_other, true));
    EXPECT_TRUE(startSucceeds());
    EXPECT_EQ(contentOf(entry()), entryOf(m_other, true));
    writeFile(systemEntry(), entryOf(m_program));
    EXPECT_TRUE(startSucceeds());
    EXPECT_EQ(contentOf(entry()), entryOf(m_other, true));
    EXPECT_FALSE(fs::exists(calls()));
}

TEST_F(RegistrationTurn, InstallPutsThisCopyBeforeAllOthers) {
    writeFile(systemEntry(), entryOf(m_other));
    writeFile(entry(), entryOf(m_other, true));
    EXPECT_TRUE(installSucceeds());
    EXPECT_THAT(contentOf(entry()), HasSubstr("Exec=" + m_program + " --link %u\n"));
    EXPECT_TRUE(DesktopEntryFile::read(entry())->isAskedFor());
    EXPECT_TRUE(startSucceeds());
    EXPECT_TRUE(DesktopEntryFile::read(entry())->isAskedFor());
}

TEST_F(RegistrationTurn, InstallOfTheSystemsCopyTakesTheUsersEntryAway) {
    writeFile(systemEntry(), entryOf(m_program));
    writeFile(entry(), entryOf(m_other, true));
    EXPECT_TRUE(installSucceeds());
    EXPECT_FALSE(fs::exists(entry()));
    EXPECT_THAT(contentOf(calls()), HasSubstr("default com.quillet.ZqMacClient.desktop"));
}

TEST_F(RegistrationTurn, EntryOfAProgramThatIsGoneIsMended) {
    writeFile(entry(), entryOf("/no/such/program", true));
    EXPECT_TRUE(startSucceeds());
    EXPECT_THAT(contentOf(entry()), HasSubstr("Exec=" + m_program + " --link %u\n"));
    EXPECT_FALSE(DesktopEntryFile::read(entry())->isAskedFor());
}

TEST_F(RegistrationTurn, StartedCopyReplacesAnotherThatNobodyAskedFor) {
    writeFile(entry(), entryOf(m_other));
    EXPECT_TRUE(startSucceeds());
    EXPECT_THAT(contentOf(entry()), HasSubstr("Exec=" + m_program + " --link %u\n"));
    EXPECT_THAT(contentOf(entry()), HasSubstr("\nTryExec=" + m_program + "\n"));
    EXPECT_THAT(contentOf(entry()), Not(HasSubstr(platform::askedForLine)));
}

TEST_F(RegistrationTurn, CopyThatNobodyAskedForYieldsItsFirstLinkToTheSystemsProgram) {
    writeFile(systemEntry(), entryOf(m_other));
    for (const fs::path& file : {entry(), icon()}) {
        writeFile(file, entryOf(m_program));
    }
    EXPECT_EQ(programToYieldTo(), fs::path(m_other));
    EXPECT_FALSE(fs::exists(entry()));
    EXPECT_FALSE(fs::exists(icon()));
    EXPECT_EQ(programToYieldTo(), std::nullopt); // it was not its entry that started it
}

TEST_F(RegistrationTurn, CopyServesItsLinksItselfUnlessItOnlyLiesBeforeTheSystemsProgram) {
    const auto serves = [this](const std::string& system, const std::string& user) {
        writeFile(systemEntry(), system);
        writeFile(entry(), user);
        return programToYieldTo() == std::nullopt && contentOf(entry()) == user;
    };
    EXPECT_TRUE(serves(entryOf(m_other), entryOf(m_program, true))) << "it was asked for";
    EXPECT_TRUE(serves(entryOf(m_program), entryOf(m_program))) << "it is the system's";
    EXPECT_TRUE(serves(entryOf("/no/such/program"), entryOf(m_program)));
    EXPECT_TRUE(serves(entryOf(m_other), entryOf(m_other))) << "another's entry";
    fs::permissions(m_other, fs::perms::others_write, fs::perm_options::add);
    EXPECT_TRUE(serves(entryOf(m_other), entryOf(m_program))) << "others can change that program";
}

TEST(DesktopEntryFileTest, ProgramOfAnEntryIsWhatItsExecLineStarts) {
    const TemporaryFolder folder;
    for (const char* name : {"plain", "a $b `c \"d \\e %f", "100%"}) {
        const std::string path = (folder / name).string();
        const DesktopEntryFile entry{"[Other]\nExec=/bin/sh\n[Desktop Entry]\nExec="
            + platform::quotedForExec(path) + " %u\n[Desktop Action x]\nExec=/bin/sh\n"};
        EXPECT_EQ(entry.program(), std::nullopt);
        writeFile(path, "");
        EXPECT_EQ(entry.program(), std::nullopt); // nobody may run it
        fs::permissions(path, fs::perms::owner_all);
        EXPECT_EQ(entry.program(), fs::path(path));
    }
}

TEST(DesktopEntryFileTest, BareNamesAreLookedUpInThePath) {
    const TemporaryFolder folder;
    writeFile(folder / "bin/agent", "");
    fs::permissions(folder / "bin/agent", fs::perms::owner_all);
    setenv("PATH", ("relative:/no/such:" + (folder / "bin").string()).c_str(), 1);
    EXPECT_EQ(DesktopEntryFile{"[Desktop Entry]\nExec=agent %u\n"}.program(), folder / "bin/agent");
    for (const char* exec :
        {"Exec=other %u", "Exec=", "Exec", "TryExec=agent", "Exec=\"", "Exec=%"}) {
        EXPECT_EQ(
            DesktopEntryFile{std::string("[Desktop Entry]\n") + exec}.program(), std::nullopt);
    }
}
