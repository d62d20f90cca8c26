// The files that commands read: symbol files, and the dictionaries that go with them.
#pragma once

#include <memory>
#include <string>

#include "tables/dictionary/Dictionary.h"
#include "tables/source/FileSource.h"
#include "tools/tvsym/Tool.h"

namespace tvsym {

// Opens a symbol file, shared. "-" is the standard input, which like a pipe and a compressed file is copied
// to a temporary file that goes away with the result. Throws Error or ToolError.
std::shared_ptr<const torva::tables::FileSource> OpenSource(const std::string& path);

// Reads the dictionary in `path`, and throws Error or ToolError where it cannot. When `path` is empty, the
// one beside the symbol file where there is one, else none; one that cannot be read is a message, and left
// out.
torva::tables::Dictionary LoadDictionary(const std::string& path, const std::string& symbolFile);

// Says on stderr that texts did not decode, if some did not, and which option there is.
void ReportEncoding(const std::string& file, bool allDecoded, const std::string& encoding);

}  // namespace tvsym
