// SPDX-License-Identifier: MIT
// The desktop entry, and the default handler of the URL scheme.
#include "platform/linux/DesktopEntryFile.h"
#include "tests/linux-shell/RegistrationTest.h"

namespace fs = std::filesystem;
using platform::ShellKind;
using testing::HasSubstr;

namespace {

class DesktopRegistrationTest : public RegistrationTest { };

constexpr const char* oneCall = "default com.quillet.ZqMacClient.desktop x-scheme-handler/quillet ";

} // namespace

TEST_F(DesktopRegistrationTest, EntryNamesTheRunningProgramAndTheScheme) {
    ASSERT_TRUE(registered());
    const std::string program = fs::read_symlink("/proc/self/exe").string();
    EXPECT_THAT(contentOf(entry()),
        HasSubstr("\nExec=" + platform::quotedForExec(program) + " --link %u\n"));
    EXPECT_THAT(contentOf(entry()), HasSubstr("\nMimeType=x-scheme-handler/quillet;\n"));
    EXPECT_EQ(contentOf(calls()), oneCall);
}

TEST_F(DesktopRegistrationTest, OnlyWhatDiffersIsWritten) {
    ASSERT_TRUE(registered());
    const auto written = fs::last_write_time(entry());
    fs::last_write_time(entry(), written - std::chrono::hours(1));
    writeFile(home() / ".config/mimeapps.list",
        "[Added Associations]\n[Default Applications]\n"
        "x-scheme-handler/quillet=com.quillet.ZqMacClient.desktop;\n");
    ASSERT_TRUE(registered());
    EXPECT_EQ(fs::last_write_time(entry()), written - std::chrono::hours(1));
    EXPECT_EQ(contentOf(calls()), oneCall);
}

TEST_F(DesktopRegistrationTest, AnotherProgramsClaimIsReplaced) {
    writeFile(entry(), "[Desktop Entry]\nExec=other\n");
    writeFile(home() / ".config/mimeapps.list",
        "[Default Applications]\nx-scheme-handler/quillet=other.desktop\n"
        "[Added Associations]\nx-scheme-handler/quillet=com.quillet.ZqMacClient.desktop\n");
    ASSERT_TRUE(registered());
    EXPECT_THAT(contentOf(entry()), HasSubstr("Name=Quillet\n"));
    EXPECT_EQ(contentOf(calls()), oneCall);
}

TEST_F(DesktopRegistrationTest, BaseDirectoriesOfTheUserAreHonoured) {
    setenv("XDG_DATA_HOME", (m_folder / "data").c_str(), 1);
    ASSERT_TRUE(registered());
    EXPECT_TRUE(fs::exists(m_folder / "data/applications/com.quillet.ZqMacClient.desktop"));
    EXPECT_FALSE(fs::exists(entry()));
}

TEST_F(DesktopRegistrationTest, FailuresAreToldWithWhatToDoAndAreHarmless) {
    makeTool("exit 3");
    const char* const withoutTool
        = "\"xdg-mime default com.quillet.ZqMacClient.desktop x-scheme-handler/quillet\" failed. "
          "Install xdg-mime (the package xdg-utils) if it is missing, and run this program with "
          "the "
          "argument \"install\" again.";
    EXPECT_EQ(problem(), withoutTool);
    fs::remove(m_folder / "bin/xdg-mime");
    setenv("PATH", (m_folder / "bin").c_str(), 1);
    EXPECT_EQ(problem(), withoutTool);
    writeFile(m_folder / "file", "");
    setenv("HOME", (m_folder / "file").c_str(), 1);
    EXPECT_EQ(problem(),
        (m_folder / "file").string()
            + "/.local/share/applications/com.quillet.ZqMacClient.desktop could not be written. "
              "Make "
              "its folder writable, and run this program with the argument \"install\" again.");
    unsetenv("HOME");
    EXPECT_EQ(problem(),
        "neither HOME nor XDG_DATA_HOME names a folder. Set HOME, and run this program with the "
        "argument \"install\" again.");
}

TEST_F(DesktopRegistrationTest, ProgramPathsAreQuotedForTheExecKey) {
    EXPECT_EQ(platform::quotedForExec("/opt/my-app_2.0/x"), "/opt/my-app_2.0/x");
    EXPECT_EQ(platform::quotedForExec("/opt/my app/x"), "\"/opt/my app/x\"");
    EXPECT_EQ(platform::quotedForExec("/a$b`c\"d\\e%f"), R"("/a\\$b\\`c\\"d\\\\e%%f")");
}

TEST_F(DesktopRegistrationTest, TerminalEntryRunsInATerminal) {
    ASSERT_TRUE(registered(ShellKind::desktop));
    ASSERT_TRUE(registered(ShellKind::terminal));
    EXPECT_THAT(contentOf(entry()), HasSubstr("\nTerminal=true\n"));
}

TEST_F(DesktopRegistrationTest, NothingIsStartedByTheBusAndAnOlderServiceFileGoes) {
    for (const ShellKind shell : {ShellKind::desktop, ShellKind::terminal}) {
        writeFile(service(), "[D-BUS Service]\nName=com.quillet.ZqMacClient\nExec=/gone\n");
        ASSERT_TRUE(registered(shell));
        EXPECT_THAT(contentOf(entry()), testing::Not(HasSubstr("DBusActivatable")));
        EXPECT_FALSE(fs::exists(service()));
    }
}

TEST_F(DesktopRegistrationTest, DesktopEntryHasAnIconAndTellsWhenItHasStarted) {
    ASSERT_TRUE(registered(ShellKind::desktop));
    EXPECT_THAT(contentOf(entry()), HasSubstr("\nTerminal=false\n"));
    EXPECT_THAT(contentOf(entry()), HasSubstr("\nStartupNotify=true\n"));
    EXPECT_THAT(contentOf(entry()), HasSubstr("\nIcon=com.quillet.ZqMacClient\n"));
    EXPECT_THAT(contentOf(icon()), testing::StartsWith("<svg "));
}

TEST_F(DesktopRegistrationTest, FilesOfADesktopAreWrittenOnlyWhenTheyDiffer) {
    ASSERT_TRUE(registered(ShellKind::desktop));
    const auto earlier = fs::last_write_time(entry()) - std::chrono::hours(1);
    for (const fs::path& file : {entry(), icon()}) {
        fs::last_write_time(file, earlier);
    }
    writeFile(icon(), "damaged");
    ASSERT_TRUE(registered(ShellKind::desktop));
    EXPECT_EQ(fs::last_write_time(entry()), earlier);
    EXPECT_THAT(contentOf(icon()), testing::StartsWith("<svg "));
}
