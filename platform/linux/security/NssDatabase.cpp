// SPDX-License-Identifier: MIT
#include "platform/linux/security/NssDatabase.h"

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
    | NSS_INIT_NOROOTINIT; // whom to trust is not this program's question

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

} // namespace

struct NssDatabase::Context {
    nss::ContextHandle handle;
};

NssDatabase::NssDatabase(std::unique_ptr<Context> context, PasswordPrompt& prompt)
    : m_context(std::move(context))
    , m_prompt(prompt) {
    PK11_SetPasswordFunc(answerPassword);
}

NssDatabase::~NssDatabase() = default;

std::variant<std::unique_ptr<NssDatabase>, NssDatabase::OpenFailure> NssDatabase::open(
    const std::string& directory, PasswordPrompt& prompt) {
    if (const auto failure = filesFailure(directory)) {
        return *failure;
    }
    const std::string address = "sql:" + directory;
    nss::ContextHandle handle(
        NSS_InitContext(address.c_str(), "", "", SECMOD_DB, nullptr, openFlags));
    if (!handle) {
        return OpenFailure::damaged;
    }
    auto context = std::unique_ptr<Context>(new Context{std::move(handle)});
    return std::unique_ptr<NssDatabase>(new NssDatabase(std::move(context), prompt));
}

std::vector<std::shared_ptr<NssToken>> NssDatabase::tokens() {
    const nss::SlotListHandle slots(
        PK11_GetAllTokens(CKM_INVALID_MECHANISM, PR_FALSE, PR_FALSE, &m_prompt));
    std::vector<std::shared_ptr<NssToken>> present;
    if (!slots) {
        return present;
    }
    for (PK11SlotListElement* element = slots->head; element != nullptr; element = element->next) {
        PK11SlotInfo* slot = element->slot;
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

} // namespace platform
