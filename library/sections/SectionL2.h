// Section 8, the level-2 sections.
#pragma once

#include "TorvaAPI.h"
#include "format/Types.h"
#include "library/core/FileReader.h"

namespace torva {

class SectionL2Reader {
public:
    i32 GetNextSectionL2Group(FileReader& file, u8* groupId, i32* count, SectionL2Item* records,
                              i32 capacity);
    i32 GetAgainSectionL2Data(FileReader& file, i32* count, SectionL2Item* records, i32 capacity);

private:
    bool ReadItem(FileReader& file, SectionL2Item& item);
    const char* ReadItemText(FileReader& file, bool passOver);

    u8 currentGroupId = 0;  // of the group whose head was read last
    u8 itemCount = 0;       // of the open group; 0 between groups
    u8 itemIndex = 0;       // items of the open group delivered
};

}  // namespace torva
