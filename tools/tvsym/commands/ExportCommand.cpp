// tvsym export: a symbol file as a database, or as CSV files with load scripts.
#include <fmt/format.h>

#include <algorithm>
#include <cctype>
#include <cmath>
#include <filesystem>
#include <map>
#include <set>

#include "tools/tvsym/commands/Commands.h"
#include "tools/tvsym/commands/Options.h"
#include "tools/tvsym/output/Export.h"
#include "tools/tvsym/output/SymbolPrinter.h"
#include "tools/tvsym/output/Terminal.h"

namespace tvsym {

namespace {

struct ExportOptions : FileOptions {
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
        for (const FieldView& field : symbol.fields) {
            const auto [found, isNew] = columns.try_emplace(field.id);
            WideColumn& column = found->second;
            if (!isNew && !column.allNumbers && !column.allDates && !column.allFloats) {
                continue;  // texts, and nothing can change that
            }
            const SqlValue value = FieldValue(source, field.id, field.tag, field.value);
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
    const Dictionary dictionary = Dictionary::Load(options.dictionary, options.file);
    TextCodec codec(options.encoding);
    ProgressBar progress(options.file, 0, options.quiet);
    Reader reader(options.file, {options.Mode(), {}, &progress});
    const bool csv = IsCsv(options);
    const DirectoryEntry* symbols = reader.Raw().Find(2);
    progress.SetTotal(reader.Raw().fileSize + (csv ? u64{2} : u64{1}) * (symbols ? symbols->size : 0));
    ExportSource source{reader, dictionary, codec, {}};
    FindWideColumns(source);
    const std::vector<Problem> problems =
        csv ? ExportCsv(source, options.target) : ExportSqlite(source, options.target);
    progress.Hide();
    std::vector<u16> ids;
    for (const DirectoryEntry& entry : reader.Raw().directory) {
        ids.push_back(entry.id);
    }
    return ReportProblems(reader, ids, problems);
}

SqlValue Number(u64 number) {
    return number <= INT64_MAX ? SqlValue(static_cast<i64>(number)) : SqlValue(fmt::format("{}", number));
}

SqlValue Float(std::string_view payload, TextCodec& codec) {
    const double number = PayloadFloat(payload);
    return std::isfinite(number) ? SqlValue(number) : SqlValue(ValueText(ValueType::Float, payload, codec));
}

}  // namespace

SqlValue TextValue(const ExportSource& source, std::string_view bytes) {
    const std::optional<std::string_view> text = source.codec.Decode(bytes);
    return text ? SqlValue(std::string(*text)) : SqlValue(Blob{std::string(bytes)});
}

SqlValue FieldValue(const ExportSource& source, u16 id, u8 tag, std::string_view payload) {
    const ValueType type = source.dictionary.TypeOf(id, tag, payload.size());
    if (type == ValueType::Text) {
        return TextValue(source, payload);
    }
    if (payload.empty()) {
        return {};
    }
    const FieldDefinition* definition = source.dictionary.Find(id);
    if (type == ValueType::Float) {
        return Float(payload, source.codec);
    }
    if (type == ValueType::Signed) {
        return PayloadSigned(payload);
    }
    if (type == ValueType::Date) {
        const std::string date = ValueText(type, payload, source.codec);
        return date.find('-') == std::string::npos ? Number(PayloadNumber(payload)) : SqlValue(date);
    }
    if (type == ValueType::Hex && definition && definition->type == ValueType::Hex) {
        return Blob{std::string(payload)};
    }
    return Number(PayloadNumber(payload));
}

std::vector<const SectionInfo*> ReadableSections(const Reader& reader) {
    std::vector<const SectionInfo*> sections;
    for (const DirectoryEntry& entry : reader.Raw().directory) {
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
    app.add_option("--format", options->format,
                   "sqlite or csv; without it csv where TARGET is a directory or ends with a slash")
        ->type_name("FORMAT")
        ->check(CLI::IsMember({"sqlite", "csv"}));
    return [options] { return RunExport(*options); };
}

}  // namespace tvsym
