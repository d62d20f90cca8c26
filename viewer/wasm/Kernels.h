// Operations over whole columns that are too slow a value at a time: order, search, equality.
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
    u32 bits = 0;                  // of a number that count: fewer than `width` says for one of 3 bytes
    const u8* validity = nullptr;  // a bit for each row; null: every value is there
    const u8* values = nullptr;
    const i32* offsets = nullptr;  // of texts and lists
    const i32* indices = nullptr;  // row r holds value indices[r]; null: value r
    u32 valueCount = 0;            // with indices

    bool IsNull(u32 row) const {
        return kind == Kind::Null || (validity != nullptr && (validity[row >> 3] & (1U << (row & 7))) == 0);
    }
    u32 ValueOf(u32 row) const { return indices != nullptr ? static_cast<u32>(indices[row]) : row; }
    u64 Number(u32 value) const;             // the bytes of the value, zero-extended
    std::string_view Text(u32 value) const;  // of texts and fixed bytes
    bool IsText() const { return kind == Kind::Text || kind == Kind::Fixed; }
};

// Puts `rows` in the order of the column's values, rows of the same value in their own order. Rows without a
// value come last in either direction. Returns how many have one.
u32 Sort(const ColumnView& column, u32* rows, u32 count, bool descending);

// Writes to `starts` the place of the first row of each run of equal values, and returns how many runs there
// are. All of the rows have a value.
u32 Runs(const ColumnView& column, const u32* rows, u32 count, u32* starts);

enum class Match : u8 { Contains, Starts, Equals };

// Writes to `found` those of `rows` in which one of the texts matches `needle`, and returns how many there
// are. Letters A to Z match in either case. `rows` null stands for the rows from `first` on.
u32 Search(const ColumnView* const* columns, u32 columnCount, std::string_view needle, Match match,
           const u32* rows, u32 first, u32 count, u32* found);

}  // namespace viewer
