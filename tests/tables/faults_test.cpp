// Failing allocations, one after the other, and tables that threads share.

#include <gtest/gtest.h>

#include <atomic>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include "Allocations.h"
#include "TorvaTables.hpp"
#include "symwrite/RandomFile.h"
#include "tables/columns/Buffer.h"

namespace {

namespace allocations = torva::test::allocations;
using Bytes = std::vector<std::uint8_t>;

Bytes Image(std::uint32_t symbols) {
    symwrite::RandomFileOptions options;
    options.seed = symbols;
    options.symbols = symbols;
    return symwrite::Write(symwrite::RandomFile(options));
}

void WriteFile(const std::string& path, const Bytes& bytes) {
    std::ofstream(path, std::ios::binary)
        .write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
}

// Of the script below, the allocation that fails; it counts those of all threads.
std::atomic<std::int64_t> untilFailure;
bool FailsNow() { return untilFailure.fetch_sub(1) == 1; }

// What a host does with a table. Every step succeeds or reports that memory ran out. Counts those that did.
int RunScript(const std::string& path, const std::string& written, const TvtOptions& loadOptions) {
    int failures = 0;
    TvtError error{};
    const auto step = [&](std::int64_t result) {
        EXPECT_TRUE(result >= 0 || result == TVT_ERR_NO_MEMORY) << result << " " << error.message;
        failures += result < 0 ? 1 : 0;
        return result >= 0;
    };
    TvtOptions options = loadOptions;
    TvtTable* table = nullptr;
    if (step(tvt_Load(path.c_str(), &options, &table, &error))) {
        std::size_t length = 0;
        const char* const symbol = tvt_Text(table, 0, 0, &length);
        step(tvt_Find(table, symbol, length));
        step(tvt_Prefix(table, symbol, 1, 0, nullptr, 0));
        ArrowArray array;
        ArrowSchema schema;
        if (step(tvt_ExportArray(table, &array, &schema, &error))) {
            array.release(&array);
            schema.release(&schema);
        }
        ArrowArrayStream stream;
        if (step(tvt_ExportStream(table, 7, &stream, &error)))
            tvt_Write(written.c_str(), path.c_str(), &stream, &options, &error);
        tvt_Release(table);
    }
    ArrowArrayStream stream;
    if (step(tvt_OpenStream(path.c_str(), &options, &stream, &error))) {
        ArrowArray batch;
        while (stream.get_next(&stream, &batch) == 0 && batch.release != nullptr) batch.release(&batch);
        stream.release(&stream);
    }
    TvtWatch* watch = nullptr;
    if (step(tvt_OpenWatch(path.c_str(), &options, &watch, &error))) tvt_CloseWatch(watch);
    options.section = 13;
    if (step(tvt_Load(path.c_str(), &options, &table, &error))) {
        ArrowArray array;
        ArrowSchema schema;
        if (step(tvt_ExportNested(table, &array, &schema, &error))) {
            array.release(&array);
            schema.release(&schema);
        }
        tvt_Release(table);
    }
    return failures;
}

// Each of the first allocations, then ever fewer.
TEST(TableFaults, AnyAllocationMayFail) {
    const std::string path = testing::TempDir() + "table_faults.sym";
    const std::string written = testing::TempDir() + "table_faults_written.sym";
    WriteFile(path, Image(30));
    TvtOptions options;
    tvt_InitOptions(&options);
    options.encoding = "ISO-8859-1";
    options.flags = TVT_OWN_FLAGS;
    const std::string dictionary = path + ".fields.json";
    std::ofstream(dictionary) << R"({"900": {"name": "lot", "type": "unsigned", "tag": 4}})";
    options.threads = 2;
    RunScript(path, written, options);  // what is made once for the process is made
    int runs = 0;
    for (std::int64_t nth = 1;; nth += 1 + nth / 64, ++runs) {
        const std::int64_t before = allocations::liveBlocks;
        untilFailure = nth;
        allocations::failsNow = torva::tables::columns::failsNow = FailsNow;
        RunScript(path, written, options);
        allocations::failsNow = torva::tables::columns::failsNow = nullptr;
        ASSERT_EQ(allocations::liveBlocks, before) << nth;
        ASSERT_FALSE(testing::Test::HasFailure()) << nth;
        if (untilFailure > 0) break;
    }
    EXPECT_GT(runs, 150);
    EXPECT_EQ(RunScript(path, written, options), 0);
    for (const std::string& file : {path, written, dictionary}) std::filesystem::remove(file);
}

// Readers look up, export and read while the file is replaced under them; each sees a whole table.
TEST(TablesSharedByThreads, AreWholeWhileTheFileIsReplaced) {
    const std::string path = testing::TempDir() + "tables_shared.sym";
    const auto replace = [&](std::uint32_t symbols) {
        WriteFile(path + ".new", Image(symbols));
        std::filesystem::rename(path + ".new", path);
    };
    replace(100);
    torvatables::Options options;
    options.threads = 2;
    torvatables::TableWatch watch(path, options);
    std::atomic<bool> done = false;
    std::atomic<int> read = 0;
    std::vector<std::thread> threads;
    threads.reserve(3);
    for (int i = 0; i < 3; ++i) {
        threads.emplace_back([&] {
            while (!done) {
                const torvatables::Table table = watch.Get();
                const std::string last(table[table.Rows() - 1].Symbol());
                EXPECT_TRUE(table.Find(last).has_value());
                EXPECT_EQ(table.Prefix("", 1000).size(), static_cast<std::size_t>(table.Rows()));
                ArrowArray array;
                ArrowSchema schema;
                ASSERT_EQ(tvt_ExportArray(table.Raw(), &array, &schema, nullptr), TVT_OK);
                EXPECT_EQ(array.length, table.Rows());
                array.release(&array);
                schema.release(&schema);
                ++read;
            }
        });
    }
    for (std::uint32_t round = 1; round <= 20; ++round) {
        replace(100 + round);
        EXPECT_EQ(watch.Refresh(), torvatables::TableWatch::Result::reloaded);
        EXPECT_EQ(watch.Get().Rows(), 100 + round);
        while (read < static_cast<int>(round)) std::this_thread::yield();
    }
    done = true;
    for (std::thread& thread : threads) thread.join();
    std::filesystem::remove(path);
}

}  // namespace
