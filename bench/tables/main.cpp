// Measures TorvaTables: loads beside the exports' walk and its peers, and lookups beside theirs.
//
//   torva_tables_bench [short|full|smoke]
//
// The contestants of a row take turns, round after round. A figure is the median over the rounds, a ratio the
// median of the ratios to the walk in the same round. A walk opens the file in memory mode, delivers every
// value and frees it; a load opens, reads and frees the table. The clock is the thread's processor time,
// except for what several threads gain, which the clock on the wall shows.

#include <benchmark/benchmark.h>
#include <sqlite3.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <functional>
#include <string>
#include <unordered_map>
#include <vector>

#include "TorvaTables.h"
#include "bench/Peers.h"
#include "bench/SectionWalks.h"
#include "format/Fields.h"

namespace bench {
namespace {

using Clock = std::chrono::steady_clock;
using Ids = std::vector<std::uint16_t>;

int rounds = 7;

double Median(std::vector<double> values) {
    std::nth_element(values.begin(), values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2),
                     values.end());
    return values[values.size() / 2];
}

struct Contestant {
    std::string name;
    std::function<void()> run;
};

struct Times {
    double processor;
    double wall;
};

Times Now() {
    timespec time{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    const std::chrono::duration<double, std::milli> wall = Clock::now().time_since_epoch();
    return {static_cast<double>(time.tv_sec) * 1e3 + static_cast<double>(time.tv_nsec) / 1e6, wall.count()};
}

// Prints a row: milliseconds and the ratio to the first contestant. The last one, where `threads`, is
// compared with the one before it by the wall's clock.
void Run(const std::string& row, const std::vector<Contestant>& contestants, bool threads) {
    std::vector<std::vector<Times>> times(contestants.size());
    for (int round = 0; round <= rounds; ++round) {
        for (std::size_t i = 0; i < contestants.size(); ++i) {
            const Times start = Now();
            contestants[i].run();
            const Times end = Now();
            if (round > 0) times[i].push_back({end.processor - start.processor, end.wall - start.wall});
        }
    }
    std::printf("%-34s", row.c_str());
    for (std::size_t i = 0; i < contestants.size(); ++i) {
        const bool wall = threads && i + 1 == contestants.size();
        const std::size_t base = wall ? i - 1 : 0;
        std::vector<double> took;
        std::vector<double> ratios;
        for (std::size_t round = 0; round < times[i].size(); ++round) {
            took.push_back(wall ? times[i][round].wall : times[i][round].processor);
            ratios.push_back(wall ? times[base][round].wall / took.back()
                                  : took.back() / times[base][round].processor);
        }
        std::printf(wall ? "  %s %.2f ms (%.2f times as fast)" : "  %s %.2f ms (%.2f)",
                    contestants[i].name.c_str(), Median(took), Median(ratios));
    }
    std::printf("\n");
    std::fflush(stdout);
}

std::uint16_t Open(const std::string& path, const Ids& ids, bool wholeFile) {
    const std::int32_t handle = tv_OpenSymFile(path.c_str(), 4U << 20U, ids.data(),
                                               static_cast<std::uint32_t>(ids.size()), wholeFile ? 1 : 0);
    if (handle <= 0) Fail("cannot open " + path);
    return static_cast<std::uint16_t>(handle);
}

void Walk(const std::string& path, const Ids& ids, bool wholeFile) {
    LibraryFile file{};
    file.handle = Open(path, ids, wholeFile);
    Swallow sink;
    WalkSymbols(file, sink);
    tv_CloseSymFile(file.handle);
}

// What a host writes that wants columns from the exports: a growing array for each field.
struct ColumnsOfHost {
    struct Column {
        std::vector<std::uint64_t> numbers;
        std::string texts;
        std::vector<std::uint32_t> ends;
    };
    std::unordered_map<std::uint16_t, Column> columns;
    void Text(const char* text) {
        columns[0].texts += text;
        columns[0].ends.push_back(static_cast<std::uint32_t>(columns[0].texts.size()));
    }
    void Field(const SymFieldItem& item) {
        Column& column = columns[item.id];
        if (item.tag == 7) {
            column.texts += static_cast<const char*>(item.value);
            column.ends.push_back(static_cast<std::uint32_t>(column.texts.size()));
        } else {
            std::uint64_t number = 0;
            if (item.value != nullptr) std::memcpy(&number, item.value, torva::PayloadWidth(item.tag));
            column.numbers.push_back(number);
        }
    }
    void Elements(std::size_t /*n*/) {}
};

TvtTable* Load(const std::string& path, const Ids& ids, std::uint32_t threads) {
    TvtOptions options;
    TvtError error;
    TvtTable* table = nullptr;
    tvt_InitOptions(&options);
    options.fieldIds = ids.data();
    options.fieldCount = static_cast<std::uint32_t>(ids.size());
    options.threads = threads;
    if (tvt_Load(path.c_str(), &options, &table, &error) != TVT_OK) Fail(error.message);
    return table;
}

void Stream(const std::string& path, const Ids& ids) {
    TvtOptions options;
    TvtError error;
    tvt_InitOptions(&options);
    options.fieldIds = ids.data();
    options.fieldCount = static_cast<std::uint32_t>(ids.size());
    ArrowArrayStream stream;
    if (tvt_OpenStream(path.c_str(), &options, &stream, &error) != TVT_OK) Fail(error.message);
    for (;;) {
        ArrowArray batch;
        if (stream.get_next(&stream, &batch) != 0) Fail(stream.get_last_error(&stream));
        if (batch.release == nullptr) break;
        batch.release(&batch);
    }
    stream.release(&stream);
}

void LoadRow(const SymbolOptions& options, std::uint32_t filter, bool peers) {
    TemporaryFile file("tables.sym");
    WriteSymbolFile(options, file.Path());
    Ids ids;
    for (std::uint32_t i = 0; i < filter; ++i)
        ids.push_back(static_cast<std::uint16_t>(1 + i * options.fields / filter));
    std::vector<Contestant> contestants = {
        {"walk", [&] { Walk(file.Path(), ids, true); }},
        {"file", [&] { Walk(file.Path(), ids, false); }},
        {"host columns",
         [&] {
             LibraryFile reader{};
             reader.handle = Open(file.Path(), ids, true);
             ColumnsOfHost columns;
             WalkSymbols(reader, columns);
             tv_CloseSymFile(reader.handle);
         }},
        {"stream", [&] { Stream(file.Path(), ids); }},
    };
    TemporaryFile flat("tables.flat");
    TemporaryFile database("tables.sqlite");
    if (peers) {
        WriteFlatFile(options, flat.Path());
        WriteSqliteFile(options, database.Path());
        contestants.push_back({"flatbuffers", [&] {
                                   FlatPeer peer(flat.Path(), ids);
                                   Swallow sink;
                                   peer.Walk(sink);
                               }});
        contestants.push_back({"sqlite", [&] {
                                   SqlitePeer peer(database.Path(), ids);
                                   Swallow sink;
                                   peer.Walk(sink);
                               }});
    }
    contestants.push_back({"table", [&] { tvt_Release(Load(file.Path(), ids, 1)); }});
    contestants.push_back({"2 threads", [&] { tvt_Release(Load(file.Path(), ids, 2)); }});
    Run(std::to_string(options.symbols) + " symbols, " + std::to_string(options.fields) + " fields" +
            (filter > 0 ? ", " + std::to_string(filter) + " wanted" : ""),
        contestants, true);
    TvtTable* const table = Load(file.Path(), ids, 1);
    TvtReport report;
    tvt_GetReport(table, &report);
    std::printf("%-34s  file %.1f MiB, columns %.1f MiB\n", "",
                static_cast<double>(std::filesystem::file_size(file.Path())) / 1048576.0,
                static_cast<double>(report.bytes) / 1048576.0);
    tvt_Release(table);
}

// Nanoseconds of one of `count` calls, the median over the rounds of the mean of a round.
template <class Call>
double Nanoseconds(std::size_t count, Call call) {
    std::vector<double> times;
    for (int round = 0; round <= rounds; ++round) {
        const auto start = Clock::now();
        for (std::size_t i = 0; i < count; ++i) call(i);
        const std::chrono::duration<double, std::nano> took = Clock::now() - start;
        if (round > 0) times.push_back(took.count() / static_cast<double>(count));
    }
    return Median(times);
}

void LookupRows(std::uint32_t symbols) {
    constexpr std::size_t kLookups = 100000;
    SymbolOptions options;
    options.symbols = symbols;
    options.fields = 4;
    options.defaults = 0;
    TemporaryFile file("lookup.sym");
    WriteSymbolFile(options, file.Path());
    TvtTable* const table = Load(file.Path(), {}, 1);
    const auto symbolOf = [&](std::uint32_t row) {
        std::size_t length = 0;
        const char* const text = tvt_Text(table, 0, row, &length);
        return std::string(text, length);
    };
    symwrite::Random random(3);
    std::vector<std::string> wanted(kLookups);
    for (std::string& symbol : wanted) symbol = symbolOf(random.Below(symbols));
    const auto start = Clock::now();
    tvt_Find(table, "", 0);
    const auto hashed = Clock::now();
    tvt_Prefix(table, "", 0, 0, nullptr, 0);
    const auto sorted = Clock::now();
    const std::chrono::duration<double, std::milli> hashTook = hashed - start;
    const std::chrono::duration<double, std::milli> sortTook = sorted - hashed;
    std::printf("%u symbols: hash index %.1f ms, sorted index %.1f ms\n", symbols, hashTook.count(),
                sortTook.count());

    std::unordered_map<std::string, std::uint32_t> map;
    for (std::uint32_t row = 0; row < symbols; ++row) map.emplace(symbolOf(row), row);
    sqlite3* database = nullptr;
    sqlite3_stmt* insert = nullptr;
    sqlite3_stmt* select = nullptr;
    sqlite3_open(":memory:", &database);
    sqlite3_exec(database, "CREATE TABLE s (symbol TEXT PRIMARY KEY, row INTEGER) WITHOUT ROWID; BEGIN",
                 nullptr, nullptr, nullptr);
    sqlite3_prepare_v2(database, "INSERT INTO s VALUES (?, ?)", -1, &insert, nullptr);
    for (std::uint32_t row = 0; row < symbols; ++row) {
        const std::string symbol = symbolOf(row);
        sqlite3_bind_text(insert, 1, symbol.data(), static_cast<int>(symbol.size()), SQLITE_STATIC);
        sqlite3_bind_int64(insert, 2, row);
        sqlite3_step(insert);
        sqlite3_reset(insert);
    }
    sqlite3_exec(database, "COMMIT", nullptr, nullptr, nullptr);
    sqlite3_prepare_v2(database, "SELECT row FROM s WHERE symbol = ?", -1, &select, nullptr);

    const double find = Nanoseconds(kLookups, [&](std::size_t i) {
        benchmark::DoNotOptimize(tvt_Find(table, wanted[i].data(), wanted[i].size()));
    });
    const double mapped =
        Nanoseconds(kLookups, [&](std::size_t i) { benchmark::DoNotOptimize(map.find(wanted[i])->second); });
    const double queried = Nanoseconds(kLookups / 10, [&](std::size_t i) {
        sqlite3_bind_text(select, 1, wanted[i].data(), static_cast<int>(wanted[i].size()), SQLITE_STATIC);
        if (sqlite3_step(select) != SQLITE_ROW) Fail("a symbol is missing");
        benchmark::DoNotOptimize(sqlite3_column_int64(select, 0));
        sqlite3_reset(select);
    });
    const double prefixed = Nanoseconds(kLookups, [&](std::size_t i) {
        std::int64_t rows[10];
        benchmark::DoNotOptimize(tvt_Prefix(table, wanted[i].data(), 3, 0, rows, 10));
        for (const std::int64_t row : rows) benchmark::DoNotOptimize(tvt_Text(table, 0, row, nullptr));
    });
    std::printf(
        "%u symbols: find %.0f ns, unordered_map %.0f ns, SQLite %.0f ns; first 10 of a prefix %.0f ns\n",
        symbols, find, mapped, queried, prefixed);
    sqlite3_finalize(insert);
    sqlite3_finalize(select);
    sqlite3_close(database);
    tvt_Release(table);
}

}  // namespace
}  // namespace bench

int main(int argc, char** argv) {
    const std::string extent = argc > 1 ? argv[1] : "short";
    bench::SymbolOptions options;
    if (extent == "smoke") {
        bench::rounds = 1;
        options.symbols = 1000;
        bench::LoadRow(options, 0, true);
        bench::LookupRows(1000);
        return 0;
    }
    for (const std::uint32_t fields : {10U, 40U, 60U}) {
        options.fields = fields;
        options.symbols = 100000;
        bench::LoadRow(options, 0, fields == 40);
    }
    options.fields = 40;
    bench::LoadRow(options, 10, false);
    options.fields = 10;
    for (const std::uint32_t symbols : {10000U, 1000000U}) {
        options.symbols = symbols;
        bench::LoadRow(options, 0, false);
    }
    if (extent == "full") {
        bench::rounds = 3;
        options.symbols = 10000000;
        bench::LoadRow(options, 0, false);
    }
    bench::LookupRows(100000);
    bench::LookupRows(1000000);
    return 0;
}
