#include "tools/tvsym/commands/BuildCommand.h"

#include <fmt/format.h>

#include <filesystem>

#include "tools/tvsym/commands/Commands.h"
#include "tools/tvsym/commands/Options.h"
#include "tools/tvsym/input/Compression.h"
#include "tools/tvsym/input/CsvSource.h"
#include "tools/tvsym/input/SymbolFile.h"
#include "tools/tvsym/output/CsvFolder.h"
#include "tools/tvsym/output/DictionaryFile.h"
#include "tools/tvsym/output/OutputStream.h"
#include "tools/tvsym/output/Problems.h"
#include "tools/tvsym/output/Replacement.h"
#include "tools/tvsym/output/Rewrite.h"
#include "tools/tvsym/output/Terminal.h"

namespace tvsym {

namespace {

void WriteTo(Output& output, const FlatFile& built) {
    if (built.symbols) {
        const symwrite::Bytes bytes = symwrite::Write(built.file);
        const auto source = FileSource::FromBytes(bytes, "the file that is built");
        const FileDirectory directory = FileDirectory::Read(*source);
        Rewrite whole(source, directory);
        whole.ReplaceSection(directory.entries[built.index], built.symbols);
        whole.Write(output);
    } else {
        OutputStream stream(output);
        symwrite::Write(built.file, stream);
    }
    output.Close();
}

// Moves the records of flat symbols into the file.
void Join(FlatFile& built) {
    symwrite::Bytes records;
    built.symbols->Read(
        [&](std::string_view bytes) { records.insert(records.end(), bytes.begin(), bytes.end()); });
    built.file.sections[built.index].raw = std::move(records);
    built.symbols.reset();
}

void PrintErrors(const std::string& name, const symwrite::JsonErrors& errors) {
    TextCodec plain;  // a document must not play with the terminal
    for (const symwrite::JsonError& error : errors.First()) {
        const std::string where = error.where.empty() ? "" : plain.Display(error.where) + ": ";
        PrintError(fmt::format("tvsym: {}: {}{}", name, where, plain.Display(error.what)));
    }
    if (errors.Count() > errors.First().size()) {
        PrintError(
            fmt::format("tvsym: {}: {} more like these", name, errors.Count() - errors.First().size()));
    }
}

// json, csv or ndjson.
std::string FormatOf(const BuildOptions& options, bool folder) {
    if (!options.format.empty()) return options.format;
    const std::string plain = NameWithout(CompressionNamed(options.source), options.source);
    const std::string ending = std::filesystem::path(plain).extension().string();
    return folder || ending == ".csv" ? "csv" : ending == ".ndjson" || ending == ".jsonl" ? "ndjson" : "json";
}

}  // namespace

int RunBuild(const BuildOptions& options) {
    symwrite::JsonErrors errors;
    const std::string source = SourceName(options.source);
    std::error_code ignored;
    const TextCodec known(options.encoding);  // throws for one that is not, before anything is read
    const bool folder = std::filesystem::is_directory(options.source, ignored);
    const std::string inFolder = (std::filesystem::path(options.source) / kCsvDictionary).string();
    const bool found = options.dictionary.empty() && folder && std::filesystem::exists(inFolder, ignored);
    symwrite::FieldDictionary dictionary =
        LoadDictionary(found ? inFolder : options.dictionary, options.source).Fields();
    ProgressBar progress(source, SourceSize(options.source), options.quiet);
    const std::string format = FormatOf(options, folder);
    FlatFile built = format == "csv" ? ReadCsvSource(options, dictionary, errors, progress)
                     : format == "ndjson"
                         ? ReadLinesSource(options, dictionary, errors, progress)
                         : FlatFile{ReadJsonSource(options, dictionary, errors, progress), {}};
    symwrite::File& file = built.file;
    progress.Hide();
    if (errors.Empty()) {
        try {
            TextCodec codec(options.encoding);
            symwrite::FromJsonOptions reading;
            reading.codec = &codec;
            reading.dictionary = dictionary;
            if (built.symbols && options.defaults.Any()) Join(built);
            AddDefaults(file, options.defaults, reading);
            symwrite::Layout(file);
        } catch (const symwrite::WriteError& error) {
            errors.Add("", error.what());
        }
    }
    if (!errors.Empty()) {
        PrintErrors(source, errors);
        return kExitFindings;
    }
    if (options.target == "-") {
        Output output;
        WriteTo(output, built);
        return kExitOk;
    }
    Replacement::RefuseSource(options.target, options.dictionary);
    for (const auto& entry : std::filesystem::directory_iterator(options.source, ignored)) {
        Replacement::RefuseSource(options.target, entry.path().string());
    }
    Replacement replacement(options.target, options.source);
    Output output(replacement.Path(), options.target);
    WriteTo(output, built);
    replacement.TakePlace();
    if (std::filesystem::is_regular_file(options.target, ignored))
        WriteDictionary(options.target, dictionary);
    return kExitOk;
}

RunCommand AddBuild(CLI::App& app) {
    const auto options = std::make_shared<BuildOptions>();
    AddArgument(app, "SOURCE", options->source,
                "JSON document, JSON lines (.ndjson), CSV table of symbols (.csv) or folder of CSV files; - "
                "reads the "
                "standard input");
    AddArgument(app, "FILE", options->target, "symbol file to make; - writes the standard output");
    app.add_option("--format", options->format, "json, csv or ndjson; without it SOURCE's name decides")
        ->type_name("FORMAT")
        ->check(CLI::IsMember({"json", "csv", "ndjson"}));
    app.add_option("--default", options->defaults.chosen,
                   "a default field, which symbols with this value, or without the field, do not store; may "
                   "be repeated")
        ->type_name("FIELD=VALUE")
        ->allow_extra_args(false);
    app.add_flag(
        "--optimize-defaults", options->defaults.optimize,
        "make the most frequent value of a field that all symbols have its default, where that saves bytes");
    app.add_option("--dictionary", options->dictionary,
                   "names and types of the field ids, a JSON file, beside a dictionary in SOURCE; "
                   "SOURCE.fields.json when "
                   "it is there")
        ->type_name("JSON");
    AddEncoding(app, options->encoding, "in the symbol file");
    app.add_flag("--damaged", options->damaged,
                 "take a SOURCE that dump marked as incomplete, since its file was damaged");
    AddQuiet(app, options->quiet);
    return [options] { return RunBuild(*options); };
}

}  // namespace tvsym
