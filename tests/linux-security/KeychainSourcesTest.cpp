// SPDX-License-Identifier: MIT
// Several sources of identities at once.
#include "NssDirectory.h"
#include "SoftTokens.h"
#include "platform/linux/security/ImportHelp.h"
#include "platform/linux/security/ModuleList.h"
#include "platform/linux/security/NssSecurity.h"
#include "tests/support/ConfiguredModules.h"

#include <gmock/gmock.h>

using namespace platform;
using testing::ElementsAre;
using testing::HasSubstr;

namespace {

constexpr const char* password = "primary";
using Texts = std::vector<std::string>;

CertificateBuilder named(const std::string& name) {
    CertificateBuilder builder;
    builder.subject = {{"CN", name}};
    return builder;
}

class Sources : public testing::Test {
protected:
    ConfiguredModules configured;
    SoftTokens tokens;
    TemporaryFolder home;
    NssDirectory directory;
    NssDirectory profile{"abcd.default-release"};
    ScriptedUserInterface userInterface;
    Texts log;
    NssSecurity security{userInterface, KeychainSources{directory.path(), home.path(), true},
        {.log = [this](const std::string& line) { log.push_back(line); },
            .notice = nullptr,
            .aside = nullptr,
            .certificateInUse = nullptr}};

    void SetUp() override { security.SecKeychainSetUserInteractionAllowed(true); }

    void makeProfile(const std::string& primaryPassword = "") {
        profile.create(primaryPassword);
        writeFile(home / ".mozilla/firefox/profiles.ini",
            "[Profile0]\nIsRelative=0\nPath=" + profile.path() + "\n");
    }
    void makeCard(const std::string& name) {
        configured.add("card", SoftTokens::module());
        tokens.create("Card");
        tokens.add("Card", named(name));
    }
    Texts descriptions() {
        Texts texts;
        for (const ListedIdentity& identity : listed(security)) {
            texts.push_back(identity.identity->description());
        }
        return texts;
    }
    bool signs(const ListedIdentity& identity) {
        const SecSignature result = security.SecKeyCreateSignature(identity.key,
            SecKeyAlgorithm::kSecKeyAlgorithmRSASignatureMessagePKCS1v15SHA1, bytesOf("message"));
        return result.signature
            && verifiesSha1Message(identity.der, bytesOf("message"), *result.signature);
    }
    OSStatus listingStatus() { return security.SecItemCopyMatching(allIdentities()).status; }
};

Texts namesOf(const std::vector<CardModule>& modules) {
    Texts names;
    for (const CardModule& module : modules) {
        names.push_back(module.name + (module.problem.empty() ? "" : ": " + module.problem));
    }
    return names;
}

} // namespace

TEST_F(Sources, AreListedDatabaseThenBrowserThenCard) {
    directory.create();
    directory.addIdentity(named("Database"), "database");
    makeProfile();
    profile.addIdentity(named("Browser"), "browser");
    makeCard("Carded");
    EXPECT_THAT(descriptions(),
        ElementsAre("identity of Database on NSS Certificate DB", "identity of Browser on Firefox",
            "identity of Carded on Card"));
    userInterface.passwords = {SoftTokens::pin};
    for (const ListedIdentity& identity : listed(security)) {
        EXPECT_TRUE(signs(identity)) << identity.commonName;
    }
    EXPECT_TRUE(log.empty());
}

TEST_F(Sources, CardThatP11KitAloneKnowsSigns) {
    makeCard("Carded");
    userInterface.passwords = {SoftTokens::pin};
    const auto identities = listed(security);
    ASSERT_EQ(identities.size(), 1U);
    EXPECT_TRUE(signs(identities[0]));
    EXPECT_EQ(userInterface.questions, Texts{"Card"});
    EXPECT_EQ(log, Texts{"There is no certificate database in " + directory.path() + "."});
}

TEST_F(Sources, PrimaryPasswordOfTheBrowserIsAskedFor) {
    makeProfile(password);
    profile.addIdentity(named("Browser"), "browser");
    userInterface.passwords = {"wrong", password};
    const auto identities = listed(security);
    ASSERT_EQ(identities.size(), 1U);
    EXPECT_TRUE(signs(identities[0]));
    EXPECT_EQ(userInterface.questions, (Texts{"Firefox", "Firefox again"}));
}

TEST_F(Sources, ModulesOfTheBrowsersListAreLoaded) {
    makeProfile();
    profile.addModule("Soft Cards", SoftTokens::module());
    tokens.create("Card");
    tokens.add("Card", named("Carded"));
    EXPECT_EQ(descriptions(), Texts{"identity of Carded on Card"});
}

TEST_F(Sources, ModuleThatIsListedAndConfiguredIsLoadedOnce) {
    directory.create();
    directory.addModule("Soft Cards", SoftTokens::module());
    makeCard("Carded");
    tokens.add("Card", named("Hidden"), {.publicKey = false});
    EXPECT_EQ(namesOf(ModuleTrial(modulesListedIn(directory.path()), true).modules()),
        Texts{"Soft Cards"});
    userInterface.passwords = {SoftTokens::pin};
    EXPECT_EQ(descriptions().size(), 2U);
    EXPECT_EQ(userInterface.questions, Texts{"Card"});
}

TEST_F(Sources, CertificateInDatabaseAndBrowserIsListedOnce) {
    CertificateBuilder builder = named("Twice");
    builder.key = makeKeyPair("RSA");
    builder.serialNumber = {0x70};
    directory.create();
    directory.addIdentity(builder);
    makeProfile();
    profile.addIdentity(builder);
    EXPECT_EQ(descriptions(), Texts{"identity of Twice on NSS Certificate DB"});
}

TEST_F(Sources, TokenWithTheKeyWins) {
    CertificateBuilder builder = named("Twice");
    builder.key = makeKeyPair("RSA");
    builder.serialNumber = {0x70};
    directory.create();
    directory.addCertificate(builder, "certificate alone");
    directory.addIdentity(named("Another"), "another");
    makeCard("Carded");
    tokens.add("Card", builder);
    const Texts all = descriptions();
    EXPECT_EQ(std::count(all.begin(), all.end(), "identity of Twice on Card"), 1);
    EXPECT_EQ(all.size(), 3U);
}

TEST_F(Sources, TokenThatShowsTheKeyWinsOverOneThatVouches) {
    CertificateBuilder builder = named("Twice");
    builder.key = makeKeyPair("RSA");
    builder.serialNumber = {0x70};
    directory.create(password);
    directory.addIdentity(builder);
    makeProfile();
    profile.addIdentity(builder);
    EXPECT_EQ(descriptions(), Texts{"identity of Twice on Firefox"});
}

TEST_F(Sources, DamagedDatabaseDoesNotHideTheOthers) {
    writeFile(directory.path() + "/cert9.db", "no database");
    writeFile(directory.path() + "/key4.db", "no database");
    makeProfile();
    profile.addIdentity(named("Browser"), "browser");
    EXPECT_EQ(descriptions(), Texts{"identity of Browser on Firefox"});
    EXPECT_EQ(log, Texts{"The certificate database in " + directory.path() + " is damaged."});
}

TEST_F(Sources, DamagedProfileDoesNotHideTheOthers) {
    directory.create();
    directory.addIdentity(named("Database"), "database");
    makeProfile();
    writeFile(profile.path() + "/cert9.db", "no database");
    writeFile(profile.path() + "/key4.db", "no database");
    EXPECT_EQ(descriptions(), Texts{"identity of Database on NSS Certificate DB"});
    EXPECT_EQ(log, Texts{"Firefox's certificates in " + profile.path() + " cannot be opened."});
}

TEST_F(Sources, ModuleThatIsMissingDoesNotHideTheOthers) {
    directory.create();
    directory.addModule("Gone", "/nowhere/card.so");
    makeCard("Carded");
    EXPECT_EQ(descriptions(), Texts{"identity of Carded on Card"});
    ASSERT_EQ(log.size(), 1U);
    EXPECT_THAT(log[0],
        HasSubstr("PKCS #11 module Gone (/nowhere/card.so) is left out: it cannot be opened: "));
}

TEST_F(Sources, WithoutAnyOpeningFails) {
    EXPECT_EQ(security.SecKeychainCopyDefault(), errSecNoDefaultKeychain);
    configured.add("card", SoftTokens::module()); // a reader without a card
    EXPECT_EQ(security.SecKeychainCopyDefault(), errSecNoDefaultKeychain);
}

TEST_F(Sources, WithoutIdentitiesAreNamed) {
    directory.create();
    makeProfile();
    configured.add("card", SoftTokens::module());
    tokens.create("Card");
    EXPECT_EQ(listingStatus(), errSecUserCanceled); // the card shows nothing, and is asked
    EXPECT_EQ(security.SecCopyErrorMessageString(errSecItemNotFound),
        "The certificate database in " + directory.path()
            + " holds no certificate with a private key.\nNor does Firefox's profile in "
            + profile.path() + ".\nNor does the card Card.\n"
            + platform::importHelp(directory.path(), true));
}

TEST_F(Sources, P11KitDecidesWhichModulesAreForThisProgram) {
    configured.add("enabled", SoftTokens::module(), "enable-in: ZqMacClient");
    configured.add("disabled", AWKWARD_MODULE, "disable-in: ZqMacClient");
    EXPECT_EQ(namesOf(ModuleTrial({}, true).modules()), Texts{"enabled"});
    configured.add("enabled", SoftTokens::module(), "enable-in: somebody-else");
    configured.add("disabled", AWKWARD_MODULE, "disable-in: somebody-else");
    EXPECT_EQ(namesOf(ModuleTrial({}, true).modules()), Texts{"disabled"});
}

TEST_F(Sources, ModulesThatTellWhomToTrustAreNotLoaded) {
    configured.add("trust", SoftTokens::module(), "trust-policy: yes");
    EXPECT_EQ(namesOf(ModuleTrial({}, true).modules()), Texts{});
}

TEST_F(Sources, ModulesOfOtherProgramsAreToldAndNotReached) {
    const std::string reached = (home / "reached").string();
    configured.addRemote("far", "touch " + reached);
    makeCard("Carded");
    EXPECT_EQ(descriptions(), Texts{"identity of Carded on Card"});
    EXPECT_THAT(log,
        testing::Contains(
            "PKCS #11 module far is left out: it is reached through another program."));
    EXPECT_THAT(security.report(false),
        HasSubstr(
            "Module far (named by p11-kit): left out, it is reached through another program"));
    EXPECT_FALSE(std::filesystem::exists(reached));
}

TEST_F(Sources, HigherPriorityComesFirst) {
    configured.add("a", SoftTokens::module(), "priority: 1");
    configured.add("b", AWKWARD_MODULE, "priority: 2");
    EXPECT_EQ(namesOf(ModuleTrial({}, true).modules()), (Texts{"b", "a"}));
    configured.add("b", AWKWARD_MODULE, "priority: 0");
    EXPECT_EQ(namesOf(ModuleTrial({}, true).modules()), (Texts{"a", "b"}));
}

TEST_F(Sources, NothingIsTriedWithoutModules) {
    EXPECT_TRUE(ModuleTrial({}, false).modules().empty());
    EXPECT_TRUE(ModuleTrial({}, true).modules().empty());
}

TEST_F(Sources, CriticalModuleThatIsMissingIsTold) {
    configured.add("vital", "/nowhere/vital.so", "critical: yes");
    const auto modules = ModuleTrial({}, true).modules();
    ASSERT_EQ(modules.size(), 1U);
    EXPECT_EQ(modules[0].name, "p11-kit");
    EXPECT_FALSE(modules[0].problem.empty());
}
