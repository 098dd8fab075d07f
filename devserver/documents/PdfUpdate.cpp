// SPDX-License-Identifier: MIT
#include "devserver/documents/PdfUpdate.h"

#include "devserver/documents/PdfAppendix.h"

#include <algorithm>
#include <array>
#include <map>
#include <optional>
#include <random>

namespace devserver {

namespace {

constexpr int deepestTree = 64;
constexpr long long mostObjects = 8388607; // (ISO 32000-1, annex C)
constexpr long long signaturesExist = 1; // bits of /SigFlags (ISO 32000-1, 12.7.2)
constexpr long long appendOnly = 2;

std::string randomBytes(std::size_t count) {
    std::random_device random;
    std::string bytes(count, '\0');
    for (char& byte : bytes) {
        byte = static_cast<char>(random() & 0xFF);
    }
    return bytes;
}

/// One run over a document: the texts of objects are changed, and those that changed are appended.
class Update {
public:
    Update(std::string_view pdf, const PdfOptions& options)
        : m_pdf(pdf)
        , m_options(options)
        , m_file(pdf, options.password) { }

    PdfUpdate run(std::size_t signatureRoom, const std::string& time) {
        const std::optional<PdfReference> root
            = pdfReference(PdfFile::rawValue(m_file.trailer(), "/Root"));
        if (!root) {
            throw damaged("it has no catalog");
        }
        m_catalog = *root;
        m_next = firstFreeNumber();
        if (forbidsChanges()) {
            throw PdfRefusal{
                "the PDF is certified by its author, who allows no further signatures"};
        }
        if (isLocked()) {
            throw PdfRefusal{"the PDF has a signature that allows no further signatures"};
        }
        const std::optional<PdfReference> page
            = firstPage(PdfFile::rawValue(m_file.object(m_catalog), "/Pages"), 0);
        if (!page) {
            throw PdfRefusal{"the PDF has no page that can be read"};
        }
        m_result.signature = newObject();
        m_result.field = newObject();
        addField(*page);
        return append(signatureRoom, time);
    }

private:
    PdfReference newObject() { return {m_next++, 0}; }

    /// No object of the document, free ones included, has this number or a higher one.
    int firstFreeNumber() const {
        const std::optional<long long> told = pdfInteger(m_file.value(m_file.trailer(), "/Size"));
        if (told && (*told < 0 || *told > mostObjects + 1)) {
            throw damaged("it says that it has " + std::to_string(*told) + " objects");
        }
        return std::max(
            static_cast<int>(told.value_or(0)), m_file.places().rbegin()->first.number + 1);
    }

    /// Whether an author's certification forbids every change (ISO 32000-1, 12.8.2.2).
    bool forbidsChanges() const {
        std::string_view at = m_file.object(m_catalog);
        for (const char* key : {"/Perms", "/DocMDP", "/Reference"}) {
            at = isPdfDictionary(at) ? m_file.value(at, key) : std::string_view();
        }
        for (std::string_view reference : pdfElements(at)) {
            reference = m_file.resolved(reference);
            const std::string_view parameters = isPdfDictionary(reference)
                ? m_file.value(reference, "/TransformParams")
                : std::string_view();
            if (isPdfDictionary(parameters) && pdfInteger(m_file.value(parameters, "/P")) == 1) {
                return true;
            }
        }
        return false;
    }

    /// Whether a signature that is there forbids every change (/P of /Lock, ISO 32000-2, 12.7.5.5).
    bool isLocked() const {
        const std::string_view form = m_file.value(m_file.object(m_catalog), "/AcroForm");
        const PdfElements fields = pdfElements(
            isPdfDictionary(form) ? m_file.value(form, "/Fields") : std::string_view());
        for (std::string_view field : fields) {
            field = m_file.resolved(field);
            if (!isPdfDictionary(field) || m_file.value(field, "/V").empty()) {
                continue;
            }
            const std::string_view lock = m_file.value(field, "/Lock");
            if (isPdfDictionary(lock) && pdfInteger(m_file.value(lock, "/P")) == 1) {
                return true;
            }
        }
        return false;
    }

    /// The first page of a page tree (ISO 32000-1, 7.7.3).
    std::optional<PdfReference> firstPage(std::string_view node, int depth) {
        const std::optional<PdfReference> reference = pdfReference(node);
        const std::string_view text = reference ? m_file.resolved(node) : std::string_view();
        if (!isPdfDictionary(text) || depth > deepestTree
            || !m_seenPages.insert(*reference).second) {
            return std::nullopt;
        }
        if (PdfFile::rawValue(text, "/Kids").empty()) {
            return reference;
        }
        for (const std::string_view kid : pdfElements(m_file.value(text, "/Kids"))) {
            if (const std::optional<PdfReference> page = firstPage(kid, depth + 1)) {
                return page;
            }
        }
        return std::nullopt;
    }

    /// The text of an object of the document that is going to be another.
    std::string& changing(PdfReference reference) {
        const auto [entry, isNew] = m_texts.try_emplace(reference);
        if (isNew) {
            entry->second = m_file.object(reference);
        }
        return entry->second;
    }

    /// A field and its annotation in one object (ISO 32000-1, 12.5.6.19), invisible.
    void addField(PdfReference page) {
        std::string& catalog = changing(m_catalog);
        const std::string_view raw = PdfFile::rawValue(catalog, "/AcroForm");
        const std::string_view form = m_file.resolved(raw);
        if (form.empty()) {
            const PdfReference made = newObject();
            m_texts[made] = "<< /Fields [ " + m_result.field.text() + " ] /SigFlags "
                + std::to_string(signaturesExist | appendOnly) + " >>";
            catalog = pdfDictionaryWith(catalog, "/AcroForm", made.text());
            m_fieldName = "Signature1";
        } else if (!isPdfDictionary(form)) {
            throw damaged("its form is no dictionary");
        } else {
            m_fieldName = freeFieldName(form);
            if (const std::optional<PdfReference> reference = pdfReference(raw)) {
                std::string& text = changing(*reference);
                text = grownForm(text);
            } else {
                catalog = pdfDictionaryWith(catalog, "/AcroForm", grownForm(form));
            }
        }
        std::string& pageText = changing(page);
        pageText = withElement(pageText, "/Annots");
        m_texts[m_result.field] = "<< /Type /Annot /Subtype /Widget /FT /Sig /Rect [ 0 0 0 0 ] "
                                  "/F 132 /T " // printed, locked
            + m_file.textString(m_fieldName, m_result.field) + " /V " + m_result.signature.text()
            + " /P " + page.text() + " >>";
    }

    std::string grownForm(std::string_view form) {
        const long long flags = pdfInteger(m_file.value(form, "/SigFlags")).value_or(0)
            | signaturesExist | appendOnly;
        return pdfDictionaryWith(withElement(form, "/Fields"), "/SigFlags", std::to_string(flags));
    }

    /// A dictionary whose array under a key has the field too.
    std::string withElement(std::string_view dictionary, const std::string& key) {
        const std::string_view raw = PdfFile::rawValue(dictionary, key);
        const std::string_view array = m_file.resolved(raw);
        const std::string element = m_result.field.text();
        if (array.empty()) {
            return pdfDictionaryWith(dictionary, key, "[ " + element + " ]");
        }
        if (!isPdfArray(array)) {
            throw damaged("its " + key + " is no array");
        }
        // An array of arrays of one element may lead to the array itself.
        std::optional<PdfReference> owner = pdfReference(raw);
        if (!owner) {
            return pdfDictionaryWith(dictionary, key, pdfArrayWith(array, element));
        }
        while (const std::optional<PdfReference> next = pdfReference(m_file.object(*owner))) {
            owner = next;
        }
        std::string& text = changing(*owner);
        const PdfElements elements = pdfElements(text); // of the form's fields too, in some files
        if (elements.empty() || elements.back() != element) {
            text = pdfArrayWith(text, element);
        }
        return std::string(dictionary);
    }

    /// "Signature1", or the next that no field at the form's top has.
    std::string freeFieldName(std::string_view form) const {
        std::set<std::string> taken;
        for (const std::string_view field : pdfElements(m_file.value(form, "/Fields"))) {
            if (const std::optional<PdfReference> reference = pdfReference(field)) {
                taken.insert(m_file.fieldName(*reference));
            }
        }
        int number = 1;
        while (taken.count("Signature" + std::to_string(number)) > 0) {
            ++number;
        }
        return "Signature" + std::to_string(number);
    }

    PdfUpdate append(std::size_t signatureRoom, const std::string& time) {
        const std::size_t end = m_pdf.size();
        const bool hasBreak = end > 0 && m_pdf[end - 1] == '\n';
        PdfAppendix appendix(end - m_file.origin());
        appendix.text() = hasBreak ? "" : "\n";
        if (m_file.hasMendedTables()) { // strict readers find everything again
            for (const auto& [reference, place] : m_file.places()) {
                if (place.stream == 0) {
                    appendix.list(reference, static_cast<std::size_t>(place.offset));
                }
            }
        }
        for (const auto& [reference, text] : m_texts) {
            const bool isNew = reference.number >= m_result.signature.number;
            if (!isNew && text == m_file.object(reference)) {
                continue; // another object was changed in its place
            }
            // In an encrypted document the texts of an object stream are encrypted as a whole.
            if (!isNew && m_file.isEncrypted() && m_file.places().at(reference).stream != 0) {
                if (!m_file.hasCrossReferenceStream()) { // a table cannot list it
                    throw PdfRefusal{"the PDF is encrypted, and for old readers and new ones at "
                                     "once; so it cannot be signed here"};
                }
                appendix.addToStream(reference.number, text);
            } else {
                appendix.addObject(reference, text);
            }
            if (!isNew) {
                m_result.changed.insert(reference);
            }
        }
        // The numbers of /ByteRange are filled in when the length is known.
        const std::string before = signatureEntries(time) + "/ByteRange ";
        const std::string range(70, ' ');
        const std::string contents = "<" + std::string(2 * signatureRoom, '0') + ">";
        const std::size_t start = appendix.addObject(
            m_result.signature, before + range + " /Contents " + contents + " >>");
        m_result.contentsStart
            = start + before.size() + range.size() + std::string_view(" /Contents ").size();
        m_result.contentsEnd = m_result.contentsStart + contents.size();
        appendix.finish(m_file.hasCrossReferenceStream(), m_next, trailerEntries(),
            [this](const std::string& bytes, PdfReference owner) {
                return m_file.streamBytes(bytes, owner);
            });
        m_result.text = std::move(appendix.text());

        const std::string numbers = "[ 0 " + std::to_string(end + m_result.contentsStart) + " "
            + std::to_string(end + m_result.contentsEnd) + " "
            + std::to_string(m_result.text.size() - m_result.contentsEnd) + " ]";
        m_result.text.replace(start + before.size(), numbers.size(), numbers);
        return std::move(m_result);
    }

    std::string signatureEntries(const std::string& time) const {
        std::string entries = "<< /Type /Sig /Filter /Adobe.PPKLite /SubFilter "
                              "/ETSI.CAdES.detached /M "
            + m_file.textString(time, m_result.signature) + " ";
        for (const auto& [key, text] : {std::pair("/Reason ", m_options.reason),
                 std::pair("/Location ", m_options.location)}) {
            if (!text.empty()) {
                entries += key + m_file.textString(text, m_result.signature) + " ";
            }
        }
        return entries;
    }

    std::string trailerEntries() const {
        std::string entries;
        for (const PdfEntry& entry : pdfEntries(m_file.trailer()).value_or(PdfEntries())) {
            if (!isOfItsSectionAlone(entry.key)) {
                entries += std::string(entry.writtenKey) + " " + std::string(entry.value) + " ";
            }
        }
        const PdfElements identifiers = pdfElements(m_file.value(m_file.trailer(), "/ID"));
        const std::string own = "<" + pdfHexadecimal(randomBytes(16)) + ">";
        const std::string first = identifiers.empty() ? own : std::string(identifiers[0]);
        return entries + "/Prev " + std::to_string(m_file.crossReference()) + " /ID [ " + first
            + " " + own + " ]";
    }

    std::string_view m_pdf;
    const PdfOptions& m_options;
    PdfFile m_file;
    PdfReference m_catalog;
    int m_next = 0;
    std::set<PdfReference> m_seenPages;
    std::map<PdfReference, std::string> m_texts; // of the objects to be appended
    std::string m_fieldName;
    PdfUpdate m_result;
};

} // namespace

bool isOfItsSectionAlone(const std::string& key) {
    static constexpr std::array<std::string_view, 14> keys
        = {"/Prev", "/Size", "/XRefStm", "/ID", "/Type", "/W", "/Index", "/Length", "/Filter",
            "/DecodeParms", "/F", "/FFilter", "/FDecodeParms", "/DL"};
    return std::find(keys.begin(), keys.end(), key) != keys.end();
}

PdfUpdate updateForSignature(std::string_view pdf, std::size_t signatureRoom,
    const std::string& time, const PdfOptions& options) {
    return Update(pdf, options).run(signatureRoom, time);
}

} // namespace devserver
