#include "tools/tvsym/commands/Commands.h"

#include <fmt/format.h>

#include <algorithm>
#include <sstream>

#include "TorvaAPI.h"
#include "tools/tvsym/output/Terminal.h"

namespace tvsym {

namespace {

constexpr CommandSpec kCommands[] = {
    {"info", "Show the sections of a symbol file with offset, size and number of elements",
     "The id column is the directory's; a section that starts with another id is marked, and so are overlaps "
     "and "
     "bytes that belong to no section.",
     "tvsym info instruments.sym\ntvsym info --json instruments.sym\ntvsym info --schema instruments.sym > "
     "mine.json",
     AddInfo},
    {"symbols", "Print the symbols with their fields",
     "Default fields that a symbol does not carry itself are shown in parentheses, and have \"default\": "
     "true in "
     "JSON. With --fields the library delivers only these fields, and defaults are not marked.",
     "tvsym symbols instruments.sym --limit 10\ntvsym symbols instruments.sym --fields name,currency --json",
     AddSymbols},
    {"dump", "Print the content of all sections, or of some",
     "The json format is one document, from which build makes the same file; a csv folder works as well. "
     "Section 2 "
     "holds the fields that the records carry themselves; default fields are section 1. In ndjson and table, "
     "values "
     "are what the dictionary makes of them; csv has columns for both. Sections without a reader appear as "
     "bytes. "
     "Sections 18 and 21 are held in memory. --where and --limit select symbols; other sections are printed "
     "whole. With --columns or --order-by the output is a table of the symbols alone, in table, ndjson or "
     "csv.",
     "tvsym dump instruments.sym > instruments.json\n"
     "tvsym dump instruments.sym --format ndjson --section symbols --limit 2\n"
     "tvsym dump instruments.sym --format csv --output tables/\n"
     "tvsym dump instruments.sym --format csv --order-by 'first_tick DESC' --columns 'symbol, first_tick' "
     "--section symbols --output ticks.csv\n"
     "tvsym dump instruments.sym --format table --section 14 --section eidr-countries",
     AddDump},
    {"get", "Print some symbols with all their fields, defaults marked",
     "Every symbol with a text asked for is found. --where takes an SQL expression over the columns of the "
     "table "
     "symbols; see sql.",
     "tvsym get instruments.sym XAU-USD ZURN.CH-CHF\n"
     "tvsym get instruments.sym 00 --prefix --json\n"
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
     "tvsym sql instruments.sym 'SELECT name FROM instruments.sqlite_schema'",
     AddSql},
    {"stats", "Count elements, texts and values by section and by field",
     "Distinct values are counted exactly up to 16,384 a field, and above that within 3 percent (marked ~; "
     "within 10 "
     "percent from the 513th such field on); fields without a payload are not counted. Memory grows with the "
     "number "
     "of field ids only. --top and --by count in SQL; --columns are expressions whose values --top counts, "
     "and "
     "--order-by with --limit says which symbols are counted.",
     "tvsym stats instruments.sym\ntvsym stats instruments.sym --top 3\n"
     "tvsym stats instruments.sym --top 3 --columns 'venue, kind > 1 AS other'\n"
     "tvsym stats instruments.sym --by venue --where 'kind = 1'",
     AddStats},
    {"build", "Make a symbol file from JSON, JSON lines or CSV: what dump and export write, or your own",
     "A document of dump, or a folder of its CSV files, makes the same bytes again. A table of symbols has a "
     "column, "
     "or a key, for each field, whose types a dictionary gives: symbol,name,lot. docs/json.md describes the "
     "formats. "
     "A failed build leaves an old file as it was. The dictionary is written beside the file. Holds the file "
     "that "
     "is made, up to twice.",
     "tvsym build instruments.json instruments.sym\ntvsym build tables/ instruments.sym\n"
     "tvsym build lots.csv lots.sym --dictionary lots.json --default currency=USD\n"
     "tvsym dump old.sym | tvsym build - new.sym",
     AddBuild},
    {"check", "Find what is wrong in a symbol file, where, and what readers get there",
     "Compares sizes and counts with what is there, finds ids and symbols that occur twice and texts that do "
     "not "
     "decode, and reads every section in both read modes. After a broken element it continues where a size "
     "gives the "
     "place of the next one; where none does, the finding says that the rest of the section was not checked. "
     "Holds "
     "16 bytes for each symbol and, in the pass in memory mode, the file. Exit status: 0 sound, 1 findings, "
     "2 no "
     "reader can open it.",
     "tvsym check instruments.sym\ntvsym check instruments.sym --budget 4MiB --filter ids.txt", AddCheck},
    {"diff", "Show what was added, removed and changed from one symbol file to another",
     "Symbols are compared field by field, other sections by element; order does not matter. A default field "
     "is shown "
     "in parentheses where a symbol has its own in only one of the files. Sorts in 16 MiB for each file, and "
     "in "
     "temporary files. Exit status: 0 same, 1 different, 2 one of them cannot be read whole.",
     "tvsym diff yesterday.sym today.sym --summary\n"
     "tvsym diff yesterday.sym today.sym --section symbols --fields name,currency\n"
     "tvsym diff --json yesterday.sym today.sym\n"
     "tvsym diff --format patch yesterday.sym today.sym > update.patch",
     AddDiff},
    {"export",
     "Write a symbol file as an SQLite database, as a table of symbols, or as CSV files with load scripts",
     "In a database the table symbols has a column for each field, named by the dictionary, with defaults "
     "filled in; "
     "symbol_fields has the fields as they are stored; each level of the other sections is a table of its "
     "own. A "
     "table of symbols is CSV or JSON lines, which build reads. A folder has the CSV files of dump, "
     "symbols-wide.csv "
     "and a load script each for PostgreSQL, MySQL or MariaDB (both tried), and SQL Server (written by its "
     "documentation, never run). What is there under the name is replaced when all of it is written.",
     "tvsym export instruments.sym instruments.db\n"
     "sqlite3 instruments.db \"SELECT symbol, name FROM symbols WHERE currency = 'HKD'\"\n"
     "tvsym export instruments.sym - --columns 'symbol, lower(currency)' --limit 3\n"
     "tvsym export instruments.sym tables/ --dictionary fields.json",
     AddExport},
    {"edit", "Set or remove fields of symbols",
     "Only own fields change: a field that is set takes the value in its place, or comes last; where one is "
     "removed, a default field shows. Everything else is copied byte for byte, sections without a reader and "
     "damage included. The result is read back before it takes its place. Values are written as in --default "
     "of build.",
     "tvsym edit instruments.sym changed.sym --where \"currency = 'USD'\" --set kind=2\n"
     "tvsym edit instruments.sym --in-place --set kind=2 --remove description --dry-run",
     AddEdit},
    {"extract", "Write a part of a symbol file: some symbols, some sections",
     "Default fields go with the symbols, so that their values stay. Everything that is kept is copied byte "
     "for "
     "byte. Symbols after damage cannot be selected: with --where or --limit they are left out, and the exit "
     "status is 1.",
     "tvsym extract instruments.sym asia.sym --where \"venue IN ('HK', 'JP')\"\n"
     "tvsym extract instruments.sym symbols.sym --section symbols",
     AddExtract},
    {"sort", "Sort the symbols of a file",
     "By the bytes of the symbol, or by SQL expressions. Symbols that are equal there keep their order. "
     "Sorts in "
     "16 MiB and in temporary files; --order-by takes 4 bytes more for each symbol, and what SQLite takes to "
     "sort. Damage at the end of the symbols stays there.",
     "tvsym sort instruments.sym sorted.sym\ntvsym sort instruments.sym - --order-by 'venue, name' > "
     "sorted.sym",
     AddSort},
    {"apply", "Make the new file from the old one and a patch of diff",
     "The result is the new file byte for byte. A patch that was made from another file is refused, and a "
     "damaged "
     "one found out before the result takes its place.",
     "tvsym diff --format patch yesterday.sym today.sym > update.patch; tvsym apply yesterday.sym "
     "update.patch "
     "copy.sym",
     AddApply},
    {"merge", "Put several symbol files together",
     "The symbols come sorted. A symbol that several files have is a duplicate, unless its records are the "
     "same; "
     "several records of one file stay. Default fields that all files have alike stay; the others are "
     "written into "
     "the symbols that relied on them, so that no value changes. Elements of other sections are put together "
     "by "
     "key, with the same rule for whole elements (fields is last there); sections without keys come whole "
     "from one "
     "file. The first file's order of sections and everything else in it stays. Holds 16 MiB, and the other "
     "sections that differ.",
     "tvsym merge yesterday.sym today.sym both.sym --on-duplicate last", AddMerge},
    {"split", "Write a file for each value of a column",
     "Each file has the symbols with one value, in their order, the default fields and all other sections. "
     "In "
     "the names, characters other than letters, digits, '-', '_', '.' and those after ASCII are written as "
     "%XX; "
     "no value is none, an empty text empty. All files take their places together, once the last of them is "
     "complete; a file that "
     "exists is replaced. Up to 4,096 files; holds 24 MiB.",
     "tvsym split instruments.sym --by venue --output 'market-{venue}.sym'\n"
     "tvsym split instruments.sym --by 'substr(symbol, 1, 1)' --output '{}.sym' --dry-run",
     AddSplit},
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

constexpr CommandSpec kHelp = {"help", "Print what --help prints, or the manual page", "",
                               "tvsym help build\ntvsym help man > tvsym.1", AddHelp};

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
        "written; 64 wrong usage.\ntvsym COMMAND --help shows a command's arguments and options.");
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
    Look& look = Look::Chosen();
    command
        ->add_option("--color", look.color,
                     "auto, always or never; auto: on a terminal, unless NO_COLOR is set")
        ->type_name("WHEN")
        ->check(CLI::IsMember({"auto", "always", "never"}));
    if (command->get_option_no_throw("--json") != nullptr) {
        command->add_flag("--pretty", look.pretty, "with --json: a line for each value, indented");
    }
    command->add_flag("--no-pager", look.noPager, "on a terminal, print without a pager (PAGER, or less)");
    command->add_flag("--verbose", look.verbose, "time, and the rate of reading, on standard error");
}

}  // namespace tvsym
