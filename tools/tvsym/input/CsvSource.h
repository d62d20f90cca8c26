// CSV as a symbol file's data: a folder of the files that dump --format csv writes, one for each section,
// named like it (other files are passed over); or one such file, or a table of symbols with a column for each
// field.
#pragma once

#include "tools/tvsym/Tool.h"
#include "tools/tvsym/input/JsonSource.h"

namespace tvsym {

// Sections come ascending by id. What is wrong goes to `errors`, whose places begin with file and line.
// Throws ToolError with kExitUnreadable for a file that cannot be read or a folder without such files.
FlatFile ReadCsvSource(const SourceOptions& options, const symwrite::FieldDictionary& dictionary,
                       symwrite::JsonErrors& errors, ProgressBar& progress);

}  // namespace tvsym
