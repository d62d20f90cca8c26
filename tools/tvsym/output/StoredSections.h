// A symbol file as `build` makes it again: its sections in the order of the directory, what lies between
// them, and sections 18 and 21 as the groups that stand in the file.
#pragma once

#include "tools/tvsym/Tool.h"
#include "tools/tvsym/output/Rows.h"

namespace tvsym {

struct StoredSection {
    DirectoryEntry entry;
    const SectionInfo* section;  // null where no reader delivers it, so that it can only be told as bytes
    u64 before;                  // bytes ahead of it that belong to no section

    // What stands behind the id.
    u64 BodyOffset() const { return u64{entry.offset} + 2; }
    u64 BodySize() const { return entry.End() - entry.offset - std::min<u64>(entry.size, 2); }
};

struct StoredFile {
    std::vector<StoredSection> sections;
    u64 behind = 0;  // bytes of no section at the file's end
};

// All sections of `raw` that are there, or those of the ids in `wanted`; then without the bytes between.
StoredFile StoredSections(const FileDirectory& raw, const std::vector<u16>& wanted);

// The section of that id in the form that is built again. The library hands out the ids of sections 18 and
// 21 one by one, each with its lists; here a row of level 0 holds lists, and the rows below it are the ids.
const SectionInfo& StoredForm(u16 id);

// Walks a section of the file into `rows`, which expect its stored form, to the end. The groups are those of
// the file where they say the same as what readers get; else ids with equal lists are one group. Sections 18
// and 21 are held meanwhile.
Walk WalkStored(Reader& reader, u16 id, RowWriter& rows);

}  // namespace tvsym
