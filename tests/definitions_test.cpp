// The preloaded definitions: level-2 EOD items (section 18) and exchange support (21).
#include <numeric>

#include "Allocations.h"
#include "TestSupport.h"

namespace torva::test {
namespace {

using namespace symwrite;
using List = std::vector<u16>;

const symwrite::Section kOther = MakeSection(17, {{{1, 2}}});

std::string Shown(const List& values) {
    std::string text = " [";
    for (std::size_t i = 0; i < values.size(); ++i) text += (i > 0 ? " " : "") + std::to_string(values[i]);
    return text + "]";
}
std::string Show(Guarded<u16>& items, u16 count, std::size_t capacity) {
    EXPECT_TRUE(items.Intact());
    for (std::size_t i = count; i < capacity; ++i) EXPECT_EQ(items[i], 0xcdcd) << "written past the list";
    return Shown(List(items.Data(), items.Data() + count));
}

// Sections 18 and 21 through one interface. A group has one list of each kind; section 21 has only the first.
struct Group {
    List ids, first, second, third;
};
struct Kind {
    const char* name;
    u16 id;
    std::size_t lists;
    i32 (*initial)(u16);

    symwrite::Section Section(const std::vector<Group>& groups) const {
        std::vector<Row> rows;
        for (const Group& g : groups) {
            Row& row = rows.emplace_back(lists == 3 ? std::vector<Cell>{g.first, g.second, g.third}
                                                    : std::vector<Cell>{g.first});
            for (const u16 one : g.ids) row.rows.push_back({{one}});
        }
        return MakeSection(id, std::move(rows));
    }
    // One call with arrays of these capacities: "OK 7 [1 2] [] [3]".
    std::string Next(u16 h, const std::array<u32, 3>& room = {4, 4, 4}) const {
        Guarded<u16> first(room[0]), second(room[1]), third(room[2]);
        u16 key = 0xcdcd, counts[3] = {0xcdcd, 0xcdcd, 0xcdcd};
        const auto array = [](Guarded<u16>& items, u32 size) { return size > 0 ? items.Data() : nullptr; };
        const i32 result =
            lists == 3 ? tv_GetNextLevel2EODBasicItemDefine(
                             h, &key, &counts[0], array(first, room[0]), room[0], &counts[1],
                             array(second, room[1]), room[1], &counts[2], array(third, room[2]), room[2])
                       : tv_GetNextExchangeSupportSection(h, &key, counts, array(first, room[0]), room[0]);
        if (result != SYM_OK) {
            EXPECT_EQ(Hex(counts, sizeof(counts)), "cdcdcdcdcdcd");
            EXPECT_EQ(key, 0xcdcd);
            EXPECT_EQ(Show(first, 0, room[0]) + Show(second, 0, room[1]) + Show(third, 0, room[2]),
                      " [] [] []");
            return Name(result);
        }
        std::string text = "OK " + std::to_string(key) + Show(first, counts[0], room[0]);
        if (lists == 3) text += Show(second, counts[1], room[1]) + Show(third, counts[2], room[2]);
        return text;
    }
    std::string Rest(u16 h) const {
        Calls calls;
        for (int turn = 0; turn < kMostCalls; ++turn) {
            const std::string outcome = Next(h);
            calls << outcome;
            if (outcome.compare(0, 2, "OK") != 0) return calls.Text();
        }
        return calls.Text() + "; no end";
    }
    std::string Walk(u16 h) const { return InTurn({Name(initial(h)), Rest(h)}); }
};
const Kind kKinds[] = {{"EodItems", 18, 3, tv_InitialLevel2EODBasicItemDefineSection},
                       {"ExchangeSupport", 21, 1, tv_InitialExchangeSupportSection}};

class Definitions : public ::testing::TestWithParam<Kind> {
protected:
    const Kind& kind = GetParam();
    const std::size_t head = kind.lists == 3 ? 8 : 10;

    void Expect(const Bytes& bytes, const std::string& expected) const {
        ExpectWalk(
            bytes, [&](u16 h) { return kind.Walk(h); }, expected);
    }
    std::string Told(const char* three, const char* one) const { return kind.lists == 3 ? three : one; }
    Bytes With(const std::vector<Group>& groups,
               const std::function<void(symwrite::Section&)>& change) const {
        symwrite::Section section = kind.Section(groups);
        change(section);
        return FileOf({section, kOther});
    }
};
INSTANTIATE_TEST_SUITE_P(Sections, Definitions, ::testing::ValuesIn(kKinds),
                         [](const auto& about) { return about.param.name; });

TEST_P(Definitions, GroupsAndIds) {
    const struct {
        const char* name;
        std::vector<Group> groups;
        std::string expected;
    } kCases[] = {
        {"no groups", {}, "OK; END"},
        {"ascending whatever the file's order",
         {{{500, 3, 65535, 0}, {1}, {2}, {3}}},
         Told("4; OK 0 [1] [2] [3]; OK 3 [1] [2] [3]; OK 500 [1] [2] [3]; OK 65535 [1] [2] [3]; END",
              "4; OK 0 [1]; OK 3 [1]; OK 500 [1]; OK 65535 [1]; END")},
        {"the last group of an id wins",
         {{{7, 8}, {1}, {2}, {3}}, {{7}, {4, 5}, {6}, {}}},
         Told("2; OK 7 [4 5] [6] []; OK 8 [1] [2] [3]; END", "2; OK 7 [4 5]; OK 8 [1]; END")},
        {"even with empty lists",
         {{{7}, {1}, {2}, {3}}, {{7}, {}, {}, {}}},
         Told("1; OK 7 [] [] []; END", "1; OK 7 []; END")},
        {"an id twice in a group",
         {{{7, 7}, {1}, {}, {}}},
         Told("1; OK 7 [1] [] []; END", "1; OK 7 [1]; END")},
        {"a group without ids is dropped",
         {{{}, {1}, {2}, {3}}, {{9}, {4}, {}, {}}},
         Told("1; OK 9 [4] [] []; END", "1; OK 9 [4]; END")},
    };
    for (const auto& c : kCases) {
        SCOPED_TRACE(c.name);
        Expect(FileOf({kind.Section(c.groups), kOther}), c.expected);
        Expect(FileOf({kind.Section(c.groups)}), c.expected);
    }
}

TEST_P(Definitions, WhereTheParseEnds) {
    const std::vector<Group> three = {{{5}, {1}, {2}, {3}}, {{6}, {4}, {5}, {6}}, {{5, 7}, {7}, {8}, {9}}};
    const std::string first = Told("OK 5 [1] [2] [3]; ", "OK 5 [1]; "),
                      second = Told("OK 6 [4] [5] [6]; ", "OK 6 [4]; ");
    const std::string all = Told("3; OK 5 [7] [8] [9]; OK 6 [4] [5] [6]; OK 7 [7] [8] [9]; END",
                                 "3; OK 5 [7]; OK 6 [4]; OK 7 [7]; END");
    const Bytes last = FileOf({kind.Section(three)});
    const std::size_t group = 4 + 4 * kind.lists, groups = 12 + head;
    ASSERT_EQ(last.size(), groups + 3 * group + 2);
    Expect(last, all);
    Expect(With(three, [](auto& s) { s.directorySize = 2; }), all);  // the size sets no bound
    Expect(With(three, [](auto& s) { s.count = 1; }), "1; " + first + "END");
    Expect(With(three, [](auto& s) { s.count = 0; }), "OK; END");
    Expect(With(three, [](auto& s) { s.idInFile = 3; }), "NO_SECTION; END");
    Expect(FileOf({}), "NO_SECTION; END");
    for (std::size_t length = 12 + 2; length < last.size(); ++length) {
        SCOPED_TRACE(length);
        const std::size_t whole = length < groups ? 0 : (length - groups) / group;
        Expect(CutAt(last, length), "READ; " + (whole > 0 ? first : "") + (whole > 1 ? second : "") + "END");
    }
}

TEST_P(Definitions, RoomAndRestarts) {
    const std::vector<Group> groups = {{{5}, {1, 2}, {3, 4}, {5, 6}}, {{9}, {}, {}, {}}};
    const std::string five = Told("OK 5 [1 2] [3 4] [5 6]", "OK 5 [1 2]"),
                      nine = Told("OK 9 [] [] []", "OK 9 []");
    InBothModes(FileOf({kind.Section(groups), kOther}), [&](u16 h) {
        EXPECT_EQ(kind.Next(h), "END") << "not loaded";
        EXPECT_EQ(kind.initial(h), 2);
        for (const auto& small : std::vector<std::array<u32, 3>>{{1, 2, 2}, {0, 0, 0}}) {
            EXPECT_EQ(kind.Next(h, small), "TOO_SMALL");
        }
        if (kind.lists == 3) {
            EXPECT_EQ(kind.Next(h, {2, 1, 2}), "TOO_SMALL");
            EXPECT_EQ(kind.Next(h, {2, 2, 1}), "TOO_SMALL");
        }
        EXPECT_EQ(kind.Next(h, {2, 2, 2}), five) << "the definition was still there";
        EXPECT_EQ(kind.initial(h), 2);
        EXPECT_EQ(kind.Next(h), five) << "what was left was thrown away, and all is there again";
        u8 one = 0, two = 0;
        EXPECT_EQ(tv_InitialRealDelayMappingSection(h), 1);
        EXPECT_EQ(kind.Next(h, {0, 0, 0}), nine) << "needs neither cursor nor arrays";
        EXPECT_EQ(tv_GetNextRealDelayMapping(h, &one, &two), SYM_OK);
        EXPECT_EQ(kind.Next(h), "END");
        // The count of the groups is not counted among the bytes consumed.
        kind.initial(h);
        EXPECT_DOUBLE_EQ(tv_GetSymDataProgress(h), kind.lists == 3 ? 38.0 / 40 : 22.0 / 26);
    });
}

// With one array for all lists the last copy is seen.
TEST(Level2EodItems, CopiesItsListsInTheOrderOfTheArguments) {
    InBothModes(FileOf({kKinds[0].Section({{{5}, {1, 1, 1}, {2, 2}, {3}}})}), [](u16 h) {
        EXPECT_EQ(kKinds[0].initial(h), 1);
        u16 id = 0, first = 0, second = 0, third = 0;
        Guarded<u16> items(3);
        EXPECT_EQ(tv_GetNextLevel2EODBasicItemDefine(h, &id, &first, items.Data(), 3, &second, items.Data(),
                                                     3, &third, items.Data(), 3),
                  SYM_OK);
        EXPECT_EQ(Show(items, 3, 3), " [3 2 1]");
    });
}

// Half a megabyte that names 65,535 ids with 65,535 values three times: a copy per id would take 25 GB.
TEST_P(Definitions, MemoryGrowsWithTheFile) {
    List many(65535);
    std::iota(many.begin(), many.end(), u16{1});
    const Bytes bytes = FileOf({kind.Section({{many, many, many, many}})});
    InBothModes(bytes, [&](u16 h) {
        for (int repeat = 0; repeat < 2; ++repeat) {
            const std::int64_t before = allocations::peakBytes = allocations::liveBytes.load();
            EXPECT_EQ(kind.initial(h), 65535);
            EXPECT_GT(allocations::peakBytes, before) << "the counting works";
            EXPECT_LT(allocations::peakBytes - before, 4 << 20);
            EXPECT_LT(allocations::liveBytes - before, repeat == 0 ? 4 << 20 : 1 << 16)
                << "a repeated id frees what it held";
        }
        std::string expected = "OK 1";
        for (std::size_t list = 0; list < kind.lists; ++list) expected += Shown(many);
        EXPECT_EQ(kind.Next(h, {65534, 65535, 65535}), "TOO_SMALL");
        EXPECT_TRUE(kind.Next(h, {65535, 65535, 65535}) == expected);
        EXPECT_EQ(kind.Next(h, {65535, 65535, 65535}).substr(0, 9), "OK 2 [1 2");
    });
}

TEST(ExchangeSupport, MoreThan65535Groups) {
    std::vector<Row> support(70000, Row({List{}}, {{{1}}}));
    support.back() = Row({List{3}}, {{{2}}});
    InBothModes(FileOf({MakeSection(21, support)}),
                [](u16 h) { EXPECT_EQ(kKinds[1].Walk(h), "2; OK 1 []; OK 2 [3]; END"); });
}

TEST(DefinitionsTogether, InterleaveFreely) {
    const std::vector<Group> groups = {{{1, 2}, {1}, {2}, {3}}};
    InBothModes(FileOf({kKinds[0].Section(groups), kKinds[1].Section(groups)}), [](u16 h) {
        EXPECT_EQ(InTurn({Name(kKinds[0].initial(h)), Name(kKinds[1].initial(h)), kKinds[0].Next(h),
                          kKinds[1].Next(h), kKinds[0].Rest(h), kKinds[1].Rest(h)}),
                  "2; 2; OK 1 [1] [2] [3]; OK 1 [1]; OK 2 [1] [2] [3]; END; OK 2 [1]; END");
    });
}

}  // namespace
}  // namespace torva::test
