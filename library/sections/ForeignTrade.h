// Section 14, the foreign trade table.
#pragma once

#include "TorvaAPI.h"
#include "format/Types.h"
#include "library/sections/NestedSection.h"

namespace torva {

class ForeignTradeReader : NestedSection {
public:
    i32 InitialForeignTradeSection(FileReader& file);
    i32 GetNextForeignTradeHead(FileReader& file, ForeignTradeHead* head);
    i32 GetForeignTrade(FileReader& file, u8* itemTag, const char** names, u32* count, u32 capacity);
    i32 GetNextForeignTrade(FileReader& file, const char** names, u32* count, u32 capacity);

private:
    u16 nameCount = 0;  // of the open item
    u16 nameIndex = 0;  // names delivered
};

}  // namespace torva
