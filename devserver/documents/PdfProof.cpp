// SPDX-License-Identifier: MIT
#include "devserver/documents/PdfProof.h"

#include <optional>
#include <set>

namespace devserver {

namespace {

void require(bool holds, const std::string& rule) {
    if (!holds) {
        throw PdfRefusal{"the signed PDF was not as it should be, and is not given out: " + rule};
    }
}

/// The values under each key: one, or all where a key stands more than once.
std::map<std::string, std::string> mapOf(std::string_view dictionary) {
    std::map<std::string, std::string> result;
    for (const PdfEntry& entry : pdfEntries(dictionary).value_or(PdfEntries())) {
        std::string& values = result[entry.key];
        values += (values.empty() ? "" : " ") + std::string(entry.value);
    }
    return result;
}

bool hasGrownByOne(std::string_view before, std::string_view after, const std::string& element) {
    const PdfElements old = pdfElements(before);
    PdfElements grown = pdfElements(after);
    const bool hasIt = isPdfArray(after) && !grown.empty() && grown.back() == element;
    if (hasIt) {
        grown.pop_back();
    }
    return hasIt && grown == old;
}

/// The two readings of one document, compared.
class Comparison {
public:
    Comparison(const PdfFile& before, const PdfFile& after, const PdfUpdate& update)
        : m_before(before)
        , m_after(after)
        , m_update(update) { }

    void places() const {
        for (const auto& [reference, place] : m_before.places()) {
            const auto found = m_after.places().find(reference);
            require(found != m_after.places().end()
                    && (found->second == place || m_update.changed.count(reference) > 0),
                "object " + reference.text() + " would be lost");
        }
        for (const auto& [reference, place] : m_after.places()) {
            require(m_before.places().count(reference) > 0
                    || reference.number >= m_update.signature.number,
                "object " + reference.text() + " would come back");
        }
    }

    void changedObjects() const {
        for (const PdfReference reference : m_update.changed) {
            const std::string_view before = m_before.object(reference);
            const std::string_view after = m_after.object(reference);
            if (isPdfArray(before)) {
                require(hasGrownByOne(before, after, m_update.field.text()),
                    "an array would change in more than the signature");
            } else {
                dictionaries(before, after);
            }
        }
    }

    void trailers() const {
        const auto before = mapOf(m_before.trailer());
        const auto after = mapOf(m_after.trailer());
        for (const auto& [key, value] : before) {
            if (!isOfItsSectionAlone(key)) {
                require(after.count(key) > 0 && after.at(key) == value,
                    "the trailer would lose " + key);
            }
        }
        require(m_after.crossReference() > m_before.crossReference(),
            "the new cross-reference would not be found");
    }

    /// The way from the catalog to the signature, as a reader goes it.
    void signature(std::size_t contentsStart, std::size_t contentsEnd) const {
        const std::string_view root = m_after.value(m_after.trailer(), "/Root");
        const std::string_view form = m_after.value(root, "/AcroForm");
        const PdfElements fields = pdfElements(m_after.value(form, "/Fields"));
        require(
            !fields.empty() && fields.back() == m_update.field.text(), "the field is not there");
        const std::string_view field = m_after.object(m_update.field);
        require(PdfFile::rawValue(field, "/V") == m_update.signature.text(),
            "the field has no signature");
        const PdfElements range
            = pdfElements(m_after.value(m_after.object(m_update.signature), "/ByteRange"));
        require(range.size() == 4 && range[1] == std::to_string(contentsStart)
                && range[2] == std::to_string(contentsEnd),
            "the signature's range is wrong");
    }

private:
    void dictionaries(std::string_view before, std::string_view after) const {
        const auto old = mapOf(before);
        auto changed = mapOf(after);
        for (const auto& [key, value] : old) {
            const auto entry = changed.find(key);
            require(entry != changed.end(), "the entry " + key + " would be lost");
            require(entry->second == value || isExpected(key, value, entry->second),
                "the entry " + key + " would change");
            changed.erase(entry);
        }
        for (const auto& [key, value] : changed) {
            require(isExpected(key, "", value), "the entry " + key + " would be new");
        }
    }

    /// `before` is "" for a new entry.
    bool isExpected(const std::string& key, std::string_view before, std::string_view after) const {
        if (key != "/SigFlags" && key != "/Annots" && key != "/Fields" && key != "/AcroForm") {
            return false;
        }
        const std::string_view old = before.empty() ? before : m_before.resolved(before);
        if (key == "/SigFlags") {
            return (pdfInteger(old).value_or(0) | 3) == pdfInteger(after);
        }
        if (key == "/Annots" || key == "/Fields") {
            return (old.empty() || pdfReference(before) == std::nullopt)
                && hasGrownByOne(old.empty() ? "[ ]" : old, after, m_update.field.text());
        }
        if (!old.empty()) {
            dictionaries(old, after);
        }
        return !old.empty() || pdfReference(after).has_value();
    }

    const PdfFile& m_before;
    const PdfFile& m_after;
    const PdfUpdate& m_update;
};

} // namespace

void proveUpdate(std::string_view signedPdf, std::size_t originalSize, const PdfUpdate& update,
    const std::string& password) {
    const PdfFile before(signedPdf.substr(0, originalSize), password);
    const PdfFile after(signedPdf, password);
    require(before.isEncrypted() == after.isEncrypted() && before.origin() == after.origin(),
        "it would be read in another way");
    const Comparison comparison(before, after, update);
    comparison.places();
    comparison.changedObjects();
    comparison.trailers();
    comparison.signature(originalSize + update.contentsStart, originalSize + update.contentsEnd);
}

} // namespace devserver
