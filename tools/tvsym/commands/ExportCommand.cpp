// tvsym export: a symbol file as a database, or as CSV files with load scripts.
#include <fmt/format.h>

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <map>
#include <set>

#include "tools/tvsym/commands/Commands.h"
#include "tools/tvsym/commands/Options.h"
#include "tools/tvsym/input/Selection.h"
#include "tools/tvsym/input/SymbolFile.h"
#include "tools/tvsym/output/Export.h"
#include "tools/tvsym/output/Problems.h"
#include "tools/tvsym/output/SymbolPrinter.h"
#include "tools/tvsym/output/Terminal.h"

namespace tvsym {

namespace {

struct ExportOptions : FileOptions {
    SelectOptions select;
    std::string target;
    std::string format;
};

bool IsCsv(const ExportOptions& options) {
    if (!options.format.empty()) {
        return options.format == "csv";
    }
    std::error_code error;
    return options.target.ends_with('/') || std::filesystem::is_directory(options.target, error);
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

int RunExport(const ExportOptions& options) {
    const Dictionary dictionary = LoadDictionary(options.dictionary, options.file);
    TextCodec codec(options.encoding);
    ProgressBar progress(options.file, 0, options.quiet);
    const std::shared_ptr<const FileSource> file = OpenSource(options.file);
    Selection selection(options.select, options, file, dictionary);
    Reader reader(file, {options.Mode(), {}, progress.Callback(), 0, selection.Takes()});
    const bool csv = IsCsv(options);
    const DirectoryEntry* symbols = reader.Directory().Find(2);
    progress.SetTotal(reader.Directory().fileSize + (csv ? u64{2} : u64{1}) * (symbols ? symbols->size : 0));
    ExportSource source{reader, dictionary, codec, {}};
    FindWideColumns(source);
    const std::vector<Problem> problems =
        csv ? ExportCsv(source, options.target) : ExportSqlite(source, options.target);
    progress.Hide();
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
    AddArgument(app, "TARGET", options->target, "SQLite database to write, or directory for CSV files");
    AddValueOptions(app, *options);
    AddWhere(app, options->select);
    app.add_option("--format", options->format,
                   "sqlite or csv; without it csv where TARGET is a directory or ends with a slash")
        ->type_name("FORMAT")
        ->check(CLI::IsMember({"sqlite", "csv"}));
    return [options] { return RunExport(*options); };
}

}  // namespace tvsym
