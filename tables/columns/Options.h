// TvtOptions as the loader wants them.
#pragma once

#include <filesystem>

#include "TorvaTables.h"
#include "tables/columns/Loader.h"

namespace torva::tables::columns {

std::filesystem::path PathOf(const char* utf8);

// `path` is that of the symbol file, empty if there is none. Throws LoadError.
LoadOptions ReadOptions(const TvtOptions* options, const char* path);

}  // namespace torva::tables::columns
