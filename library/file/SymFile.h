// One open symbol file: its bytes and section cursor, and a reader for each section.
#pragma once

#include <memory>

#include "format/Types.h"
#include "library/core/FileReader.h"
#include "library/sections/BrokerInfo.h"
#include "library/sections/EidrQuickGroups.h"
#include "library/sections/EidrSections.h"
#include "library/sections/ExchangeSupport.h"
#include "library/sections/Exchanges.h"
#include "library/sections/ForeignTrade.h"
#include "library/sections/GlobalRelated.h"
#include "library/sections/JumpPrices.h"
#include "library/sections/Level2EodItems.h"
#include "library/sections/NameTables.h"
#include "library/sections/Objects.h"
#include "library/sections/RealDelayMapping.h"
#include "library/sections/SectionGroups.h"
#include "library/sections/SectionL2.h"
#include "library/stream/SymbolStream.h"

namespace torva {

// Each reader keeps the state of its own walk; all share one read position and section cursor
// of `file`, which is the first argument of every operation. The operations serve the exports of the same
// names: they test their pointers first (SYM_ERR_PARAM) and never write outside the caller's arrays. Nothing
// here locks: one thread at a time uses an object, and different objects share nothing.
class SymFile {
public:
    // `fieldIds` are the ids that the caller wants from the symbol stream; with a count of 0 it wants all.
    // Throws std::bad_alloc.
    SymFile(const u16* fieldIds, u16 fieldIdCount) : symbols(fieldIds, fieldIdCount) {}
    SymFile(const SymFile&) = delete;
    SymFile& operator=(const SymFile&) = delete;
    virtual ~SymFile() = default;

    // Opens the file exclusively, loads its section directory and default fields and divides
    // `memoryBudget`. SYM_OK or an open's error. Throws std::bad_alloc. One of the three opens is called
    // once, before anything else.
    i32 Open(const char* path, u32 memoryBudget, bool wholeFile);

    // The same for a file that is open already.
    i32 Open(std::unique_ptr<platform::File> openFile, u32 memoryBudget, bool wholeFile);

    // The same in memory mode over the bytes of a file, which stay the caller's and are not copied: they must
    // not change, and must outlive this object.
    i32 OpenImage(const u8* image, u64 size, u32 memoryBudget);

    FileReader file;

    // By the section that each reads.
    SymbolStream symbols;                      // 2, with the default fields of 1
    JumpPriceReader jumpPrices;                // 3
    BrokerInfoReader brokerInfo;               // 4
    EidrQuickGroupReader eidrQuickGroups;      // 6
    EidrSectionReader eidrSections;            // 7
    SectionL2Reader sectionL2;                 // 8
    FundCompanyReader fundCompanies;           // 9
    EidrCountryReader eidrCountries;           // 10
    SectionGroupReader sectionGroups;          // 11
    IssueCompanyReader issueCompanies;         // 12
    ObjectReader objects;                      // 13
    ForeignTradeReader foreignTrade;           // 14
    GlobalRelatedReader globalRelated;         // 15
    ExchangeReader exchanges;                  // 16
    RealDelayMappingReader realDelayMapping;   // 17
    Level2EodItemReader level2EodItems;        // 18
    FundMainNameReader fundMainNames;          // 19
    FuturesSectionV2Reader futuresSectionsV2;  // 20
    ExchangeSupportReader exchangeSupport;     // 21
    FuturesClassTypeReader futuresClassTypes;  // 22

private:
    i32 Prepare(u32 memoryBudget);
};

}  // namespace torva
