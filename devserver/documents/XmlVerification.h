// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <string_view>

namespace devserver {

struct XmlSignatureCount {
    int all = 0;
    int valid = 0; // with the key that they carry, whoever's it is
};

/// The signatures of a document. `idAttribute` holds identifiers besides the usual ones. Nothing
/// outside of the document is read.
XmlSignatureCount countXmlSignatures(std::string_view xml, const std::string& idAttribute);

} // namespace devserver
