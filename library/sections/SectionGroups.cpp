// Section 11, the section groups.
//
//   0   u16      id: 11
//   2   u32      head value: the limit on group bytes
//   6   u8       group count
//   7   groups   one after the other
//
// A group:  u8 group id | u8 member count | 1 byte per member

#include "library/core/SymFile.h"

namespace torva {
namespace {

constexpr u8 kSectionGroups = 11;

}  // namespace

i32 SymFile::InitializeSection11() {
    SectionGroupCursor& cursor = sectionGroupCursor;
    u8 groupCount = 0;
    const i32 result = EnterCountedSection(kSectionGroups, groupCount, &cursor.bytesTotal);
    if (result != SYM_OK) return result;
    cursor.groupCount = groupCount;
    cursor.bytesRead = 0;
    cursor.groupIndex = 0;
    cursor.memberCount = 0;
    cursor.memberIndex = 0;
    return Exhausted() ? SYM_END_OF_DATA : groupCount;
}

// Delivers one group, or as much of it as the array takes. `*count` is the fill level of the array and runs
// on.
i32 SymFile::GetNextSectionGroup(u8* groupId, i32* count, u8** members, i32 capacity) {
    if (AnyNull(groupId, count, members) || NullArray(*members, capacity) || *count < 0) return SYM_ERR_PARAM;
    SectionGroupCursor& cursor = sectionGroupCursor;
    if (cursor.bytesRead >= cursor.bytesTotal) return SYM_END_OF_DATA;
    if (cursor.groupIndex >= cursor.groupCount) return SYM_END_OF_DATA;
    if (source.AtEnd()) return SYM_END_OF_DATA;
    if (cursor.memberIndex == 0) {
        if (!Read(&cursor.currentGroupId, 1, cursor.bytesRead)) return SYM_ERR_READ;
        if (!Read(&cursor.memberCount, 1, cursor.bytesRead)) return SYM_ERR_READ;
    }
    *groupId = cursor.currentGroupId;
    if (*count < capacity) {
        const u32 wanted =
            std::min<u32>(cursor.memberCount - cursor.memberIndex, static_cast<u32>(capacity - *count));
        const u32 came = ReadRun(*members + *count, 1, wanted, cursor.bytesRead);
        *count += static_cast<i32>(came);
        cursor.memberIndex = static_cast<u8>(cursor.memberIndex + came);
        if (came < wanted) return SYM_ERR_READ;
    }
    if (cursor.memberIndex == cursor.memberCount) {
        ++cursor.groupIndex;
        cursor.memberIndex = 0;
    }
    if (cursor.groupIndex != cursor.groupCount) return SYM_MORE_DATA;
    cursor.bytesRead = 0;
    cursor.groupCount = 0;
    cursor.groupIndex = 0;
    return SYM_OK;
}

}  // namespace torva
