// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <vector>

/// What starting a program takes for its arguments or its environment: pointers into the words,
/// which have to outlive them, and a null pointer.
inline std::vector<char*> pointersTo(std::vector<std::string>& words) {
    std::vector<char*> pointers;
    for (std::string& word : words) {
        pointers.push_back(word.data());
    }
    pointers.push_back(nullptr);
    return pointers;
}
