// tvsym export: a symbol file as a database, or as CSV files with load scripts.
#include <fmt/format.h>

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <map>
#include <set>

#include "tools/tvsym/commands/Commands.h"
#include "tools/tvsym/commands/Options.h"
#include "tools/tvsym/input/Compression.h"
#include "tools/tvsym/input/Schema.h"
#include "tools/tvsym/input/Selection.h"
#include "tools/tvsym/input/SymbolFile.h"
#include "tools/tvsym/output/DictionaryFile.h"
#include "tools/tvsym/output/Export.h"
#include "tools/tvsym/output/Problems.h"
#include "tools/tvsym/output/QueryResult.h"
#include "tools/tvsym/output/Replacement.h"
#include "tools/tvsym/output/SymbolPrinter.h"
#include "tools/tvsym/output/Terminal.h"

namespace tvsym {

namespace {

struct ExportOptions : FileOptions {
    SelectOptions select;
    std::string target;
    std::string format;
};

enum class ExportForm : u8 { Database, Folder, Csv, Lines };

// By --format, else by the target's name.
ExportForm FormOf(const ExportOptions& options) {
    std::error_code error;
    const bool folder = options.target.ends_with('/') || std::filesystem::is_directory(options.target, error);
    const std::string plain = NameWithout(CompressionNamed(options.target), options.target);
    const std::string ending = std::filesystem::path(plain).extension().string();
    const auto is = [&](std::initializer_list<const char*> endings) {
        return std::find(endings.begin(), endings.end(), ending) != endings.end();
    };
    if (options.format == "sqlite") return ExportForm::Database;
    if (options.format == "ndjson") return ExportForm::Lines;
    if (options.format == "csv") {
        return options.target == "-" || (!folder && ending == ".csv") ? ExportForm::Csv : ExportForm::Folder;
    }
    if (folder) return ExportForm::Folder;
    if (is({".db", ".sqlite", ".sqlite3"})) return ExportForm::Database;
    if (is({".csv"}) || options.target == "-") return ExportForm::Csv;
    if (is({".ndjson", ".jsonl"})) return ExportForm::Lines;
    throw ToolError(
        kExitUsage,
        fmt::format(
            "{}: no format follows from this name; give --format, or a name in .db, .csv or .ndjson, or DIR/",
            options.target));
}

std::string Lower(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return text;
}

// A first walk over the symbols: which fields there are, and what their values have in common.
void FindWideColumns(ExportSource& source) {
    std::map<u16, WideColumn> columns;
    source.reader.WalkSymbols([&](const SymbolView& symbol) {
        for (const SymbolField& field : symbol.fields) {
            const auto [found, isNew] = columns.try_emplace(field.id);
            WideColumn& column = found->second;
            if (!isNew && !column.allNumbers && !column.allDates && !column.allFloats) {
                continue;  // texts, and nothing can change that
            }
            const SqlValue value =
                FieldValue(source.dictionary, source.codec, field.id, field.tag, field.value);
            const ValueType type = source.dictionary.TypeOf(field.id, field.tag, field.value.size());
            const bool date = type == ValueType::Date;
            const bool text = std::holds_alternative<std::string>(value);
            const bool digits = text && (type == ValueType::Unsigned || type == ValueType::Hex);
            const bool nothing = std::holds_alternative<std::monostate>(value);
            column.allNumbers =
                column.allNumbers && (nothing || digits || std::holds_alternative<i64>(value));
            column.allDates = column.allDates && (nothing || (date && text));
            column.allFloats = column.allFloats && (nothing || std::holds_alternative<double>(value));
            column.above63Bits = column.above63Bits || digits;
        }
        return true;
    });
    std::set<std::string> names = {"symbol", "symbol_no"};
    for (auto& [id, column] : columns) {
        const FieldDefinition* definition = source.dictionary.Find(id);
        column.id = id;
        column.name = definition ? definition->name : fmt::format("field_{}", id);
        while (!names.insert(Lower(column.name)).second) {
            column.name += fmt::format("_{}", id);
        }
        source.wide.push_back(column);
    }
}

// One row for each symbol, as a query returns them.
int ExportFlat(const ExportOptions& options, bool lines, const Dictionary& dictionary,
               const std::shared_ptr<const FileSource>& file) {
    SelectOptions select = options.select;
    select.everyField = true;
    Selection selection(select, options, file, dictionary);
    SqlQuery rows = selection.Columns();
    const char* const format = lines ? "ndjson" : "csv";
    if (options.target == "-") {
        Output out;
        WriteQuery(rows, out, format);
        out.Close();
    } else {
        Replacement replacement(options.target, options.file);
        Output out(replacement.Path(), options.target);
        WriteQuery(rows, out, format);
        out.Close();
        replacement.TakePlace();
        Reader reader(file, {options.Mode()});
        WriteDictionary(options.target, FindSchema(reader, dictionary, false));
    }
    ReportEncoding(options.file, selection.AllDecoded(), options.encoding);
    return ReportProblems(file->Name(), selection.Problems());
}

int RunExport(const ExportOptions& options) {
    const ExportForm form = FormOf(options);
    const Dictionary dictionary = LoadDictionary(options.dictionary, options.file);
    TextCodec codec(options.encoding);
    const std::shared_ptr<const FileSource> file = OpenSource(options.file);
    if (form == ExportForm::Csv || form == ExportForm::Lines) {
        return ExportFlat(options, form == ExportForm::Lines, dictionary, file);
    }
    if (options.select.IsQuery()) {
        throw ToolError(kExitUsage,
                        "--columns and --order-by need a single table: TARGET in .csv or .ndjson, or -");
    }
    if (options.target == "-")
        throw ToolError(kExitUsage, "a database cannot be written to the standard output");
    ProgressBar progress(options.file, 0, options.quiet);
    Selection selection(options.select, options, file, dictionary);
    Reader reader(file, {options.Mode(), {}, progress.Callback(), 0, selection.Takes()});
    const bool csv = form == ExportForm::Folder;
    const DirectoryEntry* symbols = reader.Directory().Find(2);
    progress.SetTotal(reader.Directory().fileSize + (csv ? u64{2} : u64{1}) * (symbols ? symbols->size : 0));
    ExportSource source{reader, dictionary, codec, {}};
    FindWideColumns(source);
    const std::vector<Problem> problems =
        csv ? ExportCsv(source, options.target) : ExportSqlite(source, options.target);
    progress.Hide();
    ReportEncoding(options.file, codec.AllDecoded(), options.encoding);
    return ReportProblems(reader, problems);
}

}  // namespace

std::vector<const SectionInfo*> ReadableSections(const Reader& reader) {
    std::vector<const SectionInfo*> sections;
    for (const DirectoryEntry& entry : reader.Directory().entries) {
        const SectionInfo* section = FindSection(entry.id);
        if (section && entry.Readable()) {
            sections.push_back(section);
        }
    }
    return sections;
}

RunCommand AddExport(CLI::App& app) {
    auto options = std::make_shared<ExportOptions>();
    AddFileOptions(app, *options);
    AddArgument(
        app, "TARGET", options->target,
        "SQLite database (.db, .sqlite), a table of symbols (.csv, .ndjson; - for the standard output), or "
        "DIR/ for CSV files of all sections");
    AddValueOptions(app, *options);
    AddSelection(app, options->select);
    app.add_option("--format", options->format, "sqlite, csv or ndjson; without it TARGET's name decides")
        ->type_name("FORMAT")
        ->check(CLI::IsMember({"sqlite", "csv", "ndjson"}));
    return [options] { return RunExport(*options); };
}

}  // namespace tvsym
