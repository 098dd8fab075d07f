// SPDX-License-Identifier: MIT
// PDFs made for tests.
#pragma once

#include <functional>
#include <string>

class QPDF;
class QPDFWriter;

struct PdfForm {
    using Change = std::function<void(QPDF&)>;
    using Write = std::function<void(QPDFWriter&)>;

    int pages = 1;
    bool hasXrefStream = false;
    bool isLinearized = false;
    std::size_t contentBytes = 0;
    Change change = {};
    Write write = {};

    PdfForm& withPages(int count) { return pages = count, *this; }
    /// With object streams too.
    PdfForm& withXrefStream(bool has = true) { return hasXrefStream = has, *this; }
    PdfForm& linearized() { return isLinearized = true, *this; }
    /// Bytes of incompressible content on the first page.
    PdfForm& withContent(std::size_t bytes) { return contentBytes = bytes, *this; }
    /// Changes the document before it is written.
    PdfForm& changed(Change how) { return change = std::move(how), *this; }
    /// Changes how it is written, after all of the above.
    PdfForm& written(Write how) { return write = std::move(how), *this; }
};

std::string makePdf(const PdfForm& form = {});
