// SPDX-License-Identifier: MIT
#include "devserver/program/Files.h"

#include "devserver/session/DocumentSigning.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>

namespace devserver {

std::optional<std::string> readFile(const std::string& path, std::string& error) {
    std::error_code code;
    const std::uintmax_t size = std::filesystem::file_size(path, code);
    if (code) {
        error = path + " cannot be read: " + code.message();
        return std::nullopt;
    }
    if (size > largestDocument) {
        error = path + " cannot be signed: " + tooLargeText();
        return std::nullopt;
    }
    std::string bytes(size, '\0');
    std::ifstream file(path, std::ios::binary);
    file.read(bytes.data(), static_cast<std::streamsize>(size));
    if (!file) {
        error = path + " cannot be read";
        return std::nullopt;
    }
    return bytes;
}

std::string dataFolder() {
    const auto environment = [](const char* name) {
        const char* const value = std::getenv(name);
        return std::string(value != nullptr ? value : "");
    };
    const std::string data = environment("XDG_DATA_HOME");
    const std::string home = environment("HOME");
    if (!data.empty()) {
        return data + "/quillet-devserver";
    }
    return home.empty() ? "" : home + "/.local/share/quillet-devserver";
}

bool writeFile(const std::string& path, std::string_view bytes) {
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    file.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    file.close();
    return file.good();
}

} // namespace devserver
