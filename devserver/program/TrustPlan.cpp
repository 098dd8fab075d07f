// SPDX-License-Identifier: MIT
#include "devserver/program/TrustPlan.h"

#include <algorithm>
#include <filesystem>

#include <unistd.h>

namespace devserver {

namespace {

namespace fs = std::filesystem;

constexpr const char* nickname = "quillet-devserver";

bool isDatabase(const fs::path& folder) {
    std::error_code error;
    return fs::exists(folder / "cert9.db", error);
}

/// The databases of Firefox's profiles, and of browsers that are confined to folders of their own.
std::vector<std::string> databasesOfBrowsers(const fs::path& home) {
    std::vector<std::string> found;
    for (const char* profiles : {".mozilla/firefox", "snap/firefox/common/.mozilla/firefox",
             ".var/app/org.mozilla.firefox/.mozilla/firefox"}) {
        std::error_code error;
        for (const auto& entry : fs::directory_iterator(home / profiles, error)) {
            if (isDatabase(entry.path())) {
                found.push_back(entry.path().string());
            }
        }
    }
    for (const char* database :
        {"snap/chromium/current/.pki/nssdb", ".var/app/org.chromium.Chromium/data/pki/nssdb"}) {
        if (isDatabase(home / database)) {
            found.push_back((home / database).string());
        }
    }
    std::sort(found.begin(), found.end());
    return found;
}

std::optional<TrustPlaces::System> systemOfThisMachine() {
    const TrustPlaces::System systems[] = {
        {"/usr/local/share/ca-certificates/quillet-devserver.crt", {"update-ca-certificates"},
            {"update-ca-certificates", "--fresh"}},
        {"/etc/pki/ca-trust/source/anchors/quillet-devserver.pem", {"update-ca-trust"},
            {"update-ca-trust"}},
    };
    for (const TrustPlaces::System& system : systems) {
        for (const char* folder : {"/usr/sbin/", "/usr/bin/"}) {
            const std::string program = folder + system.update[0];
            if (access(program.c_str(), X_OK) == 0) {
                TrustPlaces::System found = system;
                found.update[0] = found.updateAnew[0] = program;
                return found;
            }
        }
    }
    return std::nullopt;
}

Command asRoot(const TrustPlaces& places, Command command) {
    if (!places.isRoot) {
        command.insert(command.begin(), "sudo");
    }
    return command;
}

std::string nameOf(const std::string& database) {
    return database.find("firefox") != std::string::npos ? "a profile of Firefox"
                                                         : "the database of a confined Chromium";
}

constexpr const char* systemName
    = "the authorities of the whole system, which the agent and most programs trust";
constexpr const char* databaseName = "your key database, which Chromium and Chrome read";

} // namespace

TrustPlaces TrustPlaces::of(const std::string& home) {
    const std::string database = home + "/.pki/nssdb";
    return {database, isDatabase(database), databasesOfBrowsers(home), systemOfThisMachine(),
        geteuid() == 0};
}

std::vector<TrustStep> trustSteps(const TrustPlaces& places, const std::string& authorityFile) {
    std::vector<TrustStep> steps;
    if (places.system) {
        steps.push_back({systemName,
            {asRoot(places, {"install", "-D", "-m", "644", authorityFile, places.system->file}),
                asRoot(places, places.system->update)}});
    }
    const auto adding = [&](const std::string& database) {
        return Command{"certutil", "-A", "-d", "sql:" + database, "-n", nickname, "-t", "C,,", "-i",
            authorityFile};
    };
    TrustStep own{databaseName, {}};
    if (!places.hasDatabase) {
        own.commands.push_back({"mkdir", "-p", "-m", "700", places.database});
        own.commands.push_back(
            {"certutil", "-N", "-d", "sql:" + places.database, "--empty-password"});
    }
    own.commands.push_back(adding(places.database));
    steps.push_back(std::move(own));
    for (const std::string& database : places.furtherDatabases) {
        steps.push_back({nameOf(database), {adding(database)}});
    }
    return steps;
}

std::vector<TrustStep> untrustSteps(const TrustPlaces& places) {
    std::vector<TrustStep> steps;
    if (places.system) {
        steps.push_back({systemName,
            {asRoot(places, {"rm", "-f", places.system->file}),
                asRoot(places, places.system->updateAnew)}});
    }
    const auto add = [&](const std::string& name, const std::string& database) {
        steps.push_back({name, {{"certutil", "-D", "-d", "sql:" + database, "-n", nickname}},
            {"certutil", "-L", "-d", "sql:" + database, "-n", nickname}});
    };
    if (places.hasDatabase) {
        add(databaseName, places.database);
    }
    for (const std::string& database : places.furtherDatabases) {
        add(nameOf(database), database);
    }
    return steps;
}

} // namespace devserver
