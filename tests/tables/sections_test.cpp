// Sections as tables, flat and nested, against their rows.

#include "format/Sections.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "TorvaAPI.h"
#include "TorvaTables.hpp"
#include "reference/MemoryFile.h"
#include "symwrite/RandomFile.h"
#include "tables/rows/Reader.h"

namespace torva::tables {
namespace {

using torvatables::Table;
using Lines = std::vector<std::string>;

std::string Line(std::size_t level) { return std::to_string(level) + ":"; }

std::string List(std::span<const u16> list) {
    std::string text = " (";
    for (const u16 number : list) text += std::to_string(number) + ",";
    return text + ")";
}

// What the rows of a section are, in their order.
Lines RowLines(Reader& reader, const SectionInfo& section, WalkResult& walk) {
    Lines lines;
    RowCursor rows = reader.Rows(section.id);
    while (rows.Next()) {
        std::string line = Line(rows.Level());
        const auto& columns = section.levels[rows.Level()].columns;
        for (std::size_t i = 0; i < columns.size(); ++i) {
            const Cell& cell = rows.Cells()[i];
            if (columns[i].kind == ColumnKind::Number) {
                line += " " + std::to_string(cell.number);
            } else if (columns[i].kind == ColumnKind::List) {
                line += List(cell.list);
            } else if (columns[i].kind == ColumnKind::Field && cell.number != kTextTag) {
                u64 number = 0;
                if (!cell.bytes.empty()) std::memcpy(&number, cell.bytes.data(), cell.bytes.size());
                line += cell.bytes.empty() ? " null null" : " " + std::to_string(number) + " null";
            } else {
                line += (columns[i].kind == ColumnKind::Field ? " null " : " ") + std::string(cell.bytes);
            }
        }
        lines.push_back(line);
    }
    walk = rows.Result();
    return lines;
}

// A row of a table, and those below that name it as their parent, from row next[level + 1] on.
void TableLines(const std::vector<Table>& levels, std::size_t level, std::vector<std::int64_t>& next,
                Lines& lines) {
    const std::int64_t row = next[level]++;
    std::string line = Line(level);
    for (const torvatables::Column& column : levels[level].Columns()) {
        if (level > 0 && &column == levels[level].Columns().data()) continue;
        if (column.Raw().type == TVT_LIST) {
            std::vector<u16> list;
            if (column.Raw().width == 1) {
                for (const u8 number : column.List<u8>(row)) list.push_back(number);
            } else {
                const auto numbers = column.List<u16>(row);
                list.assign(numbers.begin(), numbers.end());
            }
            line += List(list);
        } else if (const auto text = column.Text(row)) {
            line += " " + std::string(*text);
        } else if (const auto number = column.Number<u64>(row)) {
            line += " " + std::to_string(*number);
        } else {
            line += " null";
        }
    }
    lines.push_back(line);
    if (level + 1 == levels.size()) return;
    const auto parents = levels[level + 1].Columns().front().Values<u32>();
    std::int64_t& below = next[level + 1];
    while (below < levels[level + 1].Rows() && parents[static_cast<std::size_t>(below)] == row)
        TableLines(levels, level + 1, next, lines);
}

// A value of an exported array, by its schema alone; structs begin lines of their own.
void ArrowLines(const ArrowSchema& schema, const ArrowArray& array, std::int64_t at, std::size_t level,
                std::string& line, Lines& lines) {
    const auto bytes = [&](int buffer) { return static_cast<const char*>(array.buffers[buffer]); };
    const std::string format = schema.format;
    const std::int64_t i = at + array.offset;
    const auto offsets = [&](std::int64_t n) {
        i32 offset = 0;
        std::memcpy(&offset, bytes(1) + n * 4, 4);
        return offset;
    };
    if (format == "+s") {
        std::string row = Line(level);
        const std::size_t place = lines.size();
        lines.emplace_back();
        for (std::int64_t c = 0; c < array.n_children; ++c)
            ArrowLines(*schema.children[c], *array.children[c], i, level, row, lines);
        lines[place] = row;
    } else if (array.buffers[0] != nullptr && (bytes(0)[i / 8] >> (i % 8) & 1) == 0) {
        line += " null";
    } else if (format == "+l" && std::strcmp(schema.children[0]->format, "+s") == 0) {
        for (std::int64_t k = offsets(i); k < offsets(i + 1); ++k)
            ArrowLines(*schema.children[0], *array.children[0], k, level + 1, line, lines);
    } else if (format == "+l") {
        const std::size_t width = schema.children[0]->format[0] == 'C' ? 1 : 2;
        std::vector<u16> list(static_cast<std::size_t>(offsets(i + 1) - offsets(i)));
        for (std::size_t k = 0; k < list.size(); ++k) {
            std::memcpy(&list[k],
                        static_cast<const char*>(array.children[0]->buffers[1]) +
                            (static_cast<std::size_t>(offsets(i)) + k) * width,
                        width);
        }
        line += List(list);
    } else if (format == "u" || format == "z") {
        line += " " + std::string(bytes(2) + offsets(i), bytes(2) + offsets(i + 1));
    } else {
        u64 number = 0;
        const std::size_t width = format[0] == 'w'   ? std::stoul(format.substr(2))
                                  : format[0] == 'C' ? 1
                                  : format[0] == 'S' ? 2
                                  : format[0] == 'I' ? 4
                                                     : 8;
        const char* const value = bytes(1) + i * static_cast<std::int64_t>(width);
        if (format[0] == 'w') {
            line += " " + std::string(value, width);
        } else {
            std::memcpy(&number, value, width);
            line += " " + std::to_string(number);
        }
    }
}

Lines NestedLines(const Table& table) {
    ArrowSchema schema;
    ArrowArray array;
    EXPECT_EQ(tvt_ExportNested(table.Raw(), &array, &schema, nullptr), TVT_OK);
    Lines lines;
    std::string none;
    for (std::int64_t row = 0; row < array.length; ++row) ArrowLines(schema, array, row, 0, none, lines);
    schema.release(&schema);
    array.release(&array);
    return lines;
}

// Every section of a file by its rows, by flat tables and nested.
void ExpectSame(const std::vector<u8>& image, bool fromFile) {
    const memoryfile::Scope scope(image);
    std::unique_ptr<Reader> reader;
    try {
        const auto source =
            fromFile ? FileSource::FromFile(platform::OpenFile("any", platform::Sharing::shared), "any")
                     : FileSource::FromBytes(image, "memory");
        reader = std::make_unique<Reader>(source, ReaderOptions{ReadMode::File, {}, {}});
    } catch (const Error&) {
    }
    for (const SectionInfo& section : kSections) {
        torvatables::Options options;
        options.section = section.id;
        options.flags = TVT_FIELD_ROWS;
        std::vector<Table> levels;
        try {
            levels.push_back(fromFile ? Table::Load("any", options)
                                      : Table::Load(std::as_bytes(std::span(image)), options));
        } catch (const torvatables::Error& error) {
            ASSERT_EQ(reader, nullptr) << error.what();
            return;
        }
        ASSERT_NE(reader, nullptr);
        while (auto below = levels.back().Below()) levels.push_back(*below);
        WalkResult walk;
        const Lines expected = RowLines(*reader, section, walk);
        const TvtReport report = levels[0].Report();
        ASSERT_EQ(report.damage, walk.present ? walk.result : SYM_ERR_NO_SECTION);
        ASSERT_EQ(*report.message == 0, walk.present && walk.problems.empty()) << report.message;
        if (!walk.problems.empty()) {
            const Problem& problem = walk.result != 0 ? walk.problems.back() : walk.problems.front();
            ASSERT_EQ(report.damageOffset, problem.offset.value_or(0));
        }
        ASSERT_EQ(levels.size(), section.levels.size());
        ASSERT_EQ(NestedLines(levels[0]), expected) << section.title;
        std::vector<std::int64_t> next(levels.size());
        Lines lines;
        while (next[0] < levels[0].Rows()) TableLines(levels, 0, next, lines);
        ASSERT_EQ(lines, expected) << section.title;
    }
}

TEST(SectionTables, AreTheRowsOfSoundAndDamagedFiles) {
    for (u64 seed = 0; seed < 12; ++seed) {
        symwrite::RandomFileOptions options;
        options.seed = seed;
        options.vary = seed % 2 == 0;
        options.anyBytes = seed % 3 == 0;
        const std::vector<u8> image =
            symwrite::Write(seed == 0 ? symwrite::SmallFile() : symwrite::RandomFile(options));
        ASSERT_NO_FATAL_FAILURE(ExpectSame(image, false));
        ASSERT_NO_FATAL_FAILURE(ExpectSame(image, true));
        symwrite::Random random(seed);
        const auto size = static_cast<u32>(image.size());
        for (int i = 0; i < 40; ++i) {
            std::vector<u8> cut = image;
            cut.resize(random.Below(size + 1));
            ASSERT_NO_FATAL_FAILURE(ExpectSame(cut, i % 2 != 0)) << "cut to " << cut.size();
            std::vector<u8> changed = image;
            for (int k = 0; k < 3; ++k) changed[random.Below(size)] = static_cast<u8>(random.Next());
            ASSERT_NO_FATAL_FAILURE(ExpectSame(changed, i % 2 != 0));
        }
    }
}

TEST(SectionTables, ListTheDirectoryAndRefuseWhatNoFileHas) {
    const std::vector<u8> image = symwrite::Write(symwrite::SmallFile());
    torvatables::Options options;
    options.section = TVT_DIRECTORY;
    const Table directory = Table::Load(std::as_bytes(std::span(image)), options);
    const auto ids = directory["id"].Values<u16>();
    for (const SectionInfo& section : kSections) {
        const auto row = std::find(ids.begin(), ids.end(), section.id) - ids.begin();
        ASSERT_LT(row, directory.Rows());
        EXPECT_EQ(directory["name"].Text(row), section.name);
        EXPECT_EQ(directory["levels"].Number<u32>(row), section.levels.size());
        EXPECT_EQ(directory["readable"].Number<int>(row), 1);
    }
    EXPECT_FALSE(directory.Below().has_value());
    const std::vector<u8> noEntries = {0, 0, 1};  // a directory without bytes, and bytes after it
    EXPECT_THROW(Table::Load(std::as_bytes(std::span(noEntries)), options), torvatables::Error);
    EXPECT_EQ(tvt_Find(directory.Raw(), "A", 1), TVT_ERR_PARAM);
    for (const u32 unknown : {5U, 23U, 65538U}) {
        options.section = unknown;
        EXPECT_THROW(Table::Load(std::as_bytes(std::span(image)), options), torvatables::Error);
    }
    // Half a megabyte that names 65,535 ids with 65,535 values several times over would take gigabytes.
    symwrite::File file;
    std::vector<u16> ids21(65535);
    for (std::size_t i = 0; i < ids21.size(); ++i) ids21[i] = static_cast<u16>(i);
    std::vector<symwrite::Row> idRows;
    idRows.reserve(ids21.size());
    for (const u16 id : ids21) idRows.push_back({{id}});
    file.sections = {{.id = 21, .rows = {symwrite::Row({ids21}, idRows)}}};
    options.section = 21;
    const std::vector<u8> hostile = symwrite::Write(file);
    try {
        Table::Load(std::as_bytes(std::span(hostile)), options);
        ADD_FAILURE();
    } catch (const torvatables::Error& error) {
        EXPECT_EQ(error.Code(), TVT_ERR_LIMIT);
    }
}

}  // namespace
}  // namespace torva::tables
