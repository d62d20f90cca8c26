// The flat directories: ids and names (sections 9, 10, 12, 19, 20, 22), section groups (11), exchanges (16)
// and the real-delay mapping (17).
#include "TestSupport.h"

namespace torva::test {
namespace {

using namespace symwrite;

const symwrite::Section kOther = MakeSection(3, {{{1}, {{}}}});

// A section of one kind with something wrong about it, before another section.
Bytes With(symwrite::Section section, const std::function<void(symwrite::Section&)>& change) {
    change(section);
    return FileOf({std::move(section), kOther});
}

struct Family {
    u16 id;
    i32 (*initial)(u16);
    i32 (*next)(u16, i32*, u32*, char**, u32);
    std::size_t countWidth, idWidth;
};
const Family kFamilies[] = {
    {9, tv_InitializeSection9, tv_GetNextFundCompanyGroup, 2, 2},
    {10, tv_InitializeSection10, tv_GetNextEidrCountryGroup, 2, 2},
    {12, tv_InitializeSection12, tv_GetNextIssueCompanyGroup, 2, 2},
    {19, tv_InitialFundMainNameSection, tv_GetNextFundMainName, 4, 4},
    {20, tv_InitialFuturesSectionV2, tv_GetNextFuturesSectionV2, 4, 2},
    {22, tv_InitialFuturesClassType, tv_GetNextFuturesClassType, 4, 2},
};

class Directories : public ::testing::TestWithParam<Family> {
protected:
    const Family& family = GetParam();
    const std::size_t head = 2 + 4 + family.countWidth;

    symwrite::Section Section(const std::vector<std::pair<u32, std::string>>& elements) const {
        std::vector<Row> rows;
        rows.reserve(elements.size());
        for (const auto& [id, name] : elements) rows.push_back({{id, name}});
        return MakeSection(family.id, std::move(rows));
    }

    // One call with a buffer of `size` bytes: "MORE 1=AA". What was not delivered shows as the untouched
    // 0xcdcdcdcd.
    std::string Next(u16 h, u32 size = 8, i32 count = 0) const {
        Guarded<char> name(size);
        Guarded<u32> ids(1);
        char* names = size > 0 ? name.Data() : nullptr;
        const i32 before = count;
        const i32 result = family.next(h, &count, ids.Data(), &names, size);
        EXPECT_TRUE(name.Intact() && ids.Intact());
        if (count == before)
            return Name(result) + (ids[0] == 0xcdcdcdcdU ? "" : " id " + std::to_string(ids[0]));
        EXPECT_EQ(count, before + 1);
        return Name(result) + " " + std::to_string(ids[0]) + "=" + name.Data();
    }

    std::string Walk(u16 h, u32 size = 8) const {
        return WalkOn(family.initial(h), [&] { return Next(h, size); });
    }
};

INSTANTIATE_TEST_SUITE_P(Sections, Directories, ::testing::ValuesIn(kFamilies),
                         [](const auto& about) { return "Section" + std::to_string(about.param.id); });

TEST_P(Directories, WhereTheWalkEnds) {
    const symwrite::Section three = Section({{1, "AA"}, {65535, ""}, {1, "C"}});
    const u32 first = static_cast<u32>(family.idWidth) + 3, second = static_cast<u32>(family.idWidth) + 1;
    const Bytes last = FileOf({three});
    const std::size_t elements = 12 + head;
    const auto cut = [&](std::size_t length) { return CutAt(last, length); };
    const auto sized = [&](std::size_t size) {
        return With(three, [=](auto& s) { s.directorySize = static_cast<u32>(size); });
    };
    const auto limit = [&](u32 bytes) { return With(three, [=](auto& s) { s.headValue = bytes; }); };
    const std::string all = "3; MORE 1=AA; MORE 65535=; OK 1=C; END";
    const WalkCase kCases[] = {
        {"three", FileOf({three, kOther}), all},
        {"three at the end of the file", last, all},
        {"one", FileOf({Section({{7, "x"}}), kOther}), "1; OK 7=x; END"},
        {"only a head", sized(head), "END; MORE 1=AA; MORE 65535=; OK 1=C; END"},
        {"the section's size plays no part in the walk", sized(head + 1), all},
        {"only a head at the end of the file", FileOf({Section({})}), "END; END"},
        {"count 0 with elements", With(three, [](auto& s) { s.count = 0; }), "OK; END"},
        {"count below the elements", With(three, [](auto& s) { s.count = 2; }),
         "2; MORE 1=AA; OK 65535=; END"},
        {"largest count of 16 bits",
         With(three, [=](auto& s) { s.count = 65535, s.headValue = first + second; }),
         "65535; MORE 1=AA; MORE 65535=; END"},
        {"head value 0", limit(0), "3; END"},
        {"head value of one element", limit(first), "3; MORE 1=AA; END"},
        {"head value inside the second element", limit(first + 1), "3; MORE 1=AA; MORE 65535=; END"},
        {"head value of two elements", limit(first + second), "3; MORE 1=AA; MORE 65535=; END"},
        {"head value above the elements", limit(1000), all},
        {"no section", FileOf({kOther}), "NO_SECTION; END"},
        {"wrong id", With(three, [](auto& s) { s.idInFile = 1; }), "NO_SECTION; END"},
        {"cut in the head value", cut(12 + 5), "READ; END"},
        {"cut in the count", cut(elements - 1), "READ; END"},
        {"cut after the head", cut(elements), "END; END"},
        {"cut in an id", cut(elements + 1), "3; READ"},
        {"cut after an id", cut(elements + family.idWidth), "3; READ id 1"},
        {"cut in a name", cut(elements + family.idWidth + 2), "3; READ id 1"},
        {"cut after an element", cut(elements + first), "3; MORE 1=AA; END"},
        {"cut in the next id", cut(elements + first + 1), "3; MORE 1=AA; READ"},
    };
    ExpectWalks(kCases, [&](u16 h) { return Walk(h); });
}

TEST_P(Directories, RoomCountsAndRestarts) {
    const Bytes bytes = FileOf({Section({{1, "ninechars"}, {2, "B"}}), kOther});
    InBothModes(bytes, [&](u16 h) {
        EXPECT_EQ(Next(h), "END") << "not entered";
        EXPECT_EQ(Walk(h, 10), "2; MORE 1=ninechars; OK 2=B; END");
        EXPECT_EQ(Next(h), "END");
        EXPECT_EQ(tv_GetSymDataProgress(h), 1.0);
        EXPECT_EQ(Walk(h, 9), "2; PARAM id 1") << "an initial call begins anew; one byte too few";
        EXPECT_EQ(Next(h, 10), "MORE 2=B") << "the element is not brought back, and not counted";
        EXPECT_EQ(Walk(h, 0), "2; PARAM id 1") << "a null buffer fails in the copy";
        family.initial(h);
        EXPECT_EQ(Next(h, 10, 1), "MORE") << "with a count of 1 nothing is read";
        EXPECT_EQ(Next(h, 10, 7), "MORE");
        EXPECT_EQ(Next(h, 10, -1), "PARAM");
        EXPECT_EQ(Next(h, 10), "MORE 1=ninechars");
        char text[8] = "old";
        char* names = text;
        i32 count = 0;
        u32 id = 0;
        family.initial(h);
        EXPECT_EQ(family.next(h, &count, &id, &names, sizeof(text)), SYM_ERR_PARAM);
        EXPECT_STREQ(text, "");
    });
    // A name as long as the arena lets through, and one more.
    const std::size_t longest = 102396;
    for (const std::size_t characters : {longest, longest + 1}) {
        InBothModes(FileOf({Section({{1, std::string(characters, 'x')}})}),
                    [&](u16 h) {
                        EXPECT_EQ(family.initial(h), 1);
                        EXPECT_EQ(Next(h, 200000).substr(0, 6), characters == longest ? "OK 1=x" : "READ i");
                    },
                    {0, kLeastBudget});
    }
}

TEST_P(Directories, WideNumbers) {
    if (family.idWidth == 4) {
        ExpectWalk(
            FileOf({Section({{0x80000001U, "x"}})}), [&](u16 h) { return Walk(h); },
            "1; OK 2147483649=x; END");
    }
    if (family.countWidth == 4) {
        ExpectWalk(
            With(Section({{1, "x"}}), [](auto& s) { s.count = 0x80000000U; }), [&](u16 h) { return Walk(h); },
            "-2147483648; MORE 1=x; END");
        InBothModes(FileOf({Section(std::vector<std::pair<u32, std::string>>(70000, {7, "n"}))}), [&](u16 h) {
            EXPECT_EQ(family.initial(h), 70000);
            for (int i = 1; i < 70000; ++i) ASSERT_EQ(Next(h), "MORE 7=n") << i;
            EXPECT_EQ(Next(h), "OK 7=n");
        });
    }
}

// Each section has its own cursor, but they share one read position.
TEST(DirectoriesTogether, OneAfterTheOther) {
    std::vector<symwrite::Section> sections;
    for (const Family& family : kFamilies) {
        const std::string name = "s" + std::to_string(family.id);
        sections.push_back(MakeSection(family.id, {{{family.id, name}}, {{1, "y"}}}));
    }
    InBothModes(FileOf(sections), [](u16 h) {
        for (const Family& family : kFamilies) EXPECT_EQ(family.initial(h), 2);
        for (const Family& family : kFamilies) {
            char text[8];
            char* names = text;
            i32 count = 0;
            u32 id = 0;
            EXPECT_EQ(family.initial(h), 2);
            EXPECT_EQ(family.next(h, &count, &id, &names, 8), SYM_MORE_DATA);
            EXPECT_EQ(text, "s" + std::to_string(family.id));
        }
        for (const Family& family : kFamilies) {  // one element further, with nothing left to read
            char text[8];
            char* names = text;
            i32 count = 0;
            u32 id = 0;
            const i32 result = family.next(h, &count, &id, &names, 8);
            EXPECT_EQ(result, family.id == 9 ? SYM_OK : SYM_END_OF_DATA) << family.id;
        }
    });
}

// --- section 11
// -------------------------------------------------------------------------------------------------------

// One call with an array of `capacity` that holds `fill` members: "MORE 7: 1 2", the members that this call
// stored.
std::string NextGroup(u16 h, i32 capacity, i32 fill = 0) {
    Guarded<u8> members(static_cast<std::size_t>(capacity));
    u8* array = members.Data();
    u8 id = 0xcd;
    i32 count = fill;
    std::string text = Name(tv_GetNextSectionGroup(h, &id, &count, &array, capacity));
    EXPECT_TRUE(members.Intact());
    for (i32 i = 0; i < fill && i < capacity; ++i) EXPECT_EQ(members[static_cast<std::size_t>(i)], 0xcd);
    if (id != 0xcd || count > fill) text += " " + std::to_string(id) + ":";
    for (i32 i = fill; i < count; ++i) text += " " + std::to_string(members[static_cast<std::size_t>(i)]);
    return text;
}
std::string WalkSectionGroups(u16 h, i32 capacity = 3) {
    return WalkOn(tv_InitializeSection11(h), [&] { return NextGroup(h, capacity); });
}

struct Group {
    u8 id;
    std::vector<u16> members;
};
symwrite::Section Groups(const std::vector<Group>& groups) {
    std::vector<Row> rows;
    rows.reserve(groups.size());
    for (const Group& group : groups) rows.push_back({{group.id, group.members}});
    return MakeSection(11, std::move(rows));
}

TEST(SectionGroupTable, EveryCapacity) {
    const Bytes bytes = FileOf({Groups({{7, {1, 2, 3}}, {9, {}}}), kOther});
    const char* const kExpected[] = {
        "2; MORE 7: 1; MORE 7: 2; MORE 7: 3; OK 9:; END",
        "2; MORE 7: 1 2; MORE 7: 3; OK 9:; END",
        "2; MORE 7: 1 2 3; OK 9:; END",
        "2; MORE 7: 1 2 3; OK 9:; END",
    };
    for (i32 capacity = 1; capacity <= 4; ++capacity) {
        ExpectWalk(
            bytes, [=](u16 h) { return WalkSectionGroups(h, capacity); }, kExpected[capacity - 1]);
    }
    InBothModes(bytes, [](u16 h) {
        EXPECT_EQ(NextGroup(h, 4), "END") << "not entered";
        EXPECT_EQ(tv_InitializeSection11(h), 2);
        EXPECT_EQ(NextGroup(h, 4, 3), "MORE 7: 1") << "the array continues to fill";
        EXPECT_EQ(NextGroup(h, 4, 4), "MORE 7:") << "no room: nothing moves inside a group";
        EXPECT_EQ(NextGroup(h, 4, 9), "MORE 7:");
        EXPECT_EQ(NextGroup(h, 4, -1), "PARAM");
        EXPECT_EQ(NextGroup(h, 4, 1), "MORE 7: 2 3");
        EXPECT_EQ(NextGroup(h, 4, 3), "OK 9:");
        EXPECT_EQ(tv_GetSymDataProgress(h), 1.0);
        tv_InitializeSection11(h);
        EXPECT_EQ(NextGroup(h, 1), "MORE 7: 1");
        EXPECT_EQ(WalkSectionGroups(h), "2; MORE 7: 1 2 3; OK 9:; END") << "an initial call begins anew";
        tv_InitializeSection11(h);
        EXPECT_EQ(NextGroup(h, 0), "MORE 7:") << "no room at a group head: the head is read";
        EXPECT_EQ(NextGroup(h, 3), "MORE 1: 3 9") << "and the next two bytes are read as a head";
    });
}

TEST(SectionGroupTable, WhereTheWalkEnds) {
    const symwrite::Section two = Groups({{7, {1, 2, 3}}, {9, {4, 5, 6}}});
    const auto cut = [&](std::size_t length) { return CutAt(FileOf({two}), 12 + 7 + length); };
    const WalkCase kCases[] = {
        {"at the end of the file", FileOf({two}), "2; MORE 7: 1 2 3; OK 9: 4 5 6; END"},
        {"one group", FileOf({Groups({{7, {1}}}), kOther}), "1; OK 7: 1; END"},
        {"section of 7 bytes", With(two, [](auto& s) { s.directorySize = 7; }),
         "END; MORE 7: 1 2 3; OK 9: 4 5 6; END"},
        {"only a head", FileOf({Groups({})}), "END; END"},
        {"group count 0", With(two, [](auto& s) { s.count = 0; }), "OK; END"},
        {"largest group count",
         With(two,
              [](auto& s) {
                  s.count = 255;
                  s.headValue = 4;
              }),
         "255; MORE 7: 1 2 3; END"},
        {"head value 0", With(two, [](auto& s) { s.headValue = 0; }), "2; END"},
        {"head value of one group", With(two, [](auto& s) { s.headValue = 5; }), "2; MORE 7: 1 2 3; END"},
        {"wrong id", With(two, [](auto& s) { s.idInFile = 12; }), "NO_SECTION; END"},
        {"no section", FileOf({}), "NO_SECTION; END"},
        {"cut in the head value", CutAt(FileOf({two}), 17), "READ; END"},
        {"cut before the group count", CutAt(FileOf({two}), 18), "READ; END"},
        {"cut after the head", cut(0), "END; END"},
        {"cut in a group head", cut(1), "2; READ"},
        {"cut after a group head", cut(2), "2; READ 7:"},
        {"cut in the members", cut(4), "2; READ 7: 1 2"},
        {"cut after a group", cut(5), "2; MORE 7: 1 2 3; END"},
        {"cut in the next head", cut(6), "2; MORE 7: 1 2 3; READ"},
    };
    ExpectWalks(kCases, [](u16 h) { return WalkSectionGroups(h); });
    InBothModes(cut(3), [](u16 h) {  // a call that enters exactly at the cut
        tv_InitializeSection11(h);
        EXPECT_EQ(NextGroup(h, 1), "MORE 7: 1");
        EXPECT_EQ(NextGroup(h, 1), "END");
    });
    const std::vector<Group> many(255, {1, std::vector<u16>(255, 8)});
    InBothModes(FileOf({Groups(many)}), [](u16 h) {
        EXPECT_EQ(tv_InitializeSection11(h), 255);
        std::string expected = "MORE 1:";
        for (int i = 0; i < 255; ++i) expected += " 8";
        for (int i = 1; i < 255; ++i) EXPECT_EQ(NextGroup(h, 255), expected);
        EXPECT_EQ(NextGroup(h, 255), "OK" + expected.substr(4));
        EXPECT_EQ(tv_GetSymDataProgress(h), 1.0);
    });
}

// --- section 16
// -------------------------------------------------------------------------------------------------------

std::string NextExchange(u16 h, i32 limit1 = 4, i32 limit2 = 4) {
    Guarded<char> text1(static_cast<std::size_t>(limit1 + 1)), text2(static_cast<std::size_t>(limit2 + 1));
    u32 id = 0xcdcdcdcdU;
    const i32 result = tv_GetNextExchange(h, &id, text1.Data(), limit1, text2.Data(), limit2);
    EXPECT_TRUE(text1.Intact() && text2.Intact());
    if (result != SYM_OK && result != SYM_MORE_DATA)
        return Name(result) + (id == 0xcdcdcdcdU ? "" : " id " + std::to_string(id));
    return Name(result) + " " + std::to_string(id) + "/" + text1.Data() + "/" + text2.Data();
}
std::string WalkExchanges(u16 h, i32 limit1 = 4, i32 limit2 = 4) {
    return WalkOn(tv_InitialExchangeSection(h), [&] { return NextExchange(h, limit1, limit2); });
}

TEST(ExchangeTable, WhereTheWalkEnds) {
    const symwrite::Section three =
        MakeSection(16, {{{1, "ab", "c"}}, {{65535, "", ""}}, {{2, "four", "d"}}});
    const std::string all = "3; MORE 1/ab/c; MORE 65535//; OK 2/four/d; END";
    const auto cut = [&](std::size_t length) { return CutAt(FileOf({three}), 12 + 8 + length); };
    const WalkCase kCases[] = {
        {"three", FileOf({three, kOther}), all},
        {"three at the end of the file", FileOf({three}), all},
        {"section of 8 bytes", With(three, [](auto& s) { s.directorySize = 8; }), "END" + all.substr(1)},
        {"count 0", With(three, [](auto& s) { s.count = 0; }), "OK; END"},
        {"count below the elements", With(three, [](auto& s) { s.count = 1; }), "1; OK 1/ab/c; END"},
        {"largest count",
         With(three,
              [](auto& s) {
                  s.count = 65535;
                  s.headValue = 8;
              }),
         "65535; MORE 1/ab/c; MORE 65535//; END"},
        {"head value 0", With(three, [](auto& s) { s.headValue = 0; }), "3; END"},
        {"head value of one element", With(three, [](auto& s) { s.headValue = 7; }), "3; MORE 1/ab/c; END"},
        {"wrong id", With(three, [](auto& s) { s.idInFile = 17; }), "NO_SECTION; END"},
        {"no section", FileOf({}), "NO_SECTION; END"},
        {"cut in the head value", CutAt(FileOf({three}), 17), "READ; END"},
        {"cut in the count", CutAt(FileOf({three}), 19), "READ; END"},
        {"cut after the head", cut(0), "END; END"},
        {"cut in an id", cut(1), "3; READ"},
        {"cut after an id", cut(2), "3; READ id 1"},
        {"cut in the first text", cut(4), "3; READ id 1"},
        {"cut in the second text", cut(6), "3; READ id 1"},
        {"cut after an element", cut(7), "3; MORE 1/ab/c; END"},
    };
    ExpectWalks(kCases, [](u16 h) { return WalkExchanges(h); });
    ExpectWalk(
        FileOf({three}), [](u16 h) { return WalkExchanges(h, 2, 1); },
        "3; MORE 1/ab/c; MORE 65535//; READ id 2");
    ExpectWalk(
        FileOf({three}), [](u16 h) { return WalkExchanges(h, 2, 0); }, "3; READ id 1");
    ExpectWalk(
        FileOf({three}), [](u16 h) { return WalkExchanges(h, 2, -1); }, "3; READ id 1");
    InBothModes(FileOf({three, kOther}), [&](u16 h) {
        EXPECT_EQ(NextExchange(h), "END") << "not entered";
        EXPECT_EQ(WalkExchanges(h), all);
        EXPECT_EQ(NextExchange(h), "END");
        EXPECT_EQ(tv_GetSymDataProgress(h), 1.0);
        tv_InitialExchangeSection(h);
        EXPECT_EQ(NextExchange(h), "MORE 1/ab/c");
        EXPECT_EQ(WalkExchanges(h), all) << "an initial call begins anew";
    });
}

// --- section 17
// -------------------------------------------------------------------------------------------------------

std::string NextPair(u16 h) {
    u8 first = 0xcd, second = 0xcd;
    std::string text = Name(tv_GetNextRealDelayMapping(h, &first, &second));
    if (first != 0xcd) text += " " + std::to_string(first);
    if (second != 0xcd) text += ">" + std::to_string(second);
    return text;
}
std::string WalkPairs(u16 h) {
    return WalkOn(tv_InitialRealDelayMappingSection(h), [&] { return NextPair(h); });
}

TEST(RealDelayTable, WhereTheWalkEnds) {
    const symwrite::Section three = MakeSection(17, {{{1, 2}}, {{3, 4}}, {{5, 6}}});
    const auto limit = [&](u32 bytes) { return With(three, [=](auto& s) { s.headValue = bytes; }); };
    const std::string all = "3; OK 1>2; OK 3>4; OK 5>6; END";
    const WalkCase kCases[] = {
        {"three", FileOf({three, kOther}), all},
        {"three at the end of the file", FileOf({three}), all},
        {"section of 8 bytes", With(three, [](auto& s) { s.directorySize = 8; }), "END" + all.substr(1)},
        {"pair count 0", With(three, [](auto& s) { s.count = 0; }), "OK; END"},
        {"the head value ends the table, not the count", With(three, [](auto& s) { s.count = 1; }),
         "1" + all.substr(1)},
        {"largest count", With(three, [](auto& s) { s.count = 65535; }), "65535" + all.substr(1)},
        {"head value 0", limit(0), "3; END"},
        {"odd head value", limit(3), "3; OK 1>2; OK 3>4; END"},
        {"head value past the pairs", limit(8), "3; OK 1>2; OK 3>4; OK 5>6; OK 3>0; END"},
        {"wrong id", With(three, [](auto& s) { s.idInFile = 16; }), "NO_SECTION; END"},
        {"no section", FileOf({}), "NO_SECTION; END"},
        {"cut in the head value", CutAt(FileOf({three}), 17), "READ; END"},
        {"cut in the count", CutAt(FileOf({three}), 19), "READ; END"},
        {"cut after the head", CutAt(FileOf({three}), 20), "END; END"},
        {"cut in a pair", CutAt(FileOf({three}), 23), "3; OK 1>2; READ 3"},
        {"cut after a pair", CutAt(FileOf({three}), 22), "3; OK 1>2; END"},
    };
    ExpectWalks(kCases, WalkPairs);
    InBothModes(FileOf({three, kOther}), [&](u16 h) {
        EXPECT_EQ(WalkPairs(h), all);
        EXPECT_EQ(tv_GetSymDataProgress(h), 1.0);
        EXPECT_EQ(WalkPairs(h), all);
    });
}

}  // namespace
}  // namespace torva::test
