// Section 14, the foreign trade table.
//
//   0   u16     id: 14
//   2   u32     head value, not used
//   6   u16     head count, for the caller only
//   8   heads   one after the other, up to the section's end
//
// A head:   u16 head id | name | u32 body size | body
// A body:   items, one after the other
// An item:  u8 item tag | u16 name count | names
//
// Names stay in the per-call arena until its next reset.

#include "library/sections/ForeignTrade.h"

namespace torva {
namespace {

constexpr u8 kForeignTrade = 14;

}  // namespace

i32 ForeignTradeReader::InitialForeignTradeSection(FileReader& file) { return Initial(file, kForeignTrade); }

i32 ForeignTradeReader::GetNextForeignTradeHead(FileReader& file, ForeignTradeHead* head) {
    if (AnyNull(head)) return SYM_ERR_PARAM;
    const i32 skipped = SkipRest(file);
    if (skipped != SYM_OK) return skipped;
    file.arena.Reset();
    if (!file.Read(&head->id, sizeof head->id)) return SYM_ERR_READ;
    const char* name = nullptr;
    if (!file.PlaceText(&name)) return SYM_ERR_READ;
    head->name = name;
    if (!file.Read(&bodySize, sizeof bodySize)) return SYM_ERR_READ;
    bodyRead = 0;
    return SYM_OK;
}

i32 ForeignTradeReader::GetForeignTrade(FileReader& file, u8* itemTag, const char** names, u32* count,
                                        u32 capacity) {
    if (AnyNull(itemTag, count) || NullArray(names, capacity)) return SYM_ERR_PARAM;
    if (BodyUsed()) return SYM_END_OF_DATA;
    if (!file.Read(itemTag, sizeof *itemTag, bodyRead)) return SYM_ERR_READ;
    if (!file.Read(&nameCount, sizeof nameCount, bodyRead)) return SYM_ERR_READ;
    nameIndex = 0;
    return GetNextForeignTrade(file, names, count, capacity);
}

i32 ForeignTradeReader::GetNextForeignTrade(FileReader& file, const char** names, u32* count, u32 capacity) {
    if (AnyNull(count) || NullArray(names, capacity)) return SYM_ERR_PARAM;
    file.arena.Reset();
    *count = 0;
    while (nameIndex < nameCount) {
        if (*count == capacity) return SYM_MORE_DATA;
        if (!file.PlaceText(&names[*count], bodyRead)) return SYM_ERR_READ;
        ++*count;
        ++nameIndex;
    }
    return SYM_OK;
}

}  // namespace torva
