// Section 3, the jump price table.
#pragma once

#include "TorvaAPI.h"
#include "format/Types.h"
#include "library/core/FileReader.h"

namespace torva {

class JumpPriceReader {
public:
    i32 GetNextJumpPriceGroup(FileReader& file, u8* groupId, i32* count, JumpPriceRecord* records,
                              i32 capacity);
    i32 GetAgainJumpPriceData(FileReader& file, i32* count, JumpPriceRecord* records, i32 capacity);

private:
    u8 groupCount = 0;
    u16 recordCount = 0;  // of the open group; 0 between groups
    u16 recordIndex = 0;  // records of the open group delivered
};

}  // namespace torva
