// Any section as tables, one for each level of its description (format/Sections.h).
//
// The columns of a level are those of its description; below level 0 a column `parent` comes first, with the
// row of the level above. The value of a typed field is two columns, of which one is null: `number` and
// `text`.
#pragma once

#include <memory>

#include "tables/columns/Batch.h"
#include "tables/columns/Loader.h"
#include "tables/source/FileSource.h"

namespace torva::tables::columns {

struct LoadedSection {
    std::shared_ptr<const Batch> batch;  // level 0
    Damage damage;
};

// Rows before damage are kept. `id` must have a reader. Throws Error, LoadError, LimitError and
// std::bad_alloc.
LoadedSection LoadSection(std::shared_ptr<const FileSource> source, u16 id, const LoadOptions& options);

// The section directory, a row for each entry. Throws as LoadSection.
LoadedSection LoadDirectory(const FileSource& source, const LoadOptions& options);

}  // namespace torva::tables::columns
