// Section 17, the real-delay mapping.
//
//   0   u16     id: 17
//   2   u32     head value: bytes of all pairs; it ends the table
//   6   u16     pair count; only 0 has a meaning
//   8   pairs   u8 first | u8 second, one after the other

#include "library/core/SymFile.h"

namespace torva {
namespace {

constexpr u8 kRealDelayMapping = 17;

}  // namespace

i32 SymFile::InitialRealDelayMappingSection() {
    u16 pairCount = 0;
    const i32 result = EnterCountedSection(kRealDelayMapping, pairCount, &realDelayCursor.bytesTotal);
    if (result != SYM_OK) return result;
    realDelayCursor.elementCount = pairCount;
    realDelayCursor.bytesRead = 0;
    realDelayCursor.elementIndex = 0;
    return Exhausted() ? SYM_END_OF_DATA : pairCount;
}

i32 SymFile::GetNextRealDelayMapping(u8* first, u8* second) {
    if (AnyNull(first, second)) return SYM_ERR_PARAM;
    DirectoryCursor& cursor = realDelayCursor;
    if (cursor.bytesRead >= cursor.bytesTotal) return SYM_END_OF_DATA;
    if (cursor.elementIndex >= cursor.elementCount) return SYM_END_OF_DATA;
    if (source.AtEnd()) return SYM_END_OF_DATA;
    if (!Read(first, 1, cursor.bytesRead)) return SYM_ERR_READ;
    if (!Read(second, 1, cursor.bytesRead)) return SYM_ERR_READ;
    return SYM_OK;
}

}  // namespace torva
