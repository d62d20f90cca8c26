// A preloaded section:
//
//   0   u16      section id
//   2   u32      head value, not used
//   6   u16      group count; u32 in section 21
//   8   groups   one after the other (at 10 in section 21)
//
// A group:  u16 id count | ids, u16 each | for each of its lists: u16 length | values, u16 each
//
// Only the counts govern the parse; the section's size does not bound it.

#include "library/sections/DefinitionSection.h"

#include <array>

namespace torva {

// A group is stored when it is whole, and replaces the lists of ids that are in the map.
template <class GroupCount>
i32 DefinitionSection::Load(FileReader& file, u8 section, u32 listsPerGroup) {
    map.Clear();
    const i32 result = file.EnterSection(section);
    if (result != SYM_OK) return result;
    GroupCount groupCount = 0;
    if (!file.source.ReadStrict(&groupCount, sizeof groupCount))
        return SYM_ERR_READ;  // not counted with the section
    std::vector<u16> ids;
    std::vector<u16> values;
    for (GroupCount group = 0; group < groupCount; ++group) {
        u16 idCount = 0;
        std::array<u16, DefinitionMap::kMostLists> lengths{};
        ids.clear();
        values.clear();
        if (!ReadList(file, ids, idCount)) return SYM_ERR_READ;
        for (u32 list = 0; list < listsPerGroup; ++list) {
            if (!ReadList(file, values, lengths[list])) return SYM_ERR_READ;
        }
        map.Store(ids, lengths, values);
    }
    return static_cast<i32>(map.Count());
}

template i32 DefinitionSection::Load<u16>(FileReader& file, u8 section, u32 listsPerGroup);
template i32 DefinitionSection::Load<u32>(FileReader& file, u8 section, u32 listsPerGroup);

// Reads a length and appends that many values to `list`.
bool DefinitionSection::ReadList(FileReader& file, std::vector<u16>& list, u16& length) {
    if (!file.Read(&length, sizeof length)) return false;
    const std::size_t held = list.size();
    list.resize(held + length);
    return file.ReadRun(list.data() + held, sizeof(u16), length) == length;
}

}  // namespace torva
