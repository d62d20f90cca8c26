// Tables for polars, whose texts are views.
#pragma once

#include "TorvaTables.h"

namespace torva::python {

// A stream of the whole table in one batch. Texts without a dictionary have Arrow's view layout:
//
//   view   u32 size | up to 12 bytes: the text, zeros added | longer: 4 bytes of it, u32 buffer, u32 offset
//
// Longer texts lie in the table's own memory. Polars takes such columns as they are, and builds the views of
// others at two to three times the cost. Throws std::bad_alloc.
void ExportViews(const TvtTable* table, ArrowArrayStream* stream);

}  // namespace torva::python
