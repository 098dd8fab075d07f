// SPDX-License-Identifier: MIT
#include "devserver/documents/PdfUpdate.h"

#include "devserver/documents/PdfAppendix.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <random>
#include <set>
#include <vector>

#include <qpdf/QPDF.hh>
#include <qpdf/QPDFExc.hh>
#include <qpdf/QPDFObjectHandle.hh>

namespace devserver {

namespace {

using Handle = QPDFObjectHandle;

/// Why a document is not signed, in words.
struct Refusal {
    std::string reason;
};

constexpr int deepestTree = 64;
constexpr std::size_t headerArea = 1024; // bytes within which readers look for the header
constexpr long long signaturesExist = 1; // bits of /SigFlags (ISO 32000-1, 12.7.2)
constexpr long long appendOnly = 2;

/// The value under a key, or null also where there is no dictionary.
Handle valueOf(Handle dictionary, const std::string& key) {
    return dictionary.isDictionary() ? dictionary.getKey(key) : Handle::newNull();
}

std::vector<Handle> elementsOf(Handle array) {
    return array.isArray() ? array.getArrayAsVector() : std::vector<Handle>();
}

/// The first page of a page tree (ISO 32000-1, 7.7.3), or null.
Handle firstPage(Handle node, std::set<QPDFObjGen>& seen, int depth = 0) {
    if (!node.isDictionary() || !node.isIndirect() || depth > deepestTree
        || !seen.insert(node.getObjGen()).second) {
        return Handle::newNull();
    }
    if (!node.hasKey("/Kids")) {
        return node;
    }
    for (const Handle& kid : elementsOf(node.getKey("/Kids"))) {
        Handle page = firstPage(kid, seen, depth + 1);
        if (!page.isNull()) {
            return page;
        }
    }
    return Handle::newNull();
}

/// "Signature1", or the next that no field at the form's top has.
std::string freeFieldName(Handle form) {
    std::set<std::string> taken;
    for (const Handle& field : elementsOf(valueOf(form, "/Fields"))) {
        Handle name = valueOf(field, "/T");
        if (name.isString()) {
            taken.insert(name.getUTF8Value());
        }
    }
    int number = 1;
    while (taken.count("Signature" + std::to_string(number)) > 0) {
        ++number;
    }
    return "Signature" + std::to_string(number);
}

/// Whether an author's certification forbids every change (ISO 32000-1, 12.8.2.2).
bool forbidsChanges(Handle catalog) {
    Handle certification = valueOf(valueOf(catalog, "/Perms"), "/DocMDP");
    for (const Handle& reference : elementsOf(valueOf(certification, "/Reference"))) {
        Handle level = valueOf(valueOf(reference, "/TransformParams"), "/P");
        if (level.isInteger() && level.getIntValue() == 1) {
            return true;
        }
    }
    return false;
}

std::string randomBytes(std::size_t count) {
    std::random_device random;
    std::string bytes(count, '\0');
    for (char& byte : bytes) {
        byte = static_cast<char>(random() & 0xFF);
    }
    return bytes;
}

/// One run over a document: objects are changed in memory, and those that changed are appended.
class Update {
public:
    explicit Update(std::string_view pdf)
        : m_original(pdf) { }

    PdfUpdate run(std::size_t signatureRoom, const std::string& time) {
        open();
        Handle signature = m_pdf.makeIndirectObject(Handle::parse("<< /Type /Sig >>"));
        addField(signature);
        return append(signature, signatureRoom, time);
    }

private:
    void open() {
        const std::size_t header = m_original.substr(0, headerArea).find("%PDF-");
        if (header == std::string_view::npos) {
            throw Refusal{"this is not a PDF"};
        }
        if (header > 0) {
            throw Refusal{"the PDF does not begin with its header, but with other bytes"};
        }
        m_pdf.setSuppressWarnings(true);
        m_pdf.setAttemptRecovery(false); // nothing can be appended to what was only guessed
        m_pdf.processMemoryFile("document", m_original.data(), m_original.size());
        if (m_pdf.isEncrypted()) {
            throw Refusal{"the PDF is encrypted; only PDFs without encryption can be signed"};
        }
        m_catalog = m_pdf.getRoot();
        if (forbidsChanges(m_catalog)) {
            throw Refusal{"the PDF is certified by its author, who allows no further signatures"};
        }
        std::set<QPDFObjGen> seen;
        m_page = firstPage(m_catalog.getKey("/Pages"), seen);
        if (m_page.isNull()) {
            throw Refusal{"the PDF has no page that can be read"};
        }
    }

    /// A field and its annotation in one object (ISO 32000-1, 12.5.6.19), invisible.
    void addField(const Handle& signature) {
        Handle form = m_catalog.getKey("/AcroForm");
        if (!form.isDictionary()) {
            form = m_pdf.makeIndirectObject(Handle::parse("<< /Fields [ ] >>"));
            m_catalog.replaceKey("/AcroForm", form);
            m_changed.insert(m_catalog.getObjGen());
        }
        Handle field = Handle::parse("<< /Type /Annot /Subtype /Widget /FT /Sig "
                                     "/Rect [ 0 0 0 0 ] /F 132 >>"); // printed, locked
        field.replaceKey("/T", Handle::newUnicodeString(freeFieldName(form)));
        field.replaceKey("/V", signature);
        field.replaceKey("/P", m_page);
        field = m_pdf.makeIndirectObject(field);
        m_changed.insert(field.getObjGen());

        appendTo(m_page, "/Annots", field, m_page);
        const Handle& formOwner = form.isIndirect() ? form : m_catalog;
        appendTo(form, "/Fields", field, formOwner);
        Handle flags = form.getKey("/SigFlags");
        form.replaceKey("/SigFlags",
            Handle::newInteger(
                (flags.isInteger() ? flags.getIntValue() : 0) | signaturesExist | appendOnly));
        m_changed.insert(formOwner.getObjGen());
    }

    /// Appends to the array under a key, which is made when there is none. `owner` is the object in
    /// which the dictionary stands.
    void appendTo(Handle dictionary, const std::string& key, const Handle& element, Handle owner) {
        Handle array = dictionary.getKey(key);
        if (!array.isArray()) {
            array = Handle::newArray();
            dictionary.replaceKey(key, array);
        }
        array.appendItem(element);
        m_changed.insert(array.isIndirect() ? array.getObjGen() : owner.getObjGen());
    }

    PdfUpdate append(Handle signature, std::size_t signatureRoom, const std::string& time) {
        const std::optional<CrossReference> previous = CrossReference::of(m_original);
        if (!previous) {
            throw Refusal{"the PDF is damaged: it does not end with its cross-reference"};
        }
        PdfAppendix appendix(m_original);
        for (const QPDFObjGen& id : m_changed) {
            appendix.addObject(
                id.getObj(), id.getGen(), m_pdf.getObjectByObjGen(id).unparseResolved());
        }
        // The numbers of /ByteRange are filled in when the file's length is known.
        const std::string beforeRange = "<< /Type /Sig /Filter /Adobe.PPKLite /SubFilter "
                                        "/ETSI.CAdES.detached /M ("
            + time + ") /ByteRange ";
        const std::string range(60, ' ');
        const std::string contents = "<" + std::string(2 * signatureRoom, '0') + ">";
        const std::size_t start = appendix.addObject(
            signature.getObjectID(), 0, beforeRange + range + " /Contents " + contents + " >>");
        PdfUpdate update;
        update.contentsStart
            = start + beforeRange.size() + range.size() + std::string_view(" /Contents ").size();
        update.contentsEnd = update.contentsStart + contents.size();
        appendix.finish(*previous, nextObjectNumber(), trailerEntries());
        update.bytes = std::move(appendix.bytes());

        std::string numbers = "[ 0 " + std::to_string(update.contentsStart) + " "
            + std::to_string(update.contentsEnd) + " "
            + std::to_string(update.bytes.size() - update.contentsEnd) + " ]";
        update.bytes.replace(start + beforeRange.size(), numbers.size(), numbers);
        return update;
    }

    int nextObjectNumber() {
        Handle size = m_pdf.getTrailer().getKey("/Size");
        const int told = size.isInteger() ? size.getIntValueAsInt() : 0;
        return std::max(told, static_cast<int>(m_pdf.getObjectCount()) + 1);
    }

    std::string trailerEntries() {
        Handle trailer = m_pdf.getTrailer();
        std::string entries = "/Root " + trailer.getKey("/Root").unparse();
        if (Handle info = trailer.getKey("/Info"); info.isIndirect()) {
            entries += " /Info " + info.unparse();
        }
        const std::vector<Handle> identifiers = elementsOf(trailer.getKey("/ID"));
        Handle first = !identifiers.empty() && Handle(identifiers[0]).isString()
            ? identifiers[0]
            : Handle::newString(randomBytes(16));
        return entries + " /ID [ " + first.unparse() + " "
            + Handle::newString(randomBytes(16)).unparse() + " ]";
    }

    std::string_view m_original;
    QPDF m_pdf;
    Handle m_catalog;
    Handle m_page;
    std::set<QPDFObjGen> m_changed;
};

} // namespace

std::optional<PdfUpdate> updateForSignature(
    std::string_view pdf, std::size_t signatureRoom, const std::string& time, std::string& error) {
    try {
        return Update(pdf).run(signatureRoom, time);
    } catch (const Refusal& refusal) {
        error = refusal.reason;
    } catch (const QPDFExc& failure) {
        error = failure.getErrorCode() == qpdf_e_password
            ? "the PDF is encrypted; only PDFs without encryption can be signed"
            : "the PDF is damaged: " + failure.getMessageDetail();
    } catch (const std::exception& failure) {
        error = std::string("the PDF is damaged: ") + failure.what();
    }
    return std::nullopt;
}

} // namespace devserver
