// Symbols of an Arrow stream as a symbol file.
#pragma once

#include "TorvaTables.h"
#include "tables/columns/Loader.h"

namespace torva::tables::columns {

// Writes `path`, with what else `base` has; null for nothing else. Does not release the stream. Throws
// LoadError and std::bad_alloc, and leaves a file that was there as it was.
void WriteSymbols(const char* path, const char* base, ArrowArrayStream& symbols, const LoadOptions& options);

}  // namespace torva::tables::columns
