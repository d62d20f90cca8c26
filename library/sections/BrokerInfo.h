// Section 4, the broker info table.
#pragma once

#include "TorvaAPI.h"
#include "format/Types.h"
#include "library/core/FileReader.h"

namespace torva {

class BrokerInfoReader {
public:
    i32 InitialSectionBorkerInfo(FileReader& file);
    i32 GetNextBrokerInfoGroup(FileReader& file, i32* count, BrokerInfoRecord* records, i32 capacity);

private:
    u16 recordCount = 0;
    u16 recordIndex = 0;  // records delivered in this walk
};

}  // namespace torva
