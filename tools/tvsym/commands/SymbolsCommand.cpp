// tvsym symbols: every symbol with its fields.
#include <fmt/format.h>

#include "tools/tvsym/commands/Commands.h"
#include "tools/tvsym/commands/Options.h"
#include "tools/tvsym/commands/SelectedSymbols.h"
#include "tools/tvsym/input/SymbolFile.h"
#include "tools/tvsym/output/Problems.h"
#include "tools/tvsym/output/SymbolPrinter.h"
#include "tools/tvsym/output/Terminal.h"

namespace tvsym {

namespace {

struct SymbolsOptions : FileOptions {
    bool json = false;
    std::vector<std::string> fields;
    SelectOptions select;
};

int RunSymbols(const SymbolsOptions& options) {
    const Dictionary dictionary = LoadDictionary(options.dictionary, options.file);
    TextCodec codec(options.encoding);
    const std::shared_ptr<const FileSource> source = OpenSource(options.file);
    Selection selection(options.select, options, source, dictionary);
    if (options.select.IsQuery()) {
        return PrintSelected(selection, options.select, options, source, dictionary, options.json,
                             FieldIds(options.fields, dictionary));
    }
    ProgressBar progress(options.file, 0, options.quiet || IsOutputTerminal());
    Reader reader(source, {options.Mode(), FieldIds(options.fields, dictionary), progress.Callback(), 0,
                           selection.Takes()});
    const DirectoryEntry* entry = reader.Directory().Find(2);
    progress.SetTotal(entry ? entry->size : 0);
    Output out;
    SymbolPrinter printer(out, dictionary, codec, options.json);
    u64 left = options.select.limit ? options.select.limit : UINT64_MAX;
    const WalkResult walk = reader.WalkSymbols([&](const SymbolView& symbol) {
        printer.Print(symbol);
        return --left > 0;
    });
    out.Close();
    progress.Hide();
    ReportEncoding(options.file, codec.AllDecoded(), options.encoding);
    return ReportProblems(reader, {1, 2}, walk.problems);
}

}  // namespace

RunCommand AddSymbols(CLI::App& app) {
    auto options = std::make_shared<SymbolsOptions>();
    AddFileOptions(app, *options);
    AddValueOptions(app, *options);
    AddFields(app, options->fields);
    AddSelection(app, options->select);
    app.add_flag("--json", options->json, "one JSON object a line");
    return [options] { return RunSymbols(*options); };
}

}  // namespace tvsym
