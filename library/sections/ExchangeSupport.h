// Section 21, the exchange support entries.
#pragma once

#include "format/Types.h"
#include "library/sections/DefinitionSection.h"

namespace torva {

class ExchangeSupportReader : DefinitionSection {
public:
    i32 InitialExchangeSupportSection(FileReader& file);
    i32 GetNextExchangeSupportSection(FileReader& file, u16* id, u16* count, u16* items, u32 capacity);
};

}  // namespace torva
