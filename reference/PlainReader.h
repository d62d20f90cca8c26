// The whole reader a second time, written plainly: byte by byte over a vector, linear scans, one step after
// the other, nothing shared with the library. The benchmarks measure the library against it, and the tests
// compare every call of the library with it. It knows no lack of memory.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "TorvaAPI.h"

namespace plain {

// One budgeted block: a value follows a zero byte, and the last 4 bytes are not used. `bytes` holds
// the part in use, so everything after it is 0.
class Arena {
public:
    void Init(uint64_t blockSize) {
        size = blockSize;
        bytes.reserve(static_cast<size_t>(blockSize));
    }
    void Reset() { bytes.clear(); }
    bool Empty() const { return bytes.empty(); }
    int64_t Room() const { return static_cast<int64_t>(size) - 4 - static_cast<int64_t>(bytes.size()); }
    int64_t TextMax() const { return Room() - 1 < INT32_MAX ? Room() - 1 : INT32_MAX; }
    bool Fits(const std::string& value) const { return Room() >= static_cast<int64_t>(value.size()) + 1; }
    char* Place(const std::string& value);  // null when the value does not fit
    bool Holds(const void* pointer) const;

    uint64_t size = 0;
    std::string bytes;
};

// One open file. The operations are the exports without their prefix and handle, with the same arguments,
// results and outputs. Values of symbol fields come from new[] and belong to the caller.
class PlainReader {
public:
    PlainReader(std::vector<uint8_t> fileBytes, bool wholeFile)
        : file(std::move(fileBytes)), inMemory(wholeFile) {}

    // Before the open: every read that wants one of these bytes of the file fails, as over a bad sector. So
    // in memory mode there is nothing to read.
    void SetBadBytes(uint64_t begin, uint64_t end) {
        badBegin = begin;
        badEnd = end;
        if (inMemory && begin < end) file.clear();
    }
    // In file mode, at any time: all bytes can be read again.
    void Recover() { badBegin = badEnd = 0; }

    // SYM_OK where the library would return a handle.
    int32_t Open(uint32_t memoryBudget, const uint16_t* fieldIds, uint32_t fieldIdCount);

    // After the open: a per-call arena of this size, at least 4, replacing the one from the budget.
    void ReplaceArena(uint64_t size) { perCall.Init(size); }

    int32_t GetExtendSectionList(uint32_t* list, int32_t capacity) const;
    int32_t GetNextSymData(char* text, int32_t textMax, int32_t* count, SymFieldItem* items,
                           int32_t maxItems);
    int32_t GetAgainSymData(int32_t* count, SymFieldItem* items, int32_t maxItems);
    double GetSymDataProgress() const;

    int32_t GetNextJumpPriceGroup(uint8_t* groupId, int32_t* count, JumpPriceRecord* records,
                                  int32_t capacity);
    int32_t GetAgainJumpPriceData(int32_t* count, JumpPriceRecord* records, int32_t capacity);
    int32_t InitialSectionBorkerInfo();
    int32_t GetNextBrokerInfoGroup(int32_t* count, BrokerInfoRecord* records, int32_t capacity);
    int32_t InitialSection6();
    int32_t GetNextEidrQuickGroup(const char** name, int32_t* count, SymFieldBuffer* target,
                                  int32_t capacity);
    int32_t InitialSection7();
    int32_t GetNextEidrSectionGroup(int32_t* count, EidrSectionItem* target, int32_t capacity);
    int32_t GetNextSectionL2Group(uint8_t* groupId, int32_t* count, SectionL2Item* records, int32_t capacity);
    int32_t GetAgainSectionL2Data(int32_t* count, SectionL2Item* records, int32_t capacity);

    int32_t InitializeSection9() { return BeginDirectory(9, 2, directories[0]); }
    int32_t InitializeSection10() { return BeginDirectory(10, 2, directories[1]); }
    int32_t InitializeSection12() { return BeginDirectory(12, 2, directories[2]); }
    int32_t InitialFundMainNameSection() { return BeginDirectory(19, 4, directories[3]); }
    int32_t InitialFuturesSectionV2() { return BeginDirectory(20, 4, directories[4]); }
    int32_t InitialFuturesClassType() { return BeginDirectory(22, 4, directories[5]); }
    int32_t GetNextFundCompanyGroup(int32_t* count, uint32_t* ids, char** names, uint32_t nameSize) {
        return NextOfDirectory(2, directories[0], count, ids, names, nameSize);
    }
    int32_t GetNextEidrCountryGroup(int32_t* count, uint32_t* ids, char** names, uint32_t nameSize) {
        return NextOfDirectory(2, directories[1], count, ids, names, nameSize);
    }
    int32_t GetNextIssueCompanyGroup(int32_t* count, uint32_t* ids, char** names, uint32_t nameSize) {
        return NextOfDirectory(2, directories[2], count, ids, names, nameSize);
    }
    int32_t GetNextFundMainName(int32_t* count, uint32_t* ids, char** names, uint32_t nameSize) {
        return NextOfDirectory(4, directories[3], count, ids, names, nameSize);
    }
    int32_t GetNextFuturesSectionV2(int32_t* count, uint32_t* ids, char** names, uint32_t nameSize) {
        return NextOfDirectory(2, directories[4], count, ids, names, nameSize);
    }
    int32_t GetNextFuturesClassType(int32_t* count, uint32_t* ids, char** names, uint32_t nameSize) {
        return NextOfDirectory(2, directories[5], count, ids, names, nameSize);
    }

    int32_t InitializeSection11();
    int32_t GetNextSectionGroup(uint8_t* groupId, int32_t* count, uint8_t** members, int32_t capacity);

    int32_t InitialObjectSection();
    int32_t GetNextObjectTypeID(uint16_t* typeId, uint16_t* sourceSymCount);
    int32_t GetNextObjectSourceSym(const char** sourceSym, uint16_t* symCount);
    int32_t GetNextObjectSym(uint8_t* symByte, const char** sym, uint8_t* dataCount);
    int32_t GetNextObjectData(uint8_t* dataByte, const char** data);

    int32_t InitialForeignTradeSection();
    int32_t GetNextForeignTradeHead(ForeignTradeHead* head);
    int32_t GetForeignTrade(uint8_t* itemTag, const char** names, uint32_t* count, uint32_t capacity);
    int32_t GetNextForeignTrade(const char** names, uint32_t* count, uint32_t capacity);
    int32_t InitialGlobalRelatedSection();
    int32_t GetNextGlobalReleatedHead(uint16_t* headId);
    int32_t GetGlobalReleated(uint8_t* listSize, GlobalRelatedItem* items, uint32_t* count,
                              uint32_t capacity);
    int32_t GetNextGlobalReleated(GlobalRelatedItem* items, uint32_t* count, uint32_t capacity);

    int32_t InitialExchangeSection();
    int32_t GetNextExchange(uint32_t* id, char* text1, int32_t text1Limit, char* text2, int32_t text2Limit);
    int32_t InitialRealDelayMappingSection();
    int32_t GetNextRealDelayMapping(uint8_t* first, uint8_t* second);

    int32_t InitialLevel2EODBasicItemDefineSection();
    int32_t GetNextLevel2EODBasicItemDefine(uint16_t* id, uint16_t* firstCount, uint16_t* firstItems,
                                            uint32_t firstCapacity, uint16_t* secondCount,
                                            uint16_t* secondItems, uint32_t secondCapacity,
                                            uint16_t* thirdCount, uint16_t* thirdItems,
                                            uint32_t thirdCapacity);
    int32_t InitialExchangeSupportSection();
    int32_t GetNextExchangeSupportSection(uint16_t* id, uint16_t* count, uint16_t* items, uint32_t capacity);

private:
    struct SectionEntry {
        uint16_t id;
        uint32_t offset;
        uint32_t size;
    };
    struct Field {
        uint16_t id = 0;
        uint8_t tag = 0;
        std::string value;
        int64_t size = 0;   // of the value; when it did not fit, of all that was taken
        int64_t taken = 0;  // bytes that really came
    };
    struct DefaultField {
        uint16_t id;
        uint8_t tag;
        char* value;
        bool seen;
    };
    struct DirectoryCursor {
        uint32_t bytesTotal = 0, bytesRead = 0, elementCount = 0, elementIndex = 0;
    };
    struct BodyCursor {
        uint32_t bodySize = 0, bodyRead = 0;
        uint16_t count = 0, index = 0;
    };
    using List = std::shared_ptr<const std::vector<uint16_t>>;

    // Byte source
    uint32_t Read(void* target, uint32_t n);
    bool ReadAll(void* target, uint32_t n) { return Read(target, n) == n; }
    bool SkipBytes(uint32_t n, bool& metEnd);
    bool Fails(uint64_t n) const { return !inMemory && position < badEnd && position + n > badBegin; }
    bool AtEnd() const { return position >= file.size() || Fails(1); }
    bool Exhausted() const { return sectionSize <= sectionConsumed; }
    int32_t ReadText(std::string& text, int64_t max, uint32_t& length);
    int32_t ReadTextTo(char* target, int32_t max, uint32_t& length);
    void StepBack(uint64_t n) { position -= n; }

    void LoadDirectory();
    bool SeekSection(uint16_t id);
    int64_t ReadField(Field& field, int64_t max);
    uint32_t SkipField();
    int32_t ReadFieldValue(SymFieldBuffer* target, uint32_t& payload);
    bool LoadDefaultFields(bool store, uint64_t& need);

    bool Wanted(uint16_t id) const;
    void MarkSeen(uint16_t id);
    bool ReadOwnFields(int32_t* count, SymFieldItem* items, int32_t maxItems, int32_t& result);
    int32_t ReadSymFields(int32_t* count, SymFieldItem* items, int32_t maxItems);
    int32_t AppendDefaults(int32_t* count, SymFieldItem* items, int32_t maxItems);
    void* CopyFieldValue(const SymFieldItem& item) const;
    int32_t HandOver(int32_t result, SymFieldItem* items, int32_t maxItems) const;

    int32_t BeginSection(uint16_t id);
    int32_t Begun(int32_t result) const { return AtEnd() || Exhausted() ? SYM_END_OF_DATA : result; }
    int32_t BeginDirectory(uint16_t id, uint32_t countWidth, DirectoryCursor& cursor);
    int32_t NextOfDirectory(uint32_t idWidth, DirectoryCursor& cursor, int32_t* count, uint32_t* ids,
                            char** names, uint32_t nameSize);
    int32_t CopyTextTo(char* target, uint32_t size, uint32_t& counter);
    bool ReadL2Text(const char*& text, bool heldAtStart, uint64_t& taken);
    bool Take(void* target, uint32_t n, uint32_t& counter);
    int32_t SkipRest(uint32_t size, uint32_t& used);
    int32_t TakeString(const char** target, uint32_t& counter);
    bool PlaceText(const char*& target, uint32_t& length);
    int32_t QuickGroupHead();
    bool ReadList(std::vector<uint16_t>& list);
    void CountQuick(uint32_t n);

    std::vector<uint8_t> file;
    bool inMemory;
    uint64_t position = 0;
    uint64_t badBegin = 0, badEnd = 0;
    std::vector<SectionEntry> directory;
    uint32_t extendCount = 0;
    uint16_t sectionId = 0;
    uint32_t sectionSize = 0, sectionConsumed = 0;

    std::vector<uint16_t> filterIds;
    std::vector<DefaultField> table;
    size_t tableCursor = 0;
    Arena perCall, defaults;
    uint32_t recordSize = 0, recordConsumed = 0;
    bool defaultsPhase = false;

    uint8_t jumpGroupCount = 0;
    uint16_t jumpRecordCount = 0, jumpRecordIndex = 0;
    uint16_t brokerRecordCount = 0, brokerRecordIndex = 0;
    uint32_t quickBytesTotal = 0, quickBytesRead = 0;
    uint16_t quickGroupBytes = 0, quickGroupBytesRead = 0;
    char quickGroupName[50] = {};
    uint32_t eidrSectionBytesTotal = 0, eidrSectionBytesRead = 0;
    uint8_t l2GroupId = 0;
    uint16_t l2ItemCount = 0, l2ItemIndex = 0;
    DirectoryCursor directories[6];
    uint8_t groupId11 = 0, groupCount11 = 0, groupIndex11 = 0, memberCount11 = 0, memberIndex11 = 0;
    uint32_t bytesTotal11 = 0, bytesRead11 = 0;
    uint32_t objectBlockSize = 0, objectBlockUsed = 0;
    uint16_t objectSourceSymCount = 0, objectSourceSymIndex = 0, objectSymCount = 0, objectSymIndex = 0;
    uint8_t objectDataCount = 0, objectDataIndex = 0;
    BodyCursor foreignTrade, globalRelated;
    DirectoryCursor exchange, realDelay;
    struct ItemDefine {
        List first, second, third;
    };
    std::map<uint16_t, ItemDefine> itemDefines;
    std::map<uint16_t, List> exchangeSupport;
};

}  // namespace plain
