// One open symbol file: its directory, its one read position and section cursor, its arenas and default
// fields, and the readers of all sections as operations.
#pragma once

#include <algorithm>
#include <array>
#include <memory>
#include <vector>

#include "TorvaAPI.h"
#include "format/Types.h"
#include "library/core/ByteSource.h"
#include "library/core/DefinitionMap.h"
#include "library/core/IdSet.h"
#include "library/core/TempData.h"
#include "library/core/UtilityData.h"
#include "library/platform/Platform.h"

namespace torva {

#pragma pack(push, 1)
// A directory entry as it stands in the file.
struct SectionEntry {
    u16 id;
    u32 offset;  // from the start of the file
    u32 size;    // bytes, counted from the section's id
};
#pragma pack(pop)
static_assert(sizeof(SectionEntry) == 10);

// The state of a walk through a flat section. All zero before the first initial operation.
template <class Count>
struct FlatCursor {
    u32 bytesTotal = 0;  // the section head value: the limit on element bytes
    u32 bytesRead = 0;   // element bytes read in this walk
    Count elementCount = 0;
    Count elementIndex = 0;  // elements delivered in this walk
};
using DirectoryCursor = FlatCursor<u16>;
using WideDirectoryCursor = FlatCursor<u32>;

struct SectionGroupCursor {
    u8 currentGroupId = 0;  // held so that a continued group can be named again
    u32 bytesTotal = 0;     // the section head value: the limit on group bytes
    u32 bytesRead = 0;
    u8 groupCount = 0;
    u8 groupIndex = 0;  // groups finished in this walk
    u8 memberCount = 0;
    u8 memberIndex = 0;  // 0: the next call begins with a group head
};

// The bytes of the current body of a nested section. A body left unfinished is skipped ahead of the next one.
struct BodyCursor {
    u32 bodySize = 0;
    u32 bodyRead = 0;

    bool Used() const { return bodyRead >= bodySize; }
};

struct ForeignTradeCursor : BodyCursor {
    u16 nameCount = 0;
    u16 nameIndex = 0;
};

struct GlobalRelatedCursor : BodyCursor {
    u16 itemCount = 0;
    u16 itemIndex = 0;
};

// Every public operation except Open, OpenImage and Close serves the export of the same name. They test their
// pointers first (SYM_ERR_PARAM), and never reach outside the caller's arrays. Nothing here locks: one thread
// at a time uses an object, and different objects share nothing.
class SymFile {
public:
    // `fieldIds` are the ids that the caller wants from the symbol stream; with a count of 0 it wants all.
    SymFile(const u16* fieldIds, u16 fieldIdCount);
    SymFile(const SymFile&) = delete;
    SymFile& operator=(const SymFile&) = delete;
    virtual ~SymFile();

    // Opens the file for itself alone, loads its directory and default fields and divides `memoryBudget`.
    // SYM_OK or an open's error. Called once, as are the two below. Throws std::bad_alloc.
    i32 Open(const char* path, u32 memoryBudget, bool wholeFile);

    // The same for a file that is open already.
    i32 Open(std::unique_ptr<platform::File> file, u32 memoryBudget, bool wholeFile);

    // The same in memory mode over the bytes of a file, which stay the caller's and are not copied: they must
    // not change, and must live until Close.
    i32 OpenImage(const u8* image, u64 size, u32 memoryBudget);

    void Close();

    i32 GetExtendSectionList(u32* list, i32 capacity) const;

    // stream/
    i32 GetNextSymData(char* text, i32 textMax, i32* count, SymFieldItem* items, i32 maxItems);
    i32 GetAgainSymData(i32* count, SymFieldItem* items, i32 maxItems);
    i32 GetSymDataProgress(double* progress) const;  // 0.0 to 1.0 in a sound section

    // sections/
    i32 GetNextJumpPriceGroup(u8* groupId, i32* count, JumpPriceRecord* records, i32 capacity);
    i32 GetAgainJumpPriceData(i32* count, JumpPriceRecord* records, i32 capacity);
    i32 InitialSectionBorkerInfo();
    i32 GetNextBrokerInfoGroup(i32* count, BrokerInfoRecord* records, i32 capacity);
    i32 InitialSection6();
    i32 GetNextEidrQuickGroup(const char** name, i32* count, SymFieldBuffer* target, i32 capacity);
    i32 InitialSection7();
    i32 GetNextEidrSectionGroup(i32* count, EidrSectionItem* target, i32 capacity);
    i32 GetNextSectionL2Group(u8* groupId, i32* count, SectionL2Item* records, i32 capacity);
    i32 GetAgainSectionL2Data(i32* count, SectionL2Item* records, i32 capacity);
    i32 InitializeSection9();
    i32 GetNextFundCompanyGroup(i32* count, u32* ids, char** names, u32 nameSize);
    i32 InitializeSection10();
    i32 GetNextEidrCountryGroup(i32* count, u32* ids, char** names, u32 nameSize);
    i32 InitializeSection11();
    i32 GetNextSectionGroup(u8* groupId, i32* count, u8** members, i32 capacity);
    i32 InitializeSection12();
    i32 GetNextIssueCompanyGroup(i32* count, u32* ids, char** names, u32 nameSize);
    i32 InitialObjectSection();
    i32 GetNextObjectTypeID(u16* typeId, u16* sourceSymCount);
    i32 GetNextObjectSourceSym(const char** sourceSym, u16* symCount);
    i32 GetNextObjectSym(u8* symByte, const char** sym, u8* dataCount);
    i32 GetNextObjectData(u8* dataByte, const char** data);
    i32 InitialForeignTradeSection();
    i32 GetNextForeignTradeHead(ForeignTradeHead* head);
    i32 GetForeignTrade(u8* itemTag, const char** names, u32* count, u32 capacity);
    i32 GetNextForeignTrade(const char** names, u32* count, u32 capacity);
    i32 InitialGlobalRelatedSection();
    i32 GetNextGlobalReleatedHead(u16* headId);
    i32 GetGlobalReleated(u8* listSize, GlobalRelatedItem* items, u32* count, u32 capacity);
    i32 GetNextGlobalReleated(GlobalRelatedItem* items, u32* count, u32 capacity);
    i32 InitialExchangeSection();
    i32 GetNextExchange(u32* id, char* text1, i32 text1Limit, char* text2, i32 text2Limit);
    i32 InitialRealDelayMappingSection();
    i32 GetNextRealDelayMapping(u8* first, u8* second);
    i32 InitialLevel2EODBasicItemDefineSection();
    i32 GetNextLevel2EODBasicItemDefine(u16* id, u16* firstCount, u16* firstItems, u32 firstCapacity,
                                        u16* secondCount, u16* secondItems, u32 secondCapacity,
                                        u16* thirdCount, u16* thirdItems, u32 thirdCapacity);
    i32 InitialFundMainNameSection();
    i32 GetNextFundMainName(i32* count, u32* ids, char** names, u32 nameSize);
    i32 InitialFuturesSectionV2();
    i32 GetNextFuturesSectionV2(i32* count, u32* ids, char** names, u32 nameSize);
    i32 InitialExchangeSupportSection();
    i32 GetNextExchangeSupportSection(u16* id, u16* count, u16* items, u32 capacity);
    i32 InitialFuturesClassType();
    i32 GetNextFuturesClassType(i32* count, u32* ids, char** names, u32 nameSize);

private:
    // --- Directory and section cursor (core/Directory.cpp)
    void LoadDirectory();
    bool SeekSection(u8 id);

    // True when a section's bytes are used up, by its size or by the end of the data.
    bool Exhausted() { return source.AtEnd() || sectionSize <= sectionConsumed; }

    // Seeks a section and reads its head value into recordSize. SYM_OK, SYM_ERR_NO_SECTION or SYM_ERR_READ.
    i32 EnterSection(u8 id);

    // The same for a section whose head goes on with a count. `bytesTotal`, where given, takes the head
    // value.
    template <class Count>
    i32 EnterCountedSection(u8 id, Count& count, u32* bytesTotal = nullptr) {
        const i32 result = EnterSection(id);
        if (result != SYM_OK) return result;
        if (bytesTotal != nullptr) *bytesTotal = recordSize;
        return Read(&count, sizeof count) ? SYM_OK : SYM_ERR_READ;
    }

    // --- Reads that count (each with the section, and with the counters given)

    // Strict: all of `n` bytes, or false and nothing is counted.
    template <class... Counters>
    bool Read(void* dst, u32 n, Counters&... counters) {
        if (!source.ReadStrict(dst, n)) return false;
        Consume(n, counters...);
        return true;
    }

    // Loose: bytes that do not come leave `dst` as it was, and are counted like the others.
    template <class... Counters>
    void ReadLoose(void* dst, u32 n, Counters&... counters) {
        source.ReadBytes(dst, n);
        Consume(n, counters...);
    }

    template <class... Counters>
    void Consume(u32 n, Counters&... counters) {
        sectionConsumed += n;
        ((counters = static_cast<Counters>(counters + n)), ...);
    }

    // Strict reads of up to `n` elements of `size` bytes, one after the other, until one fails: as many at a
    // time as lie together. Gives the elements that came whole; they are counted.
    template <class... Counters>
    u32 ReadRun(void* dst, u32 size, u32 n, Counters&... counters) {
        u8* to = static_cast<u8*>(dst);
        u32 done = 0;
        while (done < n) {
            const u32 part = std::clamp<u32>(static_cast<u32>(source.Lent() / size), 1, n - done);
            if (!Read(to, part * size, counters...)) break;
            to += std::size_t{part} * size;
            done += part;
        }
        return done;
    }

    // Loose reads of up to `n` records, with zeros for the bytes that do not come: what the window holds,
    // then many at once past it, then from window to window. Stops behind the record with which the data
    // ends, and tells so. Gives the records read; they are counted.
    template <class Record>
    u32 ReadRecords(Record* records, u32 n, bool& ended) {
        constexpr u32 kSize = sizeof(Record);
        u32 done = static_cast<u32>(std::min<std::size_t>(source.Lent() / kSize, n));
        ReadLoose(records, done * kSize);
        if (source.MayPassWindow(u64{n - done} * kSize)) {
            done += ReadRecordsPastWindow(records + done, kSize, n - done);
        }
        ended = done > 0 && source.AtEnd();
        while (done < n && !ended) {
            const u32 part = std::clamp<u32>(static_cast<u32>(source.Lent() / kSize), 1, n - done);
            if (source.Lent() < kSize) std::memset(records + done, 0, kSize);
            ReadLoose(records + done, part * kSize);
            done += part;
            ended = source.AtEnd();
        }
        return done;
    }
    u32 ReadRecordsPastWindow(void* dst, u32 size, u32 n);

    // Takes a text that only passes through the per-call arena, on its way to a buffer of the caller. Null
    // when it is longer than the arena allows, or cut off; *length counts the terminator. Valid until the
    // next read.
    const u8* PassText(u32* length) {
        const i32 max = arena.MaxText();
        if (const u8* text = source.LendText(max, length)) return text;
        return source.ReadTextToArena(arena.Next(), max, length) == SYM_OK ? arena.Next() : nullptr;
    }

    // PassText and a bounded copy to a caller's buffer of `size` bytes. SYM_OK, with the text counted, or
    // SYM_ERR_READ or SYM_ERR_PARAM with its bytes not counted.
    template <class... Counters>
    i32 ReadTextTo(char* dst, u32 size, Counters&... counters) {
        u32 length = 0;
        const u8* text = PassText(&length);
        if (text == nullptr) return SYM_ERR_READ;
        if (!BoundedCopy(dst, size, text, length)) return SYM_ERR_PARAM;
        Consume(length, counters...);
        return SYM_OK;
    }

    // Places a text in the per-call arena and gives its place; null when it could be read but found no room.
    // False when it is longer than the arena allows, or cut off.
    template <class... Counters>
    bool PlaceText(const char** text, Counters&... counters) {
        u32 length = 0;
        if (source.ReadTextToArena(arena.Next(), arena.MaxText(), &length) != SYM_OK) return false;
        *text = arena.Fits(length) ? reinterpret_cast<const char*>(arena.Place(length)) : nullptr;
        Consume(length, counters...);
        return true;
    }

    // Copies a text with its terminator, `length` bytes, when it fits; else leaves an empty string where
    // there is room.
    static bool BoundedCopy(void* dst, u32 size, const u8* text, u32 length) {
        if (dst == nullptr || size == 0) return false;
        if (length > size) {
            *static_cast<u8*>(dst) = 0;
            return false;
        }
        std::memcpy(dst, text, length);
        return true;
    }

    // --- Typed fields (core/TypedFields.cpp)
    i64 ReadField(SymFieldItem* item, u32* size, u8* dst, i32 max);
    u64 SkipField();
    i32 ReadFieldValue(SymFieldBuffer* target, u32* taken);

    // --- Default fields and memory (core/DefaultFields.cpp)
    bool LoadDefaultFields(bool store, u64& need);
    i32 PrepareMemory(u32 memoryBudget);

    // --- Symbol stream (stream/SymbolStream.cpp)
    bool Wants(u16 id) const { return wantedIds == nullptr || wantedIds->Has(id); }
    i32 ReadSymFields(i32* count, SymFieldItem* items, i32 maxItems);
    i32 ReadOwnFields(i32* count, SymFieldItem* items, i32 maxItems);
    i32 ReadOwnField(i32* count, SymFieldItem* items);
    i32 AddDefaultFields(i32* count, SymFieldItem* items, i32 maxItems);
    void ReadOwnFieldsInWindow(i32* count, SymFieldItem* items, i32 maxItems);
    void FillTails(i32 count, SymFieldItem* items) const;
    void DropValuesInArena(i32 count, SymFieldItem* items) const;
    void TakeBackValues(i32 count, SymFieldItem* items);

    // --- Shared walks of the sections
    template <class Cursor>
    i32 InitialDirectory(u8 id, Cursor& cursor);
    template <class Id, class Cursor>
    i32 NextDirectoryElement(Cursor& cursor, i32* count, u32* ids, char** names, u32 nameSize);
    i32 SkipRest(BodyCursor& cursor);
    bool ReadSectionL2Item(SectionL2Item& item);
    const char* ReadSectionL2Text(bool passOver);
    i32 InitialBodySection(u8 id, BodyCursor& cursor);
    bool TakeObjectText(const char** text);
    template <class Count>
    i32 LoadDefinitions(u8 id, u32 listsPerGroup, DefinitionMap& map);
    bool ReadDefinitionList(std::vector<u16>& list, u16& length);

    // --- State
    UtilityData defaults;
    TempData arena;                    // the per-call arena
    std::unique_ptr<IdSet> wantedIds;  // null: every field is wanted
    std::vector<SectionEntry> directory;
    u32 extendCount = 0;  // entries of the directory with an id other than 1 and 2
    ByteSource source;

    u8 sectionId = 0;  // of the section that the cursor stands in; 0: none
    u32 sectionSize = 0;
    u32 sectionConsumed = 0;

    u32 recordSize =
        0;  // of the current symbol record; the head values of other sections are read into it too
    u32 recordConsumed = 0;  // bytes of the current symbol record, text and fields
    u32 defaultCount = 0;    // default fields walked by the last pass over section 1
    bool defaultsPhase = false;
    bool valuesInArena = false;  // of the running call: an item's value is in the arena, for lack of memory

    u8 jumpGroupCount = 0;
    u16 jumpRecordCount = 0;
    u16 jumpRecordIndex = 0;

    u16 brokerRecordCount = 0;
    u16 brokerRecordIndex = 0;

    u32 quickBytesTotal = 0;
    u32 quickBytesRead = 0;
    u16 quickGroupBytes = 0;
    u16 quickGroupBytesRead = 0;
    std::array<char, 50> quickGroupName{};  // at most 49 characters

    u32 eidrSectionBytesTotal = 0;
    u32 eidrSectionBytesRead = 0;

    u8 sectionL2GroupId = 0;
    u16 sectionL2ItemCount = 0;
    u16 sectionL2ItemIndex = 0;

    DirectoryCursor fundCompanyCursor;
    DirectoryCursor countryCursor;
    DirectoryCursor issueCompanyCursor;
    WideDirectoryCursor fundMainNameCursor;
    WideDirectoryCursor futuresSectionCursor;
    WideDirectoryCursor futuresClassTypeCursor;
    SectionGroupCursor sectionGroupCursor;
    DirectoryCursor exchangeCursor;
    DirectoryCursor realDelayCursor;

    BodyCursor objectBlock;
    u16 objectSourceSymCount = 0;
    u16 objectSourceSymIndex = 0;
    u16 objectSymCount = 0;
    u16 objectSymIndex = 0;
    u8 objectDataCount = 0;
    u8 objectDataIndex = 0;

    ForeignTradeCursor foreignTradeCursor;
    GlobalRelatedCursor globalRelatedCursor;

    DefinitionMap level2EODBasicItemDefines;
    DefinitionMap exchangeSupportSections;
};

// True when one of the pointers is null.
template <class... Pointers>
constexpr bool AnyNull(Pointers... pointers) {
    return ((pointers == nullptr) || ...);
}

// An array may be null when it has no room.
template <class T, class Capacity>
constexpr bool NullArray(const T* array, Capacity capacity) {
    return array == nullptr && capacity > 0;
}

}  // namespace torva
