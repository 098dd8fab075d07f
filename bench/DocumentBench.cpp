// SPDX-License-Identifier: MIT
// What large documents cost the signing server: the whole of "quillet-devserver sign", with the
// real agent.
#include "bench/Measure.h"
#include "bench/Table.h"
#include "tests/documents/RawPdf.h"
#include "tests/e2e/AgentProcess.h"

#include <cmath>
#include <stdexcept>
#include <string>
#include <vector>

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

constexpr double mebibyte = 1 << 20;
constexpr int runs = 3;

struct Cost {
    double seconds = 0;
    double bytes = 0; // that were resident at most
};

std::vector<char*> pointersTo(std::vector<std::string>& texts) {
    std::vector<char*> pointers;
    for (std::string& text : texts) {
        pointers.push_back(text.data());
    }
    pointers.push_back(nullptr);
    return pointers;
}

class Bench {
public:
    Bench() {
        m_home.makeIdentities(1);
        for (const auto& [name, value] : m_home.environment()) {
            m_environment.push_back(name + "=" + value);
        }
        write("small.xml", "<a/>");
        sign("--xml", "small.xml"); // makes the authority
    }

    std::string path(const std::string& name) const { return (m_home.path() / name).string(); }
    double write(const std::string& name, const std::string& content) {
        writeFile(path(name), content);
        return static_cast<double>(content.size());
    }

    /// Signs a file to one whose name begins with "signed-".
    Cost sign(const std::string& kind, const std::string& name) {
        return costOf({QUILLET_DEVSERVER, "sign", kind, path(name), "--out", path("signed-" + name),
            "--certificate", "first", "--authority", path("authority"), "--agent", QUILLET_AGENT});
    }

    /// The quickest of some runs.
    Cost costOf(std::vector<std::string> command) {
        Cost least;
        for (int run = 0; run < runs; ++run) {
            const Cost cost = costOfOne(command);
            least = run == 0 || cost.seconds < least.seconds ? cost : least;
        }
        return least;
    }

private:
    Cost costOfOne(std::vector<std::string>& command) {
        const std::vector<char*> arguments = pointersTo(command);
        const std::vector<char*> environment = pointersTo(m_environment);
        const auto began = Clock::now();
        const pid_t child = fork();
        if (child == 0) {
            const int nowhere = open("/dev/null", O_RDWR);
            for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
                dup2(nowhere, stream);
            }
            execvpe(arguments[0], arguments.data(), environment.data());
            _exit(127);
        }
        int status = 0;
        rusage usage{};
        if (wait4(child, &status, 0, &usage) != child || status != 0) {
            throw std::runtime_error(command[0] + " failed");
        }
        return {secondsSince(began), static_cast<double>(usage.ru_maxrss) * 1024};
    }

    AgentHome m_home;
    std::vector<std::string> m_environment;
};

void printMemory(const std::string& what, const Cost& cost, double size) {
    const auto text
        = [](double bytes) { return std::to_string(std::lround(bytes / mebibyte)) + " MiB"; };
    printRow(what, text(cost.bytes), text(size), "the file", cost.bytes / size);
}

void measureXml(Bench& bench) {
    std::string xml = "<orders xmlns=\"urn:example:order\">\n";
    for (int i = 0; xml.size() < 50'000'000; ++i) {
        xml += "  <order id=\"o" + std::to_string(i)
            + "\"><item unit=\"kg\">Quill &amp; ink</item></order>\n";
    }
    const double size = bench.write("large.xml", xml + "</orders>\n");
    const Cost cost = bench.sign("--xml", "large.xml");
    const Cost verified
        = bench.costOf({"xmlsec1", "--verify", "--insecure", bench.path("signed-large.xml")});
    printRow("signing 50 MB of XML", cost.seconds, "verifying it with xmlsec1", verified.seconds);
    printMemory("memory for that", cost, size);

    std::string elements = "<a>";
    std::string attributes = "<a";
    for (int i = 0; i < 20'000; ++i) {
        const std::string attribute = " a" + std::to_string(i) + "=\"" + std::to_string(i) + "\"";
        elements += "<b" + attribute + "/>";
        attributes += attribute;
    }
    bench.write("elements.xml", elements + "</a>");
    bench.write("attributes.xml", attributes + "/>");
    printRow("signing an element with 20,000 attributes",
        bench.sign("--xml", "attributes.xml").seconds, "20,000 elements with one",
        bench.sign("--xml", "elements.xml").seconds);
}

void measurePdf(Bench& bench) {
    RawPdf raw;
    raw.objects[6] = RawPdf::stream(std::string(300'000'000, 'x'));
    for (const int first : {0, 1}) {
        raw.firstNumber = first;
        const std::string name = first == 0 ? "large.pdf" : "from-one.pdf";
        const double size = bench.write(name, raw.text());
        const Cost cost = bench.sign("--pdf", name);
        const std::string what
            = first == 0 ? "signing a PDF of 300 MB" : "the same, its table counts from one";
        printRow(what, cost.seconds, "sha256sum of it",
            bench.costOf({"sha256sum", bench.path(name)}).seconds);
        printMemory("memory for that", cost, size);
    }
}

} // namespace

int main() {
    Bench bench;
    measureXml(bench);
    measurePdf(bench);
    return 0;
}
