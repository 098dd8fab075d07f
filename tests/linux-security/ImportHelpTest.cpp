// SPDX-License-Identifier: MIT
#include "platform/linux/security/ImportHelp.h"
#include "NssDirectory.h"
#include "platform/linux/security/NssSecurity.h"

#include <gtest/gtest.h>

using namespace platform;

/// The commands of the help, with a new database's password and the file's given to them.
TEST(ImportHelp, CommandsImportACertificate) {
    const NssDirectory directory;
    ScriptedUserInterface userInterface;
    const std::string folder = directory.path() + "/it's new";
    NssDirectory other;
    other.create();
    other.addIdentity(CertificateBuilder());
    const std::string file = directory.path() + "/identity.p12";
    ASSERT_TRUE(
        ::run({"pk12util", "-o", file, "-n", "signer", "-d", "sql:" + other.path(), "-W", "x"}));
    std::string help = platform::importHelp(folder, false);
    help = help.substr(help.find('\n') + 1);
    help.replace(help.find("certutil -N"), 11, "certutil -N --empty-password");
    help.replace(help.find("identity.p12"), 12, file + " -W x");
    ASSERT_TRUE(::run({"sh", "-ec", help})) << help;
    NssSecurity security(userInterface, folder);
    EXPECT_EQ(security.SecKeychainCopyDefault(), errSecSuccess);
    EXPECT_EQ(security.SecItemCopyMatching(allIdentities()).status, errSecSuccess);
}
