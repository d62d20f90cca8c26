// tvsym build: makes a symbol file.
#pragma once

#include "tools/tvsym/Tool.h"
#include "tools/tvsym/input/Defaults.h"
#include "tools/tvsym/input/JsonSource.h"

namespace tvsym {

struct BuildOptions : SourceOptions {
    std::string target;  // "-" for the standard output
    std::string format;  // "json", "csv", "ndjson"; empty: by the name of the source
    DefaultOptions defaults;
    bool quiet = false;
};

// Writes the file beside its place and renames it, so that whatever fails leaves an old file as it was. Gives
// kExitOk, or kExitFindings when the content is wrong, which is reported on stderr; throws ToolError for all
// else.
int RunBuild(const BuildOptions& options);

}  // namespace tvsym
