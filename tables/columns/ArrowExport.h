// Columns through the Arrow C data interface.
#pragma once

#include <memory>
#include <vector>

#include "TorvaTables.h"
#include "tables/columns/Column.h"

namespace torva::tables::columns {

// Columns of the same number of rows. Exported arrays share it and keep it alive.
struct Batch {
    std::vector<Column> columns;
    u64 rows = 0;
};

// A struct with the columns as its children; after each column that has own flags, a bool column NAME.own.
// Throws std::bad_alloc, with nothing left at `schema`.
void ExportSchema(const Batch& batch, ArrowSchema* schema);

// `rows` rows from `first` on. Throws std::bad_alloc, with nothing left at `array`.
void ExportArray(const std::shared_ptr<const Batch>& batch, u64 first, u64 rows, ArrowArray* array);

// Whether both batches have the same schema.
bool SameSchema(const Batch& a, const Batch& b);

}  // namespace torva::tables::columns
