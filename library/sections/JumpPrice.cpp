// Section 3, the jump price table.
//
//   0   u16      id: 3
//   2   u32      head value, not used
//   6   u8       group count; only 0 has a meaning, the section's size ends the table
//   7   groups   one after the other
//
// A group:  u8 group id | u16 record count | 24 bytes per record
//
// No read is tested here: bytes that do not come are zeros of the caller's array, and count.

#include <cstring>

#include "library/core/SymFile.h"

namespace torva {
namespace {

constexpr u8 kJumpPriceSection = 3;

}  // namespace

// Enters the section by itself and reads the next group's head, then delivers records.
i32 SymFile::GetNextJumpPriceGroup(u8* groupId, i32* count, JumpPriceRecord* records, i32 capacity) {
    if (AnyNull(groupId, count) || NullArray(records, capacity)) return SYM_ERR_PARAM;
    bool found = true;
    if (sectionId != kJumpPriceSection) {
        jumpGroupCount = 0;
        jumpRecordCount = 0;
        jumpRecordIndex = 0;
        found = SeekSection(kJumpPriceSection);
        ReadLoose(&recordSize, sizeof recordSize);
        ReadLoose(&jumpGroupCount, sizeof jumpGroupCount);
    }
    if (Exhausted()) return SYM_END_OF_DATA;
    if (!found || jumpGroupCount == 0) return SYM_OK;
    ReadLoose(groupId, sizeof *groupId);
    ReadLoose(&jumpRecordCount, sizeof jumpRecordCount);
    return GetAgainJumpPriceData(count, records, capacity);
}

// Delivers the next records of the open group.
i32 SymFile::GetAgainJumpPriceData(i32* count, JumpPriceRecord* records, i32 capacity) {
    if (AnyNull(count) || NullArray(records, capacity)) return SYM_ERR_PARAM;
    arena.Reset();
    const u32 room = static_cast<u32>(std::max(capacity, 0));
    u32 done = 0;
    i32 result = SYM_OK;
    if (Exhausted()) result = SYM_END_OF_DATA;
    while (result == SYM_OK && jumpRecordIndex < jumpRecordCount && done < room) {
        const u32 left = std::min<u32>(jumpRecordCount - jumpRecordIndex, room - done);
        const u32 upToPassing = (sectionSize - sectionConsumed) / u32{sizeof *records} + 1;
        bool ended = false;
        const u32 part = ReadRecords(records + done, std::min(left, upToPassing), ended);
        done += part;
        jumpRecordIndex = static_cast<u16>(jumpRecordIndex + part);
        if (sectionConsumed > sectionSize) {
            result = SYM_ERR_FORMAT;
        } else if (ended) {
            result = SYM_MORE_DATA;
        }
        if (result != SYM_OK)
            --jumpRecordIndex;  // the record at which the walk broke off does not count as walked
    }
    if (room > done) std::memset(records + done, 0, sizeof *records * (room - done));
    *count = static_cast<i32>(done);
    if (result != SYM_OK) return result;
    if (jumpRecordIndex != jumpRecordCount) return SYM_MORE_DATA;
    jumpRecordIndex = 0;
    jumpRecordCount = 0;
    return SYM_OK;
}

}  // namespace torva
