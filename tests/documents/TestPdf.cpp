// SPDX-License-Identifier: MIT
#include "tests/documents/TestPdf.h"

#include <memory>
#include <qpdf/Buffer.hh>
#include <qpdf/QPDF.hh>
#include <qpdf/QPDFObjectHandle.hh>
#include <qpdf/QPDFPageDocumentHelper.hh>
#include <qpdf/QPDFPageObjectHelper.hh>
#include <qpdf/QPDFWriter.hh>
#include <random>

namespace {

std::string content(int page, std::size_t extraBytes) {
    std::string text
        = "BT /F1 24 Tf 72 720 Td (Test document, page " + std::to_string(page) + ") Tj ET\n";
    if (extraBytes > 0) {
        std::minstd_rand random(1);
        text += "% "; // a comment, which shows nothing
        for (std::size_t i = 0; i < extraBytes; ++i) {
            text += static_cast<char>('!' + random() % 90);
        }
        text += '\n';
    }
    return text;
}

} // namespace

std::string makePdf(const PdfForm& form) {
    QPDF pdf;
    pdf.emptyPDF();
    auto font = pdf.makeIndirectObject(QPDFObjectHandle::parse(
        "<< /Type /Font /Subtype /Type1 /BaseFont /Helvetica /Encoding /WinAnsiEncoding >>"));
    for (int number = 1; number <= form.pages; ++number) {
        auto page = pdf.makeIndirectObject(QPDFObjectHandle::parse(
            "<< /Type /Page /MediaBox [ 0 0 595 842 ] /Resources << /Font << >> >> >>"));
        page.getKey("/Resources").getKey("/Font").replaceKey("/F1", font);
        page.replaceKey("/Contents",
            QPDFObjectHandle::newStream(
                &pdf, content(number, number == 1 ? form.contentBytes : 0)));
        QPDFPageDocumentHelper(pdf).addPage(QPDFPageObjectHelper(page), false);
    }
    if (form.change) {
        form.change(pdf);
    }
    QPDFWriter writer(pdf);
    writer.setOutputMemory();
    writer.setStaticID(true);
    writer.setCompressStreams(form.contentBytes == 0);
    writer.setObjectStreamMode(form.hasXrefStream ? qpdf_o_generate : qpdf_o_disable);
    writer.setLinearization(form.isLinearized);
    if (form.write) {
        form.write(writer);
    }
    writer.write();
    const std::shared_ptr<Buffer> bytes = writer.getBufferSharedPointer();
    return {reinterpret_cast<const char*>(bytes->getBuffer()), bytes->getSize()};
}
