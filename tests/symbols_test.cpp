// The symbol stream: records in one call or many, filters, default fields, where a walk ends and where it
// begins anew.
#include <algorithm>

#include "TestSupport.h"

namespace torva::test {
namespace {

using namespace symwrite;

// Walks section 2 with arrays of `maxItems`: "A: MORE 1:01; OK 2:02; B: OK; END". Stops after an error.
std::string WalkSymbols(u16 h, i32 maxItems = 8, i32 textMax = 15) {
    Calls calls;
    std::vector<SymFieldItem> items(static_cast<std::size_t>(std::max(maxItems, 0)));
    i32 result = SYM_OK;
    for (int call = 0; call < kMostCalls; ++call) {
        Guarded<char> text(static_cast<std::size_t>(std::max(textMax, 0)) + 1);
        i32 count = -77;
        std::string name;
        if (result == SYM_MORE_DATA) {
            result = tv_GetAgainSymData(h, &count, items.data(), maxItems);
        } else {
            result = tv_GetNextSymData(h, text.Data(), textMax, &count, items.data(), maxItems);
            if (count != -77) name = std::string(text.Data()) + ": ";
        }
        EXPECT_TRUE(text.Intact());
        calls << name + TakeItems(result, items, count);
        if (result != SYM_OK && result != SYM_MORE_DATA) return calls.Text();
        if (count == -77) return calls.Text() + " untouched";
    }
    return calls.Text() + "; no end";
}

std::string Walk(u16 h) { return WalkSymbols(h); }

Field Byte(u16 id, u8 value) { return NumberField(id, 1, value); }

Bytes FileWith(std::vector<Row> symbols, std::vector<Field> defaults = {}) {
    return FileOf({DefaultsSection(std::move(defaults)), MakeSection(2, std::move(symbols)),
                   MakeSection(17, {{{1, 2}}})});
}

void EnterAnotherSection(u16 h) { EXPECT_EQ(tv_InitialRealDelayMappingSection(h), 1); }

TEST(Symbols, DefaultsAndFilters) {
    const struct {
        const char* name;
        std::vector<Field> fields, defaults;
        std::vector<u16> ids;
        const char* expected;
    } kCases[] = {
        {"nothing at all", {}, {}, {}, "A: OK; END"},
        {"own fields, then defaults",
         {Byte(9, 1), Byte(3, 2)},
         {Byte(7, 3), Byte(1, 4)},
         {},
         "A: OK 9:01 3:02 7:03 1:04; END"},
        {"a default is overridden", {Byte(7, 1)}, {Byte(7, 3), Byte(1, 4)}, {}, "A: OK 7:01 1:04; END"},
        {"an own field twice", {Byte(7, 1), Byte(7, 2)}, {Byte(7, 3)}, {}, "A: OK 7:01 7:02; END"},
        {"a default twice, one overridden",
         {Byte(7, 1)},
         {Byte(7, 3), Byte(7, 4)},
         {},
         "A: OK 7:01 7:04; END"},
        {"a default twice", {}, {Byte(7, 3), Byte(7, 4)}, {}, "A: OK 7:03 7:04; END"},
        {"filter in any order",
         {Byte(9, 1), Byte(3, 2), Byte(4, 2)},
         {Byte(7, 3), Byte(1, 4)},
         {1, 4, 9},
         "A: OK 9:01 4:02 1:04; END"},
        {"filter names what is not there", {Byte(9, 1)}, {Byte(7, 3)}, {1, 65535}, "A: OK; END"},
        {"a filter that names an id twice",
         {Byte(7, 1)},
         {Byte(7, 3), Byte(7, 4)},
         {7, 7},
         "A: OK 7:01 7:04; END"},
        {"ids 0 and 65535",
         {Byte(0, 1), Byte(65535, 2)},
         {Byte(65535, 3), Byte(0, 4)},
         {0},
         "A: OK 0:01; END"},
        {"an overriding null value", {NullField(7)}, {Byte(7, 3)}, {}, "A: OK 7:-; END"},
    };
    for (const auto& c : kCases) {
        SCOPED_TRACE(c.name);
        ExpectWalk(FileWith({{"A", c.fields, {}}}, c.defaults), Walk, c.expected, {0, kBudget, c.ids});
    }
    // Nothing is remembered for the next record: each gets its own defaults, in its own blocks.
    ExpectWalk(
        FileWith({{"A", {Byte(7, 1)}, {}}, {"B", {}, {}}, {"", {Byte(7, 2)}, {}}}, {TextField(7, "x")}), Walk,
        "A: OK 7:01; B: OK 7:'x'; : OK 7:02; END");
}

TEST(Symbols, LargestFilter) {
    std::vector<u16> ids(65535);
    for (u32 i = 0; i < 65535; ++i) ids[i] = static_cast<u16>(65535 - i);  // all except 0
    const Bytes bytes =
        FileWith({{"A", {Byte(0, 1), Byte(1, 2), Byte(40000, 3)}, {}}}, {Byte(0, 4), Byte(65535, 5)});
    ExpectWalk(bytes, Walk, "A: OK 1:02 40000:03 65535:05; END", {0, kBudget, ids});
    const TempFile file(bytes);
    const struct {
        u32 count;
        const char* expected;
    } kCases[] = {{0x10000, "A: OK 0:01 1:02 40000:03 65535:05; END"},  // the low 16 bits count: no filter
                  {0x10001, "A: OK 65535:05; END"}};
    for (const auto& c : kCases) {
        ASSERT_EQ(tv_OpenSymFile(file.Path(), kBudget, ids.data(), c.count, 0), 1);
        EXPECT_EQ(Walk(1), c.expected);
        tv_CloseSymFile(1);
    }
}

// Records of 0 to 3 own fields and 0 to 3 defaults through arrays of every size: a call is full or the record
// is through.
TEST(Symbols, EveryCapacity) {
    for (int own = 0; own <= 3; ++own) {
        for (int extra = 0; extra <= 3; ++extra) {
            std::vector<Field> fields, defaults;
            std::vector<std::string> shown;
            for (int i = 0; i < own; ++i) {
                fields.push_back(Byte(static_cast<u16>(10 + i), 1));
                shown.push_back(" 1" + std::to_string(i) + ":01");
            }
            for (int i = 0; i < extra; ++i) {
                defaults.push_back(Byte(static_cast<u16>(20 + i), 2));
                shown.push_back(" 2" + std::to_string(i) + ":02");
            }
            const Bytes bytes = FileWith({{"A", fields, {}}, {"B", fields, {}}}, defaults);
            for (int capacity = 1; capacity <= own + extra + 1; ++capacity) {
                SCOPED_TRACE(testing::Message()
                             << own << " own, " << extra << " defaults, capacity " << capacity);
                // An array filled by own fields returns MORE, whatever follows; one filled by the last
                // default returns OK.
                Calls record;
                for (std::size_t at = 0, size = static_cast<std::size_t>(capacity);; at += size) {
                    const bool full = at + size <= shown.size();
                    const bool last = !full || (at + size == shown.size() && extra > 0);
                    std::string call = last ? "OK" : "MORE";
                    for (std::size_t i = at; i < std::min(at + size, shown.size()); ++i) call += shown[i];
                    record << call;
                    if (last) break;
                }
                ExpectWalk(
                    bytes, [=](u16 h) { return WalkSymbols(h, capacity); },
                    "A: " + record.Text() + "; B: " + record.Text() + "; END");
            }
        }
    }
}

TEST(Symbols, ArraysOfNoElements) {
    InBothModes(FileWith({{"A", {Byte(1, 1)}, {}}}, {Byte(2, 2)}), [](u16 h) {
        char text[16] = "";
        std::vector<SymFieldItem> items(4);
        i32 count = -77;
        EXPECT_EQ(tv_GetNextSymData(h, text, 15, &count, items.data(), -1), SYM_ERR_PARAM);
        EXPECT_EQ(tv_GetAgainSymData(h, &count, items.data(), -1), SYM_ERR_PARAM);
        EXPECT_EQ(count, -77);
        EXPECT_EQ(tv_GetNextSymData(h, text, 15, &count, items.data(), 0), SYM_MORE_DATA);
        EXPECT_STREQ(text, "A");
        for (int i = 0; i < 3; ++i) {
            EXPECT_EQ(tv_GetAgainSymData(h, &count, items.data(), 0), SYM_MORE_DATA);
            EXPECT_EQ(count, 0);
        }
        EXPECT_EQ(TakeItems(tv_GetAgainSymData(h, &count, items.data(), 1), items, count), "MORE 1:01");
        EXPECT_EQ(tv_GetAgainSymData(h, &count, items.data(), 0), SYM_MORE_DATA);
        EXPECT_EQ(TakeItems(tv_GetAgainSymData(h, &count, items.data(), 4), items, count), "OK 2:02");
        EXPECT_EQ(TakeItems(tv_GetAgainSymData(h, &count, items.data(), 4), items, count), "OK 2:02")
            << "with no record in progress: as for a record without fields";
    });
}

TEST(Symbols, ElementsAfterTheCountAreCleared) {
    InBothModes(FileWith({{"A", {Byte(1, 1)}, {}}}), [](u16 h) {
        char text[16];
        Guarded<SymFieldItem> items(3);
        i32 count = 0;
        EXPECT_EQ(tv_GetNextSymData(h, text, 15, &count, items.Data(), 3), SYM_OK);
        EXPECT_EQ(Hex(items.Data() + 1, 2 * sizeof(SymFieldItem)),
                  Hex(Fill(2 * sizeof(SymFieldItem)).data(), 2 * sizeof(SymFieldItem)));
        EXPECT_TRUE(items.Intact());
        FreeValue(items[0].value);
    });
}

TEST(Symbols, RecordsThatDisagree) {
    const auto sized = [](u32 recordSize) {
        return std::vector<Row>{{"A", {Byte(1, 1), Byte(2, 2)}, recordSize}, {"B", {}, {}}};
    };
    const struct {
        const char* name;
        std::vector<Row> symbols;
        const char* expected;
    } kCases[] = {
        {"true size", sized(10), "A: OK 1:01 2:02 9:09; B: OK 9:09; END"},
        {"ends after the text", sized(2), "A: OK 9:09; \x02: FORMAT"},
        {"ends inside the text", sized(1), "A: FORMAT"},
        {"ends inside a field", sized(7), "A: FORMAT (2)"},
        {"takes the next record along", sized(16), "A: OK 1:01 2:02 2:- 16896:- 9:09; END"},
        {"longer than the section", sized(23), "A: FORMAT"},
        {"as long as the section, which ends first", sized(22), "A: MORE 1:01 2:02 2:- 16896:-; END"},
    };
    for (const auto& c : kCases) {
        SCOPED_TRACE(c.name);
        ExpectWalk(FileWith(c.symbols, {Byte(9, 9)}), Walk, c.expected);
    }
}

// Entering section 2 again returns the first record; otherwise the end stays the end.
TEST(Symbols, WhereAWalkBegins) {
    InBothModes(FileWith({{"A", {}, {}}, {"B", {Byte(1, 1), Byte(2, 2)}, {}}}), [](u16 h) {
        EXPECT_EQ(Walk(h), "A: OK; B: OK 1:01 2:02; END");
        EXPECT_EQ(Walk(h), "END");
        EnterAnotherSection(h);
        EXPECT_EQ(Walk(h), "A: OK; B: OK 1:01 2:02; END");
        EnterAnotherSection(h);
        EXPECT_EQ(WalkSymbols(h, 1, 0), "TOO_SMALL");
        EnterAnotherSection(h);
        EXPECT_EQ(WalkSymbols(h, 1), "A: OK; B: MORE 1:01; MORE 2:02; OK; END");
    });
}

TEST(Symbols, TextLimits) {
    const Bytes bytes = FileWith({{"ABC", {}, {}}});
    ExpectWalk(
        bytes, [](u16 h) { return WalkSymbols(h, 8, 3); }, "ABC: OK; END");
    for (const i32 tooSmall : {2, 0})
        ExpectWalk(
            bytes, [=](u16 h) { return WalkSymbols(h, 8, tooSmall); }, "TOO_SMALL");
    ExpectWalk(
        bytes, [](u16 h) { return WalkSymbols(h, 8, -1); }, "TOO_SMALL");
}

TEST(Symbols, WithoutSection2) {
    const Bytes bytes = FileOf({DefaultsSection({Byte(1, 1)}), MakeSection(17, {{{1, 2}}})});
    InBothModes(bytes, [](u16 h) {
        EXPECT_EQ(Walk(h), "OK untouched") << "the cursor is in section 1, which is not exhausted";
        EnterAnotherSection(h);
        EXPECT_EQ(Walk(h), "OK untouched");
    });
    ExpectWalk(FileOf({}), Walk, "END");
    ExpectWalk(FileOf({RawSection(3, Fill(9))}), Walk, "END");
}

TEST(Symbols, Progress) {
    InBothModes(FileWith({{"A", {Byte(1, 1)}, {}}, {"BCDE", {}, {}}}, {Byte(1, 1)}), [](u16 h) {
        EXPECT_DOUBLE_EQ(tv_GetSymDataProgress(h), 2.0 / 10)
            << "section 1, of which the loading counts nothing";
        char text[16];
        std::vector<SymFieldItem> items(4);
        i32 count = 0;
        TakeItems(tv_GetNextSymData(h, text, 15, &count, items.data(), 4), items, count);
        EXPECT_DOUBLE_EQ(tv_GetSymDataProgress(h), 12.0 / 21);
        EXPECT_DOUBLE_EQ(tv_GetSymDataProgress(h), 12.0 / 21);
        Walk(h);
        EXPECT_DOUBLE_EQ(tv_GetSymDataProgress(h), 1.0);
        EnterAnotherSection(h);
        EXPECT_DOUBLE_EQ(tv_GetSymDataProgress(h), 8.0 / 10);
    });
    InBothModes({}, [](u16 h) { EXPECT_EQ(tv_GetSymDataProgress(h), 0.0); });
}

// A file cut at every length. Without a filter, items of id 0 represent missing bytes; with one
// that does not name id 0 the record ends there.
TEST(Symbols, EveryTruncation) {
    const Bytes whole =
        FileOf({MakeSection(2, {{"AB", {Byte(1, 9), TextField(8, "xy")}, {}}, {"C", {}, {}}})});
    ASSERT_EQ(whole.size(), 2U + 10 + 2 + (4 + 3 + 4 + 6) + (4 + 2));
    const struct {
        std::size_t from, to;
        const char* all;
        const char* filtered;
    } kCases[] = {
        {0, 14, "END", "END"},               // no directory, no section, or a section of which nothing came
        {15, 20, "TOO_SMALL", "TOO_SMALL"},  // the size of the record, then its text
        {21, 21, "AB: END", "AB: END"},
        {22, 23, "AB: MORE 0:- 0:- 0:-; END", "AB: END"},
        {24, 24, "AB: MORE 1:00 0:- 0:-; END", "AB: END (1)"},
        {25, 25, "AB: MORE 1:09 0:- 0:-; END", "AB: END (1)"},
        {26, 27, "AB: MORE 1:09 0:- 0:-; END", "AB: END (1)"},
        {28, 30, "AB: MORE 1:09; END", "AB: MORE 1:09; END"},  // inside the text of the field
        {31, 31, "AB: OK 1:09 8:'xy'; END", "AB: OK 1:09 8:'xy'; END"},
        {32, 36, "AB: OK 1:09 8:'xy'; TOO_SMALL", "AB: OK 1:09 8:'xy'; TOO_SMALL"},
        {37, 37, "AB: OK 1:09 8:'xy'; C: OK; END", "AB: OK 1:09 8:'xy'; C: OK; END"},
    };
    const auto walk = [](u16 h) { return WalkSymbols(h, 3); };
    for (const auto& c : kCases) {
        for (std::size_t length = c.from; length <= c.to; ++length) {
            SCOPED_TRACE(length);
            ExpectWalk(CutAt(whole, length), walk, c.all);
            ExpectWalk(CutAt(whole, length), walk, c.filtered, {0, kBudget, {1, 8}});
        }
    }
}

}  // namespace
}  // namespace torva::test
