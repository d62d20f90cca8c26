// Section 6, the Eidr quick groups.
//
//   0   u16      id: 6
//   2   u32      head value: bytes of all groups that follow
//   6   groups   one after the other
//
// A group:  u16 group size, the bytes behind it | name, at most 49 characters | typed fields, up to the group
// size
//
// One call delivers one field, into a buffer of the caller.

#include "library/core/SymFile.h"

namespace torva {
namespace {

constexpr u8 kEidrQuickGroups = 6;

}  // namespace

i32 SymFile::InitialSection6() {
    const i32 result = EnterSection(kEidrQuickGroups);
    if (result != SYM_OK) return result;
    quickBytesTotal = recordSize;
    quickBytesRead = 0;
    quickGroupBytes = 0;
    quickGroupBytesRead = 0;
    return Exhausted() ? SYM_END_OF_DATA : SYM_OK;
}

i32 SymFile::GetNextEidrQuickGroup(const char** name, i32* count, SymFieldBuffer* target, i32 capacity) {
    if (AnyNull(name, count, target)) return SYM_ERR_PARAM;
    if (Exhausted()) return SYM_END_OF_DATA;
    if (*count >= capacity) return SYM_MORE_DATA;
    if (quickGroupBytesRead > quickGroupBytes) return SYM_ERR_FORMAT;
    if (quickGroupBytesRead == quickGroupBytes) quickGroupBytesRead = 0;
    if (quickGroupBytesRead == 0) {
        ReadLoose(&quickGroupBytes, sizeof quickGroupBytes, quickBytesRead);
        arena.Reset();
        const i32 result =
            ReadTextTo(quickGroupName.data(), sizeof quickGroupName, quickBytesRead, quickGroupBytesRead);
        if (result != SYM_OK) return result;
    }
    *name = quickGroupName.data();
    ReadLoose(&target->id, sizeof target->id, quickBytesRead, quickGroupBytesRead);
    ReadLoose(&target->tag, sizeof target->tag, quickBytesRead, quickGroupBytesRead);
    target->size = 0;
    u32 taken = 0;
    const i32 result = ReadFieldValue(target, &taken);
    if (result == SYM_ERR_READ) return result;
    Consume(taken, quickBytesRead, quickGroupBytesRead);
    if (result == SYM_OK) {
        target->capacity = target->size;
        ++*count;
    }
    const u32 read = quickBytesRead;
    if (read == quickBytesTotal) {
        quickBytesRead = 0;
        quickGroupBytesRead = 0;
    }
    if (result != SYM_OK) return result;
    if (read == quickBytesTotal) return SYM_OK;
    return read < quickBytesTotal ? SYM_MORE_DATA : SYM_ERR_FORMAT;
}

}  // namespace torva
