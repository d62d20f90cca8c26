// A symbol file as `build` recreates it: its sections in the order of the directory, the bytes between them,
// and sections 18 and 21 as the groups that the file holds.
#pragma once

#include "tools/tvsym/Tool.h"
#include "tools/tvsym/output/Rows.h"

namespace tvsym {

struct StoredSection {
    DirectoryEntry entry;
    const SectionInfo* section;  // null without a reader: only its bytes can be shown
    u64 before;                  // bytes ahead of it that belong to no section

    // The bytes after the id.
    u64 BodyOffset() const { return u64{entry.offset} + 2; }
    u64 BodySize() const { return entry.End() - entry.offset - std::min<u64>(entry.size, 2); }
};

struct StoredFile {
    std::vector<StoredSection> sections;
    u64 behind = 0;  // bytes of no section at the end of the file
};

// All readable sections of `raw`; or those of the ids in `wanted`, without the bytes between them.
StoredFile StoredSections(const FileDirectory& raw, const std::vector<u16>& wanted);

// The section of that id in the form that `build` reads. The library delivers the ids of sections 18 and 21
// one by one, each with its lists; here a row of level 0 holds lists, and the rows below it are the ids.
const SectionInfo& StoredForm(u16 id);

// Walks a section of the file to its end, into `rows`, which expect its stored form. The groups are those of
// the file where they agree with what readers get; otherwise ids with equal lists form one group. Sections 18
// and 21 are held in memory meanwhile.
Walk WalkStored(Reader& reader, u16 id, RowWriter& rows);

}  // namespace tvsym
