// SPDX-License-Identifier: MIT
#pragma once

#include "NssDirectory.h"
#include "platform/linux/security/NssSecurity.h"

#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <map>
#include <sstream>
#include <string>

class NssListing : public testing::Test {
protected:
    NssDirectory directory;
    ScriptedUserInterface userInterface;

    std::string message(platform::NssSecurity& security, platform::OSStatus status) {
        return security.SecCopyErrorMessageString(status).value_or("(nothing)");
    }
};

/// The content of each file of a folder, by name.
inline std::map<std::string, std::string> filesOf(const std::string& path) {
    std::map<std::string, std::string> files;
    for (const auto& file : std::filesystem::directory_iterator(path)) {
        std::ostringstream content;
        content << std::ifstream(file.path(), std::ios::binary).rdbuf();
        files[file.path().filename()] = content.str();
    }
    return files;
}
