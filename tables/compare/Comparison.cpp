#include "tables/compare/Comparison.h"

#include <algorithm>
#include <utility>

#include "tables/compare/Records.h"

namespace torva::tables {

namespace {

std::vector<SymbolField> SortedFields(std::string_view value) {
    std::vector<SymbolField> fields;
    for (RecordParts parts(value); !parts.AtEnd();) fields.push_back(parts.Field());
    std::stable_sort(fields.begin(), fields.end(),
                     [](const SymbolField& a, const SymbolField& b) { return a.id < b.id; });
    return fields;
}

Cell FieldCell(u8 tag, std::string_view payload) { return {tag, payload, {}}; }

}  // namespace

Comparison::Comparison(CompareOptions compareOptions)
    : options(std::move(compareOptions)),
      fields(options.fields.begin(), options.fields.end()),
      sides{Side{SortedRecords(options.memory, options.makeFile), {}, {}},
            Side{SortedRecords(options.memory, options.makeFile), {}, {}}} {}

std::vector<Problem> Comparison::Read(std::size_t number, Reader& reader) {
    Side& side = sides[number];
    std::vector<Problem> problems;
    for (const DirectoryEntry& entry : reader.Directory().entries) {
        const auto end = options.sections.end();
        const bool wanted =
            options.sections.empty() || std::find(options.sections.begin(), end, entry.id) != end;
        if (wanted && entry.Readable()) {
            side.sections.insert(entry.id);
            counts[entry.id];
            const WalkResult walk = ReadRecords(reader, entry.id, fields, side.records);
            problems.insert(problems.end(), walk.problems.begin(), walk.problems.end());
        }
    }
    for (const SymbolField& field : reader.Defaults()) {
        side.defaults.try_emplace(field.id, field.tag, field.value);
    }
    side.records.Sort();
    return problems;
}

bool Comparison::Next() {
    if (NextSection()) return true;
    SortedRecords& old = sides[0].records;
    SortedRecords& now = sides[1].records;
    for (;;) {
        if (std::exchange(taken[0], false)) old.Next();
        if (std::exchange(taken[1], false)) now.Next();
        if (old.AtEnd() && now.AtEnd()) return false;
        const int order = old.AtEnd() ? 1 : now.AtEnd() ? -1 : old.Key().compare(now.Key());
        taken = {order <= 0, order >= 0};
        const Change change = order < 0 ? Change::Removed : order > 0 ? Change::Added : Change::Changed;
        const std::array<std::string_view, 2> values = {order <= 0 ? old.Value() : std::string_view(),
                                                        order >= 0 ? now.Value() : std::string_view()};
        if (Compare(change, order <= 0 ? old.Key() : now.Key(), values)) return true;
    }
}

bool Comparison::NextSection() {
    for (; sectionSide < 2; ++sectionSide, nextId = 0) {
        const std::set<u16>& here = sides[sectionSide].sections;
        for (auto id = nextId > UINT16_MAX ? here.end() : here.lower_bound(static_cast<u16>(nextId));
             id != here.end(); ++id) {
            if (!sides[1 - sectionSide].sections.contains(*id)) {
                nextId = *id + 1U;
                difference = {*id, sectionSide == 0 ? Change::Removed : Change::Added, true, {}, {}};
                return true;
            }
        }
    }
    return false;
}

// True when the records differ.
bool Comparison::Compare(Change change, std::string_view key, std::array<std::string_view, 2> values) {
    RecordParts parts(key);
    const auto id = static_cast<u16>(parts.Number(2));
    CompareCounts& count = counts[id];
    if (change == Change::Changed && values[0] == values[1]) {
        ++count.same;
        return false;
    }
    difference = {id, change, false, {}, {}};
    lists.clear();
    if (id == 2) {
        CompareSymbols(parts.Rest(), values);
        if (change == Change::Changed && difference.values.empty()) {  // the order of the fields alone
            ++count.same;
            return false;
        }
    } else if (const SectionInfo* section = FindSection(id)) {
        CompareRows(*section, parts.Rest(), values);
    }
    ++count.of[static_cast<std::size_t>(change)];
    return true;
}

// Fields pair by id, the first of an id with the first, the second with the second.
void Comparison::CompareSymbols(std::string_view text, const std::array<std::string_view, 2>& values) {
    difference.path.push_back({"symbol", ColumnKind::Text, {0, text, {}}});
    const std::array<std::vector<SymbolField>, 2> all = {SortedFields(values[0]), SortedFields(values[1])};
    auto left = all[0].begin();
    auto right = all[1].begin();
    while (left != all[0].end() || right != all[1].end()) {
        const bool hasLeft = left != all[0].end() && (right == all[1].end() || left->id <= right->id);
        const bool hasRight = right != all[1].end() && (left == all[0].end() || right->id <= left->id);
        if (!hasLeft || !hasRight || left->tag != right->tag || left->value != right->value) {
            CompareFields(hasLeft ? left->id : right->id,
                          {hasLeft ? &*left : nullptr, hasRight ? &*right : nullptr});
        }
        left += hasLeft ? 1 : 0;
        right += hasRight ? 1 : 0;
    }
}

void Comparison::CompareFields(u16 id, const std::array<const SymbolField*, 2>& pair) {
    ValueChange& value = difference.values.emplace_back();
    value.field = id;
    for (std::size_t side = 0; side < 2; ++side) {
        const auto standard = sides[side].defaults.find(id);
        if (pair[side]) {
            value.cells[side] = FieldCell(pair[side]->tag, pair[side]->value);
        } else if (difference.change == Change::Changed && standard != sides[side].defaults.end()) {
            value.cells[side] = FieldCell(standard->second.first, standard->second.second);
            value.isDefault[side] = true;
        }
    }
}

// The path to a row, and its other columns before and after.
void Comparison::CompareRows(const SectionInfo& section, std::string_view key,
                             const std::array<std::string_view, 2>& values) {
    RecordParts path(key);
    const std::size_t depth = static_cast<u8>((values[0].empty() ? values[1] : values[0])[0]);
    for (std::size_t at = 0; at <= depth; ++at) {
        const Level& level = section.levels[at];
        if (level.columns.empty()) {
            difference.path.push_back({level.name, ColumnKind::Number, {path.Number(4), {}, {}}});
        }
        for (std::size_t column = 0; column < level.KeyColumns(); ++column) {
            const Column& described = level.columns[column];
            difference.path.push_back({described.name, described.kind, path.OneCell(described.kind, lists)});
        }
    }
    const Level& level = section.levels[depth];
    const std::size_t first = level.HoldsFields() ? level.columns.size() - 1 : level.KeyColumns();
    std::array<RecordParts, 2> parts = {RecordParts(values[0].substr(values[0].empty() ? 0 : 1)),
                                        RecordParts(values[1].substr(values[1].empty() ? 0 : 1))};
    for (std::size_t column = first; column < level.columns.size(); ++column) {
        ValueChange value;
        std::array<std::string_view, 2> bytes;  // of the cell
        const Column& described = level.columns[column];
        if (level.HoldsFields()) {
            value.field = static_cast<u16>(difference.path.back().cell.number);
        } else {
            value.column = &described;
        }
        for (std::size_t side = 0; side < 2; ++side) {
            if (parts[side].AtEnd()) continue;
            bytes[side] = parts[side].Rest();
            value.cells[side] = parts[side].OneCell(described.kind, lists);
            bytes[side].remove_suffix(parts[side].Rest().size());
        }
        if (bytes[0] != bytes[1]) difference.values.push_back(value);
    }
}

}  // namespace torva::tables
