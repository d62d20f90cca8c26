// Section 13, the objects.
#pragma once

#include "format/Types.h"
#include "library/sections/NestedSection.h"

namespace torva {

class ObjectReader : NestedSection {
public:
    i32 InitialObjectSection(FileReader& file);
    i32 GetNextObjectTypeID(FileReader& file, u16* typeId, u16* sourceSymCount);
    i32 GetNextObjectSourceSym(FileReader& file, const char** sourceSym, u16* symCount);
    i32 GetNextObjectSym(FileReader& file, u8* symByte, const char** sym, u8* dataCount);
    i32 GetNextObjectData(FileReader& file, u8* dataByte, const char** data);

private:
    bool ReadRecordText(FileReader& file, const char** text);

    u16 sourceCount = 0;  // of the open type block
    u16 sourceIndex = 0;  // sources read
    u16 symbolCount = 0;  // of the source read last
    u16 symbolIndex = 0;
    u8 recordCount = 0;  // data records of the symbol read last
    u8 recordIndex = 0;
};

}  // namespace torva
