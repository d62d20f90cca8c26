// Section 15, the global related table.
//
//   0   u16     id: 15
//   2   u32     head value, not used
//   6   u16     head count, for the caller only
//   8   heads   one after the other, up to the section's end
//
// A head:   u16 head id | u32 body size | body
// A body:   lists, one after the other
// A list:   u8 item count | items
// An item:  u8 tag | name
//
// Names stay in the per-call arena until its next reset.

#include "library/core/SymFile.h"

namespace torva {
namespace {

constexpr u8 kGlobalRelated = 15;

}  // namespace

i32 SymFile::InitialGlobalRelatedSection() { return InitialBodySection(kGlobalRelated, globalRelatedCursor); }

i32 SymFile::GetNextGlobalReleatedHead(u16* headId) {
    if (AnyNull(headId)) return SYM_ERR_PARAM;
    const i32 skipped = SkipRest(globalRelatedCursor);
    if (skipped != SYM_OK) return skipped;
    arena.Reset();
    if (!Read(headId, sizeof *headId)) return SYM_ERR_READ;
    if (!Read(&globalRelatedCursor.bodySize, sizeof globalRelatedCursor.bodySize)) return SYM_ERR_READ;
    globalRelatedCursor.bodyRead = 0;
    return SYM_OK;
}

i32 SymFile::GetGlobalReleated(u8* listSize, GlobalRelatedItem* items, u32* count, u32 capacity) {
    if (AnyNull(listSize, count) || NullArray(items, capacity)) return SYM_ERR_PARAM;
    GlobalRelatedCursor& cursor = globalRelatedCursor;
    if (cursor.Used()) return SYM_END_OF_DATA;
    if (!Read(listSize, sizeof *listSize, cursor.bodyRead)) return SYM_ERR_READ;
    cursor.itemCount = *listSize;
    cursor.itemIndex = 0;
    return GetNextGlobalReleated(items, count, capacity);
}

i32 SymFile::GetNextGlobalReleated(GlobalRelatedItem* items, u32* count, u32 capacity) {
    if (AnyNull(count) || NullArray(items, capacity)) return SYM_ERR_PARAM;
    GlobalRelatedCursor& cursor = globalRelatedCursor;
    arena.Reset();
    *count = 0;
    while (cursor.itemIndex < cursor.itemCount) {
        if (*count == capacity) return SYM_MORE_DATA;
        GlobalRelatedItem& item = items[*count];
        if (!Read(&item.tag, sizeof item.tag, cursor.bodyRead)) return SYM_ERR_READ;
        const char* name = nullptr;
        if (!PlaceText(&name, cursor.bodyRead)) return SYM_ERR_READ;
        item.name = name;
        ++*count;
        ++cursor.itemIndex;
    }
    return SYM_OK;
}

}  // namespace torva
