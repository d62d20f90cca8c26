#include "symwrite/RandomFile.h"

#include <algorithm>
#include <utility>

#include "format/LittleEndian.h"
#include "format/Sections.h"

namespace symwrite {

std::uint64_t Random::Next() {
    state += 0x9E3779B97F4A7C15U;
    std::uint64_t z = state;
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9U;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EBU;
    return z ^ (z >> 31);
}

std::uint32_t Random::Below(std::uint32_t bound) {
    return static_cast<std::uint32_t>(((Next() >> 32) * bound) >> 32);
}

namespace {

using torva::Column;
using torva::ColumnKind;
using torva::FindSection;
using torva::Level;
using torva::Levels;
using torva::SectionInfo;

// Draws the parts of a file. Every draw is a separate statement: the order of evaluation inside an
// expression is not the same everywhere.
class Maker {
public:
    Maker(Random& source, const RandomFileOptions& sizes) : random(source), options(sizes) {}

    std::uint32_t Amount(std::uint32_t wanted, std::uint32_t limit = 0xFFFFFFFFU) {
        const std::uint32_t most = std::min(wanted, limit);
        return options.vary ? random.Below(most + 1) : most;
    }
    std::uint64_t Number(std::size_t width) { return random.Next() & torva::LargestNumber(width); }

    std::string Text(std::uint32_t limit = 0xFFFFFFFFU) {
        const std::uint32_t length = random.Below(std::min(options.textLength, limit) + 1);
        std::string text(length, ' ');
        for (char& c : text) {
            c = static_cast<char>(options.anyBytes ? 1 + random.Below(255) : 33 + random.Below(94));
        }
        return text;
    }

    Field OneField(std::uint16_t id) {
        // Mostly texts and numbers, now and then a null of any tag.
        const std::uint32_t drawn = random.Below(12);
        Field field{id, static_cast<std::uint8_t>(drawn < 10 ? drawn : kTextTag), {}};
        if (field.tag == 0) {
            field.tag = random.OneIn(2) ? std::uint8_t{0} : static_cast<std::uint8_t>(10 + random.Below(246));
        } else if (field.tag == kTextTag) {
            field.value = Text();
        } else {
            field = NumberField(id, field.tag, random.Next());
        }
        return field;
    }

    // Ids ascend from a random start and wrap, so that none repeats before all were used.
    std::vector<Field> Fields(std::uint32_t count) {
        std::vector<Field> fields;
        fields.reserve(count);
        const std::uint32_t ids = std::clamp(options.fieldIds, 1U, 65535U);
        const std::uint32_t start = random.Below(ids);
        for (std::uint32_t i = 0; i < count; ++i) {
            fields.push_back(OneField(static_cast<std::uint16_t>(1 + (start + i) % ids)));
        }
        return fields;
    }

    Section Fill(std::uint16_t id) {
        Section section = {.id = id};
        const SectionInfo* info = FindSection(id);
        if (info == nullptr) {
            section.raw = Bytes(Amount(options.elements));
            std::ranges::generate(*section.raw, [&] { return static_cast<std::uint8_t>(Number(1)); });
        } else if (id == 2) {
            const std::uint32_t count = Amount(options.symbols);
            section.rows.reserve(count);
            for (std::uint32_t i = 0; i < count; ++i) {
                section.rows.push_back(SymbolRow(i));
            }
        } else {
            const std::uint32_t wanted = id == 1 ? options.defaults : options.elements;
            Elements(info->stored, 0, wanted, section.rows, section.fields);
        }
        return section;
    }

    Row SymbolRow(std::uint64_t index) {
        std::string text = std::to_string(index) + '.' + Text();
        return {std::move(text), Fields(Amount(options.fieldsPerSymbol)), {}};
    }

private:
    void Elements(const Levels& levels, std::size_t level, std::uint32_t wanted, std::vector<Row>& rows,
                  std::vector<Field>& fields) {
        const Level& here = levels[level];
        const std::uint32_t limit = here.countWidth == 0
                                        ? 0xFFFFFFFFU
                                        : static_cast<std::uint32_t>(torva::LargestNumber(here.countWidth));
        const std::uint32_t count = std::max<std::uint32_t>(here.fewest, Amount(wanted, limit));
        if (here.HoldsFields()) {
            fields = Fields(count);
            return;
        }
        rows.reserve(count);
        for (std::uint32_t i = 0; i < count; ++i) {
            rows.push_back(OneRow(levels, level));
        }
    }

    // Drawn in the order of the file.
    Row OneRow(const Levels& levels, std::size_t level) {
        Row row;
        const Level* below = level + 1 < levels.size() ? &levels[level + 1] : nullptr;
        if (below != nullptr && below->ahead) {
            Elements(levels, level + 1, options.inner, row.rows, row.fields);
        }
        const Level& here = levels[level];
        row.cells.resize(here.columns.size());
        for (std::size_t at = 0; at < here.columns.size(); ++at) {
            row.cells[here.StoredIndex(at)] = OneCell(here.Stored(at));
        }
        if (below != nullptr && !below->ahead) {
            Elements(levels, level + 1, options.inner, row.rows, row.fields);
            KeepWhatFits(row, *below);
        }
        return row;
    }

    Cell OneCell(const Column& column) {
        switch (column.kind) {
            case ColumnKind::Number:
                return Number(column.width);
            case ColumnKind::Bytes: {
                std::string record(column.width, '\0');
                std::ranges::generate(record, [&] { return static_cast<char>(Number(1)); });
                return record;
            }
            case ColumnKind::List: {
                const auto most = static_cast<std::uint32_t>(torva::LargestNumber(column.width));
                std::vector<std::uint16_t> list(Amount(options.inner, most));
                std::ranges::generate(list, [&] { return static_cast<std::uint16_t>(Number(column.width)); });
                return list;
            }
            default:
                return column.width == 0 ? Text() : Text(column.width);
        }
    }

    // Leaves out fields that the size before them cannot count.
    static void KeepWhatFits(Row& row, const Level& fields) {
        if (!fields.sizeFirst) {
            return;
        }
        std::uint64_t room = torva::LargestNumber(fields.sizeWidth) - row.cells[0].bytes.size() - 1;
        for (std::size_t at = 0; at < row.fields.size(); ++at) {
            const Field& field = row.fields[at];
            const std::size_t bytes = 3 + field.value.size() + (field.tag == kTextTag ? 1 : 0);
            if (bytes > room) {
                row.fields.resize(at);
                return;
            }
            room -= bytes;
        }
    }

    Random& random;
    const RandomFileOptions& options;
};

}  // namespace

Row RandomSymbol(Random& random, const RandomFileOptions& options, std::uint64_t index) {
    return Maker(random, options).SymbolRow(index);
}

File RandomFile(const RandomFileOptions& options) {
    Random random(options.seed);
    Maker maker(random, options);
    File file;
    for (std::uint16_t id = 1; id <= torva::kSections.back().id; ++id) {
        if (id > 2 && !options.allSections) {
            break;
        }
        if (options.onlySection != 0 && id != options.onlySection) {
            continue;
        }
        file.sections.push_back(maker.Fill(id));
    }
    if (options.shuffle) {
        for (std::size_t i = file.sections.size(); i > 1; --i) {
            std::swap(file.sections[i - 1], file.sections[random.Below(static_cast<std::uint32_t>(i))]);
        }
    }
    return file;
}

namespace {

std::string JumpRecord(char first) { return first + std::string(22, '\0') + '\x24'; }
std::string BrokerRecord(char first) { return first + std::string(28, '\0') + '\x30'; }

std::vector<Row> SmallSymbols() {
    return {{"A.1",
             {NumberField(1, 1, 0x11), NumberField(2, 2, 0x22), NumberField(3, 3, 0x33333333),
              NumberField(4, 4, 0x4444), NumberField(5, 5, 0x55555555), NumberField(6, 6, 0x6666666666666666),
              TextField(7, "own"), NumberField(8, 8, 0x88888888), NumberField(9, 9, 0x999999), NullField(10),
              NullField(11, 200)},
             {}},
            {"B", {}, {}},
            {"", {TextField(7, ""), TextField(20, "a longer text")}, {}}};
}

using List = std::vector<std::uint16_t>;

}  // namespace

File SmallFile() {
    File file;
    const auto add = [&](std::uint16_t id, std::vector<Row> rows) {
        file.sections.push_back({.id = id, .rows = std::move(rows)});
    };
    file.sections.push_back(
        {.id = 1, .fields = {TextField(7, "default"), NumberField(21, 4, 0x2121), NullField(22)}});
    add(2, SmallSymbols());
    add(3, {{{1}, {{{JumpRecord(1)}}, {{JumpRecord(2)}}}}, {{2}}, {{3}, {{{JumpRecord(3)}}}}});
    add(4, {{{BrokerRecord(1)}}, {{BrokerRecord(2)}}});
    file.sections.push_back({.id = 5, .raw = Bytes{0xAA, 0xBB}});
    add(6, {{"q1", {TextField(1, "x"), NumberField(2, 4, 7)}, {}},
            {"", {NullField(3), NumberField(4, 8, 9)}, {}}});
    add(7, {{{1, "one", "1"}}, {{2, "", ""}}});
    add(8, {{{1}, {{{5, "a", "b"}}, {{6, "", "cc"}}}}, {{2}, {{{7, "d", ""}}}}});
    add(9, {{{9, "fund"}}, {{10, ""}}});
    add(10, {{{20, "AD"}}, {{784, "AE"}}});
    add(11, {{{1, List{1, 2, 3}}}, {{2, List{}}}, {{3, List{4}}}});
    add(12, {{{12, "issuer"}}, {{13, "i"}}});
    add(13, {{{1}, {{{"s1"}, {{{1, "x"}, {{{1, "d"}}, {{2, ""}}}}, {{2, "y"}}}}, {{"s2"}}}},
             {{2}, {{{""}, {{{3, ""}, {{{4, "e"}}}}}}}}});
    add(14, {{{1, "h1"}, {{{1}, {{{"a"}}, {{"bb"}}}}, {{2}}}}, {{2, ""}, {{{3}, {{{""}}}}}}, {{3, "h3"}}});
    add(15, {{{1}, {{{}, {{{1, "a"}}, {{2, ""}}}}, {}}}, {{2}, {{{}, {{{3, "cc"}}}}}}, {{3}}});
    add(16, {{{1, "HK", "Hong Kong"}}, {{2, "", ""}}});
    add(17, {{{1, 101}}, {{2, 102}}});
    add(18, {{{List{9}, List{1, 2}, List{}}, {{{500}}, {{3}}}}, {{List{5, 6}, List{}, List{4}}, {{{7}}}}});
    add(19, {{{70000, "main"}}, {{1, ""}}});
    add(20, {{{1, "f1"}}, {{2, "f2"}}});
    add(21, {{{List{1, 2, 3}}, {{{5}}, {{2}}}}, {{List{}}, {{{9}}}}});
    add(22, {{{1, "c1"}}, {{2, "c2"}}});
    return file;
}

}  // namespace symwrite
