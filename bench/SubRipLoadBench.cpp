// Loading SubRip files: the reader alone (lines per second) and the whole
// load, reader and parser into a cue list, from the page cache. The files are
// made here, deterministically, in a temporary folder, and removed at exit.
#include <benchmark/benchmark.h>

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>
#include <string>

#include "subrip/CTextFile.h"
#include "subtitle/CZQSubtitleTrack.h"

namespace {

enum class Kind { Utf8, Cp1252, Utf16LE };

// A small linear congruential generator: the same files on every run.
class CSequence {
public:
    uint32_t Next(uint32_t bound) {
        m_state = m_state * 6364136223846793005ull + 1442695040888963407ull;
        return static_cast<uint32_t>(m_state >> 33) % bound;
    }

private:
    uint64_t m_state = 0x5EED;
};

std::u16string Word(CSequence& random, Kind kind) {
    static const std::u16string kPlain[] = {u"the", u"night", u"train", u"leaves", u"at", u"nine", u"and", u"we",
                                            u"will", u"be", u"on", u"it", u"tomorrow", u"morning"};
    static const std::u16string kAccented[] = {u"café", u"garçon", u"naïve", u"Straße", u"über", u"señor"};
    static const std::u16string kCjk[] = {u"東京", u"電車", u"ありがとう", u"서울"};
    uint32_t pick = random.Next(20);
    if (pick == 0)
        return kAccented[random.Next(6)];
    if (pick == 1 && kind != Kind::Cp1252)
        return kCjk[random.Next(4)];
    return kPlain[random.Next(14)];
}

std::string Encode(const std::u16string& text, Kind kind) {
    std::string out;
    for (char16_t c : text) {
        if (kind == Kind::Utf16LE) {
            out += static_cast<char>(c & 0xFF);
            out += static_cast<char>(c >> 8);
        } else if (c < 0x80 || kind == Kind::Cp1252) {
            out += static_cast<char>(c);
        } else if (c < 0x800) {
            out += static_cast<char>(0xC0 | (c >> 6));
            out += static_cast<char>(0x80 | (c & 0x3F));
        } else {
            out += static_cast<char>(0xE0 | (c >> 12));
            out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
            out += static_cast<char>(0x80 | (c & 0x3F));
        }
    }
    return out;
}

std::u16string Timestamp(uint64_t ms) {
    char text[16];
    std::snprintf(text, sizeof text, "%02u:%02u:%02u,%03u", static_cast<unsigned>(ms / 3600000),
                  static_cast<unsigned>(ms / 60000 % 60), static_cast<unsigned>(ms / 1000 % 60),
                  static_cast<unsigned>(ms % 1000));
    return std::u16string(text, text + std::strlen(text));
}

struct BenchFile {
    std::filesystem::path path;
    uint64_t bytes = 0;
    uint64_t cues = 0;
};

// 1 to 3 lines of 20 to 60 characters per cue, CR LF line ends.
BenchFile MakeFile(Kind kind, uint64_t cueCount) {
    static const char* const kNames[] = {"utf8", "cp1252", "utf16le"};
    BenchFile file;
    file.cues = cueCount;
    file.path = std::filesystem::temp_directory_path() /
                ("zq-subrip-bench-" + std::string(kNames[static_cast<int>(kind)]) + ".srt");
    std::ofstream out(file.path, std::ios::binary | std::ios::trunc);
    if (kind == Kind::Utf16LE)
        out.write("\xFF\xFE", 2);
    CSequence random;
    std::u16string cue;
    uint64_t ms = 0;
    for (uint64_t i = 1; i <= cueCount; ++i) {
        cue.clear();
        std::string number = std::to_string(i);
        cue.append(number.begin(), number.end());
        cue += u"\r\n";
        cue += Timestamp(ms);
        cue += u" --> ";
        cue += Timestamp(ms + 2500);
        cue += u"\r\n";
        ms += 3000;
        uint32_t lines = 1 + random.Next(3);
        for (uint32_t l = 0; l < lines; ++l) {
            size_t target = 20 + random.Next(41);
            std::u16string line;
            while (line.size() < target) {
                if (!line.empty())
                    line += u' ';
                line += Word(random, kind);
            }
            cue += line;
            cue += u"\r\n";
        }
        cue += u"\r\n";
        std::string bytes = Encode(cue, kind);
        out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    }
    out.close();
    file.bytes = std::filesystem::file_size(file.path);
    return file;
}

const BenchFile& FileFor(Kind kind) {
    static std::map<Kind, BenchFile> s_files;
    auto found = s_files.find(kind);
    if (found != s_files.end())
        return found->second;
    return s_files[kind] = MakeFile(kind, kind == Kind::Utf8 ? 1000000 : 100000);
}

/// The process's peak resident set (VmHWM of /proc/self/status), in bytes.
uint64_t PeakResidentBytes() {
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);) {
        if (line.rfind("VmHWM:", 0) == 0)
            return std::strtoull(line.c_str() + 6, nullptr, 10) * 1024;
    }
    return 0;
}

void ReportPeak(benchmark::State& state) {
    state.counters["peak_MiB"] = static_cast<double>(PeakResidentBytes()) / (1024.0 * 1024.0);
}

void ReadLines(benchmark::State& state, Kind kind) {
    const BenchFile& file = FileFor(kind);
    std::u16string path = file.path.u16string();
    uint64_t lines = 0;
    for (auto _ : state) {
        CTextFile text(CTextFile::Encoding_Auto, 1252);
        if (FAILED(text.Open(path.c_str()))) {
            state.SkipWithError("open failed");
            return;
        }
        std::u16string line;
        lines = 0;
        while (text.ReadLine(line) == S_OK)
            ++lines;
        benchmark::DoNotOptimize(line.data());
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * file.bytes));
    state.counters["lines"] = static_cast<double>(lines);
    ReportPeak(state);
}

void LoadCues(benchmark::State& state, Kind kind) {
    const BenchFile& file = FileFor(kind);
    std::u16string path = file.path.u16string();
    // The track's release is timed apart: it is the end of the cues' life,
    // not part of loading them, and the allocator's work there is its own.
    std::chrono::nanoseconds releasing{0};
    for (auto _ : state) {
        CTextFile text(CTextFile::Encoding_Auto, 1252);
        CZQSubtitleTrack* track = nullptr;
        if (FAILED(text.Open(path.c_str())) || FAILED(CZQSubtitleTrack::Create(&track))) {
            state.SkipWithError("open failed");
            return;
        }
        HRESULT hr = track->ParseSubRip(text);
        if (hr != S_OK || track->GetCueCount() != file.cues)
            state.SkipWithError("the file did not load whole");
        state.PauseTiming();
        auto start = std::chrono::steady_clock::now();
        track->Release();
        releasing += std::chrono::steady_clock::now() - start;
        state.ResumeTiming();
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * file.bytes));
    state.counters["cues_per_s"] =
        benchmark::Counter(static_cast<double>(file.cues), benchmark::Counter::kIsIterationInvariantRate);
    state.counters["release_ms"] =
        std::chrono::duration<double, std::milli>(releasing).count() / static_cast<double>(state.iterations());
    ReportPeak(state);
}

BENCHMARK_CAPTURE(ReadLines, Utf8_1M, Kind::Utf8)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(ReadLines, Cp1252_100k, Kind::Cp1252)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(ReadLines, Utf16LE_100k, Kind::Utf16LE)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(LoadCues, Utf8_1M, Kind::Utf8)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(LoadCues, Cp1252_100k, Kind::Cp1252)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(LoadCues, Utf16LE_100k, Kind::Utf16LE)->Unit(benchmark::kMillisecond);

// The files go with the process.
struct CCleanup {
    ~CCleanup() {
        std::error_code ignored;
        for (const char* name : {"utf8", "cp1252", "utf16le"})
            std::filesystem::remove(std::filesystem::temp_directory_path() /
                                        ("zq-subrip-bench-" + std::string(name) + ".srt"),
                                    ignored);
    }
} g_cleanup;

}  // namespace

BENCHMARK_MAIN();
