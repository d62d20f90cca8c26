// What the preloaded sections 18 and 21 share: groups of ids with lists of values, parsed whole into an
// ordered map.
//
//   0   u16      section id
//   2   u32      head value, not used
//   6   u16      group count; u32 in section 21
//   8   groups   one after the other (at 10 in section 21)
//
// A group:  u16 id count | ids, u16 each | for each of its lists: u16 length | values, u16 each
//
// The counts alone govern the parse; the section's size does not bound it.
#pragma once

#include <cstring>

#include "library/core/SymFile.h"

namespace torva {

// An array of the caller that takes no value may be null.
inline void CopyValues(u16* items, const u16* values, u16 length) {
    if (length > 0) std::memcpy(items, values, sizeof *items * length);
}

// Reads a length and that many values behind those that `list` holds.
inline bool SymFile::ReadDefinitionList(std::vector<u16>& list, u16& length) {
    if (!Read(&length, sizeof length)) return false;
    const std::size_t held = list.size();
    list.resize(held + length);
    return ReadRun(list.data() + held, sizeof(u16), length) == length;
}

// A group is stored when it is whole, and replaces the lists of ids that are in the map. SYM_ERR_READ leaves
// the groups stored before it.
template <class Count>
i32 SymFile::LoadDefinitions(u8 id, u32 listsPerGroup, DefinitionMap& map) {
    map.Clear();
    const i32 result = EnterSection(id);
    if (result != SYM_OK) return result;
    Count groupCount = 0;
    if (!source.ReadStrict(&groupCount, sizeof groupCount))
        return SYM_ERR_READ;  // not counted with the section
    std::vector<u16> ids;
    std::vector<u16> values;
    for (Count group = 0; group < groupCount; ++group) {
        u16 idCount = 0;
        std::array<u16, DefinitionMap::kMostLists> lengths{};
        ids.clear();
        values.clear();
        if (!ReadDefinitionList(ids, idCount)) return SYM_ERR_READ;
        for (u32 list = 0; list < listsPerGroup; ++list) {
            if (!ReadDefinitionList(values, lengths[list])) return SYM_ERR_READ;
        }
        map.Store(ids, lengths, values);
    }
    return static_cast<i32>(map.Count());
}

}  // namespace torva
