// SPDX-License-Identifier: MIT
// See ProbeAnswer.h.
#include "platform/linux/security/ModuleList.h"
#include "platform/linux/security/ProbeAnswer.h"

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dlfcn.h>
#include <link.h>
#include <p11-kit/p11-kit.h>
#include <poll.h>
#include <string>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;
using namespace platform;

struct Trial {
    std::string name;
    std::string library;
    std::string problem; ///< known without a trial
    pid_t process = -1;
    int answer = -1;
};

std::string fileOf(void* library, const std::string& asked) {
    link_map* map = nullptr;
    if (dlinfo(library, RTLD_DI_LINKMAP, &map) != 0 || map == nullptr) {
        return asked;
    }
    char* real = realpath(map->l_name, nullptr);
    const std::string file = real == nullptr ? asked : real;
    std::free(real);
    return file;
}

/// The line's FILE and PROBLEM.
std::string tryModule(const std::string& path) {
    void* library = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (library == nullptr) {
        return path + "\tit cannot be opened: " + dlerror();
    }
    const std::string file = fileOf(library, path);
    void* symbol = dlsym(library, "C_GetFunctionList");
    CK_FUNCTION_LIST* functions = nullptr;
    if (symbol == nullptr || reinterpret_cast<CK_C_GetFunctionList>(symbol)(&functions) != CKR_OK
        || functions == nullptr) {
        return file + "\tit is no PKCS #11 module";
    }
    CK_C_INITIALIZE_ARGS arguments{};
    arguments.flags = CKF_OS_LOCKING_OK;
    CK_RV result = functions->C_Initialize(&arguments);
    CK_ULONG slots = 0;
    if (result == CKR_OK) {
        result = functions->C_GetSlotList(CK_FALSE, nullptr, &slots);
        functions->C_Finalize(nullptr);
    }
    return file + "\t"
        + (result == CKR_OK ? "" : std::string("it fails: ") + p11_kit_strerror(result));
}

void start(Trial& trial) {
    int ends[2];
    if (!trial.problem.empty() || pipe(ends) != 0) {
        return;
    }
    trial.process = fork();
    if (trial.process == 0) {
        close(ends[0]);
        const std::string answer = tryModule(trial.library);
        _exit(write(ends[1], answer.data(), answer.size()) < 0 ? 1 : 0);
    }
    close(ends[1]);
    trial.answer = ends[0];
}

/// All that comes until the end, or nothing when the time is over before.
bool readUntil(Clock::time_point limit, int descriptor, std::string& text) {
    while (true) {
        const auto rest
            = std::chrono::duration_cast<std::chrono::milliseconds>(limit - Clock::now());
        pollfd ready{descriptor, POLLIN, 0};
        if (poll(&ready, 1, static_cast<int>(std::max<long>(rest.count(), 0))) <= 0) {
            return false;
        }
        char piece[4096];
        const ssize_t count = read(descriptor, piece, sizeof piece);
        if (count <= 0) {
            return true;
        }
        text.append(piece, static_cast<std::size_t>(count));
    }
}

std::string finish(Trial& trial, Clock::time_point limit) {
    if (trial.process <= 0) {
        return trial.library + "\t"
            + (trial.problem.empty() ? "it cannot be tried" : trial.problem);
    }
    std::string answer;
    const bool isInTime = readUntil(limit, trial.answer, answer);
    kill(trial.process, SIGKILL); // a module may have left threads behind
    int status = 0;
    waitpid(trial.process, &status, 0);
    if (!isInTime) {
        return trial.library + "\tit has not begun after " + std::to_string(moduleLimit.count())
            + " seconds";
    }
    return answer.empty() ? trial.library + "\tit crashes" : answer;
}

std::string optionOf(CK_FUNCTION_LIST* module, const char* option) {
    char* value = p11_kit_config_option(module, option);
    const std::string text = value == nullptr ? "" : value;
    std::free(value);
    return text;
}

/// In the order of their priority.
std::vector<Trial> configured() {
    std::vector<Trial> trials;
    p11_kit_set_progname(probe::knownToP11KitAs);
    // Managed, for else those that are reached through another program would be left out silently.
    CK_FUNCTION_LIST** modules = p11_kit_modules_load(nullptr, 0);
    if (modules == nullptr) {
        const char* message = p11_kit_message();
        trials.push_back({"p11-kit", "", message == nullptr ? "it fails" : message});
        return trials;
    }
    for (CK_FUNCTION_LIST** module = modules; *module != nullptr; ++module) {
        if (optionOf(*module, "trust-policy") == "yes") {
            continue; // tells whom to trust, and holds no keys
        }
        char* name = p11_kit_module_get_name(*module);
        char* file = p11_kit_module_get_filename(*module);
        trials.push_back({name == nullptr ? "" : name, file == nullptr ? "" : file,
            file == nullptr ? "it is reached through another program" : ""});
        std::free(name);
        std::free(file);
    }
    return trials;
}

} // namespace

int main(int argc, char** argv) {
    std::vector<Trial> trials;
    bool withConfigured = false;
    for (int i = 1; i < argc; ++i) {
        if (std::strcmp(argv[i], probe::configuredOption) == 0) {
            withConfigured = true;
        } else {
            trials.push_back({"", argv[i], ""});
        }
    }
    if (withConfigured) {
        const std::vector<Trial> further = configured();
        trials.insert(trials.end(), further.begin(), further.end());
    }
    const Clock::time_point limit = Clock::now() + moduleLimit;
    for (Trial& trial : trials) {
        start(trial);
    }
    for (Trial& trial : trials) {
        std::string answer = finish(trial, limit);
        std::replace(answer.begin(), answer.end(), '\n', ' ');
        std::printf("%s\t%s\n", trial.name.c_str(), answer.c_str());
    }
    std::printf("%s\n", probe::lastLine);
    std::fflush(stdout);
    _exit(0); // the end of modules that were only loaded is none of theirs
}
