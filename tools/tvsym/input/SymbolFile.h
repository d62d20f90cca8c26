// The files that commands read: symbol files, and the dictionaries that go with them.
#pragma once

#include <memory>
#include <string>

#include "tables/dictionary/Dictionary.h"
#include "tables/source/FileSource.h"
#include "tools/tvsym/Tool.h"

namespace tvsym {

// Opens a symbol file, shared. "-" is the standard input, which is copied to a temporary file that goes away
// with the result. Throws Error or ToolError.
std::shared_ptr<const torva::tables::FileSource> OpenSource(const std::string& path);

// Reads the dictionary in `path`; when that is empty, the one beside the symbol file where there is one, else
// returns none. Throws Error or ToolError.
torva::tables::Dictionary LoadDictionary(const std::string& path, const std::string& symbolFile);

}  // namespace tvsym
