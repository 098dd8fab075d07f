// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <optional>
#include <string>

namespace devserver {

/// What each byte of an encoding stands for; -1: no character. Nothing when the system does not
/// know the encoding, or characters have several bytes: what those of East Asia stand for differs
/// from program to program, and a signature would be valid for some only.
std::optional<std::array<int, 256>> meaningsOfBytes(const std::string& encoding);

} // namespace devserver
