// Section 7, the Eidr sections.
//
//   0   u16        id: 7
//   2   u32        head value: bytes of all elements that follow
//   6   elements   one after the other
//
// An element:  u16 id | first text | second text

#include "library/sections/EidrSections.h"

namespace torva {
namespace {

constexpr u8 kEidrSections = 7;

}  // namespace

i32 EidrSectionReader::InitialSection7(FileReader& file) {
    const i32 result = file.EnterSection(kEidrSections);
    if (result != SYM_OK) return result;
    bytesTotal = file.headValue;
    bytesRead = 0;
    return file.Exhausted() ? SYM_END_OF_DATA : SYM_OK;
}

// One call delivers one element, its texts into buffers of the caller.
i32 EidrSectionReader::GetNextEidrSectionGroup(FileReader& file, i32* count, EidrSectionItem* target,
                                               i32 capacity) {
    if (AnyNull(count, target)) return SYM_ERR_PARAM;
    if (file.Exhausted()) return SYM_END_OF_DATA;
    if (*count >= capacity) return SYM_MORE_DATA;
    file.ReadLoose(&target->id, sizeof target->id, bytesRead);
    file.arena.Reset();
    i32 result = file.ReadTextTo(target->text1, target->text1Size, bytesRead);
    if (result != SYM_OK) return result;
    result = file.ReadTextTo(target->text2, target->text2Size, bytesRead);
    if (result != SYM_OK) return result;
    ++*count;
    if (bytesRead == bytesTotal) {
        bytesRead = 0;
        return SYM_OK;
    }
    return bytesRead < bytesTotal ? SYM_MORE_DATA : SYM_ERR_FORMAT;
}

}  // namespace torva
