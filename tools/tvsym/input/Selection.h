// --where, --order-by, --columns and --limit: symbols selected by SQL over their columns.
#pragma once

#include <CLI/CLI.hpp>
#include <functional>
#include <memory>
#include <string>

#include "tools/tvsym/commands/Options.h"
#include "tools/tvsym/input/SqlSession.h"

namespace tvsym {

struct SelectOptions {
    std::string where;        // an SQL expression over the columns of `tvsym sql`'s table symbols
    std::string orderBy;      // a list of expressions, as after ORDER BY
    std::string columns;      // a list of expressions, as after SELECT
    u64 limit = 0;            // 0: all
    bool everyField = false;  // a column for each field of the file, not for those of the dictionary alone

    // Whether the result is in an order, or of a form, that only a query has.
    bool IsQuery() const { return !orderBy.empty() || !columns.empty(); }
};

void AddWhere(CLI::App& app, SelectOptions& options);
void AddLimit(CLI::App& app, SelectOptions& options);
void AddSelection(CLI::App& app, SelectOptions& options);  // all of them

class Selection {
public:
    // Throws ToolError with kExitUsage for what SQL refuses. `more` is a further condition, or empty.
    Selection(const SelectOptions& selectOptions, const FileOptions& file,
              std::shared_ptr<const FileSource> source, const Dictionary& dictionary,
              const std::string& more = {});

    // For ReaderOptions: whether a symbol meets the conditions; empty if there are none. For walks of
    // Readers that end before the Selection.
    std::function<bool(u64)> Takes();

    // The symbols in their order, as offsets of their records (Reader::SymbolsFrom).
    SqlQuery Offsets() { return Prepare("record_offset"); }

    // The same, as their numbers in the file.
    SqlQuery Numbers() { return Prepare("symbol_no"); }

    // The columns asked for; without any, the symbol and all fields.
    SqlQuery Columns();

    // The values of one of Columns and how many of the symbols have each, the most frequent first; `most` of
    // them, 0 for all.
    SqlQuery Values(const std::string& column, u64 most);

    bool AllDecoded() const { return database->Values().AllDecoded(); }
    std::vector<Problem> Problems() const { return database->Problems(); }

private:
    std::string Query(const std::string& what) const;
    SqlQuery Prepare(const std::string& what);

    SelectOptions options;
    std::shared_ptr<sql::SymbolDatabase> database;
    std::unique_ptr<SqlSession> session;  // none where nothing is selected
    std::string conditions;
    std::unique_ptr<SqlQuery> running;  // of Takes
    u64 next = 0;                       // number of the next symbol that is taken; 0: none is left
};

// "a ""name""", a column in SQL.
std::string SqlName(std::string_view name);

// 'it''s', a text in SQL.
std::string SqlText(std::string_view text);

}  // namespace tvsym
