// A file as a stream of Arrow batches, one of them in memory at a time.
#pragma once

#include <memory>
#include <string>

#include "TorvaTables.h"
#include "library/platform/Platform.h"
#include "tables/columns/Loader.h"

namespace torva::tables::columns {

// Reads the file once for the types of its columns, and returns the damage that ends the stream. Throws
// LoadError, LimitError and std::bad_alloc, with nothing left at `stream`.
Damage OpenFileStream(std::unique_ptr<platform::File> file, std::string name, LoadOptions options,
                      ArrowArrayStream* stream);

// Where to cut the records of a file so that each part but the last has at least `partBytes` bytes: offsets
// for LoadOptions.firstRecord and endRecord, ascending. Only record sizes are looked at; where they leave the
// section or the file, which damage does, there are no further cuts. Throws LoadError and std::bad_alloc.
std::vector<u64> CutRecords(const Source& source, u64 partBytes);

}  // namespace torva::tables::columns
