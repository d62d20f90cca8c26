#include "tools/tvsym/commands/Commands.h"

#include <fmt/format.h>

#include <algorithm>
#include <sstream>

#include "TorvaAPI.h"

namespace tvsym {

namespace {

constexpr CommandSpec kCommands[] = {
    {"info", "Show the directory of a symbol file: its sections with offset, size and number of elements",
     "The id column shows what the directory says; a section whose first bytes tell another id is marked, "
     "and so are "
     "overlaps and bytes that belong to no section.",
     "tvsym info instruments.sym\ntvsym info --json instruments.sym", AddInfo},
    {"symbols", "Print the symbols with their fields",
     "Default fields that a symbol does not carry itself are shown in parentheses, and have \"default\": "
     "true in JSON. "
     "With --fields the library hands out these fields alone and nothing tells defaults apart.",
     "tvsym symbols instruments.sym --limit 10\ntvsym symbols instruments.sym --fields name,currency --json",
     AddSymbols},
    {"dump", "Print the content of every section, or of some",
     "The json format is one document, which build reads and makes the same file of. Section 2 holds the "
     "fields "
     "that the records carry themselves; default fields are section 1. In ndjson and table values are what "
     "the "
     "dictionary makes of them; csv has them in columns of their own, and the folder builds the same file as "
     "well. Sections without a reader appear as bytes. "
     "Memory does not grow with the file, but for sections 18 and 21, which are held.",
     "tvsym dump instruments.sym > instruments.json\n"
     "tvsym dump instruments.sym --format ndjson --section symbols | head\n"
     "tvsym dump instruments.sym --format csv --output tables/\n"
     "tvsym dump instruments.sym --format table --section 14 --section eidr-countries",
     AddDump},
    {"get", "Print some symbols with all their fields, defaults marked",
     "A symbol is looked for from the first to the last, so that all of the same text are found. --where "
     "takes "
     "an SQL expression over the columns of the table symbols; see sql.",
     "tvsym get instruments.sym AAPL MSFT\n"
     "tvsym get instruments.sym 60 --prefix --json\n"
     "tvsym get instruments.sym --where \"currency = 'USD' AND kind = 1\"\n"
     "tvsym get instruments.sym --search hsbc --columns 'symbol, name' --order-by name",
     AddGet},
    {"sql", "Ask one or more symbol files in SQL, without an import",
     "Tables: symbols (symbol_no, symbol, a column for each field of the dictionary with defaults filled in; "
     "without a dictionary field_N for each field that occurs), symbol_fields (own fields, one a row), and a "
     "table for each level of every other section, as export makes them. The tables of a file are "
     "NAME.TABLE, "
     "those of the first also TABLE; NAME is the file's name without its extension, or given. Only what the "
     "query uses is read, and no further than it needs. Statements can only read these tables. Unsigned "
     "numbers from 2^63 on are TEXT with all digits, bytes that are not text are BLOBs. In JSON, integers "
     "beyond 2^53 are strings. Of a damaged file the rows up to the damage take part; the damage is "
     "reported, "
     "and the exit status is 1. Memory does not grow with the file, except for an equality looked up again "
     "and again (a join), which takes 12 bytes for each symbol.",
     "tvsym sql instruments.sym 'SELECT venue, count(*) FROM symbols GROUP BY 1 ORDER BY 2 DESC'\n"
     "tvsym sql old=yesterday.sym new=today.sym 'SELECT symbol FROM new.symbols EXCEPT SELECT symbol FROM "
     "old.symbols'\n"
     "tvsym sql instruments.sym --format csv 'SELECT * FROM eidr_countries'\n"
     "tvsym sql instruments.sym 'SELECT * FROM pragma_table_list'",
     AddSql},
    {"stats", "Count elements, texts and values: by section and by field id",
     "Distinct values are counted exactly up to 16,384 a field, and with an error of some 3 percent above "
     "that (marked "
     "~); fields without a value are not counted. Memory grows with the number of field ids alone.",
     "tvsym stats instruments.sym\ntvsym stats instruments.sym --json", AddStats},
    {"build",
     "Make a symbol file from what dump writes: JSON, also in a short form, or a folder of CSV files",
     "The document is told in docs/json.md. The file is written beside its place and renamed at the end, so "
     "that a failed build leaves an old file as it was. Holds the file that is made, up to twice.",
     "tvsym build instruments.json instruments.sym\ntvsym build tables/ instruments.sym\n"
     "tvsym dump old.sym | tvsym build - new.sym",
     AddBuild},
    {"check", "Say what is wrong in a symbol file, where, and what readers get there",
     "Compares sizes and counts with what is there, tells ids and symbols that stand twice and texts that "
     "do not decode, and reads every section in both read modes. Behind a broken element it goes on where a "
     "size tells the place of the next one; where none does, the finding says that the rest of the section "
     "was not looked at. Holds 16 bytes for each symbol and, in the "
     "pass in memory mode, the file. Exit status: 0 sound, 1 findings, 2 no reader can open it.",
     "tvsym check instruments.sym\ntvsym check --encoding BIG5 --json instruments.sym", AddCheck},
    {"diff", "Tell what was added, removed and changed from one symbol file to another",
     "Symbols are compared field by field, other sections by element; order does not matter. A default "
     "field stands in parentheses, where a symbol has one of its own in the other file alone. Sorts in 16 "
     "MiB for each file, and in temporary files. Exit status: 0 same, 1 different, 2 one of them cannot be "
     "read whole.",
     "tvsym diff yesterday.sym today.sym --summary\n"
     "tvsym diff yesterday.sym today.sym --section symbols --fields name,currency\n"
     "tvsym diff --json yesterday.sym today.sym",
     AddDiff},
    {"export", "Write a symbol file as an SQLite database, or as CSV files with scripts that load them",
     "The table symbols has a column for each field, named by the dictionary, with defaults filled in; "
     "symbol_fields has the fields as they are stored; each level of the other sections is a table of its "
     "own. The database takes the place of an old one when all of it is written. CSV files are those of "
     "dump, with symbols-wide.csv and a load script each for PostgreSQL, MySQL or MariaDB (both tried), and "
     "SQL Server (written by its documentation, never run). Memory does not grow with the file.",
     "tvsym export instruments.sym instruments.db\n"
     "sqlite3 instruments.db \"SELECT symbol, name FROM symbols WHERE currency = 'HKD'\"\n"
     "tvsym export instruments.sym tables/ --dictionary fields.json",
     AddExport},
    {"view", "Open the viewer's page with a symbol file, or two to compare, in the browser",
     "The page is one HTML file that holds the viewer and the data; it makes no connection, so nothing "
     "leaves "
     "the machine. It is written to the directory for temporary files, where the user alone can read it, and "
     "removed by a later view after a day. A browser in a sandbox of its own may not see that directory: "
     "then "
     "write the page elsewhere with --output, which is also how a page is passed on. The page is found as "
     "../share/torvaapi/tvsym-viewer.html from the program; './dev viewer' makes it. Up to 512 MiB.",
     "tvsym view instruments.sym\n"
     "tvsym view yesterday.sym today.sym\n"
     "tvsym view instruments.sym --output instruments.html",
     AddView},
    {"completion", "Print a completion script for a shell", "",
     "eval \"$(tvsym completion bash)\"\ntvsym completion zsh > ~/.zfunc/_tvsym\ntvsym completion fish | "
     "source",
     AddCompletion},
};

constexpr CommandSpec kHelp = {"help", "Print the manual page or the reference in Markdown", "",
                               "tvsym help man > tvsym.1\ntvsym help markdown > docs/tvsym.md", AddHelp};

std::string VersionText() {
    SymApiVersion version = {};
    tv_GetAPIVersion(&version);
    return fmt::format("tvsym, TorvaAPI {}.{}.{}.{}", version.version1, version.version2, version.version3,
                       version.version4);
}

constexpr size_t kHelpColumns = 100;
constexpr size_t kHelpIndent = 30;

std::string Wrapped(std::string_view text, size_t width) {
    std::string wrapped;
    size_t used = 0;
    while (!text.empty()) {
        const std::string_view word = text.substr(0, text.find(' '));
        if (used > 0 && used + 1 + word.size() > width) {
            wrapped += '\n';
            used = 0;
        } else if (used > 0) {
            wrapped += ' ';
            ++used;
        }
        wrapped += word;
        used += word.size();
        text.remove_prefix(std::min(word.size() + 1, text.size()));
    }
    return wrapped;
}

class HelpFormatter : public CLI::Formatter {
public:
    HelpFormatter() { column_width(kHelpIndent); }

    std::string make_option_desc(const CLI::Option* option) const override {
        return Wrapped(CLI::Formatter::make_option_desc(option), kHelpColumns - kHelpIndent);
    }

    std::string make_subcommand(const CLI::App* command) const override {
        std::ostringstream out;
        CLI::detail::format_help(out, "  " + command->get_name(),
                                 Wrapped(command->get_description(), kHelpColumns - kHelpIndent),
                                 kHelpIndent);
        return out.str();
    }
};

}  // namespace

std::span<const CommandSpec> Commands() { return kCommands; }

CommandLine::CommandLine() : app(kToolPurpose, kToolName) {
    app.set_version_flag("--version", VersionText());
    app.require_subcommand(1);
    app.allow_windows_style_options(false);  // a path may begin with a slash there, too
    app.formatter(std::make_shared<HelpFormatter>());
    app.footer(
        "Exit status: 0 done; 1 something is wrong in a file, or files differ; 2 a file cannot be read or "
        "written; 64 wrong usage.\ntvsym COMMAND --help tells more about each command.");
    for (const CommandSpec& spec : Commands()) {
        Add(spec);
    }
    Add(kHelp);
    commands.back().first->group("");
}

void CommandLine::Add(const CommandSpec& spec) {
    CLI::App* command = app.add_subcommand(spec.name, spec.description);
    std::string footer = Wrapped(spec.notes, kHelpColumns);
    footer += footer.empty() ? "" : "\n\n";
    footer += "Examples:";
    std::string_view examples = spec.examples;
    while (!examples.empty()) {
        const size_t end = examples.find('\n');
        footer += fmt::format("\n  {}", examples.substr(0, end));
        examples.remove_prefix(end == std::string_view::npos ? examples.size() : end + 1);
    }
    command->footer(footer);
    commands.emplace_back(command, spec.add(*command));
}

}  // namespace tvsym
