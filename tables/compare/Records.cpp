#include "tables/compare/Records.h"

#include "tables/Hash.h"

namespace torva::tables {

namespace {

void PutNumber(std::string& to, u64 number, std::size_t width) {
    for (std::size_t byte = width; byte-- > 0;) to += static_cast<char>(number >> (8 * byte));
}

void PutBytes(std::string& to, std::string_view bytes) {
    PutNumber(to, bytes.size(), 4);
    to += bytes;
}

void PutField(std::string& to, const SymbolField& field) {
    PutNumber(to, field.id, 2);
    PutNumber(to, field.tag, 1);
    PutBytes(to, field.value);
}

void PutCell(std::string& to, ColumnKind kind, const Cell& cell) {
    switch (kind) {
        case ColumnKind::Number:
            return PutNumber(to, cell.number, 4);
        case ColumnKind::Text:  // has no zero byte, so it ends with one and sorts as texts do
            to += cell.bytes;
            to += '\0';
            return;
        case ColumnKind::Bytes:
            return PutBytes(to, cell.bytes);
        case ColumnKind::Field:
            PutNumber(to, cell.number, 1);
            return PutBytes(to, cell.bytes);
        case ColumnKind::List:
            PutNumber(to, cell.list.size(), 4);
            for (const u16 item : cell.list) PutNumber(to, item, 2);
    }
}

// The tag of a typed field is part of its value.
bool IsTag(const Level& level, std::size_t column) {
    return level.HoldsFields() && column + 2 == level.columns.size();
}

WalkResult ReadSymbols(Reader& reader, const std::set<u16>& fields, std::string key, SortedRecords& to) {
    std::string value;
    return reader.WalkSymbols([&, start = key.size()](const SymbolView& symbol) {
        key.resize(start);
        key += symbol.text;
        value.clear();
        for (const SymbolField& field : symbol.fields) {
            if (!field.isDefault && (fields.empty() || fields.contains(field.id))) PutField(value, field);
        }
        to.Add(key, value);
        return true;
    });
}

WalkResult ReadRows(Reader& reader, const SectionInfo& section, const std::set<u16>& fields, std::string key,
                    SortedRecords& to) {
    std::string value;
    std::vector<std::size_t> ends(section.levels.size() + 1, key.size());  // of the levels' parts of the key
    std::vector<u64> counts(section.levels.size() + 1);
    return reader.WalkSection(section.id, [&](std::size_t at, std::span<const Cell> cells) {
        const Level& level = section.levels[at];
        const std::size_t keyColumns = level.KeyColumns();
        key.resize(ends[at]);
        if (level.columns.empty()) PutNumber(key, ++counts[at], 4);
        value.assign(1, static_cast<char>(at));
        for (std::size_t column = 0; column < level.columns.size(); ++column) {
            if (!IsTag(level, column)) {
                PutCell(column < keyColumns ? key : value, level.columns[column].kind, cells[column]);
            }
        }
        ends[at + 1] = key.size();
        counts[at + 1] = 0;
        const bool wanted =
            !level.HoldsFields() || fields.empty() || fields.contains(static_cast<u16>(cells[0].number));
        if (wanted) to.Add(key, value);
    });
}

}  // namespace

WalkResult ReadRecords(Reader& reader, u16 id, const std::set<u16>& fields, SortedRecords& to) {
    std::string key;
    PutNumber(key, id, 2);
    if (id == 2) return ReadSymbols(reader, fields, key, to);
    if (const SectionInfo* section = FindSection(id)) return ReadRows(reader, *section, fields, key, to);
    const DirectoryEntry& entry = *reader.Directory().Find(id);
    u64 hash = kHashStart;
    reader.Bytes().Read(entry.offset, entry.size, [&](std::string_view bytes) { hash = Hash(bytes, hash); });
    std::string value;
    PutNumber(value, hash, 8);
    to.Add(key, value);
    return {};
}

std::string_view RecordParts::Bytes(std::size_t size) {
    const std::string_view part = bytes.substr(0, size);
    bytes.remove_prefix(size);
    return part;
}

u64 RecordParts::Number(std::size_t width) {
    u64 number = 0;
    for (const char byte : Bytes(width)) number = number << 8 | static_cast<u8>(byte);
    return number;
}

SymbolField RecordParts::Field() {
    SymbolField field;
    field.id = static_cast<u16>(Number(2));
    field.tag = static_cast<u8>(Number(1));
    field.value = Bytes(static_cast<std::size_t>(Number(4)));
    return field;
}

Cell RecordParts::OneCell(ColumnKind kind, std::deque<std::vector<u16>>& lists) {
    Cell cell;
    switch (kind) {
        case ColumnKind::Number:
            cell.number = Number(4);
            break;
        case ColumnKind::Text:
            cell.bytes = Bytes(bytes.find('\0'));
            bytes.remove_prefix(1);
            break;
        case ColumnKind::Field:
            cell.number = Number(1);
            [[fallthrough]];
        case ColumnKind::Bytes:
            cell.bytes = Bytes(static_cast<std::size_t>(Number(4)));
            break;
        case ColumnKind::List: {
            std::vector<u16>& list = lists.emplace_back(static_cast<std::size_t>(Number(4)));
            for (u16& item : list) item = static_cast<u16>(Number(2));
            cell.list = list;
        }
    }
    return cell;
}

}  // namespace torva::tables
