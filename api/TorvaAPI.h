/* TorvaAPI: reads market symbol master files. The C interface; usable from C99 and C++. */
#ifndef TORVA_API_H
#define TORVA_API_H

#include <stdint.h>

#if defined(_WIN32) && defined(TORVA_API_SHARED)
#define TV_API __declspec(dllimport)
#elif defined(__GNUC__) && !defined(_WIN32)
#define TV_API __attribute__((visibility("default")))
#else
#define TV_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* Result codes. -11 is not used. */
#define SYM_OK 0
#define SYM_ERR_OPEN (-1)
#define SYM_ERR_PARAM (-2)
#define SYM_ERR_NO_SLOT (-3)
#define SYM_ERR_BAD_HANDLE (-4)
#define SYM_MORE_DATA (-5)
#define SYM_END_OF_DATA (-6)
#define SYM_ERR_NO_MEMORY (-7)
#define SYM_ERR_BUFFER_TOO_SMALL (-8)
#define SYM_ERR_FORMAT (-9)
#define SYM_ERR_NO_SECTION (-10)
#define SYM_ERR_READ (-12)

#pragma pack(push, 1)

typedef struct SymApiVersion {
    uint8_t version1;
    uint8_t version2;
    uint8_t version3;
    uint8_t version4;
    uint8_t stamp1;
    uint16_t stampWide;
    uint8_t stamp2;
} SymApiVersion;

typedef struct SymFieldItem {
    uint16_t id;
    uint8_t tag;
    void* value;
} SymFieldItem;

typedef struct SymFieldBuffer {
    uint16_t id;
    uint8_t tag;
    void* value;
    uint32_t capacity;
    uint32_t size;
} SymFieldBuffer;

typedef struct JumpPriceRecord {
    uint8_t bytes[24];
} JumpPriceRecord;

typedef struct BrokerInfoRecord {
    uint8_t bytes[30];
} BrokerInfoRecord;

typedef struct SectionL2Item {
    uint8_t leadByte;
    const char* text1;
    const char* text2;
} SectionL2Item;

typedef struct EidrSectionItem {
    uint16_t id;
    char* text1;
    uint32_t text1Size;
    char* text2;
    uint32_t text2Size;
} EidrSectionItem;

typedef struct ForeignTradeHead {
    uint16_t id;
    const char* name;
} ForeignTradeHead;

typedef struct GlobalRelatedItem {
    uint8_t tag;
    const char* name;
} GlobalRelatedItem;

#pragma pack(pop)

/* Lifecycle */
TV_API uint32_t tv_InitSymAPI(uint16_t maxFiles);
TV_API void tv_ReleaseSymAPI(void);
TV_API int32_t tv_OpenSymFile(const char* path, uint32_t memoryBudget, const uint16_t* fieldIds,
                              uint32_t fieldIdCount, uint32_t wholeFile);
TV_API void tv_CloseSymFile(uint16_t handle);
TV_API void tv_GetAPIVersion(SymApiVersion* version);

/* Directory */
TV_API int32_t tv_GetExtendSectionList(uint16_t handle, uint32_t* list, int32_t capacity);

/* Section 2: symbols */
TV_API int32_t tv_GetNextSymData(uint16_t handle, char* text, int32_t textMax, int32_t* count,
                                 SymFieldItem* items, int32_t maxItems);
TV_API int32_t tv_GetAgainSymData(uint16_t handle, int32_t* count, SymFieldItem* items, int32_t maxItems);
TV_API double tv_GetSymDataProgress(uint16_t handle);

/* Section 3: jump prices */
TV_API int32_t tv_GetNextJumpPriceGroup(uint16_t handle, uint8_t* groupId, int32_t* count,
                                        JumpPriceRecord* records, int32_t capacity);
TV_API int32_t tv_GetAgainJumpPriceData(uint16_t handle, int32_t* count, JumpPriceRecord* records,
                                        int32_t capacity);

/* Section 4: broker info */
TV_API int32_t tv_InitialSectionBorkerInfo(uint16_t handle);
TV_API int32_t tv_GetNextBrokerInfoGroup(uint16_t handle, int32_t* count, BrokerInfoRecord* records,
                                         int32_t capacity);

/* Section 6: Eidr quick groups */
TV_API int32_t tv_InitialSection6(uint16_t handle);
TV_API int32_t tv_GetNextEidrQuickGroup(uint16_t handle, const char** name, int32_t* count,
                                        SymFieldBuffer* target, int32_t capacity);

/* Section 7: Eidr sections */
TV_API int32_t tv_InitialSection7(uint16_t handle);
TV_API int32_t tv_GetNextEidrSectionGroup(uint16_t handle, int32_t* count, EidrSectionItem* target,
                                          int32_t capacity);

/* Section 8: level-2 sections */
TV_API int32_t tv_GetNextSectionL2Group(uint16_t handle, uint8_t* groupId, int32_t* count,
                                        SectionL2Item* records, int32_t capacity);
TV_API int32_t tv_GetAgainSectionL2Data(uint16_t handle, int32_t* count, SectionL2Item* records,
                                        int32_t capacity);

/* Sections 9, 10, 12, 19, 20, 22: directories of ids and names */
TV_API int32_t tv_InitializeSection9(uint16_t handle);
TV_API int32_t tv_GetNextFundCompanyGroup(uint16_t handle, int32_t* count, uint32_t* ids, char** names,
                                          uint32_t nameSize);
TV_API int32_t tv_InitializeSection10(uint16_t handle);
TV_API int32_t tv_GetNextEidrCountryGroup(uint16_t handle, int32_t* count, uint32_t* ids, char** names,
                                          uint32_t nameSize);
TV_API int32_t tv_InitializeSection12(uint16_t handle);
TV_API int32_t tv_GetNextIssueCompanyGroup(uint16_t handle, int32_t* count, uint32_t* ids, char** names,
                                           uint32_t nameSize);
TV_API int32_t tv_InitialFundMainNameSection(uint16_t handle);
TV_API int32_t tv_GetNextFundMainName(uint16_t handle, int32_t* count, uint32_t* ids, char** names,
                                      uint32_t nameSize);
TV_API int32_t tv_InitialFuturesSectionV2(uint16_t handle);
TV_API int32_t tv_GetNextFuturesSectionV2(uint16_t handle, int32_t* count, uint32_t* ids, char** names,
                                          uint32_t nameSize);
TV_API int32_t tv_InitialFuturesClassType(uint16_t handle);
TV_API int32_t tv_GetNextFuturesClassType(uint16_t handle, int32_t* count, uint32_t* ids, char** names,
                                          uint32_t nameSize);

/* Section 11: section groups */
TV_API int32_t tv_InitializeSection11(uint16_t handle);
TV_API int32_t tv_GetNextSectionGroup(uint16_t handle, uint8_t* groupId, int32_t* count, uint8_t** members,
                                      int32_t capacity);

/* Section 13: objects */
TV_API int32_t tv_InitialObjectSection(uint16_t handle);
TV_API int32_t tv_GetNextObjectTypeID(uint16_t handle, uint16_t* typeId, uint16_t* sourceSymCount);
TV_API int32_t tv_GetNextObjectSourceSym(uint16_t handle, const char** sourceSym, uint16_t* symCount);
TV_API int32_t tv_GetNextObjectSym(uint16_t handle, uint8_t* symByte, const char** sym, uint8_t* dataCount);
TV_API int32_t tv_GetNextObjectData(uint16_t handle, uint8_t* dataByte, const char** data);

/* Section 14: foreign trade */
TV_API int32_t tv_InitialForeignTradeSection(uint16_t handle);
TV_API int32_t tv_GetNextForeignTradeHead(uint16_t handle, ForeignTradeHead* head);
TV_API int32_t tv_GetForeignTrade(uint16_t handle, uint8_t* itemTag, const char** names, uint32_t* count,
                                  uint32_t capacity);
TV_API int32_t tv_GetNextForeignTrade(uint16_t handle, const char** names, uint32_t* count,
                                      uint32_t capacity);

/* Section 15: global related */
TV_API int32_t tv_InitialGlobalRelatedSection(uint16_t handle);
TV_API int32_t tv_GetNextGlobalReleatedHead(uint16_t handle, uint16_t* headId);
TV_API int32_t tv_GetGlobalReleated(uint16_t handle, uint8_t* listSize, GlobalRelatedItem* items,
                                    uint32_t* count, uint32_t capacity);
TV_API int32_t tv_GetNextGlobalReleated(uint16_t handle, GlobalRelatedItem* items, uint32_t* count,
                                        uint32_t capacity);

/* Section 16: exchanges */
TV_API int32_t tv_InitialExchangeSection(uint16_t handle);
TV_API int32_t tv_GetNextExchange(uint16_t handle, uint32_t* id, char* text1, int32_t text1Limit,
                                  char* text2, int32_t text2Limit);

/* Section 17: real-delay mapping */
TV_API int32_t tv_InitialRealDelayMappingSection(uint16_t handle);
TV_API int32_t tv_GetNextRealDelayMapping(uint16_t handle, uint8_t* first, uint8_t* second);

/* Section 18: level-2 EOD basic item definitions */
TV_API int32_t tv_InitialLevel2EODBasicItemDefineSection(uint16_t handle);
TV_API int32_t tv_GetNextLevel2EODBasicItemDefine(uint16_t handle, uint16_t* id, uint16_t* firstCount,
                                                  uint16_t* firstItems, uint32_t firstCapacity,
                                                  uint16_t* secondCount, uint16_t* secondItems,
                                                  uint32_t secondCapacity, uint16_t* thirdCount,
                                                  uint16_t* thirdItems, uint32_t thirdCapacity);

/* Section 21: exchange support */
TV_API int32_t tv_InitialExchangeSupportSection(uint16_t handle);
TV_API int32_t tv_GetNextExchangeSupportSection(uint16_t handle, uint16_t* id, uint16_t* count,
                                                uint16_t* items, uint32_t capacity);

#ifdef __cplusplus
}
#endif

#endif
