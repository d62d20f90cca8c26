// stats --top and --by: which values there are, and how often.
#pragma once

#include "tools/tvsym/input/Selection.h"

namespace tvsym {

struct TopOptions {
    u64 top = 0;     // values of each field; 0: not asked for
    std::string by;  // only this field
};

// Prints the most frequent values of the fields, with bars, or as a JSON object for each field on a line of
// its own. Returns the exit status.
int PrintTopValues(const TopOptions& top, SelectOptions select, const FileOptions& file, bool json);

}  // namespace tvsym
