// Columns of the same number of rows, which are never changed once they are made.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "tables/columns/Column.h"

namespace torva::tables::columns {

struct Batch {
    std::vector<Column> columns;
    u64 rows = 0;

    // A level of a section, with the level below: row r owns rows starts[r] to starts[r + 1] of it.
    std::string name;  // of the rows, plural
    std::shared_ptr<const Batch> below;
    Buffer starts;  // rows + 1, with 32 bits each

    // A column of the level below that only says which row owns it is left out where rows are nested.
    bool hasParent = false;

    u64 Bytes() const {
        u64 bytes = starts.Room();
        for (const Column& column : columns) bytes += column.Bytes();
        return bytes;
    }
};

}  // namespace torva::tables::columns
