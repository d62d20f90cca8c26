// The database. Each level of a section is a table with a number for each row, NOUN_no, and that of the row
// above:
//
//   foreign_trade (head_no, id, name)   foreign_trade_items (item_no, head_no, tag)   foreign_trade_names
//   (...)
//
// and each list a table of its own (NOUN_no, position, value). Symbols occur twice: `symbols` has a column
// for each field, defaults filled in, and `symbol_fields` the own fields as they are stored.
#include "tools/tvsym/output/Export.h"

#ifdef TORVA_WITH_SQLITE

#include <fmt/format.h>
#include <sqlite3.h>

#include <algorithm>
#include <limits>
#include <memory>

#include "tools/tvsym/output/Replacement.h"

namespace tvsym {

namespace {

std::string Quoted(std::string_view name) {
    std::string quoted = "\"";
    for (const char c : name) {
        quoted += c == '"' ? "\"\"" : std::string(1, c);
    }
    return quoted + "\"";
}

std::string TableName(std::string_view sectionName) {
    std::string name(sectionName);
    std::replace(name.begin(), name.end(), '-', '_');
    return name;
}

class Database {
public:
    Database(const std::string& path, std::string targetName) : name(std::move(targetName)) {
        sqlite3* opened = nullptr;
        const int result = sqlite3_open_v2(
            path.c_str(), &opened, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_NOMUTEX, nullptr);
        handle.reset(opened);
        Check(result);
        // The file counts for nothing until all of it is there.
        Run("PRAGMA journal_mode=OFF; PRAGMA synchronous=OFF; PRAGMA locking_mode=EXCLUSIVE; "
            "PRAGMA cache_size=-65536; BEGIN");
    }

    void Run(const std::string& sql) {
        Check(sqlite3_exec(handle.get(), sql.c_str(), nullptr, nullptr, nullptr));
    }

    void Check(int result) {
        if (result != SQLITE_OK && result != SQLITE_DONE) {
            throw ToolError(kExitUnreadable, fmt::format("{}: {}", name, sqlite3_errmsg(handle.get())));
        }
    }

    // Columns of a table, as many as rows can be inserted into.
    size_t MostColumns() const {
        return static_cast<size_t>(std::min(sqlite3_limit(handle.get(), SQLITE_LIMIT_COLUMN, -1),
                                            sqlite3_limit(handle.get(), SQLITE_LIMIT_VARIABLE_NUMBER, -1)));
    }

    sqlite3* Handle() { return handle.get(); }

private:
    struct Close {
        void operator()(sqlite3* open) const { sqlite3_close(open); }
    };
    std::string name;
    std::unique_ptr<sqlite3, Close> handle;
};

// Fills one table.
class Insert {
public:
    Insert(Database& to, const std::string& table, size_t columns) : database(to) {
        std::string marks = "?";
        for (size_t at = 1; at < columns; ++at) {
            marks += ",?";
        }
        sqlite3_stmt* prepared = nullptr;
        const std::string sql = fmt::format("INSERT INTO {} VALUES ({})", Quoted(table), marks);
        database.Check(sqlite3_prepare_v2(database.Handle(), sql.c_str(), -1, &prepared, nullptr));
        statement.reset(prepared);
    }

    // The columns from the first on; those that are not bound are NULL. The values live until Row.
    void Bind(size_t column, const SqlValue& value) {
        sqlite3_stmt* to = statement.get();
        const int at = static_cast<int>(column) + 1;
        if (const auto* number = std::get_if<i64>(&value)) {
            database.Check(sqlite3_bind_int64(to, at, *number));
        } else if (const auto* real = std::get_if<double>(&value)) {
            database.Check(sqlite3_bind_double(to, at, *real));
        } else if (const auto* text = std::get_if<std::string>(&value)) {
            database.Check(
                sqlite3_bind_text64(to, at, text->data(), text->size(), SQLITE_TRANSIENT, SQLITE_UTF8));
        } else if (const auto* blob = std::get_if<Blob>(&value)) {
            database.Check(
                sqlite3_bind_blob64(to, at, blob->bytes.data(), blob->bytes.size(), SQLITE_TRANSIENT));
        }
    }

    void Row() {
        database.Check(sqlite3_step(statement.get()));
        sqlite3_reset(statement.get());
        sqlite3_clear_bindings(statement.get());
    }

    void Row(const std::vector<SqlValue>& values) {
        for (size_t at = 0; at < values.size(); ++at) {
            Bind(at, values[at]);
        }
        Row();
    }

private:
    struct Finalize {
        void operator()(sqlite3_stmt* prepared) const { sqlite3_finalize(prepared); }
    };
    Database& database;
    std::unique_ptr<sqlite3_stmt, Finalize> statement;
};

SqlValue Int(u64 number) { return static_cast<i64>(number); }

class SqliteExport {
public:
    SqliteExport(const ExportSource& exportSource, const std::string& path, const std::string& target)
        : source(exportSource), database(path, target) {}

    std::vector<Problem> Run() {
        Sections();
        Fields();
        for (const SectionInfo* section : ReadableSections(source.reader)) {
            const WalkResult walk = section->id == 2 ? Symbols() : Rows(*section);
            problems.insert(problems.end(), walk.problems.begin(), walk.problems.end());
        }
        database.Run("CREATE TABLE problems (section INTEGER, \"offset\" INTEGER, what TEXT NOT NULL)");
        Insert insert(database, "problems", 3);
        std::vector<Problem> all = DirectoryProblems(source.reader.Directory());
        all.insert(all.end(), problems.begin(), problems.end());
        for (const Problem& problem : all) {
            insert.Row({problem.section ? Int(problem.section) : SqlValue(),
                        problem.offset ? Int(*problem.offset) : SqlValue(),
                        TextValue(source.codec, problem.what)});
        }
        database.Run(indexes);
        database.Run("COMMIT");
        return problems;
    }

private:
    void Sections() {
        database.Run(
            "CREATE TABLE sections (entry_no INTEGER PRIMARY KEY, id INTEGER NOT NULL, name TEXT, "
            "\"offset\" INTEGER NOT NULL, size INTEGER NOT NULL)");
        Insert insert(database, "sections", 5);
        i64 number = 0;
        for (const DirectoryEntry& entry : source.reader.Directory().entries) {
            const SectionInfo* section = FindSection(entry.id);
            insert.Row({++number, Int(entry.id), section ? SqlValue(TableName(section->name)) : SqlValue(),
                        Int(entry.offset), Int(entry.size)});
        }
    }

    void Fields() {
        database.Run("CREATE TABLE fields (id INTEGER PRIMARY KEY, name TEXT NOT NULL, type TEXT)");
        Insert insert(database, "fields", 3);
        for (const auto& [id, definition] : source.dictionary.All()) {
            insert.Row({Int(id), definition.name, std::string(symwrite::TypeName(definition.type))});
        }
    }

    WalkResult Symbols() {
        constexpr size_t kAhead = 2;  // columns before the fields
        const size_t width = std::min(source.wide.size(), database.MostColumns() - kAhead);
        std::vector<u32> columnOf(65536, UINT32_MAX);
        std::string columns = "symbol_no INTEGER PRIMARY KEY, symbol TEXT NOT NULL";
        for (size_t at = 0; at < width; ++at) {
            columnOf[source.wide[at].id] = static_cast<u32>(at + kAhead);
            columns += ", " + Quoted(source.wide[at].name);
        }
        if (width < source.wide.size()) {
            problems.push_back(
                {2, std::nullopt,
                 fmt::format("the table symbols has columns for {} of {} fields, which is what a table "
                             "can have; symbol_fields has them all",
                             width, source.wide.size())});
        }
        database.Run(fmt::format("CREATE TABLE symbols ({})", columns));
        database.Run(
            "CREATE TABLE symbol_fields (symbol_no INTEGER NOT NULL REFERENCES symbols, field_no INTEGER NOT "
            "NULL, id INTEGER NOT NULL, tag INTEGER NOT NULL, value, PRIMARY KEY (symbol_no, field_no)) "
            "WITHOUT ROWID");
        indexes +=
            "CREATE INDEX symbols_symbol ON symbols (symbol);"
            "CREATE INDEX symbol_fields_id ON symbol_fields (id);";
        Insert wide(database, "symbols", width + kAhead);
        Insert own(database, "symbol_fields", 5);
        i64 number = 0;
        std::vector<i64> filled(width + kAhead);  // the last symbol that has a value there
        return source.reader.WalkSymbols([&](const SymbolView& symbol) {
            ++number;
            i64 fieldNumber = 0;
            wide.Bind(0, number);
            wide.Bind(1, TextValue(source.codec, symbol.text));
            for (const SymbolField& field : symbol.fields) {
                const SqlValue value =
                    FieldValue(source.dictionary, source.codec, field.id, field.tag, field.value);
                const u32 column = columnOf[field.id];
                if (column != UINT32_MAX && filled[column] != number) {  // the first of an id counts
                    filled[column] = number;
                    wide.Bind(column, value);
                }
                if (!field.isDefault) {
                    own.Row({number, ++fieldNumber, Int(field.id), Int(field.tag), value});
                }
            }
            wide.Row();
            return true;
        });
    }

    // The tables of any other section.
    WalkResult Rows(const SectionInfo& section) {
        const std::string base = TableName(section.name);
        std::vector<std::unique_ptr<Insert>> inserts;
        std::vector<std::unique_ptr<Insert>> lists;  // of all levels, one after the other
        std::string above;
        std::string aboveTable;
        for (size_t level = 0; level < section.levels.size(); ++level) {
            const Level& described = section.levels[level];
            const std::string table = level == 0 ? base : base + "_" + described.name;
            const std::string number = std::string(described.singular) + "_no";
            std::string columns = number + " INTEGER PRIMARY KEY";
            size_t count = 1;
            if (level > 0) {
                columns += fmt::format(", {} INTEGER NOT NULL REFERENCES {}", above, aboveTable);
                indexes += fmt::format("CREATE INDEX {0}_{1} ON {0} ({1});", table, above);
                ++count;
            }
            for (const Column& column : described.columns) {
                if (column.kind == ColumnKind::List) {
                    const std::string list = fmt::format("{}_{}", base, column.name);
                    database.Run(
                        fmt::format("CREATE TABLE {0} ({1} INTEGER NOT NULL REFERENCES {2}, position INTEGER "
                                    "NOT NULL, value INTEGER NOT NULL, PRIMARY KEY ({1}, position)) WITHOUT "
                                    "ROWID",
                                    list, number, table));
                    lists.push_back(std::make_unique<Insert>(database, list, 3));
                    continue;
                }
                columns += fmt::format(", {} {}", Quoted(column.name), ColumnType(column.kind));
                ++count;
            }
            database.Run(fmt::format("CREATE TABLE {} ({})", table, columns));
            inserts.push_back(std::make_unique<Insert>(database, table, count));
            if (level == 0 && described.columns[0].kind != ColumnKind::Bytes) {
                indexes +=
                    fmt::format("CREATE INDEX {0}_{1} ON {0} ({1});", table, described.columns[0].name);
            }
            above = number;
            aboveTable = table;
        }
        std::vector<i64> numbers(section.levels.size());
        return source.reader.WalkSection(section.id, [&](size_t level, std::span<const Cell> cells) {
            std::vector<SqlValue> values = {++numbers[level]};
            if (level > 0) {
                values.emplace_back(numbers[level - 1]);
            }
            size_t list = 0;
            for (size_t at = 0; at < cells.size(); ++at) {
                const ColumnKind kind = section.levels[level].columns[at].kind;
                if (kind == ColumnKind::List) {
                    for (size_t item = 0; item < cells[at].list.size(); ++item) {
                        lists[list]->Row({numbers[level], Int(item + 1), Int(cells[at].list[item])});
                    }
                    ++list;
                } else {
                    values.push_back(CellValue(kind, cells, at));
                }
            }
            inserts[level]->Row(values);
        });
    }

    static const char* ColumnType(ColumnKind kind) {
        return kind == ColumnKind::Number ? "INTEGER" : kind == ColumnKind::Text ? "TEXT" : "";
    }

    SqlValue CellValue(ColumnKind kind, std::span<const Cell> cells, size_t at) const {
        const Cell& cell = cells[at];
        switch (kind) {
            case ColumnKind::Number:
                return Int(cell.number);
            case ColumnKind::Text:
                return TextValue(source.codec, cell.bytes);
            case ColumnKind::Field:
                return FieldValue(source.dictionary, source.codec, static_cast<u16>(cells[0].number),
                                  static_cast<u8>(cell.number), cell.bytes);
            default:
                return Blob{std::string(cell.bytes)};
        }
    }

    const ExportSource& source;
    Database database;
    std::string indexes;  // made when the tables are full
    std::vector<Problem> problems;
};

}  // namespace

std::vector<Problem> ExportSqlite(const ExportSource& source, const std::string& target) {
    Replacement replacement(target, source.reader.Name());
    std::vector<Problem> problems = SqliteExport(source, replacement.Path(), target).Run();
    replacement.TakePlace();
    return problems;
}

}  // namespace tvsym

#else

namespace tvsym {

std::vector<Problem> ExportSqlite(const ExportSource&, const std::string&) {
    throw ToolError(kExitUsage, "this tvsym was built without SQLite; export --format csv works");
}

}  // namespace tvsym

#endif
