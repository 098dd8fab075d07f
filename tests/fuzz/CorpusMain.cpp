// SPDX-License-Identifier: MIT
// fuzz_TARGET FOLDER: runs the target over each file of a corpus, without libFuzzer.
#include "tests/fuzz/FuzzTarget.h"

#include <cstdio>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iterator>

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: %s CORPUS-FOLDER\n", argv[0]);
        return 2;
    }
    int count = 0;
    try {
        for (const auto& entry : std::filesystem::directory_iterator(argv[1])) {
            std::printf("%s\n", entry.path().c_str());
            std::fflush(stdout); // the last line tells which input ended the process
            std::ifstream file(entry.path(), std::ios::binary);
            fuzz::target(std::string(
                std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()));
            ++count;
        }
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s\n", error.what());
        return 1;
    }
    std::printf("%d inputs\n", count);
    return count > 0 ? 0 : 1;
}
