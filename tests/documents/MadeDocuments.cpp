// SPDX-License-Identifier: MIT
#include "tests/documents/MadeDocuments.h"

#include "tests/documents/RawPdf.h"
#include "tests/documents/TestPdf.h"
#include "tests/support/TemporaryFolder.h"

#include <filesystem>

#include <qpdf/QPDF.hh>
#include <qpdf/QPDFObjectHandle.hh>
#include <qpdf/QPDFWriter.hh>

namespace {

class Maker {
public:
    explicit Maker(const std::string& folder)
        : m_folder(folder) {
        std::filesystem::create_directories(folder);
    }

    void add(const std::string& name, const std::string& content) {
        writeFile(m_folder / name, content);
        ++m_count;
    }
    /// With a table and with a stream.
    void add(const std::string& name, RawPdf raw) {
        add(name + ".pdf", raw.text());
        raw.hasStream = true;
        add(name + "-stream.pdf", raw.text());
    }
    int count() const { return m_count; }

private:
    std::filesystem::path m_folder;
    int m_count = 0;
};

void addStructures(Maker& maker) {
    const std::string content = "BT /F1 24 Tf 20 100 Td (Length) Tj ET";
    for (const long long length : {0LL, 1LL, 36LL, 38LL, 99999LL, 2147483647LL}) {
        RawPdf raw;
        raw.objects[4] = RawPdf::stream(content, length);
        maker.add("length-" + std::to_string(length), raw);
    }
    RawPdf raw;
    raw.objects[4] = "<< >>\nstream\n" + content + "\nendstream";
    maker.add("length-none", raw);
    raw.objects[4] = "<< /Length 6 0 R >>\nstream\n" + content + "\nendstream";
    raw.objects[6] = "37";
    maker.add("length-indirect", raw);
    raw.objects.erase(6);
    maker.add("length-missing", raw);
    for (const int size : {5, 6, 100, 8388609, 2147483647}) {
        raw = RawPdf();
        raw.size = size;
        maker.add("size-" + std::to_string(size), raw);
    }
    raw = RawPdf();
    raw.trailer += " /Info 4 0 R /AdditionalStreams [ ] /DocChecksum /ABC";
    maker.add("trailer-entries", raw);
    for (const char* annotations : {"[ ]", "null", "[ 99 0 R ]", "6 0 R", "99 0 R", "[ null ]"}) {
        raw = RawPdf();
        raw.objects[6] = "[ % a comment ]\n ]";
        raw.objects[3].insert(2, " /Annots " + std::string(annotations) + " ");
        maker.add("annots-" + std::to_string(std::string(annotations).size())
                + std::to_string(annotations[0]),
            raw);
    }
}

void addForgiven(Maker& maker) {
    RawPdf raw;
    raw.firstNumber = 1;
    maker.add("counts-from-one.pdf", raw.text());
    raw = RawPdf();
    raw.beforeTable = "\n\r\n  \n";
    maker.add("blank-lines", raw);
    raw = RawPdf();
    raw.before = "HTTP/1.1 200 OK\r\n\r\n";
    maker.add("bytes-before", raw);
    for (const std::size_t count : {10U, 2000U, 70000U}) {
        raw = RawPdf();
        raw.behind = std::string(count, '\0') + "end";
        maker.add("bytes-behind-" + std::to_string(count), raw);
    }
    raw = RawPdf();
    std::string moved = raw.text();
    moved.insert(moved.find("4 0 obj"), "\n% all that follows has moved\n");
    maker.add("damaged-offsets.pdf", moved);
    maker.add("damaged-end.pdf", raw.text().substr(0, raw.text().size() - 60));
}

void addEncrypted(Maker& maker) {
    using Apply = void (*)(QPDFWriter&);
    const Apply ciphers[] = {
        [](QPDFWriter& writer) {
            writer.setR2EncryptionParametersInsecure("", "owner", true, true, true, true);
        },
        [](QPDFWriter& writer) {
            writer.setR3EncryptionParametersInsecure(
                "", "owner", true, true, true, true, true, true, qpdf_r3p_full);
        },
        [](QPDFWriter& writer) {
            writer.setR4EncryptionParametersInsecure(
                "", "owner", true, true, true, true, true, true, qpdf_r3p_full, true, true);
        },
        [](QPDFWriter& writer) {
            writer.setR6EncryptionParameters(
                "", "owner", true, true, true, true, true, true, qpdf_r3p_full, true);
        },
        [](QPDFWriter& writer) {
            writer.setR6EncryptionParameters(
                "user", "owner", true, true, true, true, true, true, qpdf_r3p_full, true);
        },
    };
    int number = 0;
    for (const Apply apply : ciphers) {
        for (const bool hasXrefStream : {false, true}) {
            maker.add("encrypted-" + std::to_string(++number) + ".pdf",
                makePdf(PdfForm().withXrefStream(hasXrefStream).written([&](QPDFWriter& writer) {
                    apply(writer);
                    writer.setObjectStreamMode(hasXrefStream ? qpdf_o_generate : qpdf_o_disable);
                })));
        }
    }
    maker.add("linearized.pdf", makePdf(PdfForm().withPages(5).linearized()));
    maker.add(
        "linearized-stream.pdf", makePdf(PdfForm().withPages(5).withXrefStream().linearized()));
}

void addXml(Maker& maker) {
    const char* const documents[]
        = {"<a/>", "<a\n/>", "<a></a >", "<?xml version='1.0' encoding='ISO-8859-1'?><a>\xE4</a>",
            "<?xml version='1.0' encoding='windows-1252'?><a>\x80</a>",
            "\xEF\xBB\xBF<a>\xC3\xA4</a>", "<!-- c --><?p d?>\n<a/>\n<?p?><!-- c -->\n",
            "<a>&#13;&#10;\r\n\t<![CDATA[<&>]]>&amp;]]&gt;</a>",
            "<a b='&#9;&#10;&#13;&quot;&lt;' c=\"' &gt;\n\t\"/>",
            "<a xmlns='urn:a' xmlns:b='urn:b' xmlns:u='urn:unused'><b:c b:d='1' d='2' a='3'/></a>",
            "<a xmlns='urn:a'><b xmlns=''><c xmlns='urn:a'/><d/></b></a>",
            "<b:a xmlns:b='urn:1'><b:a xmlns:b='urn:2'><b:a xmlns:b='urn:1'/></b:a><b:a/></b:a>",
            "<a xml:lang='de' xml:space='preserve' z='1' y:z='2' x:z='3' xmlns:x='b' xmlns:y='a'/>",
            "<a xmlns:ds='urn:not-the-usual'><ds:b/></a>", "<a xmlns='relative'/>", "<a><b:c/></a>",
            "<!DOCTYPE a><a/>", "<a>\xF0\x9F\x96\x8B \xE2\x82\xAC</a>", "<\xC3\xA4 \xC3\xB6='1'/>",
            "<a><b></a></b>"};
    int number = 0;
    for (const char* const document : documents) {
        maker.add("made-" + std::to_string(++number) + ".xml", document);
    }
    std::string many = "<a";
    for (int i = 0; i < 20000; ++i) {
        many += " a" + std::to_string(i) + "='" + std::to_string(i) + "'";
    }
    maker.add("many-attributes.xml", many + "/>");
}

} // namespace

int makeDocuments(const std::string& folder) {
    Maker maker(folder);
    addStructures(maker);
    addForgiven(maker);
    addEncrypted(maker);
    addXml(maker);
    return maker.count();
}
