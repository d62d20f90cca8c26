// Where the symbol records of a file are, for the page's view of their bytes. TorvaTables delivers values and
// not their places; a record's size is its first number, so the places follow from the sizes.
//
//   record   u32 size of what follows | symbol, zero-terminated | typed fields up to the size
#pragma once

#include <span>
#include <string_view>
#include <vector>

#include "format/Fields.h"
#include "tables/source/FileDirectory.h"

namespace viewer {

using torva::u16;
using torva::u32;
using torva::u64;
using torva::u8;

struct StoredField {
    u16 id;
    u8 tag;
    bool cut;    // its payload passes the end of the record
    u64 offset;  // in the file, of its id
    u64 size;    // with its id and tag
};

struct StoredRecord {
    u64 offset = 0;  // in the file, of its size
    u64 size = 0;    // with its size
    std::string_view text;
    std::vector<StoredField> fields;
};

// The starts of the first `rows` records of the section, and the end of the last one.
std::vector<u32> RecordStarts(std::span<const u8> file, const torva::tables::DirectoryEntry& symbols,
                              u64 rows);

StoredRecord ReadRecord(std::span<const u8> file, u64 start, u64 end);

// Typed fields from `start` to `end`.
std::vector<StoredField> ReadFields(std::span<const u8> file, u64 start, u64 end);

}  // namespace viewer
