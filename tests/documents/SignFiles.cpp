// SPDX-License-Identifier: MIT
// Signs any number of files and has other people's programs judge each.
//   sign_files OUT_FOLDER <PATHS    one path a line
//   sign_files --make FOLDER        makes documents that are hard to sign
// For each path a line with tabs: kind, class, path, details. The class begins with "signed",
// "refused", "anew" (a damaged PDF, written anew, was signed) or "HARMED". Status 1 after harm.
#include "devserver/documents/PdfSignature.h"
#include "devserver/documents/XmlSignature.h"
#include "tests/documents/MadeDocuments.h"
#include "tests/documents/TestSigner.h"
#include "tests/documents/Verifiers.h"
#include "tests/support/TemporaryFolder.h"

#include <algorithm>
#include <filesystem>
#include <iostream>
#include <optional>

#include <sys/wait.h>
#include <unistd.h>

namespace {

using devserver::PdfRefusal;

constexpr unsigned secondsForOne = 600; // the judges' time included

struct Verdict {
    std::string name; // its class
    std::string details = {};
};

const TestSigner& signer() {
    static const TestSigner instance;
    return instance;
}

/// Without what is each file's own: numbers and names.
std::string classOf(const std::string& reason) {
    std::string text = reason;
    if (const std::size_t line = text.find(": line "); line != std::string::npos) {
        text.resize(line);
    }
    for (char& c : text) {
        c = std::isdigit(static_cast<unsigned char>(c)) != 0 ? '#'
            : c == '\n' || c == '\t'                         ? ' '
                                                             : c;
    }
    return text;
}

std::optional<std::string> signedPdf(const std::string& pdf, std::string& error) {
    auto signature = devserver::PdfSignature::begin(pdf, signer().certificateDer(), {}, error);
    return signature ? signature->complete(signer().sign(signature->bytesToSign()), error)
                     : std::nullopt;
}

/// What the judges have against a signed PDF; nothing is good.
std::string objections(const std::string& before, const std::string& after) {
    std::string found;
    if (after.compare(0, before.size(), before) != 0) {
        found += " original-changed";
    }
    const auto validBefore = pdfsig(before).validations;
    const PdfSigVerdict verdict = pdfsig(after);
    const auto valid = [](const std::vector<std::string>& list) {
        return std::count(list.begin(), list.end(), "Signature is Valid.");
    };
    if (valid(verdict.validations) != valid(validBefore) + 1 || !verdict.lastCoversDocument) {
        found += " pdfsig";
    }
    if (opensslCms(after, signer()).status != 0) {
        found += " openssl";
    }
    if (qpdfCheck(after).status > qpdfCheck(before).status) {
        found += " qpdf";
    }
    for (const Renderer renderer : {Renderer::poppler, Renderer::mupdf}) {
        const std::string shown = pictures(renderer, before);
        if (shown != noPictures && pictures(renderer, after) != shown) {
            found += renderer == Renderer::poppler ? " pdftoppm" : " mutool";
        }
    }
    return found;
}

/// A damaged PDF, written anew and signed.
Verdict anew(const std::string& pdf, const std::string& reason) {
    std::string error;
    try {
        const std::string repaired = devserver::repairedPdf(pdf, "");
        const auto result = signedPdf(repaired, error);
        if (!result) {
            return {"refused: " + classOf(error)};
        }
        const std::string found = objections(repaired, *result);
        if (!found.empty()) {
            return {"HARMED:" + found, "written anew"};
        }
        for (const Renderer renderer : {Renderer::poppler, Renderer::mupdf}) {
            const std::string shown = pictures(renderer, pdf);
            if (shown != noPictures && pictures(renderer, *result) != shown) {
                return {"anew: shows something else than a viewer made of it", reason};
            }
        }
        return {"anew: shows the same", reason};
    } catch (const PdfRefusal& refusal) {
        return {"refused: " + classOf(refusal.reason), reason};
    }
}

Verdict judgedPdf(const std::string& pdf, const std::filesystem::path& out) {
    std::string error;
    if (const auto refusal = devserver::pdfRefusal(pdf, {})) {
        return refusal->isDamage ? anew(pdf, refusal->reason)
                                 : Verdict{"refused: " + classOf(refusal->reason)};
    }
    const auto result = signedPdf(pdf, error);
    if (!result) {
        return {"HARMED: " + classOf(error)}; // the proof found what it should not have to
    }
    writeFile(out, *result);
    const std::string found = objections(pdf, *result);
    return found.empty() ? Verdict{"signed, all agree"} : Verdict{"HARMED:" + found};
}

Verdict judgedXml(const std::string& xml, const std::filesystem::path& out) {
    std::string error;
    auto signature = devserver::XmlSignature::begin(xml, {}, error);
    const auto result = signature ? signature->complete(signer().sign(signature->signedInfo()),
                            signer().certificateDer(), error)
                                  : std::nullopt;
    if (!result) {
        return {(signature ? "HARMED: " : "refused: ") + classOf(error), error};
    }
    writeFile(out, *result);
    const Outcome outcome = xmlsec1(*result, signer());
    return outcome.status == 0 ? Verdict{"signed, all agree"} : Verdict{"HARMED: xmlsec1"};
}

/// In a process of its own, for what is signed may be anything.
int judge(const std::string& path, const std::filesystem::path& out) {
    const std::string ending = std::filesystem::path(path).extension();
    const bool isXml = ending == ".xml" || ending == ".XML";
    std::cout << std::flush;
    signer();
    const pid_t child = fork();
    if (child == 0) {
        alarm(secondsForOne);
        const std::string document = contentOf(path);
        const Verdict verdict = isXml ? judgedXml(document, out) : judgedPdf(document, out);
        std::cout << (isXml ? "xml" : "pdf") << '\t' << verdict.name << '\t' << path << '\t'
                  << verdict.details << '\n'
                  << std::flush;
        _exit(verdict.name.compare(0, 6, "HARMED") == 0 ? 1 : 0);
    }
    int status = 0;
    waitpid(child, &status, 0);
    if (!WIFEXITED(status)) {
        std::cout << (isXml ? "xml" : "pdf") << "\tHARMED: ended by signal " << WTERMSIG(status)
                  << '\t' << path << "\t\n";
        return 1;
    }
    return WEXITSTATUS(status);
}

} // namespace

int main(int argc, char** argv) {
    const std::vector<std::string> arguments(argv + 1, argv + argc);
    if (arguments.size() == 2 && arguments[0] == "--make") {
        return makeDocuments(arguments[1]) > 0 ? 0 : 1;
    }
    if (arguments.size() != 1) {
        std::cerr << "usage: sign_files OUT_FOLDER <PATHS | sign_files --make FOLDER\n";
        return 2;
    }
    int status = 0;
    int number = 0;
    for (std::string path; std::getline(std::cin, path);) {
        const std::filesystem::path in(path);
        status |= judge(path,
            std::filesystem::path(arguments[0])
                / (std::to_string(++number) + in.extension().string()));
    }
    return status;
}
