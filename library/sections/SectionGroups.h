// Section 11, the section groups.
#pragma once

#include "format/Types.h"
#include "library/core/FileReader.h"

namespace torva {

class SectionGroupReader {
public:
    i32 InitializeSection11(FileReader& file);
    i32 GetNextSectionGroup(FileReader& file, u8* groupId, i32* count, u8** members, i32 capacity);

private:
    u32 bytesTotal = 0;  // the head value: the limit on group bytes
    u32 bytesRead = 0;
    u8 groupCount = 0;
    u8 groupIndex = 0;      // groups finished in this walk
    u8 currentGroupId = 0;  // kept so that a continued group can be named again
    u8 memberCount = 0;
    u8 memberIndex = 0;  // 0: the next call begins with a group head
};

}  // namespace torva
