#include "tools/sqlite/Scan.h"

#include <algorithm>
#include <cstring>
#include <optional>

namespace torva::sql {

using namespace tables;

namespace {

constexpr std::size_t kSymbolColumns = 3;  // of symbols, before the fields

// Columns that symbols and symbol_fields have in common.
Value SymbolColumn(SymbolDatabase& database, const SymbolScan& scan, std::size_t column) {
    return column == 0 ? Value::Integer(u64{scan.At().number} + 1) : database.Values().Text(scan.Text());
}

std::vector<u16> FieldsOf(const TableSpec& spec, ColumnSet columns, std::vector<u16>& slots) {
    std::vector<u16> ids;
    slots.assign(spec.columns.size(), 0);
    for (std::size_t at = kSymbolColumns; at < spec.columns.size(); ++at) {
        if (!Uses(columns, at)) continue;
        slots[at] = static_cast<u16>(ids.size());
        ids.push_back(spec.columns[at].field);
    }
    return ids;
}

class WideScan final : public Scan {
public:
    WideScan(SymbolDatabase& symbolDatabase, const TableSpec& spec, ColumnSet columns)
        : database(symbolDatabase), symbols(database.Base(), FieldsOf(spec, columns, slots), false) {
        for (const ColumnSpec& column : spec.columns) {
            definitions.push_back(database.Dictionary().Find(column.field));
        }
    }

    void Rewind() override { symbols.MoveTo({}); }
    void MoveTo(Place place) override { symbols.MoveTo(place); }
    bool Next() override {
        if (symbols.Next()) return true;
        database.Report(2, symbols.Problems());
        return false;
    }
    bool NextHere() override { return false; }
    Place At() const override { return symbols.At(); }
    i64 RowId() const override { return i64{symbols.At().number} + 1; }

    Value Column(std::size_t column) override {
        if (column < 2) return SymbolColumn(database, symbols, column);
        if (column == 2) return Value::Integer(symbols.At().offset);
        const SymbolField* const field = symbols.Field(slots[column]);
        return field ? database.Values().Field(definitions[column], field->tag, field->value) : Value();
    }

private:
    SymbolDatabase& database;
    std::vector<u16> slots;  // by column: index of its field in the scan
    SymbolScan symbols;
    std::vector<const FieldDefinition*> definitions;  // by column
};

class FieldScan final : public Scan {
public:
    explicit FieldScan(SymbolDatabase& symbolDatabase)
        : database(symbolDatabase), symbols(database.Base(), {}, true) {}

    void Rewind() override { MoveTo({}); }
    void MoveTo(Place place) override {
        symbols.MoveTo(place);
        count = 0;
        at = 0;
    }
    bool Next() override {
        while (!NextHere()) {
            if (!symbols.Next()) {
                database.Report(2, symbols.Problems());
                return false;
            }
            count = symbols.OwnFields().size();
            at = 0;
        }
        return true;
    }
    bool NextHere() override { return at < count && ++at > 0; }
    Place At() const override { return symbols.At(); }
    i64 RowId() const override { return static_cast<i64>((u64{symbols.At().number} << 32) + at); }

    Value Column(std::size_t column) override {
        const SymbolField& field = symbols.OwnFields()[at - 1];
        switch (column) {
            case 0:
            case 1:
                return SymbolColumn(database, symbols, column);
            case 2:
                return Value::Integer(at);
            case 3:
                return Value::Integer(field.id);
            case 4: {
                const FieldDefinition* const definition = database.Dictionary().Find(field.id);
                return definition ? Value::Text(definition->name) : Value();
            }
            case 5:
                return Value::Integer(field.tag);
            default:
                return database.Values().Field(database.Dictionary().Find(field.id), field.tag, field.value);
        }
    }

private:
    SymbolDatabase& database;
    SymbolScan symbols;
    std::size_t count = 0;  // of the symbol's own fields
    std::size_t at = 0;     // the field, from 1; 0: before them
};

// Rows that are delivered in order, once.
class StreamScan : public Scan {
public:
    StreamScan(SymbolDatabase& symbolDatabase, const TableSpec& tableSpec)
        : database(symbolDatabase), spec(tableSpec) {}

    void Rewind() override { number = 0; }
    void MoveTo(Place) override {}  // its rows are looked up only where they are kept
    bool NextHere() override { return false; }
    Place At() const override { return {0, static_cast<u32>(number - 1)}; }
    i64 RowId() const override { return static_cast<i64>(number); }

protected:
    SymbolDatabase& database;
    const TableSpec& spec;
    u64 number = 0;  // of the row, from 1
};

class LevelScan : public StreamScan {
public:
    using StreamScan::StreamScan;

    void Rewind() override {
        StreamScan::Rewind();
        rows.reset();
        reader = database.NewReader();
        rows.emplace(reader->Rows(spec.section->id));
        std::fill(numbers.begin(), numbers.end(), 0);
    }

    bool Next() override {
        if (!NextOfLevel()) return false;
        ++number;
        return true;
    }

    Value Column(std::size_t column) override {
        if (column == 0) return Value::Integer(numbers[spec.level]);
        if (spec.level > 0 && column == 1) return Value::Integer(numbers[spec.level - 1]);
        std::size_t left = column - (spec.level > 0 ? 2 : 1);
        const auto& described = spec.section->levels[spec.level].columns;
        std::size_t at = 0;
        while (described[at].kind == ColumnKind::List || left-- > 0) ++at;
        const std::span<const Cell> cells = rows->Cells();
        const Cell& cell = cells[at];
        switch (described[at].kind) {
            case ColumnKind::Number:
                return Value::Integer(cell.number);
            case ColumnKind::Text:
                return database.Values().Text(cell.bytes);
            case ColumnKind::Field:
                return database.Values().Field(database.Dictionary().Find(static_cast<u16>(cells[0].number)),
                                               static_cast<u8>(cell.number), cell.bytes);
            default:
                return Value::Blob(cell.bytes);
        }
    }

protected:
    bool NextOfLevel() {
        while (rows->Next()) {
            ++numbers[rows->Level()];
            if (rows->Level() == spec.level) return true;
        }
        database.Report(spec.section->id, rows->Result().problems);
        return false;
    }

    std::unique_ptr<Reader> reader;
    std::optional<RowCursor> rows;
    std::array<u64, 4> numbers = {};  // of the row of each level
};

class ListScan final : public LevelScan {
public:
    using LevelScan::LevelScan;

    void Rewind() override {
        LevelScan::Rewind();
        list = {};
        position = 0;
    }

    bool Next() override {
        while (position >= list.size()) {
            if (!NextOfLevel()) return false;
            list = rows->Cells()[spec.list].list;
            position = 0;
        }
        ++position;
        ++number;
        return true;
    }

    Value Column(std::size_t column) override {
        return Value::Integer(column == 0   ? numbers[spec.level]
                              : column == 1 ? position
                                            : list[position - 1]);
    }

private:
    std::span<const u16> list;
    std::size_t position = 0;  // from 1
};

class DirectoryScan final : public StreamScan {
public:
    using StreamScan::StreamScan;

    bool Next() override { return number < database.Base().Directory().entries.size() && ++number > 0; }

    Value Column(std::size_t column) override {
        const DirectoryEntry& entry =
            database.Base().Directory().entries[static_cast<std::size_t>(number - 1)];
        const SectionInfo* const section = FindSection(entry.id);
        switch (column) {
            case 0:
                return Value::Integer(number);
            case 1:
                return Value::Integer(entry.id);
            case 2:
                if (section == nullptr) return {};
                name = TableName(section->name);
                return Value::Text(name);
            case 3:
                return Value::Integer(entry.offset);
            default:
                return Value::Integer(entry.size);
        }
    }

private:
    std::string name;
};

class DictionaryScan final : public StreamScan {
public:
    using StreamScan::StreamScan;

    bool Next() override {
        const auto& all = database.Dictionary().All();
        definition = number == 0 ? all.begin() : std::next(definition);
        return definition != all.end() && ++number > 0;
    }

    Value Column(std::size_t column) override {
        const FieldDefinition& field = definition->second;
        return column == 0   ? Value::Integer(field.id)
               : column == 1 ? Value::Text(field.name)
                             : Value::Text(symwrite::TypeName(field.type));
    }

private:
    std::map<u16, FieldDefinition>::const_iterator definition;
};

class KeptScan final : public Scan {
public:
    KeptScan(std::shared_ptr<const Table::Rows> keptRows, std::size_t columnCount)
        : rows(std::move(keptRows)), columns(columnCount) {}

    void Rewind() override { number = 0; }
    void MoveTo(Place place) override { number = place.number; }
    bool Next() override { return number < rows->values.size() / columns && ++number > 0; }
    bool NextHere() override { return false; }
    Place At() const override { return {0, static_cast<u32>(number - 1)}; }
    i64 RowId() const override { return static_cast<i64>(number); }
    Value Column(std::size_t column) override { return rows->values[(number - 1) * columns + column]; }

private:
    std::shared_ptr<const Table::Rows> rows;
    std::size_t columns;
    std::size_t number = 0;
};

}  // namespace

void Table::Rows::Add(Value value) {
    constexpr std::size_t kBlock = std::size_t{64} * 1024;
    const std::size_t size = value.bytes.size();
    if (size > room - used) {
        room = std::max(kBlock, size);
        texts.push_back(std::unique_ptr<char[]>(new char[room]));
        used = 0;
    }
    if (size > 0) {
        char* const to = texts.back().get() + used;
        std::memcpy(to, value.bytes.data(), size);
        value.bytes = {to, size};
        used += size;
    }
    values.push_back(value);
}

std::unique_ptr<Scan> Table::NewStream(ColumnSet columns) {
    using Kind = TableSpec::Kind;
    switch (spec.kind) {
        case Kind::Symbols:
            return std::make_unique<WideScan>(*database, spec, columns);
        case Kind::SymbolFields:
            return std::make_unique<FieldScan>(*database);
        case Kind::Level:
            return std::make_unique<LevelScan>(*database, spec);
        case Kind::List:
            return std::make_unique<ListScan>(*database, spec);
        case Kind::Sections:
            return std::make_unique<DirectoryScan>(*database, spec);
        case Kind::Fields:
            break;
    }
    return std::make_unique<DictionaryScan>(*database, spec);
}

std::unique_ptr<Scan> Table::NewScan(ColumnSet columns) {
    if (kept) return std::make_unique<KeptScan>(kept, spec.columns.size());
    return NewStream(columns);
}

void Table::CountPass() {
    if (++passes < 2 || kept || OfSymbols()) return;
    auto rows = std::make_shared<Rows>();
    const std::unique_ptr<Scan> scan = NewStream(~ColumnSet{0});
    scan->Rewind();
    while (scan->Next()) {
        for (std::size_t column = 0; column < spec.columns.size(); ++column) rows->Add(scan->Column(column));
    }
    kept = std::move(rows);
}

const std::vector<Table::Entry>* Table::Index(std::size_t column) {
    const auto known = indexes.find(column);
    if (known != indexes.end()) return &known->second;
    if (++lookups[column] < 2) return nullptr;
    std::vector<Entry> index;
    const std::unique_ptr<Scan> scan = NewScan(ColumnSet{1} << std::min<std::size_t>(column, 63));
    scan->Rewind();
    while (scan->Next()) {
        const bool sameRecord = !index.empty() && index.back().place.number == scan->At().number;
        if (!sameRecord) index.push_back({HashOf(scan->Column(column)), scan->At()});
    }
    std::sort(index.begin(), index.end(), [](const Entry& a, const Entry& b) {
        return a.hash != b.hash ? a.hash < b.hash : a.place.number < b.place.number;
    });
    return &indexes.emplace(column, std::move(index)).first->second;
}

std::span<const Table::Entry> Table::Lookup(const std::vector<Entry>& index, u32 hash) {
    const auto [first, last] =
        std::equal_range(index.begin(), index.end(), Entry{hash, {}},
                         [](const Entry& a, const Entry& b) { return a.hash < b.hash; });
    return {first, last};
}

}  // namespace torva::sql
