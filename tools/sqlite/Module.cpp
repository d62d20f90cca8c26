#include "tools/sqlite/Module.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <new>

#include "tools/sqlite/Api.h"
#include "tools/sqlite/Scan.h"

namespace torva::sql {

using namespace tables;

namespace {

struct Arguments {
    std::string file;
    std::string table = "symbols";
    std::string dictionary;
    bool dictionaryGiven = false;
    std::string encoding = "UTF-8";
    bool everyField = false;
    bool skipDamage = false;
};

struct VirtualTable : sqlite3_vtab {
    VirtualTable(std::shared_ptr<SymbolDatabase> database, const TableSpec& spec, bool failAtDamage)
        : sqlite3_vtab{}, table(std::move(database), spec), failing(failAtDamage) {}

    Table table;
    bool failing;
};

struct Cursor : sqlite3_vtab_cursor {
    enum class Mode : u8 { All, Filtered, LookedUp };

    Cursor() : sqlite3_vtab_cursor{} {}

    Table& Owner() const { return static_cast<VirtualTable*>(pVtab)->table; }
    bool Advance();

    std::unique_ptr<Scan> scan;
    ColumnSet columns = 0;
    const void* keptRows = nullptr;
    Mode mode = Mode::All;
    std::size_t column = 0;  // that is compared
    u32 hash = 0;
    std::span<const Table::Entry> found;  // still to come
    bool here = false;                    // rows of the place looked up last may follow
    bool end = true;
};

bool Cursor::Advance() {
    switch (mode) {
        case Mode::All:
            return scan->Next();
        case Mode::Filtered:
            while (scan->Next()) {
                if (HashOf(scan->Column(column)) == hash) return true;
            }
            return false;
        case Mode::LookedUp:
            break;
    }
    if (here && scan->NextHere()) return true;
    here = false;
    while (!here && !found.empty()) {
        scan->MoveTo(found.front().place);
        found = found.subspan(1);
        here = scan->Next();
    }
    return here;
}

// Runs a callback of SQLite: no exception may reach it. `error` takes the message.
template <class Function>
int Guarded(char** error, Function&& function) {
    const auto fail = [&](const char* message) {
        if (error != nullptr) {
            sqlite3_free(*error);
            *error = sqlite3_mprintf("%s", message);
        }
        return SQLITE_ERROR;
    };
    try {
        return function();
    } catch (const std::bad_alloc&) {
        return SQLITE_NOMEM;
    } catch (const std::exception& failure) {
        return fail(failure.what());
    }
}

// ---- arguments

// 'it''s' and "it" without their quotes.
std::string Unquoted(std::string_view text) {
    const char quote = text.empty() ? '\0' : text.front();
    if (text.size() < 2 || (quote != '\'' && quote != '"') || text.back() != quote) return std::string(text);
    std::string plain;
    for (std::size_t at = 1; at + 1 < text.size(); ++at) {
        plain += text[at];
        if (text[at] == quote) ++at;
    }
    return plain;
}

std::string_view Trimmed(std::string_view text) {
    const std::size_t first = text.find_first_not_of(" \t\r\n");
    return first == std::string_view::npos ? std::string_view()
                                           : text.substr(first, text.find_last_not_of(" \t\r\n") + 1 - first);
}

Arguments ReadArguments(int count, const char* const* texts) {
    Arguments arguments;
    for (int at = 3; at < count; ++at) {  // after the names of module, database and table
        const std::string_view text = Trimmed(texts[at]);
        const std::size_t equals = text.find_first_of("='\"");
        if (equals == std::string_view::npos || text[equals] != '=') {
            if (at > 3) throw Error(fmt::format("{}: expected NAME=VALUE", text));
            arguments.file = Unquoted(text);
            continue;
        }
        const std::string_view name = Trimmed(text.substr(0, equals));
        const std::string value = Unquoted(Trimmed(text.substr(equals + 1)));
        const auto only = [&](const char* word) {
            if (value != word) throw Error(fmt::format("{}={}: expected {}", name, value, word));
            return true;
        };
        if (name == "table") {
            arguments.table = value;
        } else if (name == "dictionary") {
            arguments.dictionary = value;
            arguments.dictionaryGiven = true;
        } else if (name == "encoding") {
            arguments.encoding = value;
        } else if (name == "fields") {
            arguments.everyField = only("all");
        } else if (name == "damaged") {
            arguments.skipDamage = only("skip");
        } else {
            throw Error(fmt::format(
                "{}: unknown argument; the arguments are table, dictionary, encoding, fields and damaged",
                name));
        }
    }
    if (arguments.file.empty()) throw Error("expected a symbol file, as in torva('market.sym')");
    return arguments;
}

Dictionary LoadDictionary(const Arguments& arguments) {
    const std::string path =
        arguments.dictionaryGiven ? arguments.dictionary : Dictionary::PathBeside(arguments.file);
    std::error_code ignored;
    if (path.empty() || (!arguments.dictionaryGiven && !std::filesystem::is_regular_file(path, ignored))) {
        return {};
    }
    std::ifstream in(path, std::ios::binary);
    if (!in) throw Error(fmt::format("{}: cannot be opened", path));
    return Dictionary::Read(in, path);
}

std::shared_ptr<SymbolDatabase> OpenDatabase(const Arguments& arguments, const OpenDatabases* open) {
    if (open != nullptr) {
        const auto known = open->find(arguments.file);
        if (known == open->end()) throw Error(fmt::format("{}: not an open file", arguments.file));
        return known->second;
    }
    return std::make_shared<SymbolDatabase>(
        FileSource::FromPath(arguments.file),
        DatabaseOptions{LoadDictionary(arguments), arguments.encoding, arguments.everyField});
}

// ---- callbacks

std::string Quoted(std::string_view name) {
    std::string quoted = "\"";
    for (const char c : name) quoted += c == '"' ? "\"\"" : std::string_view(&c, 1);
    return quoted + "\"";
}

std::string Declaration(const TableSpec& spec) {
    std::string sql = "CREATE TABLE x(";
    const char* separator = "";
    for (const ColumnSpec& column : spec.columns) {
        sql += fmt::format("{}{} {}", separator, Quoted(column.name), column.type);
        separator = ",";
    }
    return sql + ")";
}

int Connect(sqlite3* connection, void* open, int count, const char* const* texts, sqlite3_vtab** made,
            char** error) {
    return Guarded(error, [&] {
        const Arguments arguments = ReadArguments(count, texts);
        const std::shared_ptr<SymbolDatabase> database =
            OpenDatabase(arguments, static_cast<const OpenDatabases*>(open));
        const auto mostColumns = static_cast<std::size_t>(sqlite3_limit(connection, SQLITE_LIMIT_COLUMN, -1));
        const TableSpec* const spec = database->Find(arguments.table, mostColumns);
        if (spec == nullptr) throw Error(fmt::format("{}: a symbol file has no such table", arguments.table));
        const int result = sqlite3_declare_vtab(connection, Declaration(*spec).c_str());
        if (result != SQLITE_OK) throw Error(sqlite3_errmsg(connection));
        const bool failing = open == nullptr && !arguments.skipDamage;
        *made = std::make_unique<VirtualTable>(database, *spec, failing).release();
        return SQLITE_OK;
    });
}

// Unlike Connect's address, so that there is no table without a CREATE VIRTUAL TABLE.
int Create(sqlite3* connection, void* open, int count, const char* const* texts, sqlite3_vtab** made,
           char** error) {
    return Connect(connection, open, count, texts, made, error);
}

int Disconnect(sqlite3_vtab* table) {
    delete static_cast<VirtualTable*>(table);
    return SQLITE_OK;
}

// Whether a row number, SQLite's or the table's, identifies a row.
bool IsRowNumber(const TableSpec& spec, int column) {
    const bool numbered = spec.kind == TableSpec::Kind::Symbols || spec.kind == TableSpec::Kind::Level ||
                          spec.kind == TableSpec::Kind::Sections;
    return numbered && column <= 0;
}

u64 RowsOfEquality(const TableSpec& spec, int column) {
    constexpr u64 kFieldsOfSymbol = 16;
    constexpr u64 kShare = 64;
    if (IsRowNumber(spec, column)) return 1;
    if (spec.kind == TableSpec::Kind::Symbols && column == 1) return 1;
    if (spec.kind == TableSpec::Kind::SymbolFields && column <= 1) return kFieldsOfSymbol;
    return spec.rowsGuess / kShare + 2;
}

// Takes the equality with the fewest rows, where there is one. The plan's number is its column and 1, its
// string the columns that are used. SQLite compares again what is delivered.
int BestIndex(sqlite3_vtab* vtab, sqlite3_index_info* info) {
    const TableSpec& spec = static_cast<VirtualTable*>(vtab)->table.Spec();
    int best = -1;
    int bestColumn = 0;
    for (int at = 0; at < info->nConstraint; ++at) {
        const auto& constraint = info->aConstraint[at];
        if (constraint.usable == 0 || constraint.op != SQLITE_INDEX_CONSTRAINT_EQ) continue;
        int column = constraint.iColumn;
        if (column < 0) {
            if (!IsRowNumber(spec, column)) continue;
            column = 0;
        }
        if (!spec.columns[static_cast<std::size_t>(column)].lookup) continue;
        if (sqlite3_stricmp(sqlite3_vtab_collation(info, at), "BINARY") != 0) continue;
        if (best < 0 || RowsOfEquality(spec, column) < RowsOfEquality(spec, bestColumn)) {
            best = at;
            bestColumn = column;
        }
    }
    ColumnSet columns = info->colUsed;
    constexpr double kCostOfLookup = 20;
    u64 rows = spec.rowsGuess;
    if (best >= 0) {
        rows = RowsOfEquality(spec, bestColumn);
        info->aConstraintUsage[best].argvIndex = 1;
        info->idxNum = bestColumn + 1;
        columns |= ColumnSet{1} << std::min(bestColumn, 63);
        if (rows == 1) info->idxFlags = SQLITE_INDEX_SCAN_UNIQUE * (IsRowNumber(spec, bestColumn) ? 1 : 0);
    }
    info->estimatedRows = static_cast<sqlite3_int64>(rows);
    info->estimatedCost = static_cast<double>(rows) + (best >= 0 ? kCostOfLookup : 0);
    info->orderByConsumed =
        info->nOrderBy == 1 && info->aOrderBy[0].iColumn <= 0 && info->aOrderBy[0].desc == 0 ? 1 : 0;
    info->idxStr = sqlite3_mprintf("%llx", columns);
    info->needToFreeIdxStr = 1;
    return info->idxStr == nullptr ? SQLITE_NOMEM : SQLITE_OK;
}

int OpenCursor(sqlite3_vtab*, sqlite3_vtab_cursor** made) {
    return Guarded(nullptr, [&] {
        *made = std::make_unique<Cursor>().release();
        return SQLITE_OK;
    });
}

int CloseCursor(sqlite3_vtab_cursor* cursor) {
    delete static_cast<Cursor*>(cursor);
    return SQLITE_OK;
}

Value ValueOf(sqlite3_value* value) {
    const auto size = [&] { return static_cast<std::size_t>(sqlite3_value_bytes(value)); };
    switch (sqlite3_value_type(value)) {
        case SQLITE_INTEGER:
            return {Value::Kind::Integer, sqlite3_value_int64(value), 0, {}};
        case SQLITE_FLOAT:
            return {Value::Kind::Real, 0, sqlite3_value_double(value), {}};
        case SQLITE_TEXT: {
            const auto* const text = reinterpret_cast<const char*>(sqlite3_value_text(value));
            return text == nullptr ? Value() : Value::Text({text, size()});
        }
        case SQLITE_BLOB: {
            const auto* const bytes = static_cast<const char*>(sqlite3_value_blob(value));
            return bytes == nullptr ? Value::Blob({}) : Value::Blob({bytes, size()});
        }
        default:
            return {};
    }
}

// The end of a walk is where damage is known.
int Ended(VirtualTable& vtab) {
    if (!vtab.failing) return SQLITE_OK;
    const std::vector<Problem> problems = vtab.table.Database().Problems();
    if (problems.empty()) return SQLITE_OK;
    sqlite3_free(vtab.zErrMsg);
    vtab.zErrMsg =
        sqlite3_mprintf("%s", ProblemText(vtab.table.Database().Base().Name(), problems.front()).c_str());
    return SQLITE_CORRUPT_VTAB;
}

int Step(Cursor& cursor) {
    cursor.end = !cursor.Advance();
    const bool walked = cursor.end && cursor.mode != Cursor::Mode::LookedUp;
    return walked ? Ended(*static_cast<VirtualTable*>(cursor.pVtab)) : SQLITE_OK;
}

int Filter(sqlite3_vtab_cursor* base, int plan, const char* columnsText, int, sqlite3_value** values) {
    auto& cursor = *static_cast<Cursor*>(base);
    return Guarded(&base->pVtab->zErrMsg, [&] {
        Table& table = cursor.Owner();
        ColumnSet columns = 0;
        std::from_chars(columnsText, columnsText + std::strlen(columnsText), columns, 16);
        table.CountPass();
        const std::vector<Table::Entry>* index = nullptr;
        cursor.mode = Cursor::Mode::All;
        if (plan > 0) {
            cursor.column = static_cast<std::size_t>(plan - 1);
            const Value value = ValueOf(values[0]);
            if (value.kind == Value::Kind::Null) {  // nothing is equal to it
                cursor.end = true;
                return SQLITE_OK;
            }
            cursor.hash = HashOf(value);
            index = table.Index(cursor.column);
            cursor.mode = index != nullptr ? Cursor::Mode::LookedUp : Cursor::Mode::Filtered;
        }
        if (!cursor.scan || cursor.columns != columns || cursor.keptRows != table.Kept()) {
            cursor.scan = table.NewScan(columns);
            cursor.columns = columns;
            cursor.keptRows = table.Kept();
        }
        if (index != nullptr) {
            cursor.found = Table::Lookup(*index, cursor.hash);
            cursor.here = false;
        } else {
            cursor.scan->Rewind();
        }
        return Step(cursor);
    });
}

int Next(sqlite3_vtab_cursor* base) {
    return Guarded(&base->pVtab->zErrMsg, [&] { return Step(*static_cast<Cursor*>(base)); });
}

int AtEnd(sqlite3_vtab_cursor* base) { return static_cast<Cursor*>(base)->end ? 1 : 0; }

int Column(sqlite3_vtab_cursor* base, sqlite3_context* context, int column) {
    return Guarded(&base->pVtab->zErrMsg, [&] {
        const Value value = static_cast<Cursor*>(base)->scan->Column(static_cast<std::size_t>(column));
        const char* const bytes = value.bytes.empty() ? "" : value.bytes.data();
        switch (value.kind) {
            case Value::Kind::Null:
                break;
            case Value::Kind::Integer:
                sqlite3_result_int64(context, value.integer);
                break;
            case Value::Kind::Real:
                sqlite3_result_double(context, value.real);
                break;
            case Value::Kind::Text:
                sqlite3_result_text64(context, bytes, value.bytes.size(), SQLITE_TRANSIENT, SQLITE_UTF8);
                break;
            case Value::Kind::Blob:
                sqlite3_result_blob64(context, bytes, value.bytes.size(), SQLITE_TRANSIENT);
                break;
        }
        return SQLITE_OK;
    });
}

int RowId(sqlite3_vtab_cursor* base, sqlite3_int64* number) {
    *number = static_cast<Cursor*>(base)->scan->RowId();
    return SQLITE_OK;
}

constexpr sqlite3_module MakeModule() {
    sqlite3_module module = {};
    module.iVersion = 1;
    module.xCreate = Create;
    module.xConnect = Connect;
    module.xBestIndex = BestIndex;
    module.xDisconnect = Disconnect;
    module.xDestroy = Disconnect;
    module.xOpen = OpenCursor;
    module.xClose = CloseCursor;
    module.xFilter = Filter;
    module.xNext = Next;
    module.xEof = AtEnd;
    module.xColumn = Column;
    module.xRowid = RowId;
    return module;
}

constexpr sqlite3_module kModule = MakeModule();

}  // namespace

int AddModule(sqlite3* connection, const OpenDatabases* open) {
    return sqlite3_create_module_v2(connection, "torva", &kModule, const_cast<OpenDatabases*>(open), nullptr);
}

std::string ProblemText(const std::string& file, const Problem& problem) {
    const SectionInfo* const section = FindSection(problem.section);
    std::string text = file + ": ";
    text += problem.section == 0
                ? "directory"
                : fmt::format("section {} ({})", problem.section, section ? section->title : "unknown");
    if (problem.offset) text += fmt::format(", offset 0x{:x}", *problem.offset);
    return text + ": " + problem.what;
}

}  // namespace torva::sql
