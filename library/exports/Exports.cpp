// The exported functions: one call each, through the frame, to the operation of the same name.

#include "TorvaAPI.h"
#include "library/exports/CallFrame.h"

namespace {

using namespace torva;

u32 initCount = 0;  // tv_InitSymAPI calls less tv_ReleaseSymAPI calls; may go "below" 0

constexpr SymApiVersion kVersion = {1, 0, 4, 4, 7, 2016, 5};

}  // namespace

u32 tv_InitSymAPI(u16 maxFiles) {
    CallLibrary([=](SymFileManager& manager) {
        manager.RaiseHandleLimit(maxFiles);
        ++initCount;
        return SYM_OK;
    });
    return 0;
}

void tv_ReleaseSymAPI(void) {
    CallLibrary([](SymFileManager& manager) {
        if (--initCount == 0) manager.CloseAll();
        return SYM_OK;
    });
}

i32 tv_OpenSymFile(const char* path, u32 memoryBudget, const u16* fieldIds, u32 fieldIdCount, u32 wholeFile) {
    return CallLibrary([=](SymFileManager& manager) {
        return manager.Open(path, memoryBudget, fieldIds, fieldIdCount, wholeFile != 0);
    });
}

void tv_CloseSymFile(u16 handle) {
    CallLibrary([=](SymFileManager& manager) {
        manager.Close(handle);
        return SYM_OK;
    });
}

void tv_GetAPIVersion(SymApiVersion* version) {
    if (version != nullptr) *version = kVersion;
}

double tv_GetSymDataProgress(u16 handle) {
    double progress = 0.0;
    CallFile(handle, [&](const SymFile& open) { return open.file.GetSymDataProgress(&progress); });
    return progress;
}

i32 tv_GetExtendSectionList(u16 handle, u32* list, i32 capacity) {
    return CallFile(handle,
                    [=](const SymFile& open) { return open.file.GetExtendSectionList(list, capacity); });
}

i32 tv_GetNextSymData(u16 handle, char* text, i32 textMax, i32* count, SymFieldItem* items, i32 maxItems) {
    return CallAllocatingReader<&SymFile::symbols, &SymbolStream::GetNextSymData>(handle, text, textMax,
                                                                                  count, items, maxItems);
}

i32 tv_GetAgainSymData(u16 handle, i32* count, SymFieldItem* items, i32 maxItems) {
    return CallAllocatingReader<&SymFile::symbols, &SymbolStream::GetAgainSymData>(handle, count, items,
                                                                                   maxItems);
}

i32 tv_GetNextJumpPriceGroup(u16 handle, u8* groupId, i32* count, JumpPriceRecord* records, i32 capacity) {
    return CallReader<&SymFile::jumpPrices, &JumpPriceReader::GetNextJumpPriceGroup>(handle, groupId, count,
                                                                                     records, capacity);
}

i32 tv_GetAgainJumpPriceData(u16 handle, i32* count, JumpPriceRecord* records, i32 capacity) {
    return CallReader<&SymFile::jumpPrices, &JumpPriceReader::GetAgainJumpPriceData>(handle, count, records,
                                                                                     capacity);
}

i32 tv_InitialSectionBorkerInfo(u16 handle) {
    return CallReader<&SymFile::brokerInfo, &BrokerInfoReader::InitialSectionBorkerInfo>(handle);
}

i32 tv_GetNextBrokerInfoGroup(u16 handle, i32* count, BrokerInfoRecord* records, i32 capacity) {
    return CallReader<&SymFile::brokerInfo, &BrokerInfoReader::GetNextBrokerInfoGroup>(handle, count, records,
                                                                                       capacity);
}

i32 tv_InitialSection6(u16 handle) {
    return CallReader<&SymFile::eidrQuickGroups, &EidrQuickGroupReader::InitialSection6>(handle);
}

i32 tv_GetNextEidrQuickGroup(u16 handle, const char** name, i32* count, SymFieldBuffer* target,
                             i32 capacity) {
    return CallReader<&SymFile::eidrQuickGroups, &EidrQuickGroupReader::GetNextEidrQuickGroup>(
        handle, name, count, target, capacity);
}

i32 tv_InitialSection7(u16 handle) {
    return CallReader<&SymFile::eidrSections, &EidrSectionReader::InitialSection7>(handle);
}

i32 tv_GetNextEidrSectionGroup(u16 handle, i32* count, EidrSectionItem* target, i32 capacity) {
    return CallReader<&SymFile::eidrSections, &EidrSectionReader::GetNextEidrSectionGroup>(handle, count,
                                                                                           target, capacity);
}

i32 tv_GetNextSectionL2Group(u16 handle, u8* groupId, i32* count, SectionL2Item* records, i32 capacity) {
    return CallReader<&SymFile::sectionL2, &SectionL2Reader::GetNextSectionL2Group>(handle, groupId, count,
                                                                                    records, capacity);
}

i32 tv_GetAgainSectionL2Data(u16 handle, i32* count, SectionL2Item* records, i32 capacity) {
    return CallReader<&SymFile::sectionL2, &SectionL2Reader::GetAgainSectionL2Data>(handle, count, records,
                                                                                    capacity);
}

i32 tv_InitializeSection9(u16 handle) {
    return CallReader<&SymFile::fundCompanies, &FundCompanyReader::InitializeSection9>(handle);
}

i32 tv_GetNextFundCompanyGroup(u16 handle, i32* count, u32* ids, char** names, u32 nameSize) {
    return CallReader<&SymFile::fundCompanies, &FundCompanyReader::GetNextFundCompanyGroup>(
        handle, count, ids, names, nameSize);
}

i32 tv_InitializeSection10(u16 handle) {
    return CallReader<&SymFile::eidrCountries, &EidrCountryReader::InitializeSection10>(handle);
}

i32 tv_GetNextEidrCountryGroup(u16 handle, i32* count, u32* ids, char** names, u32 nameSize) {
    return CallReader<&SymFile::eidrCountries, &EidrCountryReader::GetNextEidrCountryGroup>(
        handle, count, ids, names, nameSize);
}

i32 tv_InitializeSection12(u16 handle) {
    return CallReader<&SymFile::issueCompanies, &IssueCompanyReader::InitializeSection12>(handle);
}

i32 tv_GetNextIssueCompanyGroup(u16 handle, i32* count, u32* ids, char** names, u32 nameSize) {
    return CallReader<&SymFile::issueCompanies, &IssueCompanyReader::GetNextIssueCompanyGroup>(
        handle, count, ids, names, nameSize);
}

i32 tv_InitialFundMainNameSection(u16 handle) {
    return CallReader<&SymFile::fundMainNames, &FundMainNameReader::InitialFundMainNameSection>(handle);
}

i32 tv_GetNextFundMainName(u16 handle, i32* count, u32* ids, char** names, u32 nameSize) {
    return CallReader<&SymFile::fundMainNames, &FundMainNameReader::GetNextFundMainName>(handle, count, ids,
                                                                                         names, nameSize);
}

i32 tv_InitialFuturesSectionV2(u16 handle) {
    return CallReader<&SymFile::futuresSectionsV2, &FuturesSectionV2Reader::InitialFuturesSectionV2>(handle);
}

i32 tv_GetNextFuturesSectionV2(u16 handle, i32* count, u32* ids, char** names, u32 nameSize) {
    return CallReader<&SymFile::futuresSectionsV2, &FuturesSectionV2Reader::GetNextFuturesSectionV2>(
        handle, count, ids, names, nameSize);
}

i32 tv_InitialFuturesClassType(u16 handle) {
    return CallReader<&SymFile::futuresClassTypes, &FuturesClassTypeReader::InitialFuturesClassType>(handle);
}

i32 tv_GetNextFuturesClassType(u16 handle, i32* count, u32* ids, char** names, u32 nameSize) {
    return CallReader<&SymFile::futuresClassTypes, &FuturesClassTypeReader::GetNextFuturesClassType>(
        handle, count, ids, names, nameSize);
}

i32 tv_InitializeSection11(u16 handle) {
    return CallReader<&SymFile::sectionGroups, &SectionGroupReader::InitializeSection11>(handle);
}

i32 tv_GetNextSectionGroup(u16 handle, u8* groupId, i32* count, u8** members, i32 capacity) {
    return CallReader<&SymFile::sectionGroups, &SectionGroupReader::GetNextSectionGroup>(
        handle, groupId, count, members, capacity);
}

i32 tv_InitialObjectSection(u16 handle) {
    return CallReader<&SymFile::objects, &ObjectReader::InitialObjectSection>(handle);
}

i32 tv_GetNextObjectTypeID(u16 handle, u16* typeId, u16* sourceSymCount) {
    return CallReader<&SymFile::objects, &ObjectReader::GetNextObjectTypeID>(handle, typeId, sourceSymCount);
}

i32 tv_GetNextObjectSourceSym(u16 handle, const char** sourceSym, u16* symCount) {
    return CallReader<&SymFile::objects, &ObjectReader::GetNextObjectSourceSym>(handle, sourceSym, symCount);
}

i32 tv_GetNextObjectSym(u16 handle, u8* symByte, const char** sym, u8* dataCount) {
    return CallReader<&SymFile::objects, &ObjectReader::GetNextObjectSym>(handle, symByte, sym, dataCount);
}

i32 tv_GetNextObjectData(u16 handle, u8* dataByte, const char** data) {
    return CallReader<&SymFile::objects, &ObjectReader::GetNextObjectData>(handle, dataByte, data);
}

i32 tv_InitialForeignTradeSection(u16 handle) {
    return CallReader<&SymFile::foreignTrade, &ForeignTradeReader::InitialForeignTradeSection>(handle);
}

i32 tv_GetNextForeignTradeHead(u16 handle, ForeignTradeHead* head) {
    return CallReader<&SymFile::foreignTrade, &ForeignTradeReader::GetNextForeignTradeHead>(handle, head);
}

i32 tv_GetForeignTrade(u16 handle, u8* itemTag, const char** names, u32* count, u32 capacity) {
    return CallReader<&SymFile::foreignTrade, &ForeignTradeReader::GetForeignTrade>(handle, itemTag, names,
                                                                                    count, capacity);
}

i32 tv_GetNextForeignTrade(u16 handle, const char** names, u32* count, u32 capacity) {
    return CallReader<&SymFile::foreignTrade, &ForeignTradeReader::GetNextForeignTrade>(handle, names, count,
                                                                                        capacity);
}

i32 tv_InitialGlobalRelatedSection(u16 handle) {
    return CallReader<&SymFile::globalRelated, &GlobalRelatedReader::InitialGlobalRelatedSection>(handle);
}

i32 tv_GetNextGlobalReleatedHead(u16 handle, u16* headId) {
    return CallReader<&SymFile::globalRelated, &GlobalRelatedReader::GetNextGlobalReleatedHead>(handle,
                                                                                                headId);
}

i32 tv_GetGlobalReleated(u16 handle, u8* listSize, GlobalRelatedItem* items, u32* count, u32 capacity) {
    return CallReader<&SymFile::globalRelated, &GlobalRelatedReader::GetGlobalReleated>(
        handle, listSize, items, count, capacity);
}

i32 tv_GetNextGlobalReleated(u16 handle, GlobalRelatedItem* items, u32* count, u32 capacity) {
    return CallReader<&SymFile::globalRelated, &GlobalRelatedReader::GetNextGlobalReleated>(handle, items,
                                                                                            count, capacity);
}

i32 tv_InitialExchangeSection(u16 handle) {
    return CallReader<&SymFile::exchanges, &ExchangeReader::InitialExchangeSection>(handle);
}

i32 tv_GetNextExchange(u16 handle, u32* id, char* text1, i32 text1Limit, char* text2, i32 text2Limit) {
    return CallReader<&SymFile::exchanges, &ExchangeReader::GetNextExchange>(handle, id, text1, text1Limit,
                                                                             text2, text2Limit);
}

i32 tv_InitialRealDelayMappingSection(u16 handle) {
    return CallReader<&SymFile::realDelayMapping, &RealDelayMappingReader::InitialRealDelayMappingSection>(
        handle);
}

i32 tv_GetNextRealDelayMapping(u16 handle, u8* first, u8* second) {
    return CallReader<&SymFile::realDelayMapping, &RealDelayMappingReader::GetNextRealDelayMapping>(
        handle, first, second);
}

i32 tv_InitialLevel2EODBasicItemDefineSection(u16 handle) {
    return CallAllocatingReader<&SymFile::level2EodItems,
                                &Level2EodItemReader::InitialLevel2EODBasicItemDefineSection>(handle);
}

i32 tv_GetNextLevel2EODBasicItemDefine(u16 handle, u16* id, u16* firstCount, u16* firstItems,
                                       u32 firstCapacity, u16* secondCount, u16* secondItems,
                                       u32 secondCapacity, u16* thirdCount, u16* thirdItems,
                                       u32 thirdCapacity) {
    return CallReader<&SymFile::level2EodItems, &Level2EodItemReader::GetNextLevel2EODBasicItemDefine>(
        handle, id, firstCount, firstItems, firstCapacity, secondCount, secondItems, secondCapacity,
        thirdCount, thirdItems, thirdCapacity);
}

i32 tv_InitialExchangeSupportSection(u16 handle) {
    return CallAllocatingReader<&SymFile::exchangeSupport,
                                &ExchangeSupportReader::InitialExchangeSupportSection>(handle);
}

i32 tv_GetNextExchangeSupportSection(u16 handle, u16* id, u16* count, u16* items, u32 capacity) {
    return CallReader<&SymFile::exchangeSupport, &ExchangeSupportReader::GetNextExchangeSupportSection>(
        handle, id, count, items, capacity);
}
