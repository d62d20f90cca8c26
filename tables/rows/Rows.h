// What readers deliver: rows of any section, and symbols with their fields.
#pragma once

#include <span>
#include <string_view>
#include <vector>

#include "tables/Error.h"

namespace torva::tables {

// One column of one row. Which member is used depends on the column's kind (format/Sections.h).
struct Cell {
    u64 number = 0;             // Number; the tag of a Field
    std::string_view bytes;     // Text (without its zero byte), Bytes, Field (payload)
    std::span<const u16> list;  // List
};

struct SymbolField {
    u16 id = 0;
    u8 tag = 0;
    bool isDefault = false;
    bool cut = false;        // the data ended inside the payload; `value` holds what came
    std::string_view value;  // payload; a text without its zero byte
};

// A symbol with its own fields, then the default fields that it does not carry.
struct SymbolView {
    std::string_view text;
    std::span<const SymbolField> fields;
    bool marked = true;    // SymbolField::isDefault separates own fields from defaults; false with a filter
    bool complete = true;  // false: the record broke off; `fields` holds what came
};

// How a walk over one section went; complete once the walk has ended.
struct WalkResult {
    bool present = false;    // the library found the section
    bool cancelled = false;  // by the progress callback
    std::vector<u64> rows;   // delivered, for each level
    i32 result = 0;          // the error that ended the walk (SYM_ERR_...), or 0
    std::vector<Problem> problems;
};

}  // namespace torva::tables
