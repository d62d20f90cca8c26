// Section 16, the exchanges.
#pragma once

#include "format/Types.h"
#include "library/core/FileReader.h"

namespace torva {

class ExchangeReader {
public:
    i32 InitialExchangeSection(FileReader& file);
    i32 GetNextExchange(FileReader& file, u32* id, char* text1, i32 text1Limit, char* text2, i32 text2Limit);

private:
    u32 bytesTotal = 0;  // the head value: the limit on element bytes
    u32 bytesRead = 0;
    u16 elementCount = 0;
    u16 elementIndex = 0;  // elements delivered in this walk
};

}  // namespace torva
