// SPDX-License-Identifier: MIT
#include "devserver/program/Program.h"

#include <exception>
#include <iostream>

int main(int argc, char** argv) {
    try {
        return devserver::runProgram({argv + 1, argv + argc});
    } catch (const std::exception& failure) {
        std::cerr << "quillet-devserver: " << failure.what() << '\n';
        return 1;
    }
}
