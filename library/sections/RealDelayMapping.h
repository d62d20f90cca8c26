// Section 17, the real-delay mapping.
#pragma once

#include "format/Types.h"
#include "library/core/FileReader.h"

namespace torva {

class RealDelayMappingReader {
public:
    i32 InitialRealDelayMappingSection(FileReader& file);
    i32 GetNextRealDelayMapping(FileReader& file, u8* first, u8* second);

private:
    u32 bytesTotal = 0;  // the head value: bytes of all pairs
    u32 bytesRead = 0;
    u16 pairCount = 0;  // only 0 has a meaning
};

}  // namespace torva
