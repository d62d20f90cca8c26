// A file as a stream of Arrow batches, one of them in memory at a time.
#pragma once

#include <memory>
#include <string>

#include "TorvaTables.h"
#include "library/platform/Platform.h"
#include "tables/columns/Loader.h"

namespace torva::tables::columns {

// Reads the file once for the types of its columns. Throws LoadError, LimitError and std::bad_alloc, with
// nothing left at `stream`.
void OpenFileStream(std::unique_ptr<platform::File> file, std::string name, LoadOptions options,
                    ArrowArrayStream* stream);

}  // namespace torva::tables::columns
