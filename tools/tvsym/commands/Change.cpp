#include "tools/tvsym/commands/Change.h"

#include "tools/tvsym/input/SymbolFile.h"

namespace tvsym {

ChangeTarget ChangeOptions::Target() const {
    if (inPlace && !target.empty()) throw ToolError(kExitUsage, "TARGET and --in-place exclude each other");
    if (inPlace && file == "-") throw ToolError(kExitUsage, "the standard input cannot be changed in place");
    if (!inPlace && target.empty() && !dryRun) {
        throw ToolError(kExitUsage, "needs TARGET, the file to write, or --in-place");
    }
    return {file, inPlace ? file : target, inPlace, dryRun};
}

void AddTarget(CLI::App& app, ChangeOptions& options) {
    app.add_option("TARGET", options.target, "symbol file to write; - writes the standard output")
        ->type_name("");
    app.add_flag("--in-place", options.inPlace,
                 "change FILE itself: the new file takes its place when it is safe");
    app.add_flag("--dry-run", options.dryRun, "report what would be done, and write nothing");
}

void AddChangeOptions(CLI::App& app, ChangeOptions& options) {
    AddArgument(app, "FILE", options.file, kFileArgument);
    AddTarget(app, options);
    AddQuiet(app, options.quiet);
    AddValueOptions(app, options);
}

ChangedSource::ChangedSource(const ChangeOptions& options, const SelectOptions& select)
    : target(options.Target()),
      dictionary(LoadDictionary(options.dictionary, options.file)),
      source(OpenSource(options.file)),
      selection(select, options, source, dictionary),
      progress(options.file, 0, options.quiet),
      reader(source, {ReadMode::File, {}, progress.Callback()}) {
    if (const DirectoryEntry* entry = Symbols()) progress.SetTotal(entry->size);
}

const DirectoryEntry* ChangedSource::Symbols() const {
    const DirectoryEntry* const entry = reader.Directory().Find(2);
    return entry != nullptr && entry->Readable() ? entry : nullptr;
}

}  // namespace tvsym
