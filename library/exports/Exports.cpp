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
    CallFile<&SymFile::GetSymDataProgress>(handle, &progress);
    return progress;
}

i32 tv_GetExtendSectionList(u16 handle, u32* list, i32 capacity) {
    return CallFile<&SymFile::GetExtendSectionList>(handle, list, capacity);
}

i32 tv_GetNextSymData(u16 handle, char* text, i32 textMax, i32* count, SymFieldItem* items, i32 maxItems) {
    return CallFile<&SymFile::GetNextSymData>(handle, text, textMax, count, items, maxItems);
}

i32 tv_GetAgainSymData(u16 handle, i32* count, SymFieldItem* items, i32 maxItems) {
    return CallFile<&SymFile::GetAgainSymData>(handle, count, items, maxItems);
}

i32 tv_GetNextJumpPriceGroup(u16 handle, u8* groupId, i32* count, JumpPriceRecord* records, i32 capacity) {
    return CallFile<&SymFile::GetNextJumpPriceGroup>(handle, groupId, count, records, capacity);
}

i32 tv_GetAgainJumpPriceData(u16 handle, i32* count, JumpPriceRecord* records, i32 capacity) {
    return CallFile<&SymFile::GetAgainJumpPriceData>(handle, count, records, capacity);
}

i32 tv_InitialSectionBorkerInfo(u16 handle) { return CallFile<&SymFile::InitialSectionBorkerInfo>(handle); }

i32 tv_GetNextBrokerInfoGroup(u16 handle, i32* count, BrokerInfoRecord* records, i32 capacity) {
    return CallFile<&SymFile::GetNextBrokerInfoGroup>(handle, count, records, capacity);
}

i32 tv_InitialSection6(u16 handle) { return CallFile<&SymFile::InitialSection6>(handle); }

i32 tv_GetNextEidrQuickGroup(u16 handle, const char** name, i32* count, SymFieldBuffer* target,
                             i32 capacity) {
    return CallFile<&SymFile::GetNextEidrQuickGroup>(handle, name, count, target, capacity);
}

i32 tv_InitialSection7(u16 handle) { return CallFile<&SymFile::InitialSection7>(handle); }

i32 tv_GetNextEidrSectionGroup(u16 handle, i32* count, EidrSectionItem* target, i32 capacity) {
    return CallFile<&SymFile::GetNextEidrSectionGroup>(handle, count, target, capacity);
}

i32 tv_GetNextSectionL2Group(u16 handle, u8* groupId, i32* count, SectionL2Item* records, i32 capacity) {
    return CallFile<&SymFile::GetNextSectionL2Group>(handle, groupId, count, records, capacity);
}

i32 tv_GetAgainSectionL2Data(u16 handle, i32* count, SectionL2Item* records, i32 capacity) {
    return CallFile<&SymFile::GetAgainSectionL2Data>(handle, count, records, capacity);
}

i32 tv_InitializeSection9(u16 handle) { return CallFile<&SymFile::InitializeSection9>(handle); }

i32 tv_GetNextFundCompanyGroup(u16 handle, i32* count, u32* ids, char** names, u32 nameSize) {
    return CallFile<&SymFile::GetNextFundCompanyGroup>(handle, count, ids, names, nameSize);
}

i32 tv_InitializeSection10(u16 handle) { return CallFile<&SymFile::InitializeSection10>(handle); }

i32 tv_GetNextEidrCountryGroup(u16 handle, i32* count, u32* ids, char** names, u32 nameSize) {
    return CallFile<&SymFile::GetNextEidrCountryGroup>(handle, count, ids, names, nameSize);
}

i32 tv_InitializeSection12(u16 handle) { return CallFile<&SymFile::InitializeSection12>(handle); }

i32 tv_GetNextIssueCompanyGroup(u16 handle, i32* count, u32* ids, char** names, u32 nameSize) {
    return CallFile<&SymFile::GetNextIssueCompanyGroup>(handle, count, ids, names, nameSize);
}

i32 tv_InitialFundMainNameSection(u16 handle) {
    return CallFile<&SymFile::InitialFundMainNameSection>(handle);
}

i32 tv_GetNextFundMainName(u16 handle, i32* count, u32* ids, char** names, u32 nameSize) {
    return CallFile<&SymFile::GetNextFundMainName>(handle, count, ids, names, nameSize);
}

i32 tv_InitialFuturesSectionV2(u16 handle) { return CallFile<&SymFile::InitialFuturesSectionV2>(handle); }

i32 tv_GetNextFuturesSectionV2(u16 handle, i32* count, u32* ids, char** names, u32 nameSize) {
    return CallFile<&SymFile::GetNextFuturesSectionV2>(handle, count, ids, names, nameSize);
}

i32 tv_InitialFuturesClassType(u16 handle) { return CallFile<&SymFile::InitialFuturesClassType>(handle); }

i32 tv_GetNextFuturesClassType(u16 handle, i32* count, u32* ids, char** names, u32 nameSize) {
    return CallFile<&SymFile::GetNextFuturesClassType>(handle, count, ids, names, nameSize);
}

i32 tv_InitializeSection11(u16 handle) { return CallFile<&SymFile::InitializeSection11>(handle); }

i32 tv_GetNextSectionGroup(u16 handle, u8* groupId, i32* count, u8** members, i32 capacity) {
    return CallFile<&SymFile::GetNextSectionGroup>(handle, groupId, count, members, capacity);
}

i32 tv_InitialObjectSection(u16 handle) { return CallFile<&SymFile::InitialObjectSection>(handle); }

i32 tv_GetNextObjectTypeID(u16 handle, u16* typeId, u16* sourceSymCount) {
    return CallFile<&SymFile::GetNextObjectTypeID>(handle, typeId, sourceSymCount);
}

i32 tv_GetNextObjectSourceSym(u16 handle, const char** sourceSym, u16* symCount) {
    return CallFile<&SymFile::GetNextObjectSourceSym>(handle, sourceSym, symCount);
}

i32 tv_GetNextObjectSym(u16 handle, u8* symByte, const char** sym, u8* dataCount) {
    return CallFile<&SymFile::GetNextObjectSym>(handle, symByte, sym, dataCount);
}

i32 tv_GetNextObjectData(u16 handle, u8* dataByte, const char** data) {
    return CallFile<&SymFile::GetNextObjectData>(handle, dataByte, data);
}

i32 tv_InitialForeignTradeSection(u16 handle) {
    return CallFile<&SymFile::InitialForeignTradeSection>(handle);
}

i32 tv_GetNextForeignTradeHead(u16 handle, ForeignTradeHead* head) {
    return CallFile<&SymFile::GetNextForeignTradeHead>(handle, head);
}

i32 tv_GetForeignTrade(u16 handle, u8* itemTag, const char** names, u32* count, u32 capacity) {
    return CallFile<&SymFile::GetForeignTrade>(handle, itemTag, names, count, capacity);
}

i32 tv_GetNextForeignTrade(u16 handle, const char** names, u32* count, u32 capacity) {
    return CallFile<&SymFile::GetNextForeignTrade>(handle, names, count, capacity);
}

i32 tv_InitialGlobalRelatedSection(u16 handle) {
    return CallFile<&SymFile::InitialGlobalRelatedSection>(handle);
}

i32 tv_GetNextGlobalReleatedHead(u16 handle, u16* headId) {
    return CallFile<&SymFile::GetNextGlobalReleatedHead>(handle, headId);
}

i32 tv_GetGlobalReleated(u16 handle, u8* listSize, GlobalRelatedItem* items, u32* count, u32 capacity) {
    return CallFile<&SymFile::GetGlobalReleated>(handle, listSize, items, count, capacity);
}

i32 tv_GetNextGlobalReleated(u16 handle, GlobalRelatedItem* items, u32* count, u32 capacity) {
    return CallFile<&SymFile::GetNextGlobalReleated>(handle, items, count, capacity);
}

i32 tv_InitialExchangeSection(u16 handle) { return CallFile<&SymFile::InitialExchangeSection>(handle); }

i32 tv_GetNextExchange(u16 handle, u32* id, char* text1, i32 text1Limit, char* text2, i32 text2Limit) {
    return CallFile<&SymFile::GetNextExchange>(handle, id, text1, text1Limit, text2, text2Limit);
}

i32 tv_InitialRealDelayMappingSection(u16 handle) {
    return CallFile<&SymFile::InitialRealDelayMappingSection>(handle);
}

i32 tv_GetNextRealDelayMapping(u16 handle, u8* first, u8* second) {
    return CallFile<&SymFile::GetNextRealDelayMapping>(handle, first, second);
}

i32 tv_InitialLevel2EODBasicItemDefineSection(u16 handle) {
    return CallFile<&SymFile::InitialLevel2EODBasicItemDefineSection>(handle);
}

i32 tv_GetNextLevel2EODBasicItemDefine(u16 handle, u16* id, u16* firstCount, u16* firstItems,
                                       u32 firstCapacity, u16* secondCount, u16* secondItems,
                                       u32 secondCapacity, u16* thirdCount, u16* thirdItems,
                                       u32 thirdCapacity) {
    return CallFile<&SymFile::GetNextLevel2EODBasicItemDefine>(
        handle, id, firstCount, firstItems, firstCapacity, secondCount, secondItems, secondCapacity,
        thirdCount, thirdItems, thirdCapacity);
}

i32 tv_InitialExchangeSupportSection(u16 handle) {
    return CallFile<&SymFile::InitialExchangeSupportSection>(handle);
}

i32 tv_GetNextExchangeSupportSection(u16 handle, u16* id, u16* count, u16* items, u32 capacity) {
    return CallFile<&SymFile::GetNextExchangeSupportSection>(handle, id, count, items, capacity);
}
