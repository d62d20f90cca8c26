// Section 6, the Eidr quick groups.
#pragma once

#include <array>

#include "TorvaAPI.h"
#include "format/Types.h"
#include "library/core/FileReader.h"

namespace torva {

class EidrQuickGroupReader {
public:
    i32 InitialSection6(FileReader& file);
    i32 GetNextEidrQuickGroup(FileReader& file, const char** name, i32* count, SymFieldBuffer* target,
                              i32 capacity);

private:
    u32 bytesTotal = 0;  // the head value: bytes of all groups
    u32 bytesRead = 0;
    u16 groupBytes = 0;
    u16 groupBytesRead = 0;            // 0: the next call begins with a group head
    std::array<char, 50> groupName{};  // at most 49 characters
};

}  // namespace torva
