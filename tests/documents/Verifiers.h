// SPDX-License-Identifier: MIT
// What other people's programs say of signed documents.
#pragma once

#include "tests/documents/TestSigner.h"

#include <string>
#include <string_view>
#include <vector>

/// What a program wrote and how it ended.
struct Outcome {
    int status = -1;
    std::string output; // and errors
};

/// Runs a shell command.
Outcome run(const std::string& command);

/// What pdfsig says of each signature: "Signature is Valid.", and whether it covers the whole file.
struct PdfSigVerdict {
    std::vector<std::string> validations;
    bool lastCoversDocument = false;
    std::string output;
};
PdfSigVerdict pdfsig(std::string_view pdf, const std::string& password = "");

/// What qpdf --check says; status 0 when the file is sound.
Outcome qpdfCheck(std::string_view pdf, const std::string& password = "");

/// All pages as pictures of a program: their number and one digest.
enum class Renderer { poppler, mupdf };
std::string pictures(Renderer renderer, std::string_view pdf, const std::string& password = "");
/// What it says of a document that it shows no page of.
inline constexpr const char* noPictures = "0\n";

/// What openssl cms -verify -cades says of the last signature, with the signer as the authority.
Outcome opensslCms(std::string_view pdf, const TestSigner& signer);

/// What xmlsec1 --verify says, with the signer as the authority. `identifier` is an attribute and
/// its element, "ID a".
Outcome xmlsec1(
    std::string_view xml, const TestSigner& signer, const std::string& identifier = "Id none");
