// Section 3, the jump price table.
//
//   0   u16      id: 3
//   2   u32      head value, not used
//   6   u8       group count; only 0 has a meaning, the section's size ends the table
//   7   groups   one after the other
//
// A group:  u8 group id | u16 record count | 24 bytes per record
//
// All reads are loose: bytes that do not come are zeros in the caller's array, and count.

#include "library/sections/JumpPrices.h"

#include <algorithm>
#include <cstring>

namespace torva {
namespace {

constexpr u8 kJumpPriceSection = 3;

}  // namespace

// Enters the section if needed and reads the next group's head, then delivers records.
i32 JumpPriceReader::GetNextJumpPriceGroup(FileReader& file, u8* groupId, i32* count,
                                           JumpPriceRecord* records, i32 capacity) {
    if (AnyNull(groupId, count) || NullArray(records, capacity)) return SYM_ERR_PARAM;
    bool found = true;
    if (file.sectionId != kJumpPriceSection) {
        groupCount = 0;
        recordCount = 0;
        recordIndex = 0;
        found = file.SeekSection(kJumpPriceSection);
        file.ReadLoose(&file.headValue, sizeof file.headValue);
        file.ReadLoose(&groupCount, sizeof groupCount);
    }
    if (file.Exhausted()) return SYM_END_OF_DATA;
    if (!found || groupCount == 0) return SYM_OK;
    file.ReadLoose(groupId, sizeof *groupId);
    file.ReadLoose(&recordCount, sizeof recordCount);
    return GetAgainJumpPriceData(file, count, records, capacity);
}

// Delivers the next records of the open group.
i32 JumpPriceReader::GetAgainJumpPriceData(FileReader& file, i32* count, JumpPriceRecord* records,
                                           i32 capacity) {
    if (AnyNull(count) || NullArray(records, capacity)) return SYM_ERR_PARAM;
    file.arena.Reset();
    const u32 room = static_cast<u32>(std::max(capacity, 0));
    u32 done = 0;
    i32 result = SYM_OK;
    if (file.Exhausted()) result = SYM_END_OF_DATA;
    while (result == SYM_OK && recordIndex < recordCount && done < room) {
        const u32 left = std::min<u32>(recordCount - recordIndex, room - done);
        const u32 upToPassing = (file.sectionSize - file.sectionConsumed) / u32{sizeof *records} + 1;
        bool ended = false;
        const u32 part = file.ReadRecords(records + done, std::min(left, upToPassing), ended);
        done += part;
        recordIndex = static_cast<u16>(recordIndex + part);
        if (file.sectionConsumed > file.sectionSize) {
            result = SYM_ERR_FORMAT;
        } else if (ended) {
            result = SYM_MORE_DATA;
        }
        if (result != SYM_OK)
            --recordIndex;  // the record at which the walk broke off does not count as walked
    }
    if (room > done) std::memset(records + done, 0, sizeof *records * (room - done));
    *count = static_cast<i32>(done);
    if (result != SYM_OK) return result;
    if (recordIndex != recordCount) return SYM_MORE_DATA;
    recordIndex = 0;
    recordCount = 0;
    return SYM_OK;
}

}  // namespace torva
