// SQL over symbol files: a connection that sees their tables and nothing else. No statement can read or write
// a file, change anything, or load code.
#pragma once

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "tools/sqlite/SymbolDatabase.h"
#include "tools/tvsym/Tool.h"

struct sqlite3;
struct sqlite3_stmt;

namespace tvsym {

// One query on its way.
class SqlQuery {
public:
    SqlQuery(sqlite3* connection, sqlite3_stmt* prepared);
    SqlQuery(SqlQuery&& other) noexcept
        : database(other.database), statement(std::exchange(other.statement, nullptr)) {}
    SqlQuery& operator=(SqlQuery&&) = delete;
    ~SqlQuery();

    // Moves to the next row. Throws ToolError with kExitUnreadable.
    bool Next();

    std::size_t Columns() const;
    std::string Name(std::size_t column) const;
    std::vector<std::string> Names() const {
        std::vector<std::string> names;
        for (std::size_t at = 0; at < Columns(); ++at) names.push_back(Name(at));
        return names;
    }

    // Of the row; valid until the next call of Next.
    sql::Value Column(std::size_t column) const;

private:
    sqlite3* database;
    sqlite3_stmt* statement;
};

class SqlSession {
public:
    SqlSession();
    ~SqlSession();
    SqlSession(const SqlSession&) = delete;
    SqlSession& operator=(const SqlSession&) = delete;

    // Makes the tables of a file known, as NAME.TABLE and, of the file added first, as TABLE. The table
    // symbols is left out where `sql`, everything that will be asked, does not name it: its columns may take
    // a pass over the file. Throws ToolError.
    void Add(const std::string& name, std::shared_ptr<sql::SymbolDatabase> file, const std::string& sql);

    // `what` begins messages. Throws ToolError with kExitUsage for what SQLite refuses.
    SqlQuery Prepare(const std::string& sql, const std::string& what);

private:
    void Run(const std::string& sql);

    struct State;
    std::unique_ptr<State> state;
};

}  // namespace tvsym
