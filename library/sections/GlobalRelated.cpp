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

#include "library/sections/GlobalRelated.h"

namespace torva {
namespace {

constexpr u8 kGlobalRelated = 15;

}  // namespace

i32 GlobalRelatedReader::InitialGlobalRelatedSection(FileReader& file) {
    return Initial(file, kGlobalRelated);
}

i32 GlobalRelatedReader::GetNextGlobalReleatedHead(FileReader& file, u16* headId) {
    if (AnyNull(headId)) return SYM_ERR_PARAM;
    const i32 skipped = SkipRest(file);
    if (skipped != SYM_OK) return skipped;
    file.arena.Reset();
    if (!file.Read(headId, sizeof *headId)) return SYM_ERR_READ;
    if (!file.Read(&bodySize, sizeof bodySize)) return SYM_ERR_READ;
    bodyRead = 0;
    return SYM_OK;
}

i32 GlobalRelatedReader::GetGlobalReleated(FileReader& file, u8* listSize, GlobalRelatedItem* items,
                                           u32* count, u32 capacity) {
    if (AnyNull(listSize, count) || NullArray(items, capacity)) return SYM_ERR_PARAM;
    if (BodyUsed()) return SYM_END_OF_DATA;
    if (!file.Read(listSize, sizeof *listSize, bodyRead)) return SYM_ERR_READ;
    itemCount = *listSize;
    itemIndex = 0;
    return GetNextGlobalReleated(file, items, count, capacity);
}

i32 GlobalRelatedReader::GetNextGlobalReleated(FileReader& file, GlobalRelatedItem* items, u32* count,
                                               u32 capacity) {
    if (AnyNull(count) || NullArray(items, capacity)) return SYM_ERR_PARAM;
    file.arena.Reset();
    *count = 0;
    while (itemIndex < itemCount) {
        if (*count == capacity) return SYM_MORE_DATA;
        GlobalRelatedItem& item = items[*count];
        if (!file.Read(&item.tag, sizeof item.tag, bodyRead)) return SYM_ERR_READ;
        const char* name = nullptr;
        if (!file.PlaceText(&name, bodyRead)) return SYM_ERR_READ;
        item.name = name;
        ++*count;
        ++itemIndex;
    }
    return SYM_OK;
}

}  // namespace torva
