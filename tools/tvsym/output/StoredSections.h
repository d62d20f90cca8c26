// A symbol file as `build` recreates it: its sections in the order of the directory, the bytes between them,
// and sections 18 and 21 as the groups that the file holds.
#pragma once

#include "tools/tvsym/Tool.h"
#include "tools/tvsym/output/Rows.h"

namespace tvsym {

// Numbers of a section that follow from its elements, as far as the file has others.
struct OddNumbers {
    std::optional<u64> head = {};
    std::optional<u64> count = {};
    std::optional<u64> size = {};  // in the directory
};

struct StoredSection {
    DirectoryEntry entry;
    const SectionInfo* section;  // null without a reader: only its bytes can be shown
    u64 before;                  // bytes before it that belong to no section
    OddNumbers odd = {};
    // With `odd`, the elements say all that the section holds: how many there are on each level. Empty where
    // that is not known.
    std::vector<u64> rows = {};
    // Readers find nothing wrong, but more than `odd` contradicts the elements: only bytes lose nothing.
    bool bytesOnly = false;

    // Whether building the elements that a walk found makes the section's bytes again.
    bool IsWhole(const WalkResult& walk) const {
        return rows.empty() ? walk.problems.empty() : walk.rows == rows;
    }

    // The bytes after the id.
    u64 BodyOffset() const { return u64{entry.offset} + 2; }
    u64 BodySize() const { return entry.End() - entry.offset - std::min<u64>(entry.size, 2); }
};

struct StoredFile {
    std::vector<StoredSection> sections;
    u64 behind = 0;     // bytes of no section at the end of the file
    bool whole = true;  // no section is missing, or cut off by the end of the file
};

// All readable sections of the file; or those of the ids in `wanted`, without the bytes between them.
StoredFile StoredSections(Reader& reader, const std::vector<u16>& wanted);

// The section of that id in the form that `build` reads. The library delivers the ids of sections 18 and 21
// one by one, each with its lists; here a row of level 0 holds lists, and the rows below it are the ids.
const SectionInfo& StoredForm(u16 id);

// Walks a section of the file to its end, into `rows`, which expect its stored form. The groups are those of
// the file where they agree with what readers get; otherwise ids with equal lists form one group. Sections 18
// and 21 are held in memory during that.
WalkResult WalkStored(Reader& reader, u16 id, RowWriter& rows);

}  // namespace tvsym
