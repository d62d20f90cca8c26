#include "tools/tvsym/input/SqlSession.h"

#ifdef TORVA_WITH_SQLITE

#include <fmt/format.h>
#include <sqlite3.h>

#include <algorithm>
#include <cctype>
#include <string_view>

#include "tools/sqlite/Module.h"

namespace tvsym {

namespace {

std::string Lower(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return text;
}

std::string Quoted(std::string_view text, char mark) {
    std::string quoted(1, mark);
    for (const char c : text) quoted.append(c == mark ? 2 : 1, c);
    return quoted + mark;
}

// What a query may do: read tables, call functions, and look up what there is to read.
int Authorize(void*, int action, const char* first, const char* second, const char*, const char*) {
    const auto is = [](const char* text, std::string_view word) {
        return text != nullptr && Lower(text) == word;
    };
    switch (action) {
        case SQLITE_SELECT:
        case SQLITE_READ:
        case SQLITE_RECURSIVE:
            return SQLITE_OK;
        case SQLITE_FUNCTION:
            return is(second, "load_extension") ? SQLITE_DENY : SQLITE_OK;
        case SQLITE_PRAGMA:
            for (const char* const harmless : {"table_info", "table_xinfo", "table_list", "function_list"}) {
                if (is(first, harmless)) return SQLITE_OK;
            }
            return SQLITE_DENY;
        default:
            return SQLITE_DENY;
    }
}

bool MayName(const std::string& sql, std::string_view table) {
    const std::string text = Lower(sql);
    return text.find(table) != std::string::npos || text.find("sqlite_") != std::string::npos ||
           text.find("pragma") != std::string::npos;
}

}  // namespace

SqlQuery::SqlQuery(sqlite3* connection, sqlite3_stmt* prepared) : database(connection), statement(prepared) {}

SqlQuery::~SqlQuery() { sqlite3_finalize(statement); }

bool SqlQuery::Next() {
    const int result = sqlite3_step(statement);
    if (result == SQLITE_NOMEM) throw std::bad_alloc();
    if (result != SQLITE_ROW && result != SQLITE_DONE) {
        throw ToolError(kExitUnreadable, fmt::format("SQL: {}", sqlite3_errmsg(database)));
    }
    return result == SQLITE_ROW;
}

std::size_t SqlQuery::Columns() const { return static_cast<std::size_t>(sqlite3_column_count(statement)); }

std::string SqlQuery::Name(std::size_t column) const {
    const char* const name = sqlite3_column_name(statement, static_cast<int>(column));
    if (name == nullptr) throw std::bad_alloc();
    return name;
}

sql::Value SqlQuery::Column(std::size_t column) const {
    const int at = static_cast<int>(column);
    const auto bytes = [&](const void* from) {
        return std::string_view(static_cast<const char*>(from),
                                static_cast<std::size_t>(sqlite3_column_bytes(statement, at)));
    };
    switch (sqlite3_column_type(statement, at)) {
        case SQLITE_INTEGER:
            return sql::Value::Integer(static_cast<u64>(sqlite3_column_int64(statement, at)));
        case SQLITE_FLOAT:
            return {sql::Value::Kind::Real, 0, sqlite3_column_double(statement, at), {}};
        case SQLITE_TEXT:
            return sql::Value::Text(bytes(sqlite3_column_text(statement, at)));
        case SQLITE_BLOB:
            return sql::Value::Blob(bytes(sqlite3_column_blob(statement, at)));
        default:
            return {};
    }
}

struct SqlSession::State {
    ~State() { sqlite3_close(database); }

    sql::OpenDatabases files;  // by number; outlives the connection
    sqlite3* database = nullptr;
};

SqlSession::SqlSession() : state(std::make_unique<State>()) {
    if (sqlite3_open_v2(":memory:", &state->database,
                        SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_MEMORY | SQLITE_OPEN_NOMUTEX,
                        nullptr) != SQLITE_OK ||
        sql::AddModule(state->database, &state->files) != SQLITE_OK) {
        throw std::bad_alloc();
    }
    for (const int off : {SQLITE_DBCONFIG_TRUSTED_SCHEMA, SQLITE_DBCONFIG_ENABLE_LOAD_EXTENSION,
                          SQLITE_DBCONFIG_ENABLE_TRIGGER, SQLITE_DBCONFIG_ENABLE_VIEW,
                          SQLITE_DBCONFIG_DQS_DDL, SQLITE_DBCONFIG_DQS_DML}) {
        sqlite3_db_config(state->database, off, 0, nullptr);
    }
    sqlite3_db_config(state->database, SQLITE_DBCONFIG_DEFENSIVE, 1, nullptr);
}

SqlSession::~SqlSession() = default;

void SqlSession::Run(const std::string& sql) {
    if (sqlite3_exec(state->database, sql.c_str(), nullptr, nullptr, nullptr) != SQLITE_OK) {
        throw ToolError(kExitUnreadable, sqlite3_errmsg(state->database));
    }
}

void SqlSession::Add(const std::string& name, std::shared_ptr<sql::SymbolDatabase> file,
                     const std::string& sql) {
    for (const char* const taken : {"main", "temp", ""}) {
        if (Lower(name) == taken) {
            throw ToolError(
                kExitUsage,
                fmt::format("\"{}\" cannot be the name of a file; give another, as in today=FILE", name));
        }
    }
    if (sqlite3_db_filename(state->database, name.c_str()) != nullptr) {
        throw ToolError(kExitUsage,
                        fmt::format("two files are called {}; give them names, as in today=FILE", name));
    }
    const auto most = static_cast<std::size_t>(sqlite3_limit(state->database, SQLITE_LIMIT_ATTACHED, -1));
    if (state->files.size() == most) throw ToolError(kExitUsage, fmt::format("at most {} files", most));
    const std::string number = fmt::format("{}", state->files.size());
    state->files.emplace(number, file);
    sqlite3_set_authorizer(state->database, nullptr, nullptr);
    Run(fmt::format("ATTACH ':memory:' AS {}", Quoted(name, '\'')));
    for (const sql::TableSpec& table : file->Tables()) {
        if (table.kind == sql::TableSpec::Kind::Symbols && !MayName(sql, table.name)) continue;
        Run(fmt::format("CREATE VIRTUAL TABLE {}.{} USING torva({}, table={})", Quoted(name, '"'),
                        Quoted(table.name, '"'), number, table.name));
    }
    sqlite3_set_authorizer(state->database, Authorize, nullptr);
}

SqlQuery SqlSession::Prepare(const std::string& sql, const std::string& what) {
    const auto prepare = [&](const char* text, const char** rest) {
        sqlite3_stmt* made = nullptr;
        const int result = sqlite3_prepare_v2(state->database, text, -1, &made, rest);
        if (result == SQLITE_NOMEM) throw std::bad_alloc();
        if (result == SQLITE_AUTH) {
            throw ToolError(kExitUsage, fmt::format("{}: {}; only SELECT is possible", what,
                                                    sqlite3_errmsg(state->database)));
        }
        if (result != SQLITE_OK) {
            throw ToolError(kExitUsage, fmt::format("{}: {}", what, sqlite3_errmsg(state->database)));
        }
        return made;
    };
    const char* rest = nullptr;
    sqlite3_stmt* const made = prepare(sql.c_str(), &rest);
    if (made == nullptr) throw ToolError(kExitUsage, fmt::format("{}: the statement is empty", what));
    SqlQuery query(state->database, made);
    if (sqlite3_stmt_readonly(made) == 0 || sqlite3_column_count(made) == 0) {
        throw ToolError(kExitUsage, fmt::format("{}: only SELECT is possible", what));
    }
    if (sqlite3_stmt* const second = prepare(rest, nullptr)) {
        sqlite3_finalize(second);
        throw ToolError(kExitUsage, fmt::format("{}: expected one statement, found more: {}", what, rest));
    }
    return query;
}

}  // namespace tvsym

#else

namespace tvsym {

struct SqlSession::State {};

SqlQuery::SqlQuery(sqlite3* connection, sqlite3_stmt* prepared) : database(connection), statement(prepared) {}
SqlQuery::~SqlQuery() = default;
bool SqlQuery::Next() { return false; }
std::size_t SqlQuery::Columns() const { return 0; }
std::string SqlQuery::Name(std::size_t) const { return {}; }
sql::Value SqlQuery::Column(std::size_t) const { return {}; }

SqlSession::SqlSession() {
    throw ToolError(
        kExitUsage,
        "this tvsym was built without SQLite, which sql, --where, --order-by, --columns, stats --top "
        "and --by, and tables of symbols in CSV or JSON lines need");
}
SqlSession::~SqlSession() = default;
void SqlSession::Add(const std::string&, std::shared_ptr<sql::SymbolDatabase>, const std::string&) {}
SqlQuery SqlSession::Prepare(const std::string&, const std::string&) { return {nullptr, nullptr}; }
void SqlSession::Run(const std::string&) {}

}  // namespace tvsym

#endif
