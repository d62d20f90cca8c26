// What `build` reads: a JSON document, and a dictionary beside it, as a symbol file's data.
#pragma once

#include <functional>
#include <iosfwd>
#include <memory>
#include <string>

#include "symwrite/Json.h"
#include "text/Text.h"
#include "tools/tvsym/Tool.h"
#include "tools/tvsym/output/Spool.h"
#include "tools/tvsym/output/Terminal.h"

namespace tvsym {

struct SourceOptions {
    std::string source;  // "-" for the standard input; a folder holds CSV files
    std::string dictionary;
    std::string encoding = "UTF-8";  // of the texts in the symbol file
    bool damaged = false;            // takes sources that are marked as dumped from a damaged file
};

// A file as it was read: of its section 2, where that came from a flat table, the records.
struct FlatFile {
    symwrite::File file;
    std::shared_ptr<Spool> symbols;  // null: they are in the file, or there are none
    size_t index = 0;                // of that section, which is empty in the file
};

// Where flat symbols go: an empty section 2 of the file, the first time.
Spool& FlatRecords(FlatFile& file);

// Reads a document. What it says of fields is added to the dictionary. What is wrong in the content goes to
// `errors`. Throws ToolError with kExitUnreadable for a file that cannot be read.
symwrite::File ReadJsonSource(const SourceOptions& options, symwrite::FieldDictionary& dictionary,
                              symwrite::JsonErrors& errors, ProgressBar& progress);

// Reads JSON lines: elements of sections as dump --format ndjson writes them, or {"symbol":"X","lot":100}.
FlatFile ReadLinesSource(const SourceOptions& options, const symwrite::FieldDictionary& dictionary,
                         symwrite::JsonErrors& errors, ProgressBar& progress);

// Calls `read` with the file, or the standard input, opened. Throws ToolError with kExitUnreadable.
void WithSource(const std::string& path, const std::function<void(std::istream&)>& read,
                ProgressBar* progress = nullptr);

// Bytes of a file; 0 if it has no size.
u64 SourceSize(const std::string& path);

// The name of a source for messages.
std::string SourceName(const std::string& source);

}  // namespace tvsym
