// What `symbols` and `get` print of symbols in an order of their own, or as columns.
#pragma once

#include "tools/tvsym/input/Selection.h"

namespace tvsym {

// Prints what the selection delivers, and what is wrong in the file. Returns the exit status; `any`, where
// given, says whether there was a symbol. `filter` are the fields to print; empty: all.
int PrintSelected(Selection& selection, const SelectOptions& select, const FileOptions& file,
                  const std::shared_ptr<const FileSource>& source, const Dictionary& dictionary, bool json,
                  const std::vector<u16>& filter, bool* any = nullptr);

}  // namespace tvsym
