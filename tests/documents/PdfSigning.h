// SPDX-License-Identifier: MIT
// PDFs signed in a test, with everybody's verdict.
#pragma once

#include "devserver/documents/PdfSignature.h"
#include "tests/documents/TestSigner.h"

#include <string>
#include <string_view>

const TestSigner& pdfSigner();

/// Why a document is not signed, or "(none)".
std::string pdfRefusalOf(std::string_view pdf, const devserver::PdfOptions& options = {});

/// The signed document: begins with the original, is verified by pdfsig and openssl, and shows what
/// it showed before. What is not so fails the test.
std::string signedPdfOf(std::string_view pdf, const devserver::PdfOptions& options = {});

/// What was appended to it, without the signature's digits.
std::string updateOf(std::string_view pdf, const devserver::PdfOptions& options = {});

/// That two documents show the same, in each program that shows the first.
void expectSamePictures(
    std::string_view before, std::string_view after, const std::string& password = "");
