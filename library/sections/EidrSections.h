// Section 7, the Eidr sections.
#pragma once

#include "TorvaAPI.h"
#include "format/Types.h"
#include "library/core/FileReader.h"

namespace torva {

class EidrSectionReader {
public:
    i32 InitialSection7(FileReader& file);
    i32 GetNextEidrSectionGroup(FileReader& file, i32* count, EidrSectionItem* target, i32 capacity);

private:
    u32 bytesTotal = 0;  // the head value: bytes of all elements
    u32 bytesRead = 0;
};

}  // namespace torva
