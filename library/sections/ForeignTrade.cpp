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

#include "library/core/SymFile.h"

namespace torva {
namespace {

constexpr u8 kForeignTrade = 14;

}  // namespace

i32 SymFile::InitialForeignTradeSection() { return InitialBodySection(kForeignTrade, foreignTradeCursor); }

i32 SymFile::GetNextForeignTradeHead(ForeignTradeHead* head) {
    if (AnyNull(head)) return SYM_ERR_PARAM;
    const i32 skipped = SkipRest(foreignTradeCursor);
    if (skipped != SYM_OK) return skipped;
    arena.Reset();
    if (!Read(&head->id, sizeof head->id)) return SYM_ERR_READ;
    const char* name = nullptr;
    if (!PlaceText(&name)) return SYM_ERR_READ;
    head->name = name;
    if (!Read(&foreignTradeCursor.bodySize, sizeof foreignTradeCursor.bodySize)) return SYM_ERR_READ;
    foreignTradeCursor.bodyRead = 0;
    return SYM_OK;
}

i32 SymFile::GetForeignTrade(u8* itemTag, const char** names, u32* count, u32 capacity) {
    if (AnyNull(itemTag, count) || NullArray(names, capacity)) return SYM_ERR_PARAM;
    ForeignTradeCursor& cursor = foreignTradeCursor;
    if (cursor.Used()) return SYM_END_OF_DATA;
    if (!Read(itemTag, sizeof *itemTag, cursor.bodyRead)) return SYM_ERR_READ;
    if (!Read(&cursor.nameCount, sizeof cursor.nameCount, cursor.bodyRead)) return SYM_ERR_READ;
    cursor.nameIndex = 0;
    return GetNextForeignTrade(names, count, capacity);
}

i32 SymFile::GetNextForeignTrade(const char** names, u32* count, u32 capacity) {
    if (AnyNull(count) || NullArray(names, capacity)) return SYM_ERR_PARAM;
    ForeignTradeCursor& cursor = foreignTradeCursor;
    arena.Reset();
    *count = 0;
    while (cursor.nameIndex < cursor.nameCount) {
        if (*count == capacity) return SYM_MORE_DATA;
        if (!PlaceText(&names[*count], cursor.bodyRead)) return SYM_ERR_READ;
        ++*count;
        ++cursor.nameIndex;
    }
    return SYM_OK;
}

}  // namespace torva
