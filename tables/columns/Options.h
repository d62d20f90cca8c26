// TvtOptions as the loader wants them.
#pragma once

#include "TorvaTables.h"
#include "tables/columns/Loader.h"

namespace torva::tables::columns {

// `path` is that of the symbol file, empty where there is none. Throws LoadError.
LoadOptions ReadOptions(const TvtOptions* options, const char* path);

}  // namespace torva::tables::columns
