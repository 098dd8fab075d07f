// SPDX-License-Identifier: MIT
// Frames as a server writes them, put together without the codec that they test.
#pragma once

#include <string>

inline const std::string nul(1, '\0');

/// `head` is the command and the header lines, without the last line end.
inline std::string frameText(const std::string& head, const std::string& body = {}) {
    return head + "\n\n" + body + nul;
}

inline std::string connectedText(const std::string& version = "1.2") {
    return frameText("CONNECTED\nversion:" + version);
}

inline std::string messageText(const std::string& body) {
    return frameText("MESSAGE\ndestination:/topic/room/r", body);
}
