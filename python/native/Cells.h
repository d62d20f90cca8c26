// Cells of a table as Python objects.
#pragma once

#include <nanobind/nanobind.h>

#include "tables/columns/Column.h"

namespace torva::python {

// Rows `first` to `last` of a column, which must have them: bool, int, float, datetime.date, str, bytes or a
// list of int; None for null.
nanobind::list Cells(const tables::columns::Column& column, u64 first, u64 last);

// The same of the flags whether the values are the records' own, which the column must have.
nanobind::list OwnFlags(const tables::columns::Column& column, u64 first, u64 last);

// UTF-8 as str. Bytes that are not UTF-8 become \xHH.
nanobind::object Text(std::string_view utf8);

}  // namespace torva::python
