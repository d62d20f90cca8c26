// The section directory at the start of a symbol file.
#pragma once

#include <vector>

#include "format/Types.h"
#include "library/core/ByteSource.h"

namespace torva {

#pragma pack(push, 1)
// An entry as it is stored in the file.
struct SectionEntry {
    u16 id;
    u32 offset;  // from the start of the file
    u32 size;    // bytes, counted from the section's id
};
#pragma pack(pop)
static_assert(sizeof(SectionEntry) == 10);

class SectionDirectory {
public:
    // Reads the directory from a source positioned at the start of its file. One that is cut off keeps the
    // entries that came, the last one with zeros in the bytes that did not. Throws std::bad_alloc.
    void Load(ByteSource& source);

    // The first entry of an id; null when there is none.
    const SectionEntry* Find(u16 id) const;

    // Writes the ids of all sections except 1 and 2, in the order of the directory, and returns their number.
    // With a null `list` or a `capacity` of 0 it only counts.
    i32 GetExtendSectionList(u32* list, i32 capacity) const;

private:
    std::vector<SectionEntry> entries;  // in file order, duplicates included
};

}  // namespace torva
