// SPDX-License-Identifier: MIT
#pragma once

#include <string>

namespace devserver {

/// Why a PDF is not signed, as a sentence; thrown by those who read it.
struct PdfRefusal {
    std::string reason;
    bool isDamage = false; // a copy written anew may do
};

inline PdfRefusal damaged(const std::string& what) {
    return {"the PDF is damaged: " + what, true};
}

} // namespace devserver
