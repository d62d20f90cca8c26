// Offsets of the symbol records, for the view of their bytes. TorvaTables delivers values without their
// offsets; every record begins with its size, so the offsets follow from the sizes.
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
    bool cut;    // its payload extends past the end of the record
    u64 offset;  // of its id in the file
    u64 size;    // including id and tag
};

struct StoredRecord {
    u64 offset = 0;  // of its size in the file
    u64 size = 0;    // including the size
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
