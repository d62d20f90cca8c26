// Section 7, the Eidr sections.
//
//   0   u16        id: 7
//   2   u32        head value: bytes of all elements that follow
//   6   elements   one after the other
//
// An element:  u16 id | first text | second text

#include "library/core/SymFile.h"

namespace torva {
namespace {

constexpr u8 kEidrSections = 7;

}  // namespace

i32 SymFile::InitialSection7() {
    const i32 result = EnterSection(kEidrSections);
    if (result != SYM_OK) return result;
    eidrSectionBytesTotal = recordSize;
    eidrSectionBytesRead = 0;
    return Exhausted() ? SYM_END_OF_DATA : SYM_OK;
}

// One call delivers one element, its texts into buffers of the caller.
i32 SymFile::GetNextEidrSectionGroup(i32* count, EidrSectionItem* target, i32 capacity) {
    if (AnyNull(count, target)) return SYM_ERR_PARAM;
    if (Exhausted()) return SYM_END_OF_DATA;
    if (*count >= capacity) return SYM_MORE_DATA;
    ReadLoose(&target->id, sizeof target->id, eidrSectionBytesRead);
    arena.Reset();
    i32 result = ReadTextTo(target->text1, target->text1Size, eidrSectionBytesRead);
    if (result != SYM_OK) return result;
    result = ReadTextTo(target->text2, target->text2Size, eidrSectionBytesRead);
    if (result != SYM_OK) return result;
    ++*count;
    if (eidrSectionBytesRead == eidrSectionBytesTotal) {
        eidrSectionBytesRead = 0;
        return SYM_OK;
    }
    return eidrSectionBytesRead < eidrSectionBytesTotal ? SYM_MORE_DATA : SYM_ERR_FORMAT;
}

}  // namespace torva
