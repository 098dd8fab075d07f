// SPDX-License-Identifier: MIT
// What counts as a document's signature: one shape at most, and never a part of another content.
#include "ZqMacClient/ZqSignedAttributes.h"
#include "ZqMacClient/ZqSignedInfo.h"
#include "tests/fuzz/FuzzTarget.h"

using fuzz::require;

void fuzz::target(std::string_view bytes) {
    const bool isForPdf = isSignedAttributes(bytesOf(bytes));
    const bool isForXml = isSignedInfo(bytes);
    if (!isForPdf && !isForXml) {
        return;
    }
    require(!(isForPdf && isForXml), "a content has one shape");
    const std::string_view shorter = bytes.substr(0, bytes.size() - 1);
    require(!isSignedAttributes(bytesOf(shorter)) && !isSignedInfo(shorter), "nothing is missing");
    const std::string longer = std::string(bytes) + '\0';
    require(!isSignedAttributes(bytesOf(longer)) && !isSignedInfo(longer), "nothing follows");
    require(bytes.front() == (isForPdf ? '\x31' : '<'), "it begins as its shape does");
}
