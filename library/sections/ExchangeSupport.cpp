// Section 21, the exchange support entries: groups with one list, and a 32-bit group count.
// DefinitionSection.cpp has the layout and the parse.

#include "library/sections/ExchangeSupport.h"

namespace torva {
namespace {

constexpr u8 kExchangeSupport = 21;

}  // namespace

i32 ExchangeSupportReader::InitialExchangeSupportSection(FileReader& file) {
    return Load<u32>(file, kExchangeSupport, 1);
}

i32 ExchangeSupportReader::GetNextExchangeSupportSection(FileReader& /*file*/, u16* id, u16* count,
                                                         u16* items, u32 capacity) {
    if (AnyNull(id, count) || NullArray(items, capacity)) return SYM_ERR_PARAM;
    if (map.Count() == 0) return SYM_END_OF_DATA;
    const u16 smallest = map.Smallest();
    const DefinitionMap::Lists lists = map.ListsOf(smallest);
    const u16 length = lists.Length(0);
    if (length > capacity) return SYM_ERR_BUFFER_TOO_SMALL;
    *id = smallest;
    *count = length;
    CopyValues(items, lists.Values(), length);
    map.RemoveSmallest();
    return SYM_OK;
}

}  // namespace torva
