#include "tools/tvsym/input/Selection.h"

#include <fmt/format.h>

namespace tvsym {

void AddWhere(CLI::App& app, SelectOptions& options) {
    app.add_option(
           "--where", options.where,
           "only symbols for which this SQL expression is true, over symbol and the fields as columns: "
           "\"lot > 100 AND currency = 'HKD'\"; see sql")
        ->type_name("EXPRESSION");
}

void AddLimit(CLI::App& app, SelectOptions& options) {
    app.add_option("--limit", options.limit, "at most that many symbols; 0 for all")
        ->type_name("N")
        ->check(WholeNumber());
}

void AddSelection(CLI::App& app, SelectOptions& options) {
    AddWhere(app, options);
    app.add_option("--order-by", options.orderBy,
                   "in the order of these SQL expressions: \"lot DESC, symbol\"")
        ->type_name("EXPRESSION,...");
    app.add_option("--columns", options.columns,
                   "a table of these SQL expressions in place of all fields: \"symbol, lot\"")
        ->type_name("EXPRESSION,...");
    AddLimit(app, options);
}

Selection::Selection(const SelectOptions& selectOptions, const FileOptions& file,
                     std::shared_ptr<const FileSource> source, const Dictionary& dictionary,
                     const std::string& more)
    : options(selectOptions) {
    // On lines of their own, so that a comment in one does not take in what follows.
    for (const std::string& condition : {options.where, more}) {
        if (condition.empty()) continue;
        conditions += fmt::format("{} (\n{}\n)", conditions.empty() ? " WHERE" : " AND", condition);
    }
    if (conditions.empty() && !options.IsQuery() && !options.everyField) return;
    const std::string all = conditions + options.orderBy + options.columns;
    database = std::make_shared<sql::SymbolDatabase>(
        std::move(source),
        sql::DatabaseOptions{dictionary, file.encoding,
                             options.everyField || all.find("field_") != std::string::npos});
    session = std::make_unique<SqlSession>();
    session->Add("file", database, "symbols");
    Prepare(options.columns.empty() ? "symbol_no" : options.columns);  // says early what is wrong
}

std::string Selection::Query(const std::string& what) const {
    std::string query = fmt::format("SELECT {}\nFROM symbols{}", what, conditions);
    if (!options.orderBy.empty()) query += fmt::format(" ORDER BY {}\n", options.orderBy);
    if (options.limit > 0) query += fmt::format(" LIMIT {}", options.limit);
    return query;
}

SqlQuery Selection::Prepare(const std::string& what) { return session->Prepare(Query(what), "SQL"); }

SqlQuery Selection::Columns() {
    if (!options.columns.empty()) return Prepare(options.columns);
    const std::vector<std::string> names = Prepare("*").Names();
    std::string list;
    for (const std::string& name : names) {
        if (name != "symbol_no") list += (list.empty() ? "" : ", ") + SqlName(name);
    }
    return Prepare(list);
}

SqlQuery Selection::Values(const std::string& column, u64 most) {
    return session->Prepare(
        fmt::format("SELECT {}, count(*) FROM ({}) GROUP BY 1 ORDER BY 2 DESC, 1{}", SqlName(column),
                    Query(options.columns.empty() ? SqlName(column) : options.columns),
                    most > 0 ? fmt::format(" LIMIT {}", most) : ""),
        "SQL");
}

std::function<bool(u64)> Selection::Takes() {
    if (conditions.empty() && options.limit == 0) return {};
    if (conditions.empty() && options.orderBy.empty())
        return [most = options.limit](u64 number) { return number <= most; };
    return [this](u64 number) {
        if (number == 1) {  // of a walk
            const std::string chosen =
                options.orderBy.empty()
                    ? fmt::format("SELECT symbol_no FROM symbols{} ORDER BY symbol_no{}", conditions,
                                  options.limit ? fmt::format(" LIMIT {}", options.limit) : "")
                    : fmt::format("SELECT symbol_no FROM ({}) ORDER BY symbol_no", Query("symbol_no"));
            running = std::make_unique<SqlQuery>(session->Prepare(chosen, "SQL"));
            next = 0;
        }
        while (running && next < number) {
            if (!running->Next()) {
                running.reset();
                return false;
            }
            next = static_cast<u64>(running->Column(0).integer);
        }
        return running && next == number;
    };
}

std::string SqlName(std::string_view name) {
    std::string quoted = "\"";
    for (const char c : name) quoted.append(c == '"' ? 2 : 1, c);
    return quoted + '"';
}

std::string SqlText(std::string_view text) {
    std::string quoted = "'";
    for (const char c : text) quoted.append(c == '\'' ? 2 : 1, c);
    return quoted + "'";
}

}  // namespace tvsym
