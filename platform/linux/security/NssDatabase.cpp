// SPDX-License-Identifier: MIT
#include "platform/linux/security/NssDatabase.h"

#include "platform/linux/security/FirefoxProfiles.h"
#include "platform/linux/security/NssHandles.h"
#include "platform/linux/security/PasswordPrompt.h"

#include <algorithm>
#include <cerrno>
#include <optional>
#include <string_view>
#include <unistd.h>

namespace platform {

namespace {

/// NSS frees (and overwrites) what this returns.
char* answerPassword(PK11SlotInfo* slot, PRBool again, void* prompt) {
    if (prompt == nullptr) {
        return nullptr;
    }
    auto& asked = *static_cast<PasswordPrompt*>(prompt);
    const char* name = PK11_GetTokenName(slot);
    if (!asked.mayTry(name, again != PR_FALSE, nss::pinState(slot))) {
        return nullptr;
    }
    if (PK11_ProtectedAuthenticationPath(slot)) {
        return asked.mayAskOnKeypad(name) ? PORT_Strdup(PK11_PW_TRY) : nullptr;
    }
    return asked.ask(
        name, again != PR_FALSE, [](const char* password) { return PORT_Strdup(password); });
}

constexpr PRUint32 openFlags = NSS_INIT_READONLY // never written, so never locked for others
    | NSS_INIT_NOROOTINIT // whom to trust is not this program's question
    | NSS_INIT_NOMODDB; // modules are tried before they are loaded

std::optional<NssDatabase::OpenFailure> filesFailure(const std::string& directory) {
    for (const char* file : {"/cert9.db", "/key4.db"}) {
        const std::string path = directory + file;
        if (access(path.c_str(), R_OK) == 0) {
            continue;
        }
        if (errno == EACCES) {
            return NssDatabase::OpenFailure::notPermitted;
        }
        return file == std::string_view("/cert9.db") ? NssDatabase::OpenFailure::missing
                                                     : NssDatabase::OpenFailure::damaged;
    }
    return std::nullopt;
}

std::string wordsFor(const std::string& moduleName) {
    return "the PKCS #11 module " + moduleName;
}

/// NSS's own slot without a database.
bool isForComputingAlone(PK11SlotInfo* slot) {
    const nss::SlotHandle computing(PK11_GetInternalSlot());
    return slot == computing.get() && !PK11_IsInternalKeySlot(slot);
}

NSSInitContext* openContext(const std::string& directory) {
    const std::string address = "sql:" + directory;
    return NSS_InitContext(address.c_str(), "", "", SECMOD_DB, nullptr, openFlags);
}

NSSInitContext* openContextWithoutDatabase() {
    return NSS_InitContext(
        "", "", "", "", nullptr, openFlags | NSS_INIT_NOCERTDB | NSS_INIT_FORCEOPEN);
}

} // namespace

std::string NssDatabase::openFailureText(OpenFailure failure, const std::string& directory) {
    switch (failure) {
    case OpenFailure::missing:
        return "There is no certificate database in " + directory + ".";
    case OpenFailure::notPermitted:
        return "The certificate database in " + directory + " may not be read.";
    case OpenFailure::damaged:
        break;
    }
    return "The certificate database in " + directory + " is damaged.";
}

/// A slot of NSS's own module that was opened beside the first.
struct CloseDatabase {
    void operator()(PK11SlotInfo* slot) const {
        SECMOD_CloseUserDB(slot);
        PK11_FreeSlot(slot);
    }
};

struct NssDatabase::Handles {
    nss::ContextHandle context;
    std::vector<nss::ModuleHandle> modules;
    std::vector<std::unique_ptr<PK11SlotInfo, CloseDatabase>> databases;
};

NssDatabase::NssDatabase(
    std::unique_ptr<Handles> handles, PasswordPrompt& prompt, Whereabouts& whereabouts)
    : m_handles(std::move(handles))
    , m_prompt(prompt)
    , m_whereabouts(whereabouts) {
    PK11_SetPasswordFunc(answerPassword);
}

NssDatabase::~NssDatabase() = default;

std::unique_ptr<NssDatabase> NssDatabase::open(const KeychainSources& sources,
    PasswordPrompt& prompt, Whereabouts& whereabouts, const Log& log) {
    std::optional<OpenFailure> failure = filesFailure(sources.database);
    const auto profiles = sources.home.empty() ? std::vector<std::filesystem::path>()
                                               : firefoxProfiles(sources.home);
    std::vector<CardModule> listed = modulesListedIn(sources.database);
    for (const std::filesystem::path& profile : profiles) {
        const auto further = modulesListedIn(profile);
        listed.insert(listed.end(), further.begin(), further.end());
    }
    ModuleTrial trial(std::move(listed), sources.configuredModules); // goes on while NSS begins

    nss::ContextHandle context(failure ? nullptr : openContext(sources.database));
    if (!context) {
        failure = failure.value_or(OpenFailure::damaged);
        context.reset(openContextWithoutDatabase());
    }
    if (!context) {
        return nullptr;
    }
    auto handles = std::unique_ptr<Handles>(new Handles{std::move(context), {}, {}});
    std::unique_ptr<NssDatabase> database(new NssDatabase(std::move(handles), prompt, whereabouts));
    database->m_failure = failure;
    for (const std::filesystem::path& profile : profiles) {
        database->openProfile(profile, log);
    }
    for (CardModule& module : trial.modules()) {
        database->load(std::move(module), log);
    }
    return database;
}

void NssDatabase::openProfile(const std::string& path, const Log& log) {
    const std::string name
        = m_profiles.empty() ? "Firefox" : "Firefox " + std::to_string(m_profiles.size() + 1);
    const std::string parameters = "configdir=" + nss::quoted("sql:" + path)
        + " tokenDescription=" + nss::quoted(name) + " flags=readOnly";
    PK11SlotInfo* slot = filesFailure(path) ? nullptr : SECMOD_OpenUserDB(parameters.c_str());
    if (slot == nullptr) {
        log("Firefox's certificates in " + path + " cannot be opened.");
    } else {
        m_handles->databases.emplace_back(slot);
    }
    m_profiles.push_back({path, slot != nullptr});
}

void NssDatabase::load(CardModule module, const Log& log) {
    if (module.problem.empty()) {
        m_whereabouts.set(wordsFor(module.name));
        nss::ModuleHandle loaded(SECMOD_LoadUserModule(module.loadText.data(), nullptr, PR_FALSE));
        if (loaded && loaded->loaded) {
            m_handles->modules.push_back(std::move(loaded));
        } else {
            module.problem = "NSS cannot load it";
        }
    }
    if (!module.problem.empty()) {
        log("PKCS #11 module " + module.name
            + (module.library.empty() ? "" : " (" + module.library + ")")
            + " is left out: " + module.problem + ".");
    }
    m_modules.push_back(std::move(module));
}

bool NssDatabase::hasModules() const {
    return !m_handles->modules.empty();
}

bool NssDatabase::holdsMore() {
    const auto present = tokens();
    return !m_handles->databases.empty()
        || std::any_of(present.begin(), present.end(),
            [](const auto& token) { return token->isCard() && token->isPrepared(); });
}

std::vector<std::shared_ptr<NssToken>> NssDatabase::tokens() {
    for (const nss::ModuleHandle& module : m_handles->modules) {
        m_whereabouts.set(wordsFor(module->commonName));
        SECMOD_UpdateSlotList(module.get()); // readers come and go
    }
    const nss::SlotListHandle slots(
        PK11_GetAllTokens(CKM_INVALID_MECHANISM, PR_FALSE, PR_FALSE, &m_prompt));
    std::vector<std::shared_ptr<NssToken>> present;
    if (!slots) {
        return present;
    }
    for (PK11SlotListElement* element = slots->head; element != nullptr; element = element->next) {
        PK11SlotInfo* slot = element->slot;
        if (isForComputingAlone(slot)) {
            continue;
        }
        auto known = std::find_if(m_tokens.begin(), m_tokens.end(),
            [slot](const auto& token) { return token->isIn(slot); });
        if (known == m_tokens.end()) {
            known = m_tokens.insert(known, std::make_shared<NssToken>(slot, m_prompt));
        }
        present.push_back(*known);
    }
    std::sort(present.begin(), present.end(),
        [](const auto& a, const auto& b) { return a->place() < b->place(); });
    return present;
}

void NssDatabase::lock() {
    for (const std::shared_ptr<NssToken>& token : m_tokens) {
        token->lock();
    }
}

} // namespace platform
