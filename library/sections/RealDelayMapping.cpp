// Section 17, the real-delay mapping.
//
//   0   u16     id: 17
//   2   u32     head value: bytes of all pairs; it ends the table
//   6   u16     pair count; only 0 has a meaning
//   8   pairs   u8 first | u8 second, one after the other

#include "library/sections/RealDelayMapping.h"

namespace torva {
namespace {

constexpr u8 kRealDelayMapping = 17;

}  // namespace

i32 RealDelayMappingReader::InitialRealDelayMappingSection(FileReader& file) {
    u16 newCount = 0;
    const i32 result = file.EnterCountedSection(kRealDelayMapping, newCount, &bytesTotal);
    if (result != SYM_OK) return result;
    pairCount = newCount;
    bytesRead = 0;
    return file.Exhausted() ? SYM_END_OF_DATA : pairCount;
}

i32 RealDelayMappingReader::GetNextRealDelayMapping(FileReader& file, u8* first, u8* second) {
    if (AnyNull(first, second)) return SYM_ERR_PARAM;
    if (bytesRead >= bytesTotal) return SYM_END_OF_DATA;
    if (pairCount == 0) return SYM_END_OF_DATA;
    if (file.source.AtEnd()) return SYM_END_OF_DATA;
    if (!file.Read(first, 1, bytesRead)) return SYM_ERR_READ;
    if (!file.Read(second, 1, bytesRead)) return SYM_ERR_READ;
    return SYM_OK;
}

}  // namespace torva
