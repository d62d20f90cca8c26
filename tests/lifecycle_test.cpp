// Handles, the frame that all exports share, and what an open accepts and refuses.
#include <atomic>
#include <chrono>
#include <string>
#include <thread>
#include <tuple>

#include "Allocations.h"
#include "TestSupport.h"
#include "library/file/SymFile.h"
#include "library/platform/Platform.h"

#ifndef _WIN32
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#endif

namespace torva::test {
namespace {

using namespace symwrite;  // the content of sections

TEST(Lifecycle, VersionBytes) {
    SymApiVersion version{};
    tv_GetAPIVersion(&version);
    EXPECT_EQ(Hex(&version, sizeof(version)), "0100040407e00705");
    tv_GetAPIVersion(nullptr);
}

TEST(Lifecycle, LowestFreeHandle) {
    const TempFile a(Bytes{}), b(Bytes{}), c(Bytes{});
    EXPECT_EQ(Open(a.Path()), 1);
    EXPECT_EQ(Open(b.Path()), 2);
    tv_CloseSymFile(1);
    EXPECT_EQ(Open(b.Path()), SYM_ERR_OPEN) << "open already, under another handle";
    EXPECT_EQ(Open(c.Path()), 1) << "the failed open left the handle free";
    EXPECT_EQ(Open(a.Path()), 3);
    for (const int h : {1, 2, 2, 3, 0, 77})
        tv_CloseSymFile(static_cast<u16>(h));  // unknown handles are not an error
    EXPECT_EQ(Open(c.Path()), 1);
    tv_CloseSymFile(1);
}

TEST(Lifecycle, ReleaseOfTheLastUserClosesAllFiles) {
    const TempFile file(Bytes{}), other(Bytes{});
    tv_ReleaseSymAPI();  // no user to release: the count goes below 0 and nothing closes
    EXPECT_EQ(Open(file.Path()), 1);
    EXPECT_EQ(tv_InitSymAPI(0), 0U);
    EXPECT_EQ(tv_InitSymAPI(0), 0U);
    EXPECT_EQ(tv_InitSymAPI(0), 0U);
    EXPECT_EQ(Open(other.Path()), 2);
    tv_ReleaseSymAPI();
    EXPECT_EQ(tv_GetExtendSectionList(1, nullptr, 0), 0) << "one user is left";
    tv_ReleaseSymAPI();
    EXPECT_EQ(tv_GetExtendSectionList(1, nullptr, 0), SYM_ERR_BAD_HANDLE);
    EXPECT_EQ(tv_GetExtendSectionList(2, nullptr, 0), SYM_ERR_BAD_HANDLE);
    EXPECT_EQ(Open(file.Path()), 1) << "the library stays usable";
    tv_CloseSymFile(1);
}

TEST(Lifecycle, BudgetMustBeAboveNeedAndArena) {
    const Bytes three =
        FileOf({DefaultsSection({NumberField(5, 1, 7), NumberField(6, 4, 9), TextField(7, "ab")})});
    const Bytes twins = FileOf({DefaultsSection({NumberField(5, 6, 7), NumberField(5, 6, 7), NullField(5)})});
    Bytes wrongId = three;
    PatchU16(wrongId, 12, 9);
    Bytes cut = three, tooLong = three;
    cut.pop_back();
    PatchU32(tooLong, 14, 16);
    const struct {
        const char* name;
        Bytes bytes;
        u32 budget;
        i32 atBudget, oneMore;
    } kCases[] = {
        {"empty file", {}, 102400, SYM_ERR_PARAM, 1},
        {"no section 1", FileOf({RawSection(9, {})}), 102400, SYM_ERR_PARAM, 1},
        {"section 1 of wrong id", wrongId, 102400, SYM_ERR_PARAM, 1},
        {"section 1 without room for its size", FileOf({RawSection(1, {})}), 102400, SYM_ERR_PARAM, 1},
        {"no fields", FileOf({DefaultsSection({})}), 102404, SYM_ERR_PARAM, 1},
        {"three fields", three, 102400 + 61, SYM_ERR_PARAM, 1},
        {"one id three times", twins, 102400 + 25 + 42 + 4, SYM_ERR_PARAM, 1},
        {"a byte short", cut, 102461, SYM_ERR_OPEN, SYM_ERR_OPEN},
        {"a byte too many promised", tooLong, 102461, SYM_ERR_OPEN, SYM_ERR_OPEN},
        {"fails before the budget", cut, 0, SYM_ERR_OPEN, SYM_ERR_OPEN},
        {"no budget", three, 0, SYM_ERR_PARAM, SYM_ERR_PARAM},
    };
    for (const auto& c : kCases) {
        for (const u32 wholeFile : {0U, 1U}) {
            SCOPED_TRACE(c.name);
            const TempFile file(c.bytes);
            for (const u32 more : {0U, 1U}) {
                const i32 result = Open(file.Path(), {wholeFile, c.budget + more});
                EXPECT_EQ(result, more == 0 ? c.atBudget : c.oneMore);
                if (result > 0) tv_CloseSymFile(static_cast<u16>(result));
            }
            EXPECT_EQ(Open(file.Path(), {wholeFile, 0}) > 0, false);
        }
    }
}

TEST(Lifecycle, PathsAndFilters) {
    const std::string longest(25600, 'x');
    EXPECT_EQ(Open(longest.c_str()), SYM_ERR_OPEN) << "fits, but no such file";
    EXPECT_EQ(Open((longest + "x").c_str()), SYM_ERR_PARAM);
    EXPECT_EQ(Open(nullptr), SYM_ERR_PARAM);
    EXPECT_EQ(Open(""), SYM_ERR_OPEN);
    EXPECT_EQ(Open(TempFile::NewPath().c_str()), SYM_ERR_OPEN);
    EXPECT_EQ(Open(::testing::TempDir().c_str()), SYM_ERR_OPEN) << "a directory";
    const TempFile file(Bytes{});
    EXPECT_EQ(tv_OpenSymFile(file.Path(), kBudget, nullptr, 1, 0), SYM_ERR_PARAM);
    allocations::failsNow = [] { return true; };
    const i32 withoutMemory = tv_OpenSymFile(nullptr, kBudget, nullptr, 1, 0);
    allocations::failsNow = nullptr;
    EXPECT_EQ(withoutMemory, SYM_ERR_NO_MEMORY) << "path and ids come after the object";
    EXPECT_EQ(tv_OpenSymFile(file.Path(), kBudget, nullptr, 0x10000, 0), 1) << "the low 16 bits count";
    tv_CloseSymFile(1);
    EXPECT_EQ(Open(file.Path()), 1) << "nothing of the failed opens is left";
    tv_CloseSymFile(1);
}

TEST(Directory, ListsTheExtendedSections) {
    const auto raw = [](u16 id) { return RawSection(id, Fill(4)); };
    const Bytes seven = FileOf({raw(7), raw(1), raw(5), raw(2), raw(999), raw(7)});
    const struct {
        const char* name;
        Bytes bytes;
        std::vector<u32> ids;
    } kCases[] = {
        {"empty file", {}, {}},
        {"one byte", {1}, {}},
        {"no entries", U16(0), {}},
        {"only entries 1 and 2", FileOf({raw(1), raw(2)}), {}},
        {"readers or not, and twice", seven, {7, 5, 999, 7}},
        {"directory cut after an entry", CutAt(seven, 2 + 10), {7}},
        {"directory cut inside an entry", CutAt(seven, 2 + 21), {7, 5}},
        {"only the low byte of an id", U16(1) + U8(9), {9}},
        {"more entries than bytes", U16(65535) + U16(22) + Fill(8), {22}},
    };
    for (const auto& c : kCases) {
        SCOPED_TRACE(c.name);
        InBothModes(c.bytes, [&](u16 h) {
            const i32 count = static_cast<i32>(c.ids.size());
            EXPECT_EQ(tv_GetExtendSectionList(h, nullptr, 100), count);
            Guarded<u32> list(c.ids.size() + 1);
            EXPECT_EQ(tv_GetExtendSectionList(h, list.Data(), 0), count);
            for (const i32 few : {-1, count - 1}) {
                if (few == 0) continue;
                EXPECT_EQ(tv_GetExtendSectionList(h, list.Data(), few),
                          count == 0 ? 0 : SYM_ERR_BUFFER_TOO_SMALL);
            }
            EXPECT_EQ(list[0], 0xcdcdcdcdU) << "nothing written so far";
            EXPECT_EQ(tv_GetExtendSectionList(h, list.Data(), count), count);
            EXPECT_EQ(std::vector<u32>(list.Data(), list.Data() + count), c.ids);
            EXPECT_EQ(list[c.ids.size()], 0xcdcdcdcdU);
            EXPECT_TRUE(list.Intact());
        });
    }
}

// Of two sections with one id the first counts; a section whose id is wrong, or whose offset lies past the
// end, is as good as absent.
TEST(Directory, FirstEntryOfAnIdCounts) {
    const auto pairs = [](u8 first) { return MakeSection(17, {{{first, 1}}}); };
    symwrite::Section wrong = pairs(3), beyond = pairs(4);
    wrong.idInFile = 16;
    beyond.directoryOffset = 0xfffffff0U;
    beyond.before = Fill(2);
    const struct {
        std::vector<symwrite::Section> sections;
        i32 initial;
        u8 first;
    } kCases[] = {
        {{pairs(1), pairs(2)}, 1, 1},   {{wrong, pairs(2)}, SYM_ERR_NO_SECTION, 0xcd},
        {{pairs(1), wrong}, 1, 1},      {{beyond, pairs(2)}, SYM_ERR_NO_SECTION, 0xcd},
        {{}, SYM_ERR_NO_SECTION, 0xcd},
    };
    for (const auto& c : kCases) {
        InBothModes(FileOf(c.sections), [&](u16 h) {
            u8 first = 0xcd, second = 0xcd;
            EXPECT_EQ(tv_InitialRealDelayMappingSection(h), c.initial);
            EXPECT_EQ(tv_GetNextRealDelayMapping(h, &first, &second),
                      c.initial == 1 ? SYM_OK : SYM_END_OF_DATA);
            EXPECT_EQ(first, c.first);
        });
    }
}

// --- every export
// ---------------------------------------------------------------------------------------------------

struct Export {
    const char* name;
    std::function<i32(u16)> enter;      // what makes the good call below possible; may be empty
    std::function<i32(u16)> withZeros;  // all arguments after the handle 0 and null
    std::function<i32(u16)> good;
    std::vector<std::function<i32(u16)>> nulls;  // the good call with one pointer null, each in turn
    i32 result;                                  // of the good call
};

template <std::size_t I, class Call, class Arguments>
void AddNull(Export& e, Call call, Arguments arguments) {
    if constexpr (std::is_pointer_v<std::tuple_element_t<I, Arguments>>) {
        std::get<I>(arguments) = nullptr;
        e.nulls.push_back(
            [=](u16 h) { return std::apply([&](auto... a) { return call(h, a...); }, arguments); });
    }
}

template <class... A>
Export Make(const char* name, i32 result, std::function<i32(u16)> enter, i32 (*call)(u16, A...),
            std::type_identity_t<A>... good) {
    Export e{name,
             std::move(enter),
             [=](u16 h) { return call(h, A{}...); },
             [=](u16 h) { return call(h, good...); },
             {},
             result};
    [&]<std::size_t... I>(std::index_sequence<I...>) { (AddNull<I>(e, call, std::make_tuple(good...)), ...); }
    (std::index_sequence_for<A...>{});
    return e;
}

// Room for what one call of any export returns.
struct Room {
    char text[64];
    char text2[64];
    char* buffer;
    const char* name;
    i32 count;
    u32 count32, id32;
    u16 id, counts[3], lists[3][8];
    u8 byte, byte2;
    u8* bytePointer;
    SymFieldItem items[4];
    SymFieldBuffer field;
    EidrSectionItem eidr;
    JumpPriceRecord jumps[2];
    BrokerInfoRecord brokers[2];
    SectionL2Item level2[2];
    ::ForeignTradeHead head;
    ::GlobalRelatedItem related[2];
    const char* names[2];

    void FreeValues() {
        for (SymFieldItem& item : items) {
            FreeValue(item.value);
            item.value = nullptr;
        }
    }
    void Clear() {
        std::memset(static_cast<void*>(this), 0, sizeof(*this));
        buffer = text;
        bytePointer = &byte2;
        field = {0, 0, text, sizeof(text), 0};
        eidr = {0, text, sizeof(text), text2, sizeof(text2)};
    }
};

Bytes EverySection() {
    using List = std::vector<u16>;
    const std::vector<Row> directory = {{{1, "one"}}, {{2, "two"}}};
    const std::vector<Row> twoTexts = {{{1, "a", "b"}}, {{2, "c", "d"}}};
    return FileOf({
        DefaultsSection({NumberField(1, 1, 1)}),
        MakeSection(2, {{"A", {NumberField(2, 1, 1)}, {}}, {"B", {}, {}}}),
        MakeSection(3, {{{1}, std::vector<Row>(3)}}),
        MakeSection(4, std::vector<Row>(3)),
        MakeSection(6, {{"g", {NumberField(1, 1, 1), NumberField(2, 1, 2)}, {}}}),
        MakeSection(7, twoTexts),
        MakeSection(8, {{{1}, {{{1, "a", "b"}}, {{2, "a", "b"}}, {{3, "a", "b"}}}}}),
        MakeSection(9, directory),
        MakeSection(10, directory),
        MakeSection(11, {{{1, List{1, 2, 3}}}, {{2, List{1}}}}),
        MakeSection(12, directory),
        MakeSection(13, {{{1}, {{{"src"}, {{{1, "sym"}, {{{1, "data"}}}}}}}}}),
        MakeSection(14, {{{1, "head"}, {{{1}, {{{"a"}}, {{"b"}}, {{"c"}}}}}}}),
        MakeSection(15, {{{1}, {{{}, {{{1, "a"}}, {{2, "b"}}, {{3, "c"}}}}}}}),
        MakeSection(16, twoTexts),
        MakeSection(17, {{{1, 2}}}),
        MakeSection(18, {{{List{4}, List{2}, List{3}}, {{{1}}}}}),
        MakeSection(19, directory),
        MakeSection(20, directory),
        MakeSection(21, {{{List{2}}, {{{1}}}}}),
        MakeSection(22, directory),
    });
}

// A call that readies the next: the export `call` with the good arguments of `e`, after what `e` itself
// needs.
std::function<i32(u16)> After(const Export& e) {
    return [enter = e.enter, good = e.good](u16 h) {
        if (enter) enter(h);
        return good(h);
    };
}

// All exports with a handle and a numeric result, in the order in which a caller meets them.
std::vector<Export> AllExports(Room& r) {
    std::vector<Export> all;
    const auto leave = tv_InitialRealDelayMappingSection;  // an entry on its own then begins again
    const auto add = [&](Export e) -> Export& { return all.emplace_back(std::move(e)); };
    const auto directory = [&](const char* initialName, i32 (*initial)(u16), const char* nextName,
                               i32 (*next)(u16, i32*, u32*, char**, u32)) {
        add(Make(initialName, 2, {}, initial));
        add(Make(nextName, SYM_MORE_DATA, initial, next, &r.count, &r.id32, &r.buffer, 64U));
    };
    const auto level = [&](const char* name, const Export& above, auto call, auto... good) {
        return add(Make(name, SYM_MORE_DATA, After(above), call, good...));
    };

    add(Make("tv_GetNextSymData", SYM_MORE_DATA, leave, tv_GetNextSymData, r.text, 63, &r.count, r.items, 1));
    add(Make("tv_GetAgainSymData", SYM_OK, After(Export(all.back())), tv_GetAgainSymData, &r.count, r.items,
             4));
    add(Make("tv_GetNextJumpPriceGroup", SYM_MORE_DATA, leave, tv_GetNextJumpPriceGroup, &r.byte, &r.count,
             r.jumps, 1));
    add(Make("tv_GetAgainJumpPriceData", SYM_OK, After(Export(all.back())), tv_GetAgainJumpPriceData,
             &r.count, r.jumps, 2));
    add(Make("tv_InitialSectionBorkerInfo", 3, {}, tv_InitialSectionBorkerInfo));
    add(Make("tv_GetNextBrokerInfoGroup", SYM_MORE_DATA, tv_InitialSectionBorkerInfo,
             tv_GetNextBrokerInfoGroup, &r.count, r.brokers, 2));
    add(Make("tv_InitialSection6", SYM_OK, {}, tv_InitialSection6));
    add(Make("tv_GetNextEidrQuickGroup", SYM_MORE_DATA, tv_InitialSection6, tv_GetNextEidrQuickGroup, &r.name,
             &r.count, &r.field, 1));
    add(Make("tv_InitialSection7", SYM_OK, {}, tv_InitialSection7));
    add(Make("tv_GetNextEidrSectionGroup", SYM_MORE_DATA, tv_InitialSection7, tv_GetNextEidrSectionGroup,
             &r.count, &r.eidr, 1));
    add(Make("tv_GetNextSectionL2Group", SYM_MORE_DATA, leave, tv_GetNextSectionL2Group, &r.byte, &r.count,
             r.level2, 1));
    add(Make("tv_GetAgainSectionL2Data", SYM_OK, After(Export(all.back())), tv_GetAgainSectionL2Data,
             &r.count, r.level2, 2));
    directory("tv_InitializeSection9", tv_InitializeSection9, "tv_GetNextFundCompanyGroup",
              tv_GetNextFundCompanyGroup);
    directory("tv_InitializeSection10", tv_InitializeSection10, "tv_GetNextEidrCountryGroup",
              tv_GetNextEidrCountryGroup);
    directory("tv_InitializeSection12", tv_InitializeSection12, "tv_GetNextIssueCompanyGroup",
              tv_GetNextIssueCompanyGroup);
    directory("tv_InitialFundMainNameSection", tv_InitialFundMainNameSection, "tv_GetNextFundMainName",
              tv_GetNextFundMainName);
    directory("tv_InitialFuturesSectionV2", tv_InitialFuturesSectionV2, "tv_GetNextFuturesSectionV2",
              tv_GetNextFuturesSectionV2);
    directory("tv_InitialFuturesClassType", tv_InitialFuturesClassType, "tv_GetNextFuturesClassType",
              tv_GetNextFuturesClassType);
    add(Make("tv_InitializeSection11", 2, {}, tv_InitializeSection11));
    add(Make("tv_GetNextSectionGroup", SYM_MORE_DATA, tv_InitializeSection11, tv_GetNextSectionGroup, &r.byte,
             &r.count, &r.bytePointer, 1));
    const Export objects = add(Make("tv_InitialObjectSection", 1, {}, tv_InitialObjectSection));
    const Export type = level("tv_GetNextObjectTypeID", objects, tv_GetNextObjectTypeID, &r.id, &r.counts[0]);
    const Export source =
        level("tv_GetNextObjectSourceSym", type, tv_GetNextObjectSourceSym, &r.name, &r.counts[0]);
    const Export symbol =
        level("tv_GetNextObjectSym", source, tv_GetNextObjectSym, &r.byte, &r.name, &r.byte2);
    level("tv_GetNextObjectData", symbol, tv_GetNextObjectData, &r.byte, &r.name);
    const Export trade = add(Make("tv_InitialForeignTradeSection", 1, {}, tv_InitialForeignTradeSection));
    const Export head =
        add(Make("tv_GetNextForeignTradeHead", SYM_OK, After(trade), tv_GetNextForeignTradeHead, &r.head));
    const Export item =
        level("tv_GetForeignTrade", head, tv_GetForeignTrade, &r.byte, r.names, &r.count32, 1U);
    add(Make("tv_GetNextForeignTrade", SYM_OK, After(item), tv_GetNextForeignTrade, r.names, &r.count32, 2U));
    const Export global = add(Make("tv_InitialGlobalRelatedSection", 1, {}, tv_InitialGlobalRelatedSection));
    const Export id =
        add(Make("tv_GetNextGlobalReleatedHead", SYM_OK, After(global), tv_GetNextGlobalReleatedHead, &r.id));
    const Export list =
        level("tv_GetGlobalReleated", id, tv_GetGlobalReleated, &r.byte, r.related, &r.count32, 1U);
    add(Make("tv_GetNextGlobalReleated", SYM_OK, After(list), tv_GetNextGlobalReleated, r.related, &r.count32,
             2U));
    add(Make("tv_InitialExchangeSection", 2, {}, tv_InitialExchangeSection));
    add(Make("tv_GetNextExchange", SYM_MORE_DATA, tv_InitialExchangeSection, tv_GetNextExchange, &r.id32,
             r.text, 63, r.text2, 63));
    add(Make("tv_InitialRealDelayMappingSection", 1, {}, tv_InitialRealDelayMappingSection));
    add(Make("tv_GetNextRealDelayMapping", SYM_OK, tv_InitialRealDelayMappingSection,
             tv_GetNextRealDelayMapping, &r.byte, &r.byte2));
    add(Make("tv_InitialLevel2EODBasicItemDefineSection", 1, {}, tv_InitialLevel2EODBasicItemDefineSection));
    add(Make("tv_GetNextLevel2EODBasicItemDefine", SYM_OK, tv_InitialLevel2EODBasicItemDefineSection,
             tv_GetNextLevel2EODBasicItemDefine, &r.id, &r.counts[0], r.lists[0], 8U, &r.counts[1],
             r.lists[1], 8U, &r.counts[2], r.lists[2], 8U));
    add(Make("tv_InitialExchangeSupportSection", 1, {}, tv_InitialExchangeSupportSection));
    add(Make("tv_GetNextExchangeSupportSection", SYM_OK, tv_InitialExchangeSupportSection,
             tv_GetNextExchangeSupportSection, &r.id, &r.counts[0], r.lists[0], 8U));
    add(Make("tv_GetExtendSectionList", 19, {}, tv_GetExtendSectionList, &r.id32, 0))
        .nulls.clear();  // may be null
    return all;
}

// The handle is tested before all arguments.
TEST(EveryExport, RefusesABadHandle) {
    Room room{};
    const std::vector<Export> all = AllExports(room);
    EXPECT_EQ(all.size(), 54U - 6U) << "but the five of the lifecycle and the progress";
    for (const Export& e : all) {
        for (const int h : {0, 1, 65535})
            EXPECT_EQ(e.withZeros(static_cast<u16>(h)), SYM_ERR_BAD_HANDLE) << e.name;
    }
    EXPECT_EQ(tv_GetSymDataProgress(1), 0.0);
    const TempFile file(EverySection());
    ASSERT_EQ(Open(file.Path()), 1);
    tv_CloseSymFile(1);
    for (const Export& e : all) EXPECT_EQ(e.withZeros(1), SYM_ERR_BAD_HANDLE) << e.name << ", handle closed";
}

// A null pointer is refused with nothing read, moved or written: the valid call then returns what it
// always returns.
TEST(EveryExport, RefusesNullPointers) {
    Room room{};
    InBothModes(EverySection(), [&](u16 h) {
        for (const Export& e : AllExports(room)) {
            SCOPED_TRACE(e.name);
            room.Clear();
            if (e.enter) e.enter(h);
            room.FreeValues();
            room.Clear();
            const double progress = tv_GetSymDataProgress(h);
            const Room before = room;
            for (const auto& withNull : e.nulls) {
                EXPECT_EQ(withNull(h), SYM_ERR_PARAM) << &withNull - e.nulls.data();
                EXPECT_EQ(Hex(&before, sizeof(room)), Hex(&room, sizeof(room)));
            }
            EXPECT_EQ(tv_GetSymDataProgress(h), progress);
            EXPECT_EQ(Name(e.good(h)), Name(e.result));
            room.FreeValues();
        }
    });
}

// An array may be null when its capacity is 0 or below.
TEST(EveryExport, TakesNullArraysOfNoCapacity) {
    InBothModes(EverySection(), [](u16 h) {
        Room r{};
        r.Clear();
        u8* noMembers = nullptr;
        EXPECT_EQ(tv_GetNextSymData(h, r.text, 63, &r.count, nullptr, 0), SYM_MORE_DATA);
        EXPECT_EQ(tv_GetAgainSymData(h, &r.count, nullptr, 0), SYM_MORE_DATA);
        for (const i32 none : {0, -1}) {
            EXPECT_EQ(tv_GetNextJumpPriceGroup(h, &r.byte, &r.count, nullptr, none), SYM_MORE_DATA);
            tv_InitialSectionBorkerInfo(h);
            EXPECT_EQ(tv_GetNextBrokerInfoGroup(h, &r.count, nullptr, none), SYM_MORE_DATA);
            EXPECT_EQ(tv_GetNextSectionL2Group(h, &r.byte, &r.count, nullptr, none), SYM_MORE_DATA);
            EXPECT_EQ(tv_GetAgainSectionL2Data(h, &r.count, nullptr, none), SYM_MORE_DATA);
            tv_InitializeSection11(h);
            EXPECT_EQ(tv_GetNextSectionGroup(h, &r.byte, &r.count, &noMembers, none), SYM_MORE_DATA);
        }
        tv_InitialForeignTradeSection(h);
        EXPECT_EQ(tv_GetNextForeignTradeHead(h, &r.head), SYM_OK);
        EXPECT_EQ(tv_GetForeignTrade(h, &r.byte, nullptr, &r.count32, 0), SYM_MORE_DATA);
        EXPECT_EQ(tv_GetNextForeignTrade(h, nullptr, &r.count32, 0), SYM_MORE_DATA);
        tv_InitialGlobalRelatedSection(h);
        EXPECT_EQ(tv_GetNextGlobalReleatedHead(h, &r.id), SYM_OK);
        EXPECT_EQ(tv_GetGlobalReleated(h, &r.byte, nullptr, &r.count32, 0), SYM_MORE_DATA);
        EXPECT_EQ(tv_GetNextGlobalReleated(h, nullptr, &r.count32, 0), SYM_MORE_DATA);
        EXPECT_EQ(tv_InitialExchangeSupportSection(h), 1);
        EXPECT_EQ(tv_GetNextExchangeSupportSection(h, &r.id, &r.counts[0], nullptr, 0),
                  SYM_ERR_BUFFER_TOO_SMALL);
    });
}

// --- threads
// --------------------------------------------------------------------------------------------------------

std::string SymbolNames(u16 h) {
    std::string names;
    char text[32];
    std::vector<SymFieldItem> items(4);
    i32 count = 0;
    while (tv_GetNextSymData(h, text, 31, &count, items.data(), 4) == SYM_OK) {
        names += text + (" " + TakeItems(SYM_OK, items, count)) + ";";
        tv_GetSymDataProgress(h);
    }
    return names;
}

TEST(Threads, TwoFilesAtATime) {
    const auto work = [](const std::string& prefix, u32 wholeFile) {
        std::vector<Row> symbols;
        std::string expected;
        for (int i = 0; i < 200; ++i) {
            const std::string name = prefix + std::to_string(i);
            symbols.push_back({name, {TextField(1, prefix)}, {}});
            expected.append(name).append(" OK 1:'").append(prefix).append("';");
        }
        const Bytes bytes = FileOf({MakeSection(2, symbols)});
        for (int round = 0; round < 5; ++round) {
            const OpenFile file(bytes, {wholeFile});
            EXPECT_EQ(SymbolNames(file.Handle()), expected);
        }
    };
    std::thread a(work, "a", 0), b(work, "b", 1), c(work, "c", 0);
    a.join();
    b.join();
    c.join();
}

// The last release takes files away under a walk; what the walk then gets is a result and no crash.
TEST(Threads, ReleaseDuringAWalk) {
    const TempFile file(EverySection());
    std::atomic<bool> stop{false};
    std::thread releaser([&] {
        for (int i = 0; i < 300; ++i) {
            tv_InitSymAPI(0);
            tv_ReleaseSymAPI();
        }
        stop = true;
    });
    while (!stop) {
        const i32 result = Open(file.Path());
        ASSERT_EQ(result, 1);
        u8 first = 0, second = 0;
        const i32 initial = tv_InitialRealDelayMappingSection(1);
        const i32 next = tv_GetNextRealDelayMapping(1, &first, &second);
        EXPECT_TRUE(initial == 1 || initial == SYM_ERR_BAD_HANDLE) << initial;
        EXPECT_TRUE((next == SYM_OK && first == 1 && second == 2) || next == SYM_ERR_BAD_HANDLE) << next;
        tv_CloseSymFile(1);
    }
    releaser.join();
}

u16 handleOfTheAllocator = 0;
i32 sectionsSeenByTheAllocator = -1;
std::thread threadOfTheAllocator;
std::atomic<bool> threadsCallEnded = false;
bool threadsCallEndedFirst = true;

bool CallFromTheAllocator() {
    allocations::failsNow = nullptr;
    threadOfTheAllocator = std::thread([] {
        EXPECT_EQ(tv_GetExtendSectionList(handleOfTheAllocator, nullptr, 0), 19);
        threadsCallEnded = true;
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    sectionsSeenByTheAllocator = tv_GetExtendSectionList(handleOfTheAllocator, nullptr, 0);
    threadsCallEndedFirst = threadsCallEnded;
    return false;
}

// The lock is re-entrant, and keeps others out also when the process gets its first thread inside a call.
TEST(Threads, TheHostsAllocatorMayCallTheLibraryAndStartAThread) {
    const OpenFile file(EverySection());
    handleOfTheAllocator = file.Handle();
    char text[32];
    i32 count = 0;
    SymFieldItem items[4] = {};
    allocations::failsNow = CallFromTheAllocator;
    EXPECT_EQ(tv_GetNextSymData(file.Handle(), text, 31, &count, items, 4), SYM_OK);
    threadOfTheAllocator.join();
    EXPECT_EQ(sectionsSeenByTheAllocator, 19);
    EXPECT_FALSE(threadsCallEndedFirst) << "two calls ran at the same time";
    for (const SymFieldItem& item : items) FreeValue(item.value);
}

// --- what differs by system
// ------------------------------------------------------------------------------------------
#ifdef _WIN32

TEST(Lifecycle, OnlyRegularFilesOpen) {
    for (const u32 wholeFile : {0U, 1U}) {
        for (const char* path : {"NUL", "CON", R"(\\.\NUL)", R"(\\.\C:)", R"(\\.\Z:)", R"(C:\)",
                                 R"(\\.\PhysicalDrive0)", R"(\\.\pipe\none)"}) {
            EXPECT_EQ(Open(path, {wholeFile}), SYM_ERR_OPEN) << path;
        }
    }
}

#else

TEST(Lifecycle, OnlyRegularFilesOpen) {
    const std::string fifo = TempFile::NewPath();
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    for (const u32 wholeFile : {0U, 1U}) {
        for (const char* path : {fifo.c_str(), "/dev/null", "/dev/zero", "/"}) {
            EXPECT_EQ(Open(path, {wholeFile}), SYM_ERR_OPEN) << path;
        }
    }
    std::remove(fifo.c_str());
}

// A file for tools beside the exports: opened shared, from a descriptor or in memory, without any lock.
TEST(Lifecycle, OpensWithoutTheExports) {
    const Bytes bytes = EverySection();
    const TempFile file(bytes);
    ASSERT_EQ(Open(file.Path()), 1);
    EXPECT_EQ(platform::OpenFile(file.Path(), platform::Sharing::exclusive), nullptr);
    EXPECT_EQ(platform::OpenFile(open("/", O_RDONLY)), nullptr) << "not a regular file";
    for (const bool wholeFile : {false, true}) {
        SymFile byPath(nullptr, 0), byDescriptor(nullptr, 0), image(nullptr, 0);
        EXPECT_EQ(byPath.Open(platform::OpenFile(file.Path(), platform::Sharing::shared), kBudget, wholeFile),
                  SYM_OK);
        EXPECT_EQ(byDescriptor.Open(platform::OpenFile(open(file.Path(), O_RDONLY)), kBudget, wholeFile),
                  SYM_OK);
        EXPECT_EQ(image.OpenImage(bytes.data(), bytes.size(), kBudget), SYM_OK);
        for (const SymFile* other : {&byPath, &byDescriptor, &image}) {
            EXPECT_EQ(other->file.GetExtendSectionList(nullptr, 0), 19);
        }
    }
    tv_CloseSymFile(1);
    const auto shared = platform::OpenFile(file.Path(), platform::Sharing::shared);
    EXPECT_EQ(Open(file.Path()), 1) << "a shared open excludes no other";
    tv_CloseSymFile(1);
}

#endif

}  // namespace
}  // namespace torva::test
