// SPDX-License-Identifier: MIT
#include "platform/linux/security/FirefoxProfiles.h"

#include <algorithm>
#include <fstream>
#include <map>
#include <string>
#include <string_view>

namespace platform {

namespace {

namespace fs = std::filesystem;

constexpr const char* places[] = {
    ".mozilla/firefox",
    ".config/mozilla/firefox",
    "snap/firefox/common/.mozilla/firefox",
    ".var/app/org.mozilla.firefox/.mozilla/firefox",
    ".var/app/org.mozilla.firefox/config/mozilla/firefox",
};

struct Section {
    std::string name;
    std::map<std::string, std::string> values;

    std::string value(const std::string& key) const {
        const auto found = values.find(key);
        return found == values.end() ? std::string() : found->second;
    }
};

std::vector<Section> readSections(const fs::path& path) {
    std::vector<Section> sections;
    std::ifstream file(path);
    for (std::string line; std::getline(file, line);) {
        if (!line.empty() && line.back() == '\r') {
            line.pop_back();
        }
        const std::size_t equals = line.find('=');
        if (line.starts_with('[') && line.ends_with(']')) {
            sections.push_back({line.substr(1, line.size() - 2), {}});
        } else if (equals != std::string::npos && !sections.empty()) {
            sections.back().values[line.substr(0, equals)] = line.substr(equals + 1);
        }
    }
    return sections;
}

/// The profiles that Firefox opens unless told otherwise, each relative to `place` or absolute: of
/// every installation its own; before there were such, the one marked as default, or the only one.
std::vector<std::string> defaultsIn(const fs::path& place) {
    std::vector<std::string> defaults;
    for (const Section& install : readSections(place / "installs.ini")) {
        defaults.push_back(install.value("Default"));
    }
    const std::vector<Section> sections = readSections(place / "profiles.ini");
    std::vector<std::string> marked;
    std::vector<std::string> all;
    for (const Section& section : sections) {
        if (section.name.starts_with("Install")) {
            defaults.push_back(section.value("Default"));
        } else if (section.name.starts_with("Profile")) {
            all.push_back(section.value("Path"));
            if (section.value("Default") == "1") {
                marked.push_back(all.back());
            }
        }
    }
    std::erase(defaults, "");
    if (!defaults.empty()) {
        return defaults;
    }
    return marked.empty() && all.size() == 1 ? all : marked;
}

} // namespace

std::vector<fs::path> firefoxProfiles(const fs::path& home) {
    std::vector<fs::path> profiles;
    for (const char* place : places) {
        for (const std::string& name : defaultsIn(home / place)) {
            std::error_code error;
            const fs::path profile = fs::weakly_canonical(home / place / name, error);
            const bool isKnown
                = std::find(profiles.begin(), profiles.end(), profile) != profiles.end();
            if (!error && !name.empty() && !isKnown && fs::exists(profile / "cert9.db", error)) {
                profiles.push_back(profile);
            }
        }
    }
    return profiles;
}

} // namespace platform
