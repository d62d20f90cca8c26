// Columns of other libraries, through the Arrow C data interface.
#pragma once

#include <string>
#include <string_view>

#include "TorvaTables.h"
#include "tables/columns/Column.h"

namespace torva::tables::columns {

// A cell, widened so that equal values are equal whatever the width of their column.
struct Value {
    bool null = true;
    u64 bits = 0;  // unsigned; signed, 64 bits; the bits of a double; a date as yyyymmdd; bytes, zeros added
    std::string_view text;  // of kText
    bool operator==(const Value&) const = default;
};

// A column of a struct array, by its schema. What it points to must outlive it.
class ImportedColumn {
public:
    // Throws LoadError for a type that no field of a symbol file can have.
    explicit ImportedColumn(const ArrowSchema& columnSchema);

    const std::string& Name() const { return name; }
    Kind ColumnKind() const { return kind; }
    u32 Width() const { return width; }                // of a value; 0 for texts and bools
    bool IsUtf8() const { return utf8; }               // of texts
    std::string Metadata(std::string_view key) const;  // empty if there is none

    // Throws LoadError for a value that a symbol file cannot express.
    Value At(const ArrowArray& array, i64 row) const;

private:
    void ReadFormat(const char* format);

    const ArrowSchema& schema;
    std::string name;
    Kind kind = Kind::kAuto;  // kAuto: only nulls
    u32 width = 0;
    bool utf8 = false;
    bool largeOffsets = false;
    bool views = false;
};

}  // namespace torva::tables::columns
