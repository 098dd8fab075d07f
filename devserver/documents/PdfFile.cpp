// SPDX-License-Identifier: MIT
#include "devserver/documents/PdfFile.h"

#include "devserver/documents/PdfCipher.h"
#include "devserver/documents/PdfCrossReference.h"

#include <optional>

#include <qpdf/Buffer.hh>
#include <qpdf/BufferInputSource.hh>
#include <qpdf/QPDF.hh>
#include <qpdf/QPDFExc.hh>
#include <qpdf/QPDFObjectHandle.hh>
#include <qpdf/QPDFWriter.hh>
#include <qpdf/QPDFXRefEntry.hh>

namespace devserver {

namespace {

using Handle = QPDFObjectHandle;

constexpr int highestNumber = 8388607; // of an object (ISO 32000-1, annex C)

/// What QPDF has against a document, as a refusal.
PdfRefusal refusalOf(const QPDFExc& failure) {
    const std::string& words = failure.getMessageDetail();
    if (failure.getErrorCode() == qpdf_e_password) {
        return {"the PDF is encrypted, and this is not its password (or none was given)"};
    }
    if (words.find("unsupported encryption filter") != std::string::npos) {
        return {"the PDF is encrypted for the holders of certificates, or in another way than "
                "with a password; so it cannot be signed here"};
    }
    if (failure.getErrorCode() == qpdf_e_unsupported) {
        return {"the PDF uses what is not supported here: " + words};
    }
    if (words.find("xref") != std::string::npos || words.find("trailer") != std::string::npos) {
        return damaged("the table that tells where its parts are is missing or broken");
    }
    return damaged(words);
}

/// Runs `action`, with what QPDF throws made a refusal.
template <typename Action>
auto guarded(Action&& action) {
    try {
        return action();
    } catch (const QPDFExc& failure) {
        throw refusalOf(failure);
    } catch (const std::exception& failure) {
        throw damaged(failure.what());
    }
}

/// A document in memory, some of whose bytes are read otherwise than they stand.
class MendedSource final : public BufferInputSource {
public:
    MendedSource(std::string_view pdf, const std::map<std::size_t, char>& mended)
        : BufferInputSource("document", bufferOver(pdf), true)
        , m_mended(mended) { }

    size_t read(char* target, size_t length) override {
        const auto start = static_cast<std::size_t>(tell());
        const size_t count = BufferInputSource::read(target, length);
        for (auto byte = m_mended.lower_bound(start);
             byte != m_mended.end() && byte->first - start < count; ++byte) {
            target[byte->first - start] = byte->second;
        }
        return count;
    }

private:
    /// Nothing writes to it.
    static Buffer* bufferOver(std::string_view pdf) {
        const auto* const bytes = reinterpret_cast<const unsigned char*>(pdf.data());
        return new Buffer(const_cast<unsigned char*>(bytes), pdf.size());
    }

    const std::map<std::size_t, char>& m_mended;
};

/// The content of an object stream (ISO 32000-1, 7.5.7).
struct ObjectStream {
    std::string bytes;
    std::map<int, std::size_t> offsets; // by object number
};

ObjectStream objectStreamOf(Handle stream) {
    ObjectStream result;
    if (!stream.isStream() || !stream.getDict().getKey("/First").isInteger()
        || !stream.getDict().getKey("/N").isInteger()) {
        throw damaged("an object stream cannot be read");
    }
    const std::shared_ptr<Buffer> buffer = stream.getStreamData(qpdf_dl_generalized);
    result.bytes.assign(reinterpret_cast<const char*>(buffer->getBuffer()), buffer->getSize());
    const int first = stream.getDict().getKey("/First").getIntValueAsInt();
    std::size_t position = 0;
    for (int i = stream.getDict().getKey("/N").getIntValueAsInt(); i > 0; --i) {
        const std::optional<long long> number = pdfInteger(pdfToken(result.bytes, position));
        const std::optional<long long> offset = pdfInteger(pdfToken(result.bytes, position));
        if (!number || !offset || *offset < 0 || *number < 0 || *number > highestNumber) {
            throw damaged("an object stream cannot be read");
        }
        result.offsets.emplace(
            static_cast<int>(*number), static_cast<std::size_t>(first + *offset));
    }
    return result;
}

} // namespace

struct PdfFile::Impl {
    PdfExtent extent;
    std::map<std::size_t, char> mended;
    QPDF qpdf;
    std::map<PdfReference, PdfPlace> places;
    std::size_t crossReference = 0;
    std::string_view trailer;
    std::map<int, ObjectStream> streams;

    bool isEncrypted = false;
    int revision = 0;
    int version = 0;
    QPDF::encryption_method_e ofStreams = QPDF::e_none;
    QPDF::encryption_method_e ofStrings = QPDF::e_none;

    void open(const std::string& password) {
        mended = mendedBytes(extent.bytes);
        qpdf.setSuppressWarnings(true);
        qpdf.setAttemptRecovery(false); // nothing can be appended to what was only guessed
        qpdf.processInputSource(
            std::make_shared<MendedSource>(extent.bytes, mended), password.c_str());
        for (const auto& [id, entry] : qpdf.getXRefTable()) {
            PdfPlace place;
            if (entry.getType() == 1) {
                place.offset = entry.getOffset();
            } else if (entry.getType() == 2) {
                place = {0, entry.getObjStreamNumber(), entry.getObjStreamIndex()};
            } else {
                continue;
            }
            places[{id.getObj(), id.getGen()}] = place;
        }
        if (places.empty() || places.rbegin()->first.number > highestNumber) {
            throw damaged("its objects have impossible numbers");
        }
        int permissions = 0;
        QPDF::encryption_method_e ofFiles = QPDF::e_none;
        isEncrypted
            = qpdf.isEncrypted(revision, permissions, version, ofStreams, ofStrings, ofFiles);
        if (isEncrypted && version < 4) { // which know one cipher
            ofStreams = ofStrings = QPDF::e_rc4;
        }
    }

    void findTrailer() {
        const std::optional<std::size_t> start = startOfCrossReference(extent.bytes);
        crossReference = start.value_or(0);
        trailer = start ? trailerAt(extent.bytes, *start) : std::string_view();
        if (!isPdfDictionary(trailer)) {
            throw damaged("it does not end with its cross-reference");
        }
    }

    std::string_view textInFile(PdfReference reference, long long offset) const {
        const std::string_view bytes = extent.bytes;
        auto position = static_cast<std::size_t>(offset);
        const bool isThere = offset > 0 && position < bytes.size()
            && pdfObjectHeader(bytes, position) == reference;
        const std::string_view text = isThere ? pdfObject(bytes, position) : std::string_view();
        if (text.empty() || pdfToken(bytes, position) == "stream") {
            throw damaged("object " + reference.text() + " is not where it should be");
        }
        return text;
    }

    std::string_view textInStream(PdfReference reference, int number) {
        auto stream = streams.find(number);
        if (stream == streams.end()) {
            stream = streams.emplace(number, objectStreamOf(qpdf.getObjectByID(number, 0))).first;
        }
        const auto offset = stream->second.offsets.find(reference.number);
        std::size_t position
            = offset == stream->second.offsets.end() ? std::string::npos : offset->second;
        const std::string_view text = position < stream->second.bytes.size()
            ? pdfObject(stream->second.bytes, position)
            : std::string_view();
        if (text.empty()) {
            throw damaged("object " + reference.text() + " is not where it should be");
        }
        return text;
    }

    std::string encrypted(
        const std::string& bytes, PdfReference owner, QPDF::encryption_method_e method) {
        if (!isEncrypted || method == QPDF::e_none) {
            return bytes;
        }
        const std::string key = qpdf.getEncryptionKey();
        const auto keyOf = [&](bool isAes) {
            return QPDF::compute_data_key(
                key, owner.number, owner.generation, isAes, version, revision);
        };
        std::string result;
        if (method == QPDF::e_rc4) {
            return rc4(keyOf(false), bytes);
        }
        if (method == QPDF::e_aes || method == QPDF::e_aesv3) {
            result = aesCbc(method == QPDF::e_aes ? keyOf(true) : key, bytes);
        }
        if (result.empty()) {
            throw PdfRefusal{"the PDF is encrypted in a way that is not supported here"};
        }
        return result;
    }
};

PdfFile::PdfFile(std::string_view bytes, const std::string& password)
    : m_impl(std::make_unique<Impl>()) {
    const std::optional<PdfExtent> extent = PdfExtent::of(bytes);
    if (!extent) {
        throw PdfRefusal{"this is not a PDF"};
    }
    m_impl->extent = *extent;
    guarded([&] { m_impl->open(password); });
    m_impl->findTrailer();
}

PdfFile::~PdfFile() = default;

std::size_t PdfFile::origin() const {
    return m_impl->extent.origin;
}

const std::map<PdfReference, PdfPlace>& PdfFile::places() const {
    return m_impl->places;
}

std::size_t PdfFile::crossReference() const {
    return m_impl->crossReference;
}

bool PdfFile::hasCrossReferenceStream() const {
    return !isTableAt(m_impl->extent.bytes, m_impl->crossReference);
}

bool PdfFile::hasMendedTables() const {
    return !m_impl->mended.empty() && !hasCrossReferenceStream();
}

std::string_view PdfFile::trailer() const {
    return m_impl->trailer;
}

std::string_view PdfFile::object(PdfReference reference) const {
    const auto place = m_impl->places.find(reference);
    if (place == m_impl->places.end()) {
        throw damaged("object " + reference.text() + " is missing");
    }
    if (place->second.stream == 0) {
        return m_impl->textInFile(reference, place->second.offset);
    }
    return guarded([&] { return m_impl->textInStream(reference, place->second.stream); });
}

std::string_view PdfFile::resolved(std::string_view value) const {
    for (int hops = 0; hops < 32; ++hops) {
        const std::optional<PdfReference> reference = pdfReference(value);
        if (!reference) {
            return value == "null" ? std::string_view() : value;
        }
        if (m_impl->places.count(*reference) == 0) {
            return {};
        }
        value = object(*reference);
    }
    throw damaged("references lead in a circle");
}

std::string_view PdfFile::value(std::string_view dictionary, const std::string& key) const {
    return resolved(rawValue(dictionary, key));
}

std::string_view PdfFile::rawValue(std::string_view dictionary, const std::string& key) {
    const std::optional<PdfEntries> entries = pdfEntries(dictionary);
    if (!entries) {
        throw damaged("where a dictionary should be is none");
    }
    std::string_view found;
    for (const PdfEntry& entry : *entries) {
        if (entry.key == key && !found.empty()) {
            throw damaged("a dictionary has " + key + " twice");
        }
        found = entry.key == key ? entry.value : found;
    }
    return found;
}

std::string PdfFile::fieldName(PdfReference field) const {
    return guarded([&] {
        Handle object = m_impl->qpdf.getObjectByID(field.number, field.generation);
        Handle name = object.isDictionary() ? object.getKey("/T") : Handle::newNull();
        return name.isString() ? name.getUTF8Value() : std::string();
    });
}

bool PdfFile::isEncrypted() const {
    return m_impl->isEncrypted;
}

std::string PdfFile::textString(const std::string& utf8, PdfReference owner) const {
    const std::string bytes = Handle::newUnicodeString(utf8).getStringValue();
    return guarded([&] { return pdfString(m_impl->encrypted(bytes, owner, m_impl->ofStrings)); });
}

std::string PdfFile::streamBytes(const std::string& bytes, PdfReference owner) const {
    return guarded([&] { return m_impl->encrypted(bytes, owner, m_impl->ofStreams); });
}

std::string repairedPdf(std::string_view bytes, const std::string& password) {
    const PdfRefusal isSigned{
        "the PDF is damaged, and it is signed: written anew it would lose its signatures"};
    if (bytes.find("/ByteRange") != std::string_view::npos) {
        throw isSigned;
    }
    return guarded([&] {
        QPDF qpdf;
        qpdf.setSuppressWarnings(true);
        qpdf.processMemoryFile("document", bytes.data(), bytes.size(), password.c_str());
        for (Handle& object : qpdf.getAllObjects()) {
            if (object.isDictionary() && object.hasKey("/ByteRange")) {
                throw isSigned;
            }
        }
        QPDFWriter writer(qpdf);
        writer.setOutputMemory();
        writer.write();
        const std::shared_ptr<Buffer> written = writer.getBufferSharedPointer();
        return std::string(reinterpret_cast<const char*>(written->getBuffer()), written->getSize());
    });
}

} // namespace devserver
