// What the commands that make a changed copy of a symbol file share: FILE, TARGET or --in-place, --dry-run.
#pragma once

#include "tools/tvsym/commands/Options.h"
#include "tools/tvsym/input/Selection.h"
#include "tools/tvsym/output/ChangedFile.h"
#include "tools/tvsym/output/Terminal.h"

namespace tvsym {

struct ChangeOptions : FileOptions {
    std::string target;
    bool inPlace = false;
    bool dryRun = false;

    // Throws ToolError with kExitUsage where there is no target, or two.
    ChangeTarget Target() const;
};

void AddTarget(CLI::App& app, ChangeOptions& options);  // TARGET, --in-place, --dry-run
void AddChangeOptions(CLI::App& app, ChangeOptions& options);

// A file that a command changes, opened: read through a buffer, so that memory stays bounded.
struct ChangedSource {
    ChangedSource(const ChangeOptions& options, const SelectOptions& select);

    ChangeTarget target;
    Dictionary dictionary;
    std::shared_ptr<const FileSource> source;
    Selection selection;
    ProgressBar progress;
    Reader reader;

    // The entry of section 2; null where readers find none.
    const DirectoryEntry* Symbols() const;
};

}  // namespace tvsym
