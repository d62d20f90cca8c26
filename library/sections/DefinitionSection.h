// What the preloaded sections 18 and 21 share: groups of ids with lists of values, parsed whole into an
// ordered map, from which the next operations deliver and remove one id after the other.
#pragma once

#include <cstring>
#include <vector>

#include "format/Types.h"
#include "library/core/FileReader.h"
#include "library/sections/DefinitionMap.h"

namespace torva {

class DefinitionSection {
protected:
    // Replaces the map with the section's content and returns the number of ids in it, or SYM_ERR_NO_SECTION
    // or SYM_ERR_READ; the latter leaves the groups that came whole. Throws std::bad_alloc.
    template <class GroupCount>
    i32 Load(FileReader& file, u8 section, u32 listsPerGroup);

    // An array of the caller that takes no value may be null.
    static void CopyValues(u16* items, const u16* values, u16 length) {
        if (length > 0) std::memcpy(items, values, sizeof *items * length);
    }

    DefinitionMap map;

private:
    bool ReadList(FileReader& file, std::vector<u16>& list, u16& length);
};

}  // namespace torva
