// Section 16, the exchanges.
//
//   0   u16        id: 16
//   2   u32        head value: the limit on element bytes
//   6   u16        element count
//   8   elements   one after the other
//
// An element:  u16 id | first text | second text
//
// The texts are read straight into buffers of the caller; the arena is not used.

#include "library/sections/Exchanges.h"

namespace torva {
namespace {

constexpr u8 kExchanges = 16;

}  // namespace

i32 ExchangeReader::InitialExchangeSection(FileReader& file) {
    u16 newCount = 0;
    const i32 result = file.EnterCountedSection(kExchanges, newCount, &bytesTotal);
    if (result != SYM_OK) return result;
    elementCount = newCount;
    bytesRead = 0;
    elementIndex = 0;
    return file.Exhausted() ? SYM_END_OF_DATA : elementCount;
}

i32 ExchangeReader::GetNextExchange(FileReader& file, u32* id, char* text1, i32 text1Limit, char* text2,
                                    i32 text2Limit) {
    if (AnyNull(id) || (text1 == nullptr && text1Limit >= 0) || (text2 == nullptr && text2Limit >= 0)) {
        return SYM_ERR_PARAM;
    }
    if (bytesRead >= bytesTotal) return SYM_END_OF_DATA;
    if (elementIndex >= elementCount) return SYM_END_OF_DATA;
    if (file.source.AtEnd()) return SYM_END_OF_DATA;
    u16 elementId = 0;
    if (!file.Read(&elementId, sizeof elementId, bytesRead)) return SYM_ERR_READ;
    *id = elementId;
    u32 length = 0;
    if (file.source.ReadText(reinterpret_cast<u8*>(text1), text1Limit, &length) != SYM_OK)
        return SYM_ERR_READ;
    file.Consume(length, bytesRead);
    if (file.source.ReadText(reinterpret_cast<u8*>(text2), text2Limit, &length) != SYM_OK)
        return SYM_ERR_READ;
    file.Consume(length, bytesRead);
    ++elementIndex;
    return elementIndex == elementCount ? SYM_OK : SYM_MORE_DATA;
}

}  // namespace torva
