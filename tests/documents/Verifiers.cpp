// SPDX-License-Identifier: MIT
#include "tests/documents/Verifiers.h"

#include "tests/support/TemporaryFolder.h"

#include <array>
#include <cstdio>
#include <memory>
#include <regex>
#include <sys/wait.h>

namespace {

std::string bytesOfHex(std::string_view text) {
    std::string bytes;
    for (std::size_t i = 0; i + 1 < text.size(); i += 2) {
        bytes += static_cast<char>(std::stoi(std::string(text.substr(i, 2)), nullptr, 16));
    }
    return bytes;
}

} // namespace

Outcome run(const std::string& command) {
    Outcome outcome;
    FILE* const pipe = popen((command + " 2>&1").c_str(), "r");
    if (pipe == nullptr) {
        throw std::runtime_error("no shell");
    }
    std::array<char, 4096> chunk{};
    while (const std::size_t length = fread(chunk.data(), 1, chunk.size(), pipe)) {
        outcome.output.append(chunk.data(), length);
    }
    const int status = pclose(pipe);
    outcome.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    return outcome;
}

PdfSigVerdict pdfsig(std::string_view pdf, const std::string& password) {
    const TemporaryFolder folder;
    writeFile(folder / "file.pdf", pdf);
    PdfSigVerdict verdict;
    verdict.output = run("HOME=" + folder.path().string() + " pdfsig -nocert -upw '" + password
        + "' " + (folder / "file.pdf").string())
                         .output;
    static const std::regex validation("Signature Validation: ([^\n]*)");
    for (auto found
         = std::sregex_iterator(verdict.output.begin(), verdict.output.end(), validation);
         found != std::sregex_iterator(); ++found) {
        verdict.validations.push_back((*found)[1]);
    }
    const std::size_t last = verdict.output.rfind("Signature #");
    verdict.lastCoversDocument = last != std::string::npos
        && verdict.output.find("Total document signed", last) != std::string::npos;
    return verdict;
}

Outcome qpdfCheck(std::string_view pdf, const std::string& password) {
    const TemporaryFolder folder;
    writeFile(folder / "file.pdf", pdf);
    return run("qpdf --check --password='" + password + "' " + (folder / "file.pdf").string());
}

std::string pictures(Renderer renderer, std::string_view pdf, const std::string& password) {
    const TemporaryFolder folder;
    writeFile(folder / "file.pdf", pdf);
    const std::string command = renderer == Renderer::poppler
        ? "pdftoppm -r 36 -upw '" + password + "' file.pdf a"
        : "mutool draw -q -r 36 -p '" + password + "' -o a-%d.ppm file.pdf";
    return run("cd " + folder.path().string() + "; " + command
        + " >/dev/null 2>&1; ls | grep -c ppm && cat *.ppm | sha256sum")
        .output;
}

Outcome opensslCms(std::string_view pdf, const TestSigner& signer) {
    const TemporaryFolder folder;
    const std::size_t range = pdf.rfind("/ByteRange [");
    unsigned long long start = 0;
    unsigned long long first = 0;
    unsigned long long second = 0;
    unsigned long long rest = 0;
    if (range == std::string_view::npos
        || std::sscanf(std::string(pdf.substr(range, 100)).c_str(),
               "/ByteRange [ %llu %llu %llu %llu ]", &start, &first, &second, &rest)
            != 4) {
        return {-1, "no ByteRange"};
    }
    const std::string_view contents = pdf.substr(first + 1, second - first - 2);
    writeFile(folder / "cms", bytesOfHex(contents)); // zeros behind the DER are not read
    writeFile(folder / "data",
        std::string(pdf.substr(start, first)) + std::string(pdf.substr(second, rest)));
    writeFile(folder / "ca.pem", signer.certificatePem());
    const std::string in = folder.path().string();
    return run("openssl cms -verify -cades -binary -inform DER -in " + in + "/cms -content " + in
        + "/data -CAfile " + in + "/ca.pem -purpose any -out /dev/null");
}

Outcome xmlsec1(std::string_view xml, const TestSigner& signer, const std::string& identifier) {
    const TemporaryFolder folder;
    writeFile(folder / "file.xml", xml);
    writeFile(folder / "ca.pem", signer.certificatePem());
    const std::string in = folder.path().string();
    return run("xmlsec1 --verify --id-attr:" + identifier + " --trusted-pem " + in + "/ca.pem " + in
        + "/file.xml");
}
