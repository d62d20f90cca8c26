// Tables made of others: some rows and columns of a table, and the differences between two files.
#pragma once

#include <memory>
#include <optional>
#include <vector>

#include "tables/columns/Table.h"
#include "tables/compare/Comparison.h"
#include "tables/dictionary/Dictionary.h"

namespace torva::python {

using TableOwner = std::unique_ptr<TvtTable, TvtTable::Release>;

// A table with these rows of `from` in this order, which must exist; none: all of them. Its values are
// copies. It has these columns of `from`, which must exist, and the report of `from` with its damage.
// Throws std::bad_alloc, and LimitError for texts that 32 bits do not address.
TableOwner Select(const TvtTable& from, const std::optional<std::vector<u32>>& rows,
                  const std::vector<u32>& columns);

// What Next of the comparison returns, a row for each value:
//
//     section u16 | name text | change text | key text | field text | old text | new text
//
// `key` is the symbol or the path of a record. `field`, `old` and `new` are null where there is no value.
// Throws std::bad_alloc, LimitError and what the comparison throws.
TableOwner DifferenceTable(tables::Comparison& comparison, const tables::Dictionary& dictionary,
                           TextCodec& codec);

}  // namespace torva::python
