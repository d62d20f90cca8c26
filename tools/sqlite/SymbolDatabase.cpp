#include "tools/sqlite/SymbolDatabase.h"

#include <fmt/format.h>

#include <algorithm>
#include <cctype>
#include <map>

#include "tables/rows/SymbolScan.h"

namespace torva::sql {

using namespace tables;

namespace {

constexpr u64 kBytesOfRow = 16;  // about, for the query planner

std::string Lower(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return text;
}

const char* TypeOf(const FieldDefinition& definition) {
    switch (definition.type) {
        case ValueType::Text:
        case ValueType::Date:
            return "TEXT";
        case ValueType::Unsigned:
        case ValueType::Signed:
        case ValueType::Bool:
            return "INTEGER";
        case ValueType::Float:
            return "REAL";
        case ValueType::Hex:
            break;
    }
    return "BLOB";
}

const char* TypeOf(ColumnKind kind) {
    return kind == ColumnKind::Number  ? "INTEGER"
           : kind == ColumnKind::Text  ? "TEXT"
           : kind == ColumnKind::Bytes ? "BLOB"
                                       : "";
}

// What the values of a field are, without a definition.
struct Seen {
    bool texts = false;
    bool numbers = false;

    void Add(u8 tag) { (tag == kTextTag ? texts : numbers) |= HasPayload(tag); }
    const char* Type() const { return texts && numbers ? "" : texts ? "TEXT" : numbers ? "INTEGER" : ""; }
};

}  // namespace

std::string TableName(std::string_view sectionName) {
    std::string name(sectionName);
    std::replace(name.begin(), name.end(), '-', '_');
    return name;
}

SymbolDatabase::SymbolDatabase(std::shared_ptr<const FileSource> source, DatabaseOptions databaseOptions)
    : options(std::move(databaseOptions)),
      base(std::move(source), {ReadMode::File, {}, {}}),
      values(options.encoding) {
    using Kind = TableSpec::Kind;
    for (const SectionInfo& section : kSections) {
        if (section.id == 2) {
            specs.push_back({"symbols", Kind::Symbols, {}, &section, 0, 0, RowsGuess(2) / 4 + 1});
            specs.push_back({"symbol_fields",
                             Kind::SymbolFields,
                             {{"symbol_no", "INTEGER", true},
                              {"symbol", "TEXT", true},
                              {"field_no", "INTEGER"},
                              {"id", "INTEGER"},
                              {"name", "TEXT"},
                              {"tag", "INTEGER"},
                              {"value"}},
                             &section,
                             1,
                             0,
                             RowsGuess(2)});
        } else {
            AddSection(section);
        }
    }
    specs.push_back({"sections",
                     Kind::Sections,
                     {{"entry_no", "INTEGER", true},
                      {"id", "INTEGER", true},
                      {"name", "TEXT", true},
                      {"offset", "INTEGER", true},
                      {"size", "INTEGER", true}},
                     nullptr,
                     0,
                     0,
                     base.Directory().entries.size()});
    specs.push_back({"fields",
                     Kind::Fields,
                     {{"id", "INTEGER", true}, {"name", "TEXT", true}, {"type", "TEXT", true}},
                     nullptr,
                     0,
                     0,
                     options.dictionary.All().size()});
}

u64 SymbolDatabase::RowsGuess(u16 section) const {
    const DirectoryEntry* const entry = base.Directory().Find(section);
    return entry && entry->Readable() ? entry->size / kBytesOfRow + 1 : 1;
}

void SymbolDatabase::AddSection(const SectionInfo& section) {
    const std::string name = TableName(section.name);
    std::string above;
    for (std::size_t level = 0; level < section.levels.size(); ++level) {
        const Level& described = section.levels[level];
        const std::string number = std::string(described.singular) + "_no";
        TableSpec table{level == 0 ? name : name + "_" + described.name,
                        TableSpec::Kind::Level,
                        {{number, "INTEGER", true}},
                        &section,
                        level,
                        0,
                        RowsGuess(section.id)};
        if (level > 0) table.columns.push_back({above, "INTEGER", true});
        std::vector<TableSpec> lists;
        for (std::size_t at = 0; at < described.columns.size(); ++at) {
            const Column& column = described.columns[at];
            if (column.kind != ColumnKind::List) {
                table.columns.push_back({column.name, TypeOf(column.kind), true});
                continue;
            }
            lists.push_back(
                {fmt::format("{}_{}", name, column.name),
                 TableSpec::Kind::List,
                 {{number, "INTEGER", true}, {"position", "INTEGER", true}, {"value", "INTEGER", true}},
                 &section,
                 level,
                 at,
                 RowsGuess(section.id)});
        }
        specs.push_back(std::move(table));
        specs.insert(specs.end(), lists.begin(), lists.end());
        above = number;
    }
}

const TableSpec* SymbolDatabase::Find(std::string_view name, std::size_t mostColumns) {
    for (TableSpec& table : specs) {
        if (table.name != name) continue;
        if (table.columns.empty()) FindFields(table, mostColumns);
        return &table;
    }
    return nullptr;
}

void SymbolDatabase::FindFields(TableSpec& table, std::size_t mostColumns) {
    table.columns = {
        {"symbol_no", "INTEGER", true}, {"symbol", "TEXT", true}, {"record_offset", "INTEGER HIDDEN"}};
    std::map<u16, Seen> seen;
    for (const auto& [id, definition] : options.dictionary.All()) seen[id];
    for (const SymbolField& field : base.Defaults()) seen[field.id].Add(field.tag);
    if (options.everyField || options.dictionary.All().empty()) {
        SymbolScan scan(base, {}, true);
        while (scan.Next()) {
            for (const SymbolField& field : scan.OwnFields()) seen[field.id].Add(field.tag);
        }
        Report(2, scan.Problems());
    }
    if (table.columns.size() + seen.size() > mostColumns) {
        Report(2,
               {{2, std::nullopt,
                 fmt::format("the table symbols has columns for {} of {} fields, which is what a table can "
                             "have; symbol_fields has them all",
                             mostColumns - table.columns.size(), seen.size())}});
    }
    std::set<std::string> names = {"symbol_no", "symbol", "record_offset"};
    for (const auto& [id, types] : seen) {
        if (table.columns.size() == mostColumns) break;
        const FieldDefinition* const definition = options.dictionary.Find(id);
        ColumnSpec column{fmt::format("field_{}", id), definition ? TypeOf(*definition) : types.Type(), true,
                          id};
        // A name that SQL cannot express keeps the id's.
        if (definition && !definition->name.empty() && definition->name.find('\0') == std::string::npos) {
            column.name = definition->name;
        }
        while (!names.insert(Lower(column.name)).second) column.name += fmt::format("_{}", id);
        table.columns.push_back(std::move(column));
    }
}

std::unique_ptr<Reader> SymbolDatabase::NewReader() const {
    return std::make_unique<Reader>(base.Source(), ReaderOptions{ReadMode::File, {}, {}});
}

void SymbolDatabase::Report(u16 section, const std::vector<Problem>& found) {
    read.insert(section);
    for (const Problem& problem : found) {
        const bool known = std::any_of(problems.begin(), problems.end(), [&](const Problem& one) {
            return one.section == problem.section && one.offset == problem.offset && one.what == problem.what;
        });
        if (!known) problems.push_back(problem);
    }
}

std::vector<Problem> SymbolDatabase::Problems() const {
    std::vector<Problem> all;
    for (const Problem& problem : DirectoryProblems(base.Directory())) {
        if (problem.section == 0 || read.contains(problem.section)) all.push_back(problem);
    }
    all.insert(all.end(), problems.begin(), problems.end());
    return all;
}

}  // namespace torva::sql
