// Section 15, the global related table.
#pragma once

#include "TorvaAPI.h"
#include "format/Types.h"
#include "library/sections/NestedSection.h"

namespace torva {

class GlobalRelatedReader : NestedSection {
public:
    i32 InitialGlobalRelatedSection(FileReader& file);
    i32 GetNextGlobalReleatedHead(FileReader& file, u16* headId);
    i32 GetGlobalReleated(FileReader& file, u8* listSize, GlobalRelatedItem* items, u32* count, u32 capacity);
    i32 GetNextGlobalReleated(FileReader& file, GlobalRelatedItem* items, u32* count, u32 capacity);

private:
    u8 itemCount = 0;  // of the open list
    u8 itemIndex = 0;  // items delivered
};

}  // namespace torva
