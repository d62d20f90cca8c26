// tvsym sql: a query over the tables of symbol files.
#include <fmt/format.h>

#include <cctype>
#include <filesystem>

#include "tools/tvsym/commands/Commands.h"
#include "tools/tvsym/commands/ManyFiles.h"
#include "tools/tvsym/commands/Options.h"
#include "tools/tvsym/input/SqlSession.h"
#include "tools/tvsym/input/SymbolFile.h"
#include "tools/tvsym/output/Problems.h"
#include "tools/tvsym/output/QueryResult.h"

namespace tvsym {

namespace {

struct SqlOptions {
    std::vector<std::string> words;  // FILE... SQL
    std::string dictionary;
    std::string encoding = "UTF-8";
    std::string format = "table";
    std::string output;
    bool allFields = false;
};

struct NamedFile {
    std::string name;
    std::string path;
};

// NAME=PATH, or a path, whose name is that of its file without the extension.
NamedFile ReadName(const std::string& word) {
    std::error_code ignored;
    const std::size_t equals = word.find('=');
    if (equals != std::string::npos && equals > 0 && !std::filesystem::exists(word, ignored)) {
        return {word.substr(0, equals), word.substr(equals + 1)};
    }
    if (word == "-") return {"input", word};
    return {std::filesystem::path(word).stem().string(), word};
}

int RunSql(const SqlOptions& options) {
    if (options.words.size() < 2) {
        throw ToolError(kExitUsage, "sql needs at least one FILE and, as the last argument, a query");
    }
    const std::string& query = options.words.back();
    SqlSession session;
    std::vector<std::pair<std::string, std::shared_ptr<sql::SymbolDatabase>>> files;
    std::vector<std::string> paths;
    for (const std::string& word : ExpandFolders({options.words.begin(), options.words.end() - 1})) {
        const NamedFile file = ReadName(word);
        auto database = std::make_shared<sql::SymbolDatabase>(
            OpenSource(file.path), sql::DatabaseOptions{LoadDictionary(options.dictionary, file.path),
                                                        options.encoding, options.allFields});
        session.Add(file.name, database, query);
        files.emplace_back(file.name, database);
        paths.push_back(file.path);
    }
    SqlQuery rows = session.Prepare(query, "SQL");
    Output out;
    if (options.output.empty()) {
        WriteQuery(rows, out, options.format);
        out.Close();
    } else {
        SaveQuery(rows, options.output, paths);
    }
    int status = kExitOk;
    for (const auto& [name, database] : files) {
        ReportEncoding(database->Base().Name(), database->Values().AllDecoded(), options.encoding);
        for (const Problem& problem : database->Problems()) {
            PrintProblem(database->Base().Name(), problem);
            status = kExitFindings;
        }
    }
    return status;
}

}  // namespace

RunCommand AddSql(CLI::App& app) {
    auto options = std::make_shared<SqlOptions>();
    app.add_option("FILE... SQL", options->words,
                   "symbol files, each as PATH or NAME=PATH (- is the standard input), or folders of them; "
                   "then a SELECT "
                   "statement")
        ->type_name("")
        ->required();
    app.add_option("--dictionary", options->dictionary,
                   "names and types of the field ids, a JSON file; FILE.fields.json when it is there")
        ->type_name("JSON");
    AddEncoding(app, options->encoding, "in the files");
    app.add_flag("--all-fields", options->allFields,
                 "columns for every field that occurs, not for those of the dictionary alone");
    app.add_option("--format", options->format,
                   "table, csv, or ndjson: an object for each row on a line of its own")
        ->type_name("FORMAT")
        ->check(CLI::IsMember({"table", "csv", "ndjson"}))
        ->capture_default_str();
    app.add_option("-o,--output", options->output, "SQLite database to write, with the table result")
        ->type_name("DATABASE");
    return [options] { return RunSql(*options); };
}

}  // namespace tvsym
