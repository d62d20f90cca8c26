// Section 6, the Eidr quick groups.
//
//   0   u16      id: 6
//   2   u32      head value: bytes of all groups that follow
//   6   groups   one after the other
//
// A group:  u16 group size, the bytes after it | name, at most 49 characters | typed fields, up to that size
//
// One call delivers one field, into a buffer of the caller.

#include "library/sections/EidrQuickGroups.h"

#include "library/core/TypedFields.h"

namespace torva {
namespace {

constexpr u8 kEidrQuickGroups = 6;

}  // namespace

i32 EidrQuickGroupReader::InitialSection6(FileReader& file) {
    const i32 result = file.EnterSection(kEidrQuickGroups);
    if (result != SYM_OK) return result;
    bytesTotal = file.headValue;
    bytesRead = 0;
    groupBytes = 0;
    groupBytesRead = 0;
    return file.Exhausted() ? SYM_END_OF_DATA : SYM_OK;
}

i32 EidrQuickGroupReader::GetNextEidrQuickGroup(FileReader& file, const char** name, i32* count,
                                                SymFieldBuffer* target, i32 capacity) {
    if (AnyNull(name, count, target)) return SYM_ERR_PARAM;
    if (file.Exhausted()) return SYM_END_OF_DATA;
    if (*count >= capacity) return SYM_MORE_DATA;
    if (groupBytesRead > groupBytes) return SYM_ERR_FORMAT;
    if (groupBytesRead == groupBytes) groupBytesRead = 0;
    if (groupBytesRead == 0) {
        file.ReadLoose(&groupBytes, sizeof groupBytes, bytesRead);
        file.arena.Reset();
        const i32 result = file.ReadTextTo(groupName.data(), sizeof groupName, bytesRead, groupBytesRead);
        if (result != SYM_OK) return result;
    }
    *name = groupName.data();
    file.ReadLoose(&target->id, sizeof target->id, bytesRead, groupBytesRead);
    file.ReadLoose(&target->tag, sizeof target->tag, bytesRead, groupBytesRead);
    target->size = 0;
    u32 taken = 0;
    const i32 result = ReadFieldValue(file, target, &taken);
    if (result == SYM_ERR_READ) return result;
    file.Consume(taken, bytesRead, groupBytesRead);
    if (result == SYM_OK) {
        target->capacity = target->size;
        ++*count;
    }
    const u32 read = bytesRead;
    if (read == bytesTotal) {
        bytesRead = 0;
        groupBytesRead = 0;
    }
    if (result != SYM_OK) return result;
    if (read == bytesTotal) return SYM_OK;
    return read < bytesTotal ? SYM_MORE_DATA : SYM_ERR_FORMAT;
}

}  // namespace torva
