// SPDX-License-Identifier: MIT
// A PKCS #11 module that passes everything on to SoftHSM, but behaves as cards can. How is told by
// the words of the file that QUILLET_TEST_CARD names; it is read anew at each call.
//
//     hang-initialize, crash-initialize, fail-initialize
//     hang-slots, hang-find, hang-login    that call never returns
//     removed           no token is there
//     removed-LABEL     that one is not
//     remove-at-find, remove-at-login, remove-at-sign   the card is pulled out meanwhile
//     insert-at-login   the one that was pulled out is back
//     pin-count-low, pin-final-try, pin-locked
//     keypad, keypad-cancel                a PIN pad: the right PIN is entered there, or none
//     slow-sign         a signature takes 3 seconds
//     very-slow-sign    a signature takes 25 seconds
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <dlfcn.h>
#include <fstream>
#include <iterator>
#include <map>
#include <p11-kit/pkcs11.h>
#include <string>
#include <unistd.h>

namespace {

constexpr unsigned slowSeconds = 3;
constexpr unsigned verySlowSeconds = 25;
constexpr const char* keypadPin = "1234";

CK_FUNCTION_LIST* soft = nullptr;
CK_FUNCTION_LIST functions{};

bool is(const std::string& word) {
    const char* path = std::getenv("QUILLET_TEST_CARD");
    std::ifstream file(path == nullptr ? "" : path);
    for (std::string said; file >> said;) {
        if (said == word) {
            return true;
        }
    }
    return false;
}

void say(const char* word, bool isMore = true) {
    std::ofstream(std::getenv("QUILLET_TEST_CARD"), isMore ? std::ios::app : std::ios::trunc)
        << "\n"
        << word << "\n";
}

void hangIf(const std::string& word) {
    while (is(word)) {
        sleep(1);
    }
}

bool isRemoved(CK_SLOT_ID slot) {
    CK_TOKEN_INFO info{};
    if (is("removed") || soft->C_GetTokenInfo(slot, &info) != CKR_OK) {
        return is("removed");
    }
    std::string label(std::begin(info.label), std::end(info.label));
    label.erase(label.find_last_not_of(' ') + 1);
    return is("removed-" + label);
}

std::map<CK_SESSION_HANDLE, CK_SLOT_ID> slotsOfSessions; // NSS calls one module at a time

bool isSessionRemoved(CK_SESSION_HANDLE session) {
    const auto found = slotsOfSessions.find(session);
    return found == slotsOfSessions.end() ? is("removed") : isRemoved(found->second);
}

CK_RV initialize(void* arguments) {
    hangIf("hang-initialize");
    if (is("crash-initialize")) {
        std::raise(SIGSEGV);
    }
    return is("fail-initialize") ? CKR_DEVICE_ERROR : soft->C_Initialize(arguments);
}

CK_RV getSlotInfo(CK_SLOT_ID slot, CK_SLOT_INFO* info) {
    const CK_RV result = soft->C_GetSlotInfo(slot, info);
    info->flags |= CKF_REMOVABLE_DEVICE;
    if (isRemoved(slot)) {
        info->flags &= ~static_cast<CK_FLAGS>(CKF_TOKEN_PRESENT);
    }
    return result;
}

CK_RV getTokenInfo(CK_SLOT_ID slot, CK_TOKEN_INFO* info) {
    if (isRemoved(slot)) {
        return CKR_TOKEN_NOT_PRESENT;
    }
    const CK_RV result = soft->C_GetTokenInfo(slot, info);
    const std::pair<const char*, CK_FLAGS> words[]
        = {{"pin-count-low", CKF_USER_PIN_COUNT_LOW}, {"pin-final-try", CKF_USER_PIN_FINAL_TRY},
            {"pin-locked", CKF_USER_PIN_LOCKED}, {"keypad", CKF_PROTECTED_AUTHENTICATION_PATH}};
    for (const auto& [word, flag] : words) {
        info->flags |= is(word) ? flag : 0;
    }
    return result;
}

CK_RV getSlotList(CK_BBOOL present, CK_SLOT_ID* slots, CK_ULONG* count) {
    hangIf("hang-slots");
    if (present == CK_TRUE && is("removed")) {
        *count = 0;
        return CKR_OK;
    }
    return soft->C_GetSlotList(present, slots, count);
}

CK_RV openSession(
    CK_SLOT_ID slot, CK_FLAGS flags, void* data, CK_NOTIFY notify, CK_SESSION_HANDLE* session) {
    if (isRemoved(slot)) {
        return CKR_TOKEN_NOT_PRESENT;
    }
    const CK_RV result = soft->C_OpenSession(slot, flags, data, notify, session);
    if (result == CKR_OK) {
        slotsOfSessions[*session] = slot;
    }
    return result;
}

CK_RV getSessionInfo(CK_SESSION_HANDLE session, CK_SESSION_INFO* info) {
    return isSessionRemoved(session) ? CKR_SESSION_HANDLE_INVALID
                                     : soft->C_GetSessionInfo(session, info);
}

CK_RV login(CK_SESSION_HANDLE session, CK_USER_TYPE user, CK_UTF8CHAR* pin, CK_ULONG length) {
    hangIf("hang-login");
    if (is("remove-at-login")) {
        say("removed");
    }
    if (is("insert-at-login")) {
        say("", false);
    }
    if (isSessionRemoved(session)) {
        return CKR_DEVICE_REMOVED;
    }
    if (is("pin-locked")) {
        return CKR_PIN_LOCKED;
    }
    if (is("keypad-cancel")) {
        return CKR_FUNCTION_CANCELED;
    }
    if (is("keypad")) {
        std::string entered = keypadPin;
        return pin != nullptr ? CKR_ARGUMENTS_BAD
                              : soft->C_Login(session, user,
                                  reinterpret_cast<CK_UTF8CHAR*>(entered.data()), entered.size());
    }
    return soft->C_Login(session, user, pin, length);
}

CK_RV findObjectsInit(CK_SESSION_HANDLE session, CK_ATTRIBUTE* wanted, CK_ULONG count) {
    hangIf("hang-find");
    if (is("remove-at-find")) {
        say("removed");
    }
    return isSessionRemoved(session) ? CKR_DEVICE_REMOVED
                                     : soft->C_FindObjectsInit(session, wanted, count);
}

CK_RV getAttributeValue(
    CK_SESSION_HANDLE session, CK_OBJECT_HANDLE object, CK_ATTRIBUTE* wanted, CK_ULONG count) {
    return isSessionRemoved(session) ? CKR_DEVICE_REMOVED
                                     : soft->C_GetAttributeValue(session, object, wanted, count);
}

CK_RV sign(CK_SESSION_HANDLE session, CK_BYTE* data, CK_ULONG length, CK_BYTE* signature,
    CK_ULONG* signatureLength) {
    if (is("slow-sign")) {
        sleep(slowSeconds);
    }
    if (is("very-slow-sign")) {
        sleep(verySlowSeconds);
    }
    if (is("remove-at-sign")) {
        say("removed");
    }
    return isSessionRemoved(session)
        ? CKR_DEVICE_REMOVED
        : soft->C_Sign(session, data, length, signature, signatureLength);
}

} // namespace

extern "C" __attribute__((visibility("default"))) CK_RV C_GetFunctionList(CK_FUNCTION_LIST** list) {
    if (soft == nullptr) {
        void* library = dlopen(SOFTHSM_MODULE, RTLD_NOW | RTLD_LOCAL);
        void* symbol = library == nullptr ? nullptr : dlsym(library, "C_GetFunctionList");
        if (symbol == nullptr || reinterpret_cast<CK_C_GetFunctionList>(symbol)(&soft) != CKR_OK) {
            return CKR_GENERAL_ERROR;
        }
        functions = *soft;
        functions.C_Initialize = initialize;
        functions.C_GetFunctionList = C_GetFunctionList;
        functions.C_GetSlotInfo = getSlotInfo;
        functions.C_GetTokenInfo = getTokenInfo;
        functions.C_GetSlotList = getSlotList;
        functions.C_OpenSession = openSession;
        functions.C_GetSessionInfo = getSessionInfo;
        functions.C_Login = login;
        functions.C_FindObjectsInit = findObjectsInit;
        functions.C_GetAttributeValue = getAttributeValue;
        functions.C_Sign = sign;
    }
    *list = &functions;
    return CKR_OK;
}
