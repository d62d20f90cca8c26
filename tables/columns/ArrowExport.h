// Columns through the Arrow C data interface.
#pragma once

#include <memory>
#include <vector>

#include "TorvaTables.h"
#include "tables/columns/Batch.h"

namespace torva::tables::columns {

enum class Form : u8 {
    flat,
    nested,  // with the levels below as lists of structs, without their `parent` columns
};

// A struct with the columns as its children; after each column that has own flags, a bool column NAME.own.
// Throws std::bad_alloc, with nothing left at `schema`.
void ExportSchema(const Batch& batch, Form form, ArrowSchema* schema);

// `rows` rows from `first` on, which share the batch and keep it alive. Throws std::bad_alloc, with nothing
// left at `array`.
void ExportArray(const std::shared_ptr<const Batch>& batch, u64 first, u64 rows, Form form,
                 ArrowArray* array);

// Whether both batches have the same schema.
bool SameSchema(const Batch& a, const Batch& b);

}  // namespace torva::tables::columns
