// SPDX-License-Identifier: MIT
#include "platform/linux/DesktopModule.h"

#include "platform/linux/FileTrust.h"

#include <cstdlib>
#include <dlfcn.h>
#include <filesystem>

namespace platform {

namespace {

namespace fs = std::filesystem;

/// Seen from the program's folder; empty in a build without the desktop shell.
constexpr std::string_view moduleFile = QUILLET_DESKTOP_MODULE;

/// Only the place that belongs to this very program counts: what is loaded here can reach the keys.
fs::path modulePath() {
    std::error_code error;
    const fs::path program = fs::read_symlink("/proc/self/exe", error);
    return (program.parent_path() / moduleFile).lexically_normal();
}

bool isSet(const char* variable) {
    const char* value = std::getenv(variable);
    return value != nullptr && *value != '\0';
}

} // namespace

bool isDisplayNamed() {
    return isSet("DISPLAY") || isSet("WAYLAND_DISPLAY");
}

bool isDesktopModuleThere() {
    std::error_code error;
    return !moduleFile.empty() && fs::is_regular_file(modulePath(), error);
}

std::unique_ptr<DesktopShell> openDesktop(
    DesktopHost& host, const DesktopStart& start, DesktopOutcome& outcome) {
    if (!isDesktopModuleThere()) {
        outcome.problem = "the desktop shell is not installed";
        return nullptr;
    }
    if (const auto reason = whyNotTrusted(modulePath())) {
        outcome.problem = *reason;
        return nullptr;
    }
    void* module = dlopen(modulePath().c_str(), RTLD_NOW | RTLD_LOCAL);
    void* symbol = module == nullptr ? nullptr : dlsym(module, openDesktopSymbol);
    if (symbol == nullptr) {
        outcome.problem = dlerror();
        return nullptr;
    }
    const auto open = reinterpret_cast<OpenDesktop>(symbol);
    return std::unique_ptr<DesktopShell>(open(host, start, outcome));
}

} // namespace platform
