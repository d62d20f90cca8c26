// Tables against the exports: the same symbols and values, in the same order, to the same end.

#include <gtest/gtest.h>

#include <cstring>
#include <fstream>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "TorvaAPI.h"
#include "TorvaTables.hpp"
#include "TorvaValues.h"
#include "library/file/SymFile.h"
#include "reference/MemoryFile.h"
#include "symwrite/RandomFile.h"
#include "symwrite/SymFileWriter.h"

namespace {

using Bytes = std::vector<std::uint8_t>;

// A record as the exports deliver it.
struct Row {
    std::string symbol;
    std::vector<symwrite::Field> fields;
};
struct Delivered {
    std::vector<Row> rows;
    std::int32_t end = 0;
};

// The exports' walk in file mode, by the operations that they call. Rows that are not completed do not count.
// (In memory mode a section that begins beyond the end of the file may be found where the read position is.)
std::optional<Delivered> WalkExports(const std::vector<std::uint16_t>& ids) {
    constexpr std::int32_t kItems = 4096;
    torva::SymFile file(ids.data(), static_cast<std::uint16_t>(ids.size()));
    if (file.Open("any", 4U << 20U, false) != SYM_OK) return std::nullopt;
    Delivered walk;
    std::vector<char> text(1U << 20U);
    std::vector<SymFieldItem> items(kItems);
    for (;;) {
        std::int32_t count = -1;
        walk.end = file.symbols.GetNextSymData(file.file, text.data(), 1 << 19, &count, items.data(), kItems);
        if (count < 0 && walk.end == SYM_OK) walk.end = SYM_ERR_NO_SECTION;
        if (count < 0) return walk;
        Row row{text.data(), {}};
        for (;;) {
            for (std::int32_t i = 0; i < count && (walk.end == SYM_OK || walk.end == SYM_MORE_DATA); ++i) {
                const SymFieldItem& item = items[static_cast<std::size_t>(i)];
                symwrite::Field field{item.id, item.tag, {}};
                const auto* const value = static_cast<const char*>(item.value);
                if (item.tag == symwrite::kTextTag) field.value = value;
                if (item.tag != symwrite::kTextTag)
                    field.value.assign(value, symwrite::PayloadWidth(item.tag));
                row.fields.push_back(field);
                SymFreeValue(item.value);
            }
            if (walk.end != SYM_MORE_DATA) break;
            walk.end = file.symbols.GetAgainSymData(file.file, &count, items.data(), kItems);
        }
        if (walk.end != SYM_OK) return walk;
        walk.rows.push_back(row);
    }
}

struct Table {
    TvtTable* table = nullptr;
    TvtError error{};
    Table() = default;
    Table(const Table&) = delete;
    Table& operator=(const Table&) = delete;
    ~Table() { tvt_Release(table); }
};

TvtOptions Options(std::uint32_t flags = 0) {
    TvtOptions options;
    tvt_InitOptions(&options);
    options.flags = flags;
    return options;
}

std::string TextOf(const TvtTable* table, std::int32_t column, std::int64_t row) {
    std::size_t length = 0;
    const char* const text = tvt_Text(table, column, row, &length);
    return text == nullptr ? "(null)" : std::string(text, length);
}

// Compares one table with the exports' walk; a value of another kind than its column is null there.
void ExpectSame(const Bytes& image, const std::vector<std::uint16_t>& ids, std::uint32_t threads,
                bool fromFile) {
    const memoryfile::Scope scope(image);
    const std::optional<Delivered> walk = WalkExports(ids);
    Table loaded;
    TvtOptions options = Options();
    options.threads = threads;
    options.fieldIds = ids.data();
    options.fieldCount = static_cast<std::uint32_t>(ids.size());
    const std::int32_t result =
        fromFile ? tvt_Load("any", &options, &loaded.table, &loaded.error)
                 : tvt_LoadBytes(image.data(), image.size(), &options, &loaded.table, &loaded.error);
    ASSERT_EQ(result == TVT_OK, walk.has_value()) << loaded.error.message;
    if (!walk) return;
    TvtReport report;
    tvt_GetReport(loaded.table, &report);
    ASSERT_EQ(report.rows, static_cast<std::int64_t>(walk->rows.size())) << report.message;
    if (walk->end != SYM_END_OF_DATA) {
        ASSERT_EQ(report.damage, walk->end) << report.message;
    }
    std::uint64_t repeated = 0;
    for (std::size_t r = 0; r < walk->rows.size(); ++r) {
        const auto row = static_cast<std::int64_t>(r);
        ASSERT_EQ(TextOf(loaded.table, 0, row), walk->rows[r].symbol);
        std::map<std::uint16_t, bool> seen;
        for (const symwrite::Field& field : walk->rows[r].fields) {
            if (std::exchange(seen[field.id], true)) {
                ++repeated;
                continue;
            }
            TvtColumn column;
            const std::int32_t index = tvt_ColumnOfField(loaded.table, field.id);
            ASSERT_EQ(tvt_GetColumn(loaded.table, index, &column), TVT_OK) << field.id;
            const bool null = column.type == TVT_NULL ||
                              (column.validity != nullptr && (column.validity[r / 8] >> (r % 8) & 1) == 0);
            const bool texts = column.type == TVT_TEXT || column.type == TVT_BINARY;
            const bool text = field.tag == symwrite::kTextTag;
            ASSERT_EQ(null, (!text && field.value.empty()) || text != texts)
                << "row " << r << " field " << field.id;
            if (null) continue;
            if (text) {
                ASSERT_EQ(TextOf(loaded.table, index, row), field.value);
                continue;
            }
            std::string value = field.value;
            value.resize(column.width);
            ASSERT_EQ(std::string(static_cast<const char*>(column.values) + r * column.width, column.width),
                      value);
        }
        for (std::int32_t c = 1; c < report.columns; ++c) {
            TvtColumn column;
            tvt_GetColumn(loaded.table, c, &column);
            if (seen.count(column.fieldId) == 0 && column.type != TVT_NULL) {
                ASSERT_EQ(column.validity[r / 8] >> (r % 8) & 1, 0)
                    << "row " << r << " field " << column.fieldId;
            }
        }
    }
    if (threads == 1 && report.damage == 0) {
        EXPECT_EQ(report.repeated, repeated);
    }
}

Bytes RandomImage(std::uint64_t seed) {
    symwrite::RandomFileOptions options;
    options.seed = seed;
    return symwrite::Write(symwrite::RandomFile(options));
}

class ColumnsOfRandomFiles : public testing::TestWithParam<std::uint64_t> {};

TEST_P(ColumnsOfRandomFiles, AreWhatTheExportsDeliver) {
    const Bytes image = RandomImage(GetParam());
    ExpectSame(image, {}, 1, false);
    ExpectSame(image, {1, 3, 4, 7, 9, 300}, 1, true);
}

TEST_P(ColumnsOfRandomFiles, EndAsTheExportsWhereTheFileIsCutOffOrChanged) {
    const Bytes image = RandomImage(GetParam());
    symwrite::Random random(GetParam());
    for (int i = 0; i < 60; ++i) {
        Bytes cut(image.begin(), image.begin() + static_cast<std::ptrdiff_t>(random.Below(
                                                     static_cast<std::uint32_t>(image.size()) + 1)));
        ASSERT_NO_FATAL_FAILURE(ExpectSame(cut, {}, 1, i % 2 != 0)) << "cut to " << cut.size();
        Bytes changed = image;
        for (int k = 0; k < 3; ++k)
            changed[random.Below(static_cast<std::uint32_t>(changed.size()))] =
                static_cast<std::uint8_t>(random.Next());
        ASSERT_NO_FATAL_FAILURE(ExpectSame(changed, {}, 1, i % 2 != 0));
    }
}

// Many records, so that threads have a part each; a kind of value that comes late, gaps, and damage in any
// part.
Bytes LongImage(std::uint32_t symbols, int lateText, int damagedAt) {
    symwrite::File file;
    symwrite::Random random(7);
    std::vector<symwrite::Row> content;
    for (std::uint32_t i = 0; i < symbols; ++i) {
        symwrite::Row symbol({std::to_string(random.Below(symbols)) + ".X"});
        if (random.OneIn(3)) symbol.fields.push_back(symwrite::TextField(2, random.OneIn(2) ? "A" : "B"));
        if (random.OneIn(2)) symbol.fields.push_back(symwrite::NumberField(3, random.OneIn(999) ? 6 : 4, i));
        if (random.OneIn(2)) symbol.fields.push_back(symwrite::TextField(4, std::to_string(random.Next())));
        if (i > symbols / 2) symbol.fields.push_back(symwrite::NumberField(9, 3, i));
        if (static_cast<int>(i) == lateText) symbol.fields.push_back(symwrite::TextField(8, "x"));
        if (static_cast<int>(i) > lateText && lateText > 0)
            symbol.fields.push_back(symwrite::NumberField(8, 1, 1));
        if (static_cast<int>(i) == damagedAt) symbol.size = 5;
        content.push_back(std::move(symbol));
    }
    file.sections = {{.id = 1, .fields = {symwrite::TextField(2, "usual"), symwrite::NumberField(3, 4, 77)}},
                     {.id = 2, .rows = std::move(content)}};
    return symwrite::Write(file);
}

// Everything that a table shows, as bytes.
std::string Everything(const TvtTable* table) {
    TvtReport report;
    tvt_GetReport(table, &report);
    std::string all = std::to_string(report.rows) + report.message + std::to_string(report.damage);
    const auto add = [&](const void* from, std::int64_t size) {
        if (from != nullptr) all.append(static_cast<const char*>(from), static_cast<std::size_t>(size));
        all += '|';
    };
    for (std::int32_t i = 0; i < report.columns; ++i) {
        TvtColumn column;
        tvt_GetColumn(table, i, &column);
        for (const std::uint64_t number :
             {std::uint64_t{column.fieldId}, std::uint64_t{column.tag}, std::uint64_t{column.type},
              static_cast<std::uint64_t>(column.nulls), static_cast<std::uint64_t>(column.dictionarySize),
              column.conflicts, column.impossible, column.repeated}) {
            all += std::to_string(number) + ' ';
        }
        add(column.validity, (column.rows + 7) / 8);
        add(column.own, (column.rows + 7) / 8);
        add(column.indices, column.rows * 4);
        add(column.offsets, column.dictionarySize * 4 + 4);
        add(column.values,
            column.offsets != nullptr ? column.offsets[column.dictionarySize] : column.rows * column.width);
    }
    return all;
}

TEST(Columns, AreTheSameWhateverTheNumberOfThreads) {
    constexpr std::uint32_t kSymbols = 30000;
    for (const auto& [lateText, damagedAt] :
         {std::pair(-1, -1), {12000, -1}, {-1, 9000}, {20000, 15000}, {25000, 29999}}) {
        const Bytes image = LongImage(kSymbols, lateText, damagedAt);
        ASSERT_NO_FATAL_FAILURE(ExpectSame(image, {}, 1, true));
        std::string alone;
        for (const std::uint32_t threads : {1U, 2U, 3U, 8U}) {
            Table loaded;
            TvtOptions options = Options(TVT_OWN_FLAGS);
            options.threads = threads;
            ASSERT_EQ(tvt_LoadBytes(image.data(), image.size(), &options, &loaded.table, &loaded.error),
                      TVT_OK);
            const std::string all = Everything(loaded.table);
            if (threads == 1) alone = all;
            EXPECT_TRUE(all == alone)
                << threads << " threads, late text " << lateText << ", damage " << damagedAt;
        }
    }
}

TEST(Columns, TakeTheirTypesFromTheDictionary) {
    const auto numbers = [](std::uint8_t tag, std::uint64_t a, std::uint64_t b) {
        return std::pair{symwrite::NumberField(0, tag, a), symwrite::NumberField(0, tag, b)};
    };
    const float quarter = 0.25F;
    std::uint32_t quarterBits = 0;
    std::memcpy(&quarterBits, &quarter, sizeof quarterBits);
    struct Case {
        const char* type;
        std::pair<symwrite::Field, symwrite::Field> values;
        int expectedType;
        std::string bytes;  // of the first value
        int conflicts, impossible;
    };
    const Case cases[] = {
        {"signed", numbers(2, 0xfe, 1), TVT_INT8, "\xfe", 0, 0},
        {"signed", numbers(9, 0xfffffe, 1), TVT_INT32, "\xfe\xff\xff\xff", 0, 0},
        {"unsigned", numbers(9, 0xfffffe, 1), TVT_UINT32, std::string("\xfe\xff\xff\0", 4), 0, 0},
        {"unsigned", {symwrite::NumberField(0, 1, 7), symwrite::TextField(0, "x")}, TVT_UINT8, "\x07", 1, 0},
        {"float", numbers(3, quarterBits, 0), TVT_FLOAT, std::string("\0\0\x80\x3e", 4), 0, 0},
        {"date", numbers(5, 19700102, 20230229), TVT_DATE, std::string("\1\0\0\0", 4), 0, 1},
        {"bool", numbers(1, 1, 7), TVT_BOOL, "", 0, 1},
        {"hex", numbers(4, 0x0102, 3), TVT_FIXED, "\2\1", 0, 0},
        {"hex",
         {symwrite::NumberField(0, 4, 0x0102), symwrite::NumberField(0, 3, 1)},
         TVT_FIXED,
         "\2\1",
         1,
         0},
        {"text", numbers(9, 0x445355, 0x52), TVT_TEXT, "USD", 0, 0},
        {"text", {symwrite::TextField(0, "\xff"), symwrite::TextField(0, "")}, TVT_BINARY, "\xff", 0, 0},
    };
    symwrite::File file;
    std::vector<symwrite::Row> content = {{"A", {}, {}}, {"B", {}, {}}, {"C", {}, {}}};
    std::string dictionary;
    std::uint16_t id = 0;
    for (const Case& one : cases) {
        ++id;
        content[0].fields.push_back(one.values.first);
        content[1].fields.push_back(one.values.second);
        for (int i = 0; i < 2; ++i) content[static_cast<std::size_t>(i)].fields.back().id = id;
        dictionary += (id == 1 ? "{\"" : ",\"") + std::to_string(id) + R"(": {"name": "f)" +
                      std::to_string(id) + R"(", "type": ")" + one.type + "\", \"tag\": " +
                      std::to_string(std::strcmp(one.type, "text") == 0 ? 7 : one.values.first.tag) + "}";
    }
    file.sections = {{.id = 2, .rows = std::move(content)}};
    const Bytes image = symwrite::Write(file);
    const std::string path = testing::TempDir() + "columns_test.fields.json";
    std::ofstream(path) << dictionary << "}";
    Table loaded;
    TvtOptions options = Options();
    options.dictionary = path.c_str();
    ASSERT_EQ(tvt_LoadBytes(image.data(), image.size(), &options, &loaded.table, &loaded.error), TVT_OK)
        << loaded.error.message;
    for (std::int32_t i = 0; i < id; ++i) {
        const Case& one = cases[i];
        TvtColumn column;
        const std::int32_t index = tvt_ColumnNamed(loaded.table, ("f" + std::to_string(i + 1)).c_str());
        ASSERT_EQ(tvt_GetColumn(loaded.table, index, &column), TVT_OK);
        EXPECT_EQ(column.type, one.expectedType) << i;
        EXPECT_EQ(column.conflicts, static_cast<std::uint64_t>(one.conflicts)) << i;
        EXPECT_EQ(column.impossible, static_cast<std::uint64_t>(one.impossible)) << i;
        EXPECT_EQ(column.nulls, 1 + one.conflicts + one.impossible) << i;
        const std::string bytes = column.offsets != nullptr
                                      ? TextOf(loaded.table, index, 0)
                                      : std::string(static_cast<const char*>(column.values), column.width);
        EXPECT_EQ(bytes, one.bytes) << i;
    }
    std::ofstream(path) << "{";
    Table refused;
    EXPECT_EQ(tvt_LoadBytes(image.data(), image.size(), &options, &refused.table, &refused.error),
              TVT_ERR_FORMAT);
    EXPECT_NE(std::string(refused.error.message).find(path), std::string::npos);
}

// Each text as a column's first value, with ASCII in the second row.
TEST(Columns, DecodeTheNamedCharacterSet) {
    const struct {
        const char* encoding;
        const char* bytes;
        int type;
        const char* expected;
    } cases[] = {
        {nullptr, "\xe9", TVT_BINARY, "\xe9"},
        {"ISO-8859-1", "\xe9", TVT_TEXT, "\xc3\xa9"},
        {"GB18030", "\xd6\xd0", TVT_TEXT, "\xe4\xb8\xad"},
        {"GB18030", "\xd6", TVT_BINARY, "\xd6"},
        {"UTF-8", "\xc3\xa9", TVT_TEXT, "\xc3\xa9"},
    };
    for (const auto& one : cases) {
        // Field 2 becomes a dictionary, field 1 does not.
        std::vector<symwrite::Row> content;
        content.reserve(10000);
        for (int i = 0; i < 10000; ++i) {
            content.push_back({one.bytes + std::to_string(i),
                               {symwrite::TextField(1, one.bytes + std::to_string(i)),
                                symwrite::TextField(2, i == 0 ? one.bytes : "usual")},
                               {}});
        }
        symwrite::File file;
        file.sections = {{.id = 2, .rows = std::move(content)}};
        const Bytes image = symwrite::Write(file);
        TvtOptions options = Options();
        options.encoding = one.encoding;
        Table loaded;
        ASSERT_EQ(tvt_LoadBytes(image.data(), image.size(), &options, &loaded.table, &loaded.error), TVT_OK)
            << loaded.error.message;
        const memoryfile::Scope scope(image);
        ArrowArrayStream stream;
        ArrowSchema schema;
        ASSERT_EQ(tvt_OpenStream("any", &options, &stream, &loaded.error), TVT_OK);
        ASSERT_EQ(stream.get_schema(&stream, &schema), 0);
        for (std::int32_t i = 0; i < 3; ++i) {
            TvtColumn column;
            tvt_GetColumn(loaded.table, i, &column);
            EXPECT_EQ(column.type, one.type) << one.encoding << i;
            EXPECT_EQ(column.indices != nullptr, i == 2);
            EXPECT_EQ(TextOf(loaded.table, i, 0), std::string(one.expected) + (i < 2 ? "0" : ""));
            EXPECT_STREQ(schema.children[i]->format, one.type == TVT_TEXT ? "u" : "z");
        }
        schema.release(&schema);
        stream.release(&stream);
    }
    TvtOptions options = Options();
    options.encoding = "no such set";
    Table refused;
    EXPECT_EQ(tvt_LoadBytes("", 0, &options, &refused.table, &refused.error), TVT_ERR_PARAM);
    EXPECT_NE(std::string(refused.error.message).find("no such set"), std::string::npos);
}

TEST(TableWatch, FollowsTheFileAndKeepsTheTableWhereALoadFails) {
    using Result = torvatables::TableWatch::Result;
    const std::string path = testing::TempDir() + "columns_test.sym";
    const auto write = [&](const Bytes& image) {
        std::ofstream(path, std::ios::binary)
            .write(reinterpret_cast<const char*>(image.data()), static_cast<std::streamsize>(image.size()));
    };
    write(LongImage(100, -1, -1));
    torvatables::TableWatch watch(path);
    const torvatables::Table before = watch.Get();
    EXPECT_EQ(watch.Refresh(), Result::unchanged);
    write(LongImage(300, -1, -1));
    EXPECT_EQ(watch.Refresh(), Result::reloaded);
    EXPECT_EQ(before.Rows(), 100);
    const torvatables::Table after = watch.Get();
    EXPECT_EQ(after.Rows(), 300);
    Bytes cut = LongImage(300, -1, -1);
    cut.resize(30);  // inside the default fields
    write(cut);
    EXPECT_EQ(watch.Refresh(), Result::failed);
    EXPECT_NE(watch.Reason().find(path), std::string::npos);
    EXPECT_EQ(watch.Get().Rows(), 300);
    EXPECT_EQ(watch.Refresh(), Result::failed);

    const torvatables::Row row = *after.Find(after[17].Symbol());
    EXPECT_EQ(row.Symbol(), after[17].Symbol());
    EXPECT_EQ(row.Text("2"), after["2"].Text(row.Number()));
    EXPECT_EQ(row.Number<std::uint64_t>("3"), after["3"].Number<std::uint64_t>(row.Number()));
    EXPECT_THROW(after["3"].Values<float>(), torvatables::Error);
    EXPECT_THROW(after["none"], torvatables::Error);
    EXPECT_EQ(after.Prefix("1", 1000).size(), after.Prefix("1", 1000, 5).size() + 5);
}

// Small files that ask for large tables: each is refused at the limit, and loads where the limit allows it.
TEST(Columns, StopAtTheMemoryLimit) {
    symwrite::File file;
    std::vector<symwrite::Row> content;
    content.reserve(2000);
    for (int i = 0; i < 2000; ++i) {
        content.push_back({"A", {symwrite::NumberField(static_cast<std::uint16_t>(100 + i), 1, 1)}, {}});
    }
    file.sections = {{.id = 1, .fields = {symwrite::TextField(1, std::string(50000, 'x'))}},
                     {.id = 2, .rows = std::move(content)}};
    const Bytes image = symwrite::Write(file);
    TvtOptions options = Options(TVT_NO_DICTIONARIES);
    for (const auto& [limit, result] : {std::pair<std::uint64_t, std::int32_t>(0, TVT_ERR_LIMIT),
                                        {1U << 20U, TVT_ERR_LIMIT},
                                        {400U << 20U, TVT_OK}}) {
        Table loaded;
        options.memoryLimit = limit;
        EXPECT_EQ(tvt_LoadBytes(image.data(), image.size(), &options, &loaded.table, &loaded.error), result)
            << limit;
    }
}

TEST(Columns, FindsWhatIsThere) {
    const Bytes image = LongImage(20000, -1, -1);
    Table loaded;
    ASSERT_EQ(tvt_LoadBytes(image.data(), image.size(), nullptr, &loaded.table, &loaded.error), TVT_OK);
    std::multimap<std::string, std::int64_t> expected;
    for (std::int64_t row = 0; row < 20000; ++row) expected.emplace(TextOf(loaded.table, 0, row), row);
    std::vector<std::int64_t> rows(20000);
    std::size_t place = 0;
    for (const auto& [symbol, row] : expected) EXPECT_EQ(tvt_Sorted(loaded.table)[place++], row);
    for (std::uint32_t i = 0; i < 20500; i += 3) {
        const std::string symbol = std::to_string(i) + ".X";
        const auto [first, last] = expected.equal_range(symbol);
        const std::int64_t count = std::distance(first, last);
        EXPECT_EQ(tvt_Find(loaded.table, symbol.data(), symbol.size()), count == 0 ? -1 : first->second);
        ASSERT_EQ(tvt_FindAll(loaded.table, symbol.data(), symbol.size(), rows.data(), 20000), count);
        EXPECT_TRUE(std::equal(first, last, rows.begin(),
                               [](const auto& pair, std::int64_t row) { return pair.second == row; }));
    }
    for (const char* const prefix :
         {"", "1", "19", "199", "1999", "19999.", "nothing", "12345.XY and longer"}) {
        const std::size_t length = std::strlen(prefix);
        std::vector<std::int64_t> wanted;
        for (const auto& [symbol, row] : expected) {
            if (symbol.compare(0, length, prefix) == 0) wanted.push_back(row);
        }
        const auto count = static_cast<std::int64_t>(wanted.size());
        ASSERT_EQ(tvt_Prefix(loaded.table, prefix, length, 0, rows.data(), 20000), count) << prefix;
        EXPECT_TRUE(std::equal(wanted.begin(), wanted.end(), rows.begin()));
        ASSERT_EQ(tvt_Prefix(loaded.table, prefix, length, 2, rows.data(), 3), count);
        for (std::int64_t i = 2; i < std::min<std::int64_t>(count, 5); ++i) {
            EXPECT_EQ(rows[static_cast<std::size_t>(i - 2)], wanted[static_cast<std::size_t>(i)]);
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Seeds, ColumnsOfRandomFiles, testing::Range<std::uint64_t>(1, 25));

}  // namespace
