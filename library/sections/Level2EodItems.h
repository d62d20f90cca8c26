// Section 18, the level-2 EOD basic item definitions.
#pragma once

#include "format/Types.h"
#include "library/sections/DefinitionSection.h"

namespace torva {

class Level2EodItemReader : DefinitionSection {
public:
    i32 InitialLevel2EODBasicItemDefineSection(FileReader& file);
    i32 GetNextLevel2EODBasicItemDefine(FileReader& file, u16* id, u16* firstCount, u16* firstItems,
                                        u32 firstCapacity, u16* secondCount, u16* secondItems,
                                        u32 secondCapacity, u16* thirdCount, u16* thirdItems,
                                        u32 thirdCapacity);
};

}  // namespace torva
