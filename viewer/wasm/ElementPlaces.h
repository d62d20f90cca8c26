// Where the elements of a section are in the file, so that an offset leads to a row of a table and a row to
// its bytes. Readers deliver values without their places; the description of the section says how they are
// stored.
#pragma once

#include <array>
#include <optional>
#include <vector>

#include "format/Sections.h"
#include "tables/source/FileDirectory.h"
#include "tables/source/RawBytes.h"

namespace viewer {

using torva::u16;
using torva::u32;
using torva::u64;

struct Extent {
    u32 start = 0;  // in the file
    u32 end = 0;    // after everything below the element

    bool Holds(u64 offset) const { return offset >= start && offset < end; }
};

struct RowPlace {
    std::size_t level = 0;
    u64 row = 0;
};

class ElementPlaces {
public:
    // `delivered`: the rows that readers deliver of each level. Elements after these have no place.
    ElementPlaces(const torva::tables::FileSource& file, const torva::tables::DirectoryEntry& entry,
                  const torva::SectionInfo& sectionInfo, const std::vector<u64>& delivered);

    // None where damage hides the element's place.
    std::optional<Extent> Of(RowPlace place) const;

    // The innermost element that holds the byte. After the last element, which is where most damage is found,
    // it is the last one; none in the section's head.
    std::optional<RowPlace> At(u64 offset) const;

private:
    struct StoredId {
        u16 id;
        Extent extent;
        u64 group;
    };

    void Element(std::size_t level);
    u64 Columns(const torva::Level& level);
    void Below(std::size_t level, u64 end);
    u32 Position() const { return static_cast<u32>(bytes.Position()); }

    const torva::SectionInfo& info;
    torva::tables::RawBytes bytes;
    std::vector<std::vector<Extent>> levels;
    std::vector<StoredId> ids;  // of groups that share their lists; empty in all other sections
    std::vector<u16> rowIds;    // with `ids`: the id of each row
};

}  // namespace viewer
