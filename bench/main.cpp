// Measures every walk of the library, in both read modes, against the limit and against peers.
//
//   torva_bench [smoke|short|full|hpp] [--benchmark_...]
//
// A row has contestants that do the same work. Before timing each delivers everything once into a
// checksum, and one that delivers anything else than the limit ends the run. Then they take turns, round
// after round, so that whatever disturbs the machine meets all of them; the clock is the thread's processor
// time, system time included. A figure is the median over the rounds, a ratio the median of the ratios to the
// limit in the same round.

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <memory>
#include <numeric>
#include <stop_token>
#include <string>
#include <thread>
#include <vector>

#include "bench/Files.h"
#include "bench/HppSectionWalks.h"
#include "bench/Limit.h"
#include "bench/Peers.h"
#include "bench/SectionWalks.h"

namespace bench {
namespace {

constexpr std::uint32_t kBudget = 4U << 20U;
constexpr std::size_t kReadAhead = std::size_t{64} * 1024;  // bytes of the library's read-ahead buffer
constexpr double kLeastRun = 2e6;                           // ns of the limit between two looks at the clock

enum class Extent { kSmoke, kShort, kFull, kHpp };
Extent extent = Extent::kShort;

using Ids = std::vector<std::uint16_t>;

struct Contestant {
    std::string name;
    std::function<Checksum()> check;  // null where nothing is delivered
    std::function<void()> run;
};

struct Row {
    std::string name;
    std::function<std::vector<Contestant>()> make;
    clockid_t clock = CLOCK_THREAD_CPUTIME_ID;
};

double Now(clockid_t clock) {
    timespec time{};
    clock_gettime(clock, &time);
    return static_cast<double>(time.tv_sec) * 1e9 + static_cast<double>(time.tv_nsec);
}

// The value with `share` of the sorted samples below it.
double Quantile(std::vector<double> samples, double share) {
    if (samples.empty()) return 0;
    std::sort(samples.begin(), samples.end());
    return samples[static_cast<std::size_t>(share * static_cast<double>(samples.size() - 1) + 0.5)];
}

// --- Contestants

struct OpenFile {
    OpenFile(const std::string& path, const Ids& ids, bool wholeFile) {
        const std::int32_t opened = tv_OpenSymFile(path.c_str(), kBudget, ids.data(),
                                                   static_cast<std::uint32_t>(ids.size()), wholeFile ? 1 : 0);
        if (opened <= 0) Fail("tv_OpenSymFile returned " + std::to_string(opened) + " for " + path);
        file.handle = static_cast<std::uint16_t>(opened);
    }
    ~OpenFile() { tv_CloseSymFile(file.handle); }
    OpenFile(const OpenFile&) = delete;
    OpenFile& operator=(const OpenFile&) = delete;

    template <class Sink>
    void Walk(std::uint16_t section, Sink& sink) {
        bench::Walk(section, file, sink);
    }
    LibraryFile file{};
};

struct PlainFile {
    PlainFile(const std::string& path, const Ids& ids)
        : reader(
              [&] {
                  const MappedFile mapped(path);
                  return std::vector<std::uint8_t>(mapped.Data(), mapped.Data() + mapped.Size());
              }(),
              true) {
        if (reader.Open(kBudget, ids.data(), static_cast<std::uint32_t>(ids.size())) != SYM_OK) {
            Fail("the plain reader does not open " + path);
        }
    }
    template <class Sink>
    void Walk(std::uint16_t section, Sink& sink) {
        bench::Walk(section, reader, sink);
    }
    plain::PlainReader reader;
};

struct LimitFile {
    LimitFile(const std::string& path, const Ids& ids) : file(path), limit(file.Data(), ids) {}
    template <class Sink>
    void Walk(std::uint16_t section, Sink& sink) {
        limit.Walk(section, sink);
    }
    MappedFile file;
    Limit limit;
};

template <class Peer>
struct PeerFile {
    PeerFile(const std::string& path, const Ids& ids) : peer(path, ids) {}
    template <class Sink>
    void Walk(std::uint16_t /*section*/, Sink& sink) {
        peer.Walk(sink);
    }
    Peer peer;
};

template <class Walker, class... Arguments>
Contestant Walking(const std::string& name, std::uint16_t section, Arguments&&... arguments) {
    const auto walker = std::make_shared<Walker>(std::forward<Arguments>(arguments)...);
    return {name,
            [walker, section] {
                Checksum sum;
                walker->Walk(section, sum);
                return sum;
            },
            [walker, section] {
                Swallow sink;
                walker->Walk(section, sink);
            }};
}

// --- Rows

// What reading costs when nothing else is done: the bytes of a section by plain reads of `piece` bytes into
// one block. It delivers nothing, so nothing is compared.
class PlainReads {
public:
    PlainReads(const std::string& path, std::uint16_t section, std::size_t piece)
        : descriptor(open(path.c_str(), O_RDONLY | O_CLOEXEC)), block(piece) {
        const MappedFile mapped(path);
        const auto at = [&](std::size_t i, auto& value) {
            std::memcpy(&value, mapped.Data() + i, sizeof value);
        };
        std::uint16_t id = 0;
        for (std::size_t entry = 2; id != section; entry += 10) {
            at(entry, id);
            at(entry + 2, offset);
            at(entry + 6, size);
        }
    }
    ~PlainReads() { close(descriptor); }
    PlainReads(const PlainReads&) = delete;
    PlainReads& operator=(const PlainReads&) = delete;

    void Run() {
        for (std::size_t done = 0; done < size; done += block.size()) {
            const std::size_t part = std::min(block.size(), size - done);
            if (pread(descriptor, block.data(), part, static_cast<off_t>(offset + done)) < 0)
                Fail("can't read");
        }
    }

private:
    int descriptor;
    std::vector<char> block;
    std::uint32_t offset = 0, size = 0;
};

Contestant PlainReadsOf(const std::string& path, std::uint16_t section, std::size_t piece) {
    const auto reads = std::make_shared<PlainReads>(path, section, piece);
    return {"read", nullptr, [reads] { reads->Run(); }};
}

// A symbol file twice, because the library has a file to itself, and the peers' stores of the same symbols.
struct SymbolFiles {
    explicit SymbolFiles(const SymbolOptions& symbolOptions) : options(symbolOptions) {
        WriteSymbolFile(options, symbols.Path());
        std::filesystem::copy_file(symbols.Path(), copy.Path(),
                                   std::filesystem::copy_options::overwrite_existing);
    }
    void NeedPeers() {
        if (std::exchange(havePeers, true)) return;
        WriteFlatFile(options, flat.Path());
        WriteSqliteFile(options, sqlite.Path());
    }
    SymbolOptions options;
    TemporaryFile symbols{"symbols.sym"}, copy{"copy.sym"}, flat{"symbols.flat"}, sqlite{"symbols.sqlite"};
    bool havePeers = false;
};

// Rows that follow each other with the same options share the files.
std::shared_ptr<SymbolFiles> FilesFor(const SymbolOptions& options) {
    static std::shared_ptr<SymbolFiles> last;
    const auto same = [&](const SymbolOptions& held) {
        return held.symbols == options.symbols && held.fields == options.fields &&
               held.defaults == options.defaults && held.textLength == options.textLength;
    };
    if (last == nullptr || !same(last->options)) {
        last.reset();
        last = std::make_shared<SymbolFiles>(options);
    }
    return last;
}

enum Peers : std::uint8_t { kNoPeers = 0, kPlain = 1, kStores = 2 };

// `count` ids, all of the symbols' among them when there are enough; few are spread over those.
Ids FilterOf(std::uint32_t count, const SymbolOptions& options) {
    Ids ids;
    const std::uint32_t used = options.fields + options.fields / 2 + options.defaults;
    const std::uint32_t step = std::max(1U, count == 0 ? 1U : std::min(used, options.fields * 2) / count);
    for (std::uint32_t i = 0; i < count; ++i) ids.push_back(static_cast<std::uint16_t>(1 + i * step));
    return ids;
}

Row SymbolRow(const std::string& name, const SymbolOptions& options, std::uint32_t filter, int peers) {
    return {
        name, [=] {
            const auto files = FilesFor(options);
            const Ids ids = FilterOf(filter, options);
            std::vector<Contestant> contestants = {
                Walking<LimitFile>("limit", 2, files->symbols.Path(), ids),
                Walking<OpenFile>("memory", 2, files->symbols.Path(), ids, true),
                Walking<OpenFile>("file", 2, files->copy.Path(), ids, false)};
            if ((peers & kPlain) != 0) {
                contestants.push_back(Walking<PlainFile>("plain", 2, files->symbols.Path(), ids));
            }
            if ((peers & kStores) != 0) {
                files->NeedPeers();
                contestants.push_back(Walking<PeerFile<FlatPeer>>("flatbuffers", 2, files->flat.Path(), ids));
                contestants.push_back(Walking<PeerFile<SqlitePeer>>("sqlite", 2, files->sqlite.Path(), ids));
            }
            return contestants;
        }};
}

struct SectionFiles {
    SectionFiles() {
        WriteSectionFile(extent == Extent::kSmoke ? 0.02 : 1.0, 24, sections.Path());
        std::filesystem::copy_file(sections.Path(), copy.Path(),
                                   std::filesystem::copy_options::overwrite_existing);
    }
    TemporaryFile sections{"sections.sym"}, copy{"sections-copy.sym"};
};

Row SectionRow(const std::string& name, std::uint16_t section, std::int32_t records = kRecords) {
    return {name, [=]() -> std::vector<Contestant> {
                static const SectionFiles files;
                brokerCapacity = records;
                std::vector<Contestant> contestants = {
                    Walking<LimitFile>("limit", section, files.sections.Path(), Ids()),
                    Walking<OpenFile>("memory", section, files.sections.Path(), Ids(), true),
                    Walking<OpenFile>("file", section, files.copy.Path(), Ids(), false),
                    Walking<PlainFile>("plain", section, files.sections.Path(), Ids())};
                if (section == 3 || section == 4 || section == 11) {
                    const std::size_t array = sizeof(BrokerInfoRecord) * static_cast<std::size_t>(records);
                    contestants.push_back(PlainReadsOf(files.sections.Path(), section,
                                                       records > kRecords ? array : kReadAhead));
                }
                return contestants;
            }};
}

// What the C++ header costs: the limit is here the same walk through the C interface, both in memory mode.
Row HppRow(const std::string& name, std::uint16_t section) {
    return {"C++ header, " + name, [=]() -> std::vector<Contestant> {
                brokerCapacity = kRecords;
                std::string path, copy;
                if (section == 2) {
                    SymbolOptions options;
                    options.symbols = extent == Extent::kSmoke ? 200 : 10000;
                    static const std::shared_ptr<SymbolFiles> files = FilesFor(options);
                    path = files->symbols.Path();
                    copy = files->copy.Path();
                } else {
                    static const SectionFiles files;
                    path = files.sections.Path();
                    copy = files.copy.Path();
                }
                return {Walking<OpenFile>("limit", section, path, Ids(), true),
                        Walking<HppFile>("memory", section, copy)};
            }};
}

// What an open can't do without: in memory mode one read of the file into a fresh block; in file mode the
// file itself, its lock, its size and the first page.
void OpenByHand(const std::string& path, bool wholeFile) {
    const int descriptor = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    struct stat status {};
    if (descriptor < 0 || fstat(descriptor, &status) != 0 || flock(descriptor, LOCK_EX | LOCK_NB) != 0) {
        Fail("can't open " + path);
    }
    const std::size_t size = wholeFile ? static_cast<std::size_t>(status.st_size) : 4096;
    const std::unique_ptr<char[]> block(new char[size]);
    benchmark::DoNotOptimize(block.get());
    if (read(descriptor, block.get(), size) < 0) Fail("can't read " + path);
    close(descriptor);
}

Row OpenRow(const std::string& name, const SymbolOptions& options, bool wholeFile) {
    return {name, [=]() -> std::vector<Contestant> {
                const auto files = FilesFor(options);
                const auto one = [] { return Checksum{0, 1}; };
                return {{"limit", one, [=] { OpenByHand(files->symbols.Path(), wholeFile); }},
                        {wholeFile ? "memory" : "file", one,
                         [=] { const OpenFile opened(files->symbols.Path(), {}, wholeFile); }}};
            }};
}

// Every thread walks its own file; the figure is wall time for each value delivered by all of them.
Row ThreadRow(const std::string& name, const SymbolOptions& options, unsigned threads) {
    struct Files {
        std::vector<std::unique_ptr<TemporaryFile>> paths;
    };
    return {name,
            [=]() -> std::vector<Contestant> {
                const auto files = std::make_shared<Files>();
                std::vector<std::vector<Contestant>> workers(2);
                for (unsigned i = 0; i < threads; ++i) {
                    files->paths.push_back(
                        std::make_unique<TemporaryFile>("thread" + std::to_string(i) + ".sym"));
                    const std::string& path = files->paths.back()->Path();
                    WriteSymbolFile(options, path);
                    workers[0].push_back(Walking<LimitFile>("limit", 2, path, Ids()));
                    workers[1].push_back(Walking<OpenFile>("memory", 2, path, Ids(), true));
                }
                std::vector<Contestant> contestants;
                for (const std::vector<Contestant>& team : workers) {
                    contestants.push_back({team.front().name,
                                           [files, team] {
                                               Checksum all;
                                               for (const Contestant& worker : team) {
                                                   const Checksum sum = worker.check();
                                                   all = {all.sum ^ sum.sum, all.elements + sum.elements};
                                               }
                                               return all;
                                           },
                                           [files, team] {
                                               std::vector<std::thread> running;
                                               for (const Contestant& worker : team) {
                                                   running.emplace_back(worker.run);
                                               }
                                               for (std::thread& thread : running) thread.join();
                                           }});
                }
                return contestants;
            },
            CLOCK_MONOTONIC};
}

std::vector<Row> Rows() {
    SymbolOptions base;
    base.symbols = extent == Extent::kFull ? 100000 : extent == Extent::kShort ? 10000 : 200;
    SymbolOptions noDefaults = base, manyDefaults = base;
    noDefaults.defaults = 0;
    manyDefaults.defaults = 1000;
    manyDefaults.symbols = base.symbols / 10;
    const int slow = extent == Extent::kFull ? kPlain | kStores : kStores;
    std::vector<Row> rows;
    const std::vector<Row> symbolRows = {
        SymbolRow("2 symbols, 30 defaults", base, 0, kPlain | kStores),
        SymbolRow("2 filter of 10", base, 10, kPlain | kStores),
        SymbolRow("2 filter of 1,000", base, 1000, kPlain | kStores),
        SymbolRow("2 filter of 60,000", base, 60000, slow),
        OpenRow("open, memory mode", base, true),
        OpenRow("open, file mode", base, false),
        SymbolRow("2 symbols, 0 defaults", noDefaults, 0, kPlain | kStores),
        SymbolRow("2 symbols, 1,000 defaults", manyDefaults, 0, slow),
    };
    const std::vector<std::pair<std::uint16_t, std::string>> sections = {
        {9, "fund companies"},    {10, "countries"},        {12, "issue companies"},
        {19, "fund main names"},  {20, "futures sections"}, {22, "futures class types"},
        {16, "exchanges"},        {17, "real-delay pairs"}, {6, "quick group fields"},
        {7, "Eidr sections"},     {13, "object data"},      {3, "jump prices"},
        {4, "brokers"},           {8, "level-2 items"},     {11, "group members"},
        {14, "foreign trade"},    {15, "global related"},   {18, "EOD definitions"},
        {21, "exchange support"},
    };
    if (extent != Extent::kHpp) {
        rows = symbolRows;
        for (const auto& [id, name] : sections)
            rows.push_back(SectionRow(std::to_string(id) + " " + name, id));
        rows.push_back(SectionRow("4 brokers, arrays of 5,000", 4, 5000));
        rows.push_back(SectionRow("4 brokers, one array", 4, 65535));
    }
    if (extent != Extent::kShort) {
        rows.push_back(HppRow("2 symbols", 2));
        for (const auto& [id, name] : sections) rows.push_back(HppRow(std::to_string(id) + " " + name, id));
    }
    if (extent != Extent::kFull) return rows;

    for (const std::uint32_t defaults : {0U, 1000U}) {
        SymbolOptions options = base;
        options.defaults = defaults;
        for (const std::uint32_t filter : {0U, 10U, 60000U}) {
            rows.push_back(
                SymbolRow("2 defaults " + std::to_string(defaults) + ", filter " + std::to_string(filter),
                          options, filter, kNoPeers));
        }
    }
    for (std::uint32_t symbols = 1000; symbols <= 10000000; symbols *= 10) {
        SymbolOptions options;
        options.symbols = symbols;
        options.fields = 8;
        options.defaults = 4;
        options.textLength = 12;
        const std::string axis = std::to_string(symbols);
        rows.push_back(SymbolRow("growth, symbols=" + axis, options, 0, kNoPeers));
        rows.push_back(OpenRow("growth, open file mode, symbols=" + axis, options, false));
    }
    SymbolOptions grown = base;
    grown.symbols = 10000;
    for (const std::uint32_t ids : {1U, 10U, 100U, 1000U, 10000U, 65535U}) {
        rows.push_back(SymbolRow("growth, filter ids=" + std::to_string(ids), grown, ids, kPlain));
    }
    for (const std::uint32_t defaults : {0U, 1U, 10U, 100U, 1000U, 10000U}) {
        SymbolOptions options = grown;
        options.defaults = defaults;
        options.symbols = defaults > 100 ? 200 : 10000;
        rows.push_back(SymbolRow("growth, defaults=" + std::to_string(defaults), options, 0, kPlain));
    }
    for (const std::uint32_t length : {4U, 16U, 64U, 200U}) {
        SymbolOptions options = grown;
        options.textLength = length;
        rows.push_back(SymbolRow("growth, text length=" + std::to_string(length), options, 0, kPlain));
    }
    for (const unsigned threads : {1U, 2U, 4U, 8U}) {
        rows.push_back(ThreadRow("growth, threads=" + std::to_string(threads), grown, threads));
    }
    return rows;
}

// --- Measuring

struct Measured {
    Contestant contestant;
    std::vector<double> figures = {}, ratios = {};  // ns of an element; to the limit in the same round
    double spent = 0;
};

void Check(const std::string& row, const std::vector<Measured>& all, std::uint64_t& elements) {
    Checksum limit;
    for (std::size_t i = 0; i < all.size(); ++i) {
        if (!all[i].contestant.check) continue;
        const Checksum sum = all[i].contestant.check();
        if (i == 0) limit = sum;
        if (sum == limit && sum.elements > 0) continue;
        Fail(row + ": " + all[i].contestant.name + " delivers " + std::to_string(sum.elements) +
             " elements, sum " + std::to_string(sum.sum) + "; " + all[0].contestant.name + " delivers " +
             std::to_string(limit.elements) + ", sum " + std::to_string(limit.sum));
    }
    elements = limit.elements;
}

// What a contestant freed in small pieces the C library puts together at the next large request: not in the
// time of whoever comes next.
void SettleAllocator() {
    void* const block = std::malloc(1U << 20U);
    benchmark::DoNotOptimize(block);
    std::free(block);
}

void Measure(benchmark::State& state, const Row& row) {
    std::vector<Measured> all;
    for (Contestant& contestant : row.make()) all.push_back({std::move(contestant)});
    std::uint64_t elements = 0;
    Check(row.name, all, elements);

    const auto time = [&](const Measured& measured, std::uint32_t repeat) {
        SettleAllocator();
        const double start = Now(row.clock);
        for (std::uint32_t i = 0; i < repeat; ++i) measured.contestant.run();
        return (Now(row.clock) - start) / repeat;
    };
    time(all[0], 1);
    const auto repeat = static_cast<std::uint32_t>(
        extent == Extent::kSmoke ? 1 : std::max(1.0, std::ceil(kLeastRun / std::max(1.0, time(all[0], 1)))));
    // A contestant that is slow beyond comparison does not take part in every round.
    const double patience = extent == Extent::kFull ? 3e9 : 1e9;
    // Nor do rows that take long all rounds.
    const auto spent = [&] {
        return std::accumulate(all.begin(), all.end(), 0.0,
                               [](double sum, const Measured& measured) { return sum + measured.spent; });
    };

    std::size_t round = 0;
    for (auto _ : state) {
        state.SetIterationTime(1e-9);
        if (round >= 3 && spent() > 4 * patience) continue;
        std::vector<double> figures(all.size());
        for (std::size_t turn = 0; turn < all.size(); ++turn) {
            const std::size_t i = (turn + round) % all.size();
            if (all[i].spent > patience && i > 2) continue;
            figures[i] = time(all[i], repeat) / static_cast<double>(elements);
            all[i].spent += figures[i] * static_cast<double>(elements) * repeat;
        }
        for (std::size_t i = 0; i < all.size(); ++i) {
            if (figures[i] == 0) continue;
            all[i].figures.push_back(figures[i]);
            all[i].ratios.push_back(figures[i] / figures[0]);
        }
        ++round;
    }
    state.counters["elements"] = static_cast<double>(elements);
    state.counters["rounds"] = static_cast<double>(round);
    for (const Measured& measured : all) {
        const std::string& name = measured.contestant.name;
        state.counters[name + "_ns"] = Quantile(measured.figures, 0.5);
        if (&measured == &all[0]) {
            state.counters[name + "_low"] =
                Quantile(measured.figures, 0.25) / Quantile(measured.figures, 0.5);
            state.counters[name + "_high"] =
                Quantile(measured.figures, 0.75) / Quantile(measured.figures, 0.5);
            continue;
        }
        state.counters[name + "_ratio"] = Quantile(measured.ratios, 0.5);
        state.counters[name + "_low"] = Quantile(measured.ratios, 0.25);
        state.counters[name + "_high"] = Quantile(measured.ratios, 0.75);
    }
}

// --- Resident memory

// KiB of this process's own memory (nothing mapped from files).
double ResidentKib() {
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);) {
        if (line.rfind("RssAnon:", 0) == 0) return std::stod(line.substr(8));
    }
    Fail("no RssAnon in /proc/self/status");
}

// What an open and a whole walk of the symbols add to an otherwise idle process.
double ResidentOfWalk(const std::string& path, bool wholeFile) {
    const std::string command = "/proc/" + std::to_string(getpid()) + "/exe resident " +
                                (wholeFile ? "memory '" : "file '") + path + "'";
    FILE* const process = popen(command.c_str(), "r");
    double grown = -1;
    if (process == nullptr || std::fscanf(process, "%lf", &grown) != 1 || pclose(process) != 0) {
        Fail("the measured process failed");
    }
    return grown;
}

int PrintResident(const char* mode, const char* path) {
    const double before = ResidentKib();
    OpenFile file(path, {}, std::string(mode) == "memory");
    Swallow sink;
    file.Walk(2, sink);
    std::printf("%.0f\n", ResidentKib() - before);
    return 0;
}

void MeasureResident(benchmark::State& state, const SymbolOptions& options) {
    const auto files = FilesFor(options);
    for (auto _ : state) {
        state.counters["file_KiB"] =
            static_cast<double>(std::filesystem::file_size(files->symbols.Path())) / 1024;
        state.counters["budget_KiB"] = kBudget / 1024.0;
        state.counters["resident_file_mode_KiB"] = ResidentOfWalk(files->symbols.Path(), false);
        state.counters["resident_memory_mode_KiB"] = ResidentOfWalk(files->symbols.Path(), true);
        state.SetIterationTime(1e-9);
    }
}

// --- The table

class Table : public benchmark::BenchmarkReporter {
public:
    bool ReportContext(const Context& /*context*/) override {
        std::printf("ns of an element; x: ratio to the limit (the quartiles of the ratio over the rounds)\n");
        std::printf("%-28s %9s %8s  %-29s  %-29s  %s\n", "", "elements", "limit", "memory mode", "file mode",
                    "peers");
        return true;
    }
    void ReportRuns(const std::vector<Run>& runs) override {
        for (const Run& run : runs) {
            std::printf("%-28s", run.run_name.function_name.c_str());
            if (Value(run, "limit_ns") == 0) {
                for (const auto& [name, counter] : run.counters) {
                    std::printf("  %s %.0f", name.c_str(), counter.value);
                }
            } else {
                std::printf(" %9.0f %8.2f", Value(run, "elements"), Value(run, "limit_ns"));
                for (const char* const name : {"memory", "file"}) PrintMode(run, name);
                for (const char* const name : {"plain", "flatbuffers", "sqlite", "read"}) {
                    const double ratio = Value(run, std::string(name) + "_ratio");
                    if (ratio != 0) std::printf("  %s x%.2f", name, ratio);
                }
            }
            std::printf("\n");
        }
        std::fflush(stdout);
    }

private:
    static double Value(const Run& run, const std::string& counter) {
        const auto found = run.counters.find(counter);
        return found == run.counters.end() ? 0 : found->second.value;
    }
    static void PrintMode(const Run& run, const std::string& name) {
        if (Value(run, name + "_ns") == 0) {
            std::printf("  %29s", "");
        } else {
            std::printf("  %8.2f x%5.2f (%5.2f-%5.2f)", Value(run, name + "_ns"), Value(run, name + "_ratio"),
                        Value(run, name + "_low"), Value(run, name + "_high"));
        }
    }
};

void Register(int rounds) {
    for (const Row& row : Rows()) {
        benchmark::RegisterBenchmark(row.name.c_str(),
                                     [row](benchmark::State& state) { Measure(state, row); })
            ->UseManualTime()
            ->Iterations(rounds);
    }
    for (const std::uint32_t symbols : {1000U, 100000U}) {
        if (symbols > 1000 && extent != Extent::kFull) continue;
        SymbolOptions options;
        options.symbols = symbols;
        benchmark::RegisterBenchmark(("resident memory, symbols=" + std::to_string(symbols)).c_str(),
                                     [options](benchmark::State& state) { MeasureResident(state, options); })
            ->UseManualTime()
            ->Iterations(1);
    }
}

}  // namespace
}  // namespace bench

int main(int argc, char** argv) {
    if (argc == 4 && std::string(argv[1]) == "resident") return bench::PrintResident(argv[2], argv[3]);
    const std::map<std::string, std::pair<bench::Extent, int>> extents = {
        {"smoke", {bench::Extent::kSmoke, 1}},
        {"short", {bench::Extent::kShort, 11}},
        {"full", {bench::Extent::kFull, 15}},
        {"hpp", {bench::Extent::kHpp, 25}},
        {"threads", {bench::Extent::kShort, 11}}};  // short, in a process with a second thread
    benchmark::Initialize(&argc, argv);
    const auto chosen = extents.find(argc > 1 ? argv[1] : "short");
    if (chosen == extents.end() || argc > 2) bench::Fail("smoke, short, full, hpp or threads");
    bench::extent = chosen->second.first;
    std::jthread second;
    if (chosen->first == "threads") {
        second = std::jthread([](const std::stop_token& stop) {
            while (!stop.stop_requested()) std::this_thread::sleep_for(std::chrono::milliseconds(50));
        });
    }
    bench::Register(chosen->second.second);
    bench::Table table;
    benchmark::RunSpecifiedBenchmarks(&table);
    return 0;
}
