// SPDX-License-Identifier: MIT
// A PDF as it stands in its file: where its objects are, and their text to the byte.
#pragma once

#include "devserver/documents/PdfRefusal.h"
#include "devserver/documents/PdfText.h"

#include <map>
#include <memory>
#include <string>
#include <string_view>

namespace devserver {

/// Where an object stands: at an offset, or in an object stream.
struct PdfPlace {
    long long offset = 0;
    int stream = 0; // 0: in none
    int index = 0; // in the stream

    friend bool operator==(const PdfPlace& a, const PdfPlace& b) {
        return a.offset == b.offset && a.stream == b.stream && a.index == b.index;
    }
};

class PdfFile {
public:
    /// `bytes` outlives the file. Throws PdfRefusal when they are no PDF, damaged, or encrypted and
    /// the password is not theirs.
    PdfFile(std::string_view bytes, const std::string& password);
    PdfFile(const PdfFile&) = delete;
    PdfFile& operator=(const PdfFile&) = delete;
    ~PdfFile();

    /// Where the header stands in the bytes: all offsets of the file count from there.
    std::size_t origin() const;
    const std::map<PdfReference, PdfPlace>& places() const;

    /// The newest cross-reference section: where it begins, its kind, the text of its trailer.
    std::size_t crossReference() const;
    bool hasCrossReferenceStream() const;
    /// Whether tables were read otherwise than they stand.
    bool hasMendedTables() const;
    std::string_view trailer() const;

    /// The text of an object that is there and no stream. Throws when it cannot be read as it is.
    std::string_view object(PdfReference reference) const;
    /// What a value means: itself, or the object that it refers to; empty when that is null.
    std::string_view resolved(std::string_view value) const;
    /// The resolved value of a dictionary's key; empty when there is none. Throws when the
    /// dictionary is none, or has the key twice, for then readers differ.
    std::string_view value(std::string_view dictionary, const std::string& key) const;
    /// The same before it is resolved.
    static std::string_view rawValue(std::string_view dictionary, const std::string& key);

    /// The text of a field's own name in UTF-8; empty when it has none.
    std::string fieldName(PdfReference field) const;

    bool isEncrypted() const;
    /// A text in UTF-8 as a string object of that indirect object.
    std::string textString(const std::string& utf8, PdfReference owner) const;
    /// A stream's bytes as they are written for that object.
    std::string streamBytes(const std::string& bytes, PdfReference owner) const;

private:
    struct Impl;
    std::unique_ptr<Impl> m_impl;
};

/// The document written anew, as far as it could be made out, for one that is damaged. Throws when
/// it cannot be read at all, or is signed, for a signature would be lost.
std::string repairedPdf(std::string_view bytes, const std::string& password);

} // namespace devserver
