// A symbol file as records that sort by what they are about: a symbol with its own fields, or a row of
// another section.
//
//     key     u16 section, big-endian | symbol, or the key columns of the rows above and of the row itself
//     value   the own fields, or u8 level and the other columns of the row
//
// Numbers are big-endian, so that keys sort by number. A section without a reader is one record without key
// columns, whose value is a hash of its bytes.
#pragma once

#include <deque>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "tables/compare/SortedRecords.h"
#include "tables/rows/Reader.h"

namespace torva::tables {

// Reads a section of the file into records. `fields` are the ids of the fields that count; empty: all.
WalkResult ReadRecords(Reader& reader, u16 id, const std::set<u16>& fields, SortedRecords& to);

// Takes keys and values apart, from the front. `bytes` must outlive what is returned.
class RecordParts {
public:
    explicit RecordParts(std::string_view recordBytes) : bytes(recordBytes) {}

    bool AtEnd() const { return bytes.empty(); }
    std::string_view Rest() const { return bytes; }
    u64 Number(std::size_t width);
    SymbolField Field();
    // Lists are put into `lists`.
    Cell OneCell(ColumnKind kind, std::deque<std::vector<u16>>& lists);

private:
    std::string_view Bytes(std::size_t size);

    std::string_view bytes;
};

}  // namespace torva::tables
