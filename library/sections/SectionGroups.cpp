// Section 11, the section groups.
//
//   0   u16      id: 11
//   2   u32      head value: the limit on group bytes
//   6   u8       group count
//   7   groups   one after the other
//
// A group:  u8 group id | u8 member count | 1 byte per member

#include "library/sections/SectionGroups.h"

#include <algorithm>

namespace torva {
namespace {

constexpr u8 kSectionGroups = 11;

}  // namespace

i32 SectionGroupReader::InitializeSection11(FileReader& file) {
    u8 newCount = 0;
    const i32 result = file.EnterCountedSection(kSectionGroups, newCount, &bytesTotal);
    if (result != SYM_OK) return result;
    groupCount = newCount;
    bytesRead = 0;
    groupIndex = 0;
    memberCount = 0;
    memberIndex = 0;
    return file.Exhausted() ? SYM_END_OF_DATA : groupCount;
}

// Delivers one group, or as much of it as fits the array. `*count` is the number of elements in use and adds
// up over the calls.
i32 SectionGroupReader::GetNextSectionGroup(FileReader& file, u8* groupId, i32* count, u8** members,
                                            i32 capacity) {
    if (AnyNull(groupId, count, members) || NullArray(*members, capacity) || *count < 0) return SYM_ERR_PARAM;
    if (bytesRead >= bytesTotal) return SYM_END_OF_DATA;
    if (groupIndex >= groupCount) return SYM_END_OF_DATA;
    if (file.source.AtEnd()) return SYM_END_OF_DATA;
    if (memberIndex == 0) {
        if (!file.Read(&currentGroupId, 1, bytesRead)) return SYM_ERR_READ;
        if (!file.Read(&memberCount, 1, bytesRead)) return SYM_ERR_READ;
    }
    *groupId = currentGroupId;
    if (*count < capacity) {
        const u32 wanted = std::min<u32>(memberCount - memberIndex, static_cast<u32>(capacity - *count));
        const u32 came = file.ReadRun(*members + *count, 1, wanted, bytesRead);
        *count += static_cast<i32>(came);
        memberIndex = static_cast<u8>(memberIndex + came);
        if (came < wanted) return SYM_ERR_READ;
    }
    if (memberIndex == memberCount) {
        ++groupIndex;
        memberIndex = 0;
    }
    if (groupIndex != groupCount) return SYM_MORE_DATA;
    bytesRead = 0;
    groupCount = 0;
    groupIndex = 0;
    return SYM_OK;
}

}  // namespace torva
