// The folder of CSV files, and the scripts that load them into PostgreSQL, MySQL or MariaDB, and SQL Server.
#include <fmt/format.h>

#include <algorithm>
#include <array>

#include "tools/tvsym/output/CsvFolder.h"
#include "tools/tvsym/output/Export.h"

namespace tvsym {

namespace {

enum class SqlType : u8 { Integer, LongInteger, Real, Date, Text, Key };

struct LoadColumn {
    std::string name;
    SqlType type;
};

// A CSV file and the table that it fills.
struct LoadTable {
    std::string file;
    std::string table;
    std::vector<LoadColumn> columns;
    std::vector<std::string> indexes;  // columns
};

struct Server {
    const char* script;
    const char* start;
    const char* end;
    const char* tableEnd;
    std::array<const char*, 6> types;  // by SqlType; of Key, with the size in characters
    char open;
    char close;
    void (*load)(std::string& sql, const LoadTable& table);
};

std::string Quoted(const Server& server, const std::string& name) {
    std::string quoted(1, server.open);
    for (const char c : name) {
        quoted += c == server.close ? std::string(2, c) : std::string(1, c);
    }
    return quoted + server.close;
}

extern const std::array<Server, 3> kServers;

void LoadPostgres(std::string& sql, const LoadTable& table) {
    sql += fmt::format("\\copy {} FROM '{}' WITH (FORMAT csv, HEADER true, ENCODING 'UTF8')\n", table.table,
                       table.file);
}

// An empty cell is NULL for every type; the names with @ take the cells as they are. Only LENGTH
// distinguishes an empty text from blanks.
void LoadMysql(std::string& sql, const LoadTable& table) {
    std::string cells;
    std::string values;
    for (size_t at = 0; at < table.columns.size(); ++at) {
        cells += fmt::format("{}@c{}", at ? ", " : "", at);
        values += fmt::format("{0}{1} = IF(LENGTH(@c{2}), @c{2}, NULL)", at ? ", " : "",
                              Quoted(kServers[1], table.columns[at].name), at);
    }
    sql += fmt::format(
        "LOAD DATA LOCAL INFILE '{}' INTO TABLE {} CHARACTER SET utf8mb4\n"
        "  FIELDS TERMINATED BY ',' OPTIONALLY ENCLOSED BY '\"' ESCAPED BY '' LINES TERMINATED BY "
        "'\\r\\n' IGNORE 1 LINES\n  ({})\n  SET {};\n",
        table.file, table.table, cells, values);
}

void LoadSqlServer(std::string& sql, const LoadTable& table) {
    sql += fmt::format(
        "BULK INSERT {} FROM '$(folder)/{}' WITH (FORMAT = 'CSV', FIRSTROW = 2, CODEPAGE = '65001', "
        "ROWTERMINATOR = '0x0d0a', KEEPNULLS);\n",
        table.table, table.file);
}

const std::array<Server, 3> kServers = {{
    {"load-postgresql.sql",
     "-- In this folder: psql DATABASE -f load-postgresql.sql\n\\set ON_ERROR_STOP on\nBEGIN;",
     "COMMIT;\n",
     ");",
     {"bigint", "numeric(20)", "double precision", "date", "text", "text"},
     '"',
     '"',
     LoadPostgres},
    {"load-mysql.sql",
     "-- In this folder: mysql --local-infile=1 DATABASE < load-mysql.sql",
     "",
     ") CHARACTER SET utf8mb4;",
     {"bigint", "decimal(20)", "double", "date", "longtext", "varchar({})"},
     '`',
     '`',
     LoadMysql},
    {"load-sqlserver.sql",
     "-- For version 2017 and later. It follows the documentation and was never run on a server.\n"
     "-- sqlcmd -b -d DATABASE -i load-sqlserver.sql -v folder=\"C:\\path\\of\\this\\folder\"",
     "",
     ");",
     {"bigint", "decimal(20)", "float", "date", "nvarchar(max)", "nvarchar({})"},
     '[',
     ']',
     LoadSqlServer},
}};

std::string Script(const Server& server, const std::vector<LoadTable>& tables, size_t keySize) {
    std::string sql = std::string(server.start) + "\n\n";
    for (const LoadTable& table : tables) {
        sql += fmt::format("CREATE TABLE {} (", table.table);
        for (size_t at = 0; at < table.columns.size(); ++at) {
            const LoadColumn& column = table.columns[at];
            const char* type = server.types[static_cast<size_t>(column.type)];
            sql += fmt::format("{}\n  {} {}", at ? "," : "", Quoted(server, column.name),
                               fmt::format(fmt::runtime(type), keySize));
        }
        sql += fmt::format("\n{}\n", server.tableEnd);
        server.load(sql, table);
        for (const std::string& column : table.indexes) {
            sql += fmt::format("CREATE INDEX {0}_{1} ON {0} ({2});\n", table.table, column,
                               Quoted(server, column));
        }
        sql += "\n";
    }
    return sql + server.end;
}

// What one CSV file of a section holds: the types follow from the levels' columns, in the order of
// CsvColumns.
LoadTable SectionTable(const SectionInfo& section, bool withDictionary) {
    LoadTable table;
    table.file = fmt::format("{}.csv", section.name);
    table.table = section.id == 2 ? "symbol_fields" : section.name;
    std::replace(table.table.begin(), table.table.end(), '-', '_');
    std::vector<SqlType> types;
    for (const Level& level : section.levels) {
        if (section.levels.size() > 1) {
            types.push_back(SqlType::Integer);
        }
        for (const Column& column : level.columns) {
            types.push_back(column.kind == ColumnKind::Number ? SqlType::Integer : SqlType::Text);
        }
    }
    const std::vector<std::string> names = CsvColumns(section, withDictionary);
    types.resize(names.size(), SqlType::Text);
    for (size_t at = 0; at < names.size(); ++at) {
        table.columns.push_back({names[at], types[at]});
        const bool id = names[at] == "id" || names[at].ends_with("_id") || (section.id == 2 && at == 0);
        if (id && types[at] == SqlType::Integer) {
            table.indexes.push_back(names[at]);
        }
    }
    return table;
}

LoadTable WideTable(const ExportSource& source, size_t keySize) {
    constexpr size_t kLongestKey = 400;  // characters that every server takes in an index
    LoadTable table{kWideFile, "symbols", {{"symbol_no", SqlType::Integer}}, {"symbol_no"}};
    const bool indexed = keySize <= kLongestKey;
    table.columns.push_back({"symbol", indexed ? SqlType::Key : SqlType::Text});
    if (indexed) {
        table.indexes.emplace_back("symbol");
    }
    for (const WideColumn& column : source.wide) {
        const SqlType type = column.allNumbers && column.above63Bits ? SqlType::LongInteger
                             : column.allNumbers                     ? SqlType::Integer
                             : column.allDates                       ? SqlType::Date
                             : column.allFloats                      ? SqlType::Real
                                                                     : SqlType::Text;
        table.columns.push_back({column.name, type});
    }
    return table;
}

// The cell must be empty.
void SetCell(std::string& cell, const SqlValue& value) {
    constexpr std::string_view kHex = "hex:";
    if (const auto* number = std::get_if<i64>(&value)) {
        const fmt::format_int digits(*number);
        cell.assign(digits.data(), digits.size());
    } else if (const auto* real = std::get_if<double>(&value)) {
        cell = fmt::format("{}", *real);
    } else if (const auto* text = std::get_if<std::string>(&value)) {
        cell = text->starts_with(kHex) ? std::string(kHex) + Hex(*text) : *text;
    } else if (const auto* blob = std::get_if<Blob>(&value)) {
        cell = std::string(kHex) + Hex(blob->bytes);
    }
}

// Returns the size of the longest symbol, as its cell has it.
size_t WriteWide(const ExportSource& source, Output& out) {
    constexpr size_t kAhead = 2;  // cells before the fields
    std::vector<std::string> cells = {"symbol_no", "symbol"};
    std::vector<size_t> columnOf(65536);
    for (const WideColumn& column : source.wide) {
        columnOf[column.id] = cells.size();
        cells.push_back(column.name);
    }
    std::string line;
    AppendCsvLine(line, cells);
    out.Write(line);
    u64 number = 0;
    size_t longest = 0;
    std::vector<u64> filledIn(cells.size());  // the last symbol that has a value there
    source.reader.WalkSymbols([&](const SymbolView& symbol) {
        for (std::string& cell : cells) {
            cell.clear();
        }
        cells[0] = fmt::format("{}", ++number);
        SetCell(cells[1], TextValue(source.codec, symbol.text));
        longest = std::max(longest, cells[1].size());
        for (const SymbolField& field : symbol.fields) {
            const size_t column = columnOf[field.id];
            if (column >= kAhead && filledIn[column] != number) {  // the first of an id counts
                filledIn[column] = number;
                SetCell(cells[column],
                        FieldValue(source.dictionary, source.codec, field.id, field.tag, field.value));
            }
        }
        line.clear();
        AppendCsvLine(line, cells);
        out.Write(line);
        return true;
    });
    return longest;
}

}  // namespace

std::vector<Problem> ExportCsv(const ExportSource& source, const std::string& target) {
    size_t keySize = 1;
    const bool withDictionary = !source.dictionary.All().empty();
    CsvFolder folder(target, source.reader.Name());
    std::vector<Problem> problems = folder.AddSections(source.reader, {source.dictionary, source.codec}, {});
    std::vector<LoadTable> tables;
    for (const SectionInfo* section : ReadableSections(source.reader)) {
        if (section->id == 2) {
            folder.Add(kWideFile, [&](Output& out) { keySize = std::max(keySize, WriteWide(source, out)); });
            tables.push_back(WideTable(source, keySize));
        }
        tables.push_back(SectionTable(StoredForm(section->id), withDictionary));
    }
    for (const Server& server : kServers) {
        folder.Add(server.script, [&](Output& out) { out.Write(Script(server, tables, keySize)); });
    }
    folder.TakePlace();
    return problems;
}

}  // namespace tvsym
