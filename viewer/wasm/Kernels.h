// Operations over whole columns that would be too slow one value at a time: sorting, counting, searching.
#pragma once

#include <string_view>

#include "format/Types.h"

namespace viewer {

using torva::i32;
using torva::i64;
using torva::u16;
using torva::u32;
using torva::u64;
using torva::u8;

// A column in Arrow's layout. The pointers belong to the table that the column is part of.
struct ColumnView {
    enum class Kind : u8 { Null, Bool, Unsigned, Signed, Float, Text, Fixed, List };

    Kind kind = Kind::Null;
    u32 width = 0;                 // bytes of a value of fixed width
    u32 bits = 0;                  // significant bits of a number; 24 of one stored in 3 bytes
    const u8* validity = nullptr;  // a bit per row; null if every row has a value
    const u8* values = nullptr;
    const i32* offsets = nullptr;  // of texts and lists
    const i32* indices = nullptr;  // row r holds value indices[r]; null: value r
    u32 valueCount = 0;            // where there are indices

    bool IsNull(u32 row) const {
        return kind == Kind::Null || (validity != nullptr && (validity[row >> 3] & (1U << (row & 7))) == 0);
    }
    u32 ValueOf(u32 row) const { return indices != nullptr ? static_cast<u32>(indices[row]) : row; }
    u64 Number(u32 value) const;             // the bytes of the value, zero-extended
    std::string_view Text(u32 value) const;  // of texts and fixed bytes
    bool IsText() const { return kind == Kind::Text || kind == Kind::Fixed; }
};

// Sorts `rows` by the column's values, stably. Rows without a value come last in either direction. Returns
// the number of rows with a value.
u32 Sort(const ColumnView& column, u32* rows, u32 count, bool descending);

// Of sorted rows that all have a value: writes the index of the first row of each run of equal values to
// `starts`, and returns the number of runs.
u32 Runs(const ColumnView& column, const u32* rows, u32 count, u32* starts);

enum class Match : u8 { Contains, Starts, Equals };

// Writes those of `rows` in which one of the texts matches `needle` to `found`, and returns their number. The
// letters A to Z match regardless of case. With null `rows`, searches the rows from `first` on.
u32 Search(const ColumnView* const* columns, u32 columnCount, std::string_view needle, Match match,
           const u32* rows, u32 first, u32 count, u32* found);

}  // namespace viewer
