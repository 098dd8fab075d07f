// SPDX-License-Identifier: MIT
// The stages that a message passes, each alone and compared with a plain copy of its bytes: frame
// codec, Base64, envelope, log.
#include "ZqMacClient/ZqMessage.h"
#include "bench/Table.h"
#include "foundation/Base64.h"
#include "foundation/CleanText.h"
#include "frameworks/CRVStompClient/StompFrame.h"
#include "frameworks/CRVStompClient/StompMessages.h"
#include "platform/linux/LinuxSystem.h"
#include "tests/support/TemporaryFolder.h"

#include <benchmark/benchmark.h>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <map>
#include <unistd.h>
#include <vector>

namespace {

constexpr std::size_t kibi = 1024;
constexpr std::size_t mebi = kibi * kibi;

using Work = std::function<void()>;

/// Runs of Google Benchmark by name; of several of one name the quickest counts.
class Times : public benchmark::BenchmarkReporter {
public:
    bool ReportContext(const Context&) override { return true; }
    void ReportRuns(const std::vector<Run>& runs) override {
        for (const Run& run : runs) {
            const double time = run.real_accumulated_time
                / static_cast<double>(std::max<std::int64_t>(run.iterations, 1));
            if (run.run_type == Run::RT_Iteration) {
                const auto [entry, isNew] = m_times.try_emplace(run.run_name.function_name, time);
                entry->second = isNew ? time : std::min(entry->second, time);
            }
        }
    }
    double of(const std::string& name) const { return m_times.at(name); }

private:
    std::map<std::string, double> m_times;
};

struct Row {
    std::string what;
    std::string baselineName;
};

class Table {
public:
    void add(const std::string& what, Work work, const std::string& baselineName, Work baseline) {
        m_rows.push_back({what, baselineName});
        run(what, std::move(work));
        run(what + baselineName, std::move(baseline));
    }

    void print() {
        Times times;
        benchmark::RunSpecifiedBenchmarks(&times);
        for (const auto& [what, baselineName] : m_rows) {
            printRow(what, times.of(what), baselineName, times.of(what + baselineName));
        }
    }

private:
    static void run(const std::string& name, Work work) {
        benchmark::RegisterBenchmark(name.c_str(),
            [work = std::move(work)](benchmark::State& state) {
                for ([[maybe_unused]] auto iteration : state) {
                    work();
                }
            })
            ->MinTime(0.05)
            ->Repetitions(3)
            ->UseRealTime();
    }

    std::vector<Row> m_rows;
};

std::string sizeText(std::size_t size) {
    return size < mebi ? std::to_string(size / kibi) + " KiB"
                       : std::to_string(size / mebi) + " MiB";
}

/// Base64 text of the given length, without a pattern that repeats soon.
std::string sampleText(std::size_t size) {
    Bytes bytes(size / 4 * 3);
    std::uint32_t value = 1;
    for (std::uint8_t& byte : bytes) {
        value = value * 1664525 + 1013904223;
        byte = static_cast<std::uint8_t>(value >> 24);
    }
    return base64Encoded(bytes);
}

/// A copy into new memory, as whoever keeps the bytes must make one.
Work copyOf(const std::string& text) {
    return [&text] { benchmark::DoNotOptimize(std::string(text).data()); };
}

void addFrames(Table& table, const std::string& text) {
    const std::string size = sizeText(text.size());
    for (const bool hasLength : {true, false}) {
        stomp::Headers headers{
            {"destination", "/topic/room/bench"}, {"subscription", "sub-0"}, {"message-id", "1"}};
        if (hasLength) {
            headers.add("content-length", std::to_string(text.size()));
        }
        const std::string wire
            = *stomp::encodeHead("MESSAGE", headers, stomp::Version::v1_2) + text + '\0';
        table.add(
            "decode frame of " + size + " in one memory" + (hasLength ? "" : ", without length"),
            [wire = std::make_shared<std::string>(wire)] {
                constexpr std::size_t pieceSize = 256 * kibi;
                stomp::MessageDecoder decoder;
                stomp::Frame frame;
                OwnedText rest(wire, wire->data(), wire->size());
                OwnedText body;
                while (!rest.empty()) {
                    OwnedText piece = rest.takePrefix(std::min(rest.size(), pieceSize));
                    benchmark::DoNotOptimize(decoder.decode(piece, frame, body));
                }
                if (body.empty()) {
                    std::abort();
                }
            },
            "memcpy", copyOf(text));
        table.add(
            "decode frame of " + size + (hasLength ? "" : " without content-length"),
            [wire] {
                constexpr std::size_t pieceSize = 16 * kibi; // as they come from the network
                stomp::FrameDecoder decoder;
                stomp::Frame frame;
                for (std::size_t start = 0; start < wire.size(); start += pieceSize) {
                    std::string_view piece = std::string_view(wire).substr(start, pieceSize);
                    benchmark::DoNotOptimize(decoder.decode(piece, frame));
                }
                if (frame.body.empty()) {
                    std::abort();
                }
            },
            "memcpy", copyOf(text));
    }
    const stomp::Frame frame{"SEND", {{"destination", "/app/room/bench"}}, text};
    table.add(
        "encode frame of " + size,
        [frame] { benchmark::DoNotOptimize(stomp::encode(frame, stomp::Version::v1_2)); }, "memcpy",
        copyOf(text));
}

void addBase64(Table& table, const std::string& text) {
    const std::string size = sizeText(text.size());
    const Bytes bytes = *base64Decoded(text);
    table.add(
        "Base64 text of " + size + " decoded",
        [&text] { benchmark::DoNotOptimize(base64Decoded(text)); }, "memcpy", copyOf(text));
    table.add(
        "Base64 text of " + size + " encoded",
        [bytes] { benchmark::DoNotOptimize(base64Encoded(bytes)); }, "memcpy", copyOf(text));
}

void addEnvelope(Table& table, const std::string& text) {
    const std::string size = sizeText(text.size());
    const std::string body = R"({"command":"SIGN_PDF","payload":{"certificateDigest":"digest",)"
                             R"("bytesToSign":"QUJD","signatureAlgorithm":"SHA256withRSA",)"
                             R"("pdfToSign":")"
        + text + R"("},"requestId":"q1"})" + '\0';
    table.add(
        "envelope of " + size + " read, with its copy", // which the session does not make
        [body] { benchmark::DoNotOptimize(ZqMessage::initWithBody(body)); }, "memcpy",
        copyOf(text));
    const std::shared_ptr<const ZqMessage> message = ZqMessage::initWithBody(body);
    table.add(
        "envelope of " + size + " written",
        [message] { benchmark::DoNotOptimize(message->getBody()); }, "memcpy", copyOf(text));
}

/// Lines as a session writes them: of texts that were judged when they came. `log` has the log file
/// for standard error.
void addLog(Table& table, const std::string& text, platform::LinuxSystem& log) {
    const auto appending = [](Work write) {
        return [write = std::move(write)] {
            const bool isLong = lseek(STDERR_FILENO, 0, SEEK_END) > static_cast<off_t>(64 * mebi);
            if (isLong && ftruncate(STDERR_FILENO, 0) != 0) {
                std::abort();
            }
            write();
        };
    };
    table.add("log line of " + sizeText(text.size()),
        appending([judged = std::make_shared<JudgedText>(text), &log] {
            const platform::LogPiece pieces[] = {"Signing PDF: ", judged->clean()};
            log.NSLog(pieces);
        }),
        "write to the same file", appending([&text] {
            if (write(STDERR_FILENO, text.data(), text.size()) < 0) {
                std::abort();
            }
        }));
}

} // namespace

int main() {
    const TemporaryFolder folder;
    platform::LinuxSystem log(0, nullptr);
    if (!log.reopenStandardError((folder / "log").string(), "a+")) {
        std::puts("codec_bench: no log file");
        return 1;
    }
    const std::string kilobyte = sampleText(kibi);
    const std::string medium = sampleText(64 * kibi);
    const std::string large = sampleText(64 * mebi);
    Table table;
    for (const std::string* text : {&kilobyte, &medium, &large}) {
        addFrames(table, *text);
    }
    for (const std::string* text : {&kilobyte, &medium, &large}) {
        addBase64(table, *text);
    }
    for (const std::string* text : {&kilobyte, &medium, &large}) {
        addEnvelope(table, *text);
        addLog(table, *text, log);
    }
    table.print();
    return 0;
}
