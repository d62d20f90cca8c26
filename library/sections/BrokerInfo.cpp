// Section 4, the broker info table.
//
//   0   u16       id: 4
//   2   u32       head value, not used
//   6   u16       record count
//   8   30 bytes  per record
//
// The reads of records are loose: bytes that do not come are zeros in the caller's array, and count.

#include "library/sections/BrokerInfo.h"

#include <algorithm>
#include <cstring>

namespace torva {
namespace {

constexpr u8 kBrokerInfoSection = 4;

}  // namespace

i32 BrokerInfoReader::InitialSectionBorkerInfo(FileReader& file) {
    u16 newCount = 0;
    const i32 result = file.EnterCountedSection(kBrokerInfoSection, newCount);
    if (result != SYM_OK) return result;
    recordCount = newCount;
    recordIndex = 0;
    return file.Exhausted() ? SYM_END_OF_DATA : recordCount;
}

// `*count` adds up over the calls and is limited to `capacity`; each call stores its records from the first
// element on.
i32 BrokerInfoReader::GetNextBrokerInfoGroup(FileReader& file, i32* count, BrokerInfoRecord* records,
                                             i32 capacity) {
    if (AnyNull(count) || NullArray(records, capacity) || *count < 0) return SYM_ERR_PARAM;
    const u32 size = static_cast<u32>(std::max(capacity, 0));
    const u32 room = size - std::min(size, static_cast<u32>(*count));
    u32 done = 0;
    i32 result = SYM_MORE_DATA;
    if (file.Exhausted() || recordCount <= recordIndex) {
        result = SYM_END_OF_DATA;
    } else if (room > 0) {
        bool ended = false;
        done = file.ReadRecords(records, std::min<u32>(recordCount - recordIndex, room), ended);
        recordIndex = static_cast<u16>(recordIndex + done - (ended ? 1U : 0U));
        if (recordIndex == recordCount) {
            recordIndex = 0;
            recordCount = 0;
            result = SYM_OK;
        }
    }
    if (size > done) std::memset(records + done, 0, sizeof *records * (size - done));
    *count += static_cast<i32>(done);
    return result;
}

}  // namespace torva
