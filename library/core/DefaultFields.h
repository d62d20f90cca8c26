// Section 1, the default fields, and the division of a file's memory.
#pragma once

#include "format/Types.h"
#include "library/core/FileReader.h"
#include "library/core/UtilityData.h"

namespace torva {

// Divides `memoryBudget` between the default fields, which it loads, and the per-call arena of `file`.
// SYM_OK, SYM_ERR_PARAM (the budget is too small), SYM_ERR_NO_MEMORY or SYM_ERR_OPEN (the fields of section 1
// cannot be read to their end).
i32 PrepareMemory(FileReader& file, UtilityData& defaults, u32 memoryBudget);

}  // namespace torva
