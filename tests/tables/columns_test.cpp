// Tables against the exports: the same symbols and values, in the same order, to the same end.

#include <gtest/gtest.h>

#include <cstring>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "TorvaAPI.h"
#include "TorvaTables.h"
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
struct Walk {
    std::vector<Row> rows;
    std::int32_t end = 0;
};

// The exports' walk in file mode, by the operations behind them. Rows that are not completed do not count.
// (In memory mode a section that begins beyond the end of the file may be found where the read position is.)
std::optional<Walk> WalkExports(const std::vector<std::uint16_t>& ids) {
    constexpr std::int32_t kItems = 4096;
    torva::SymFile file(ids.data(), static_cast<std::uint16_t>(ids.size()));
    if (file.Open("any", 64U << 20U, false) != SYM_OK) return std::nullopt;
    Walk walk;
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
    const std::optional<Walk> walk = WalkExports(ids);
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

INSTANTIATE_TEST_SUITE_P(Seeds, ColumnsOfRandomFiles, testing::Range<std::uint64_t>(1, 25));

}  // namespace
