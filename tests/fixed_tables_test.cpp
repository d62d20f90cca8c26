// Jump prices (section 3), broker info (4) and level-2 sections (8): tables that arrive in arrays of fixed
// records.
#include <algorithm>

#include "TestSupport.h"

namespace torva::test {
namespace {

using namespace symwrite;

// Records that differ: all bytes of record n are n. Shown by that number, or in hex when they
// differ.
template <class Record>
std::string Show(const Record& record) {
    const auto* const bytes = reinterpret_cast<const u8*>(&record);
    const bool same = std::all_of(bytes, bytes + sizeof(Record), [&](u8 byte) { return byte == bytes[0]; });
    return " " + (same ? std::to_string(bytes[0]) : Hex(bytes, sizeof(Record)));
}
std::string Show(const SectionL2Item& item) {
    const char *const text1 = item.text1, *const text2 = item.text2;
    const auto shown = [](const char* text) {
        return text == nullptr ? std::string("null") : std::string(text);
    };
    return " " + std::to_string(item.leadByte) + "/" + shown(text1) + "/" + shown(text2);
}

// What a call left in an array whose elements were 0xcd: `count` records, and zeros after them up to the
// capacity.
template <class Record>
std::string ShowArray(i32 result, Guarded<Record>& records, i32 count, i32 capacity) {
    EXPECT_TRUE(records.Intact());
    std::string text = Name(result);
    for (i32 i = 0; i < capacity; ++i) {
        if (i < count) {
            text += Show(records[static_cast<std::size_t>(i)]);
        } else if (Hex(&records[static_cast<std::size_t>(i)], sizeof(Record)) !=
                   Hex(Fill(sizeof(Record)).data(), sizeof(Record))) {
            text += " dirty";
        }
    }
    return text;
}

// A walk over groups with an array of `capacity`: each head call begins with "id:". Continues an open
// group through `again`, or through `next` where the section allows it.
template <class Record>
std::string WalkGroups(u16 h, i32 capacity, i32 (*next)(u16, u8*, i32*, Record*, i32),
                       i32 (*again)(u16, i32*, Record*, i32)) {
    Calls calls;
    i32 result = SYM_OK;
    for (int call = 0; call < kMostCalls; ++call) {
        Guarded<Record> records(static_cast<std::size_t>(std::max(capacity, 0)));
        u8 id = 0xcd;
        i32 count = -77;
        const bool goesOn = result == SYM_MORE_DATA && again != nullptr;
        result = goesOn ? again(h, &count, records.Data(), capacity)
                        : next(h, &id, &count, records.Data(), capacity);
        if (count == -77) return (calls << Name(result)).Text();
        calls << (goesOn ? "" : std::to_string(id) + ": ") + ShowArray(result, records, count, capacity);
        if (result != SYM_OK && result != SYM_MORE_DATA) return calls.Text();
    }
    return calls.Text() + "; no end";
}
std::string WalkJumps(u16 h, i32 capacity = 3) {
    return WalkGroups(h, capacity, tv_GetNextJumpPriceGroup, tv_GetAgainJumpPriceData);
}
std::string WalkLevel2(u16 h, i32 capacity = 3) {
    return WalkGroups(h, capacity, tv_GetNextSectionL2Group, tv_GetAgainSectionL2Data);
}

Row Jumps(u8 id, const std::vector<u8>& values) {
    Row group({id});
    for (const u8 value : values) group.rows.push_back({{std::string(24, static_cast<char>(value))}});
    return group;
}
symwrite::Section JumpTable(std::vector<Row> groups) { return MakeSection(3, std::move(groups)); }
const symwrite::Section kOther = MakeSection(17, {{{1, 2}}});
void EnterAnotherSection(u16 h) { EXPECT_EQ(tv_InitialRealDelayMappingSection(h), 1); }

TEST(JumpPrices, EveryCapacity) {
    const Bytes bytes = FileOf({JumpTable({Jumps(7, {1, 2, 3}), Jumps(8, {}), Jumps(9, {4})}), kOther});
    const char* const kExpected[] = {
        "7: MORE 1; MORE 2; OK 3; 8: OK; 9: OK 4; END",
        "7: MORE 1 2; OK 3; 8: OK; 9: OK 4; END",
        "7: OK 1 2 3; 8: OK; 9: OK 4; END",
        "7: OK 1 2 3; 8: OK; 9: OK 4; END",
    };
    for (i32 capacity = 1; capacity <= 4; ++capacity) {
        ExpectWalk(
            bytes, [=](u16 h) { return WalkJumps(h, capacity); }, kExpected[capacity - 1]);
    }
    InBothModes(bytes, [](u16 h) {
        u8 id = 0;
        i32 count = -77;
        Guarded<JumpPriceRecord> records(4);
        for (const i32 none : {0, -3}) {
            EXPECT_EQ(tv_GetAgainJumpPriceData(h, &count, records.Data(), none), SYM_END_OF_DATA)
                << "not entered";
        }
        EXPECT_EQ(tv_GetNextJumpPriceGroup(h, &id, &count, records.Data(), 0), SYM_MORE_DATA);
        for (const i32 none : {0, -3}) {
            EXPECT_EQ(tv_GetAgainJumpPriceData(h, &count, records.Data(), none), SYM_MORE_DATA);
            EXPECT_EQ(count, 0);
        }
        EXPECT_EQ(Hex(records.Data(), 4), "cdcdcdcd") << "no element, nothing zeroed";
        EXPECT_EQ(tv_GetAgainJumpPriceData(h, &count, records.Data(), 4), SYM_OK);
        EXPECT_EQ(ShowArray(SYM_OK, records, count, 4), "OK 1 2 3");
        EXPECT_EQ(tv_GetAgainJumpPriceData(h, &count, records.Data(), 4), SYM_OK) << "between groups";
        EXPECT_EQ(count, 0);
        EXPECT_EQ(WalkJumps(h), "8: OK; 9: OK 4; END");
        EXPECT_EQ(WalkJumps(h), "END") << "until another section has been entered";
        EnterAnotherSection(h);
        EXPECT_EQ(WalkJumps(h), "7: OK 1 2 3; 8: OK; 9: OK 4; END");
        EnterAnotherSection(h);
        EXPECT_EQ(tv_GetNextJumpPriceGroup(h, &id, &count, records.Data(), 1), SYM_MORE_DATA);
        EnterAnotherSection(h);
        EXPECT_EQ(WalkJumps(h), "7: OK 1 2 3; 8: OK; 9: OK 4; END") << "an open group is dropped";
    });
}

TEST(JumpPrices, WhereTheTableEnds) {
    const std::vector<Row> two = {Jumps(7, {1, 2}), Jumps(8, {3})};
    const auto sized = [&](u32 size) {
        symwrite::Section section = JumpTable(two);
        section.directorySize = size;
        return FileOf({section, kOther});
    };
    symwrite::Section noGroups = JumpTable({}), countZero = JumpTable(two), wrongId = JumpTable(two);
    countZero.count = 0;
    wrongId.idInFile = 4;
    const WalkCase kCases[] = {
        {"at the end of the file", FileOf({JumpTable(two)}), "7: OK 1 2; 8: MORE 3; END"},
        {"record and file end inside a group", CutAt(FileOf({JumpTable(two)}), 12 + 7 + 3 + 24),
         "7: MORE 1; END"},
        {"only a head", FileOf({noGroups, kOther}), "END"},
        {"empty group at the section's end", FileOf({JumpTable({Jumps(7, {})}), kOther}), "7: END"},
        {"section ends after a record", sized(7 + 3 + 24), "7: FORMAT 1 2"},
        {"section ends after a group", sized(7 + 3 + 48), "7: OK 1 2; END"},
        {"section ends inside a record", sized(7 + 3 + 47), "7: FORMAT 1 2"},
        {"section ends inside the first record", sized(7 + 3 + 1), "7: FORMAT 1"},
        {"group count 0 with groups", FileOf({countZero, kOther}), "OK"},
        {"no section", FileOf({kOther}), "END"},
        {"wrong id", FileOf({wrongId, kOther}), "END"},
    };
    ExpectWalks(kCases, [](u16 h) { return WalkJumps(h); });
    InBothModes(FileOf({JumpTable(two), kOther}), [](u16 h) {
        WalkJumps(h);
        EXPECT_EQ(tv_GetSymDataProgress(h), 1.0);
    });
}

// A record that the end of the file cuts keeps zeros in its missing bytes and counts whole.
TEST(JumpPrices, EveryTruncation) {
    const Bytes whole = FileOf({JumpTable({Jumps(7, {0x11, 0x22})})});
    for (std::size_t length = 0; length < whole.size(); ++length) {
        SCOPED_TRACE(length);
        const std::size_t body = length < 22 ? 0 : length - 22;  // bytes of records
        const auto cut = [](const char* byte, std::size_t n) {
            std::string text;
            for (std::size_t i = 0; i < 24; ++i) text += i < n ? byte : "00";
            return " " + text;
        };
        std::string expected = "END";
        if (length >= 20) expected = "7: END";
        if (body > 0 && body < 24) expected = "7: MORE" + cut("11", body) + "; END";
        if (body == 24) expected = "7: MORE 17; END";
        if (body > 24) expected = "7: MORE 17" + cut("22", body - 24) + "; END";
        ExpectWalk(
            CutAt(whole, length), [](u16 h) { return WalkJumps(h); }, expected);
    }
}

// --- section 4
// --------------------------------------------------------------------------------------------------------

symwrite::Section BrokerTable(const std::vector<u8>& values) {
    std::vector<Row> records;
    records.reserve(values.size());
    for (const u8 value : values) records.push_back({{std::string(30, static_cast<char>(value))}});
    return MakeSection(4, std::move(records));
}

std::string NextBrokers(u16 h, i32 capacity, i32* count) {
    Guarded<BrokerInfoRecord> records(static_cast<std::size_t>(std::max(capacity, 0)));
    const i32 before = *count;
    const i32 result = tv_GetNextBrokerInfoGroup(h, count, records.Data(), capacity);
    return ShowArray(result, records, *count - before, capacity);
}
std::string WalkBrokers(u16 h, i32 capacity = 5) {
    return WalkOn(tv_InitialSectionBorkerInfo(h), [&] {
        i32 count = 0;
        return NextBrokers(h, capacity, &count);
    });
}

TEST(Brokers, EveryCapacity) {
    const Bytes bytes = FileOf({BrokerTable({1, 2, 3}), kOther});
    const char* const kExpected[] = {"3; MORE 1; MORE 2; OK 3; END", "3; MORE 1 2; OK 3; END",
                                     "3; OK 1 2 3; END", "3; OK 1 2 3; END"};
    for (i32 capacity = 1; capacity <= 4; ++capacity) {
        ExpectWalk(
            bytes, [=](u16 h) { return WalkBrokers(h, capacity); }, kExpected[capacity - 1]);
    }
    InBothModes(bytes, [](u16 h) {
        i32 count = 0;
        EXPECT_EQ(NextBrokers(h, 2, &count), "END") << "not entered";
        EXPECT_EQ(tv_InitialSectionBorkerInfo(h), 3);
        for (const i32 full : {5, 9}) {
            count = full;
            EXPECT_EQ(NextBrokers(h, 5, &count), "MORE") << "nothing read, all zeroed";
            EXPECT_EQ(count, full);
        }
        count = 3;
        EXPECT_EQ(NextBrokers(h, 5, &count), "MORE 1 2") << "the count runs on, the array begins anew";
        EXPECT_EQ(count, 5);
        BrokerInfoRecord record = {{7}};
        count = -1;
        EXPECT_EQ(tv_GetNextBrokerInfoGroup(h, &count, &record, 1), SYM_ERR_PARAM);
        EXPECT_EQ(record.bytes[0], 7) << "not even zeroed";
        for (const i32 none : {0, -5}) {
            count = 0;
            EXPECT_EQ(tv_GetNextBrokerInfoGroup(h, &count, &record, none), SYM_MORE_DATA);
            EXPECT_EQ(record.bytes[0], 7);
        }
        EXPECT_EQ(NextBrokers(h, 1, &count), "OK 3");
        EXPECT_EQ(tv_GetSymDataProgress(h), 1.0);
        tv_InitialSectionBorkerInfo(h);
        count = 0;
        EXPECT_EQ(NextBrokers(h, 2, &count), "MORE 1 2");
        EXPECT_EQ(WalkBrokers(h), "3; OK 1 2 3; END") << "an initial call begins anew";
    });
}

TEST(Brokers, WhereTheTableEnds) {
    const auto with = [](auto change) {
        symwrite::Section section = BrokerTable({1, 2});
        change(section);
        return FileOf({section, kOther});
    };
    const Bytes last = FileOf({BrokerTable({1, 2})});
    const WalkCase kCases[] = {
        {"at the end of the file", last, "2; MORE 1 2; END"},
        {"cut after a record", CutAt(last, 12 + 8 + 30), "2; MORE 1; END"},
        {"cut after the head", CutAt(last, 20), "END; END"},
        {"cut in the count", CutAt(last, 19), "READ; END"},
        {"cut in the head value", CutAt(last, 15), "READ; END"},
        {"only a head", FileOf({BrokerTable({}), kOther}), "END; END"},
        {"count 0 with records", with([](auto& s) { s.count = 0; }), "OK; END"},
        {"fewer than there are", with([](auto& s) { s.count = 1; }), "1; OK 1; END"},
        {"the section's end matters only on entry", with([](auto& s) { s.directorySize = 9; }),
         "2; OK 1 2; END"},
        {"section of 8 bytes", with([](auto& s) { s.directorySize = 8; }), "END; END"},
        {"wrong id", with([](auto& s) { s.idInFile = 5; }), "NO_SECTION; END"},
        {"no section", FileOf({kOther}), "NO_SECTION; END"},
    };
    ExpectWalks(kCases, [](u16 h) { return WalkBrokers(h); });
    ExpectWalk(
        CutAt(last, 12 + 8 + 30 + 1), [](u16 h) { return WalkBrokers(h); },
        "2; MORE 1 02" + std::string(58, '0') + "; END");
}

// --- section 8
// --------------------------------------------------------------------------------------------------------

symwrite::Section Level2(std::vector<Row> groups) { return MakeSection(8, std::move(groups)); }

TEST(Level2, EveryCapacity) {
    const Bytes bytes = FileOf(
        {Level2({{{7}, {{{1, "a", "bb"}}, {{2, "", ""}}, {{3, "c", ""}}}}, {{8}}, {{9}, {{{4, "d", "e"}}}}}),
         kOther});
    const char* const kExpected[] = {
        "7: MORE 1/a/bb; MORE 2//; OK 3/c/; 8: OK; 9: OK 4/d/e; END",
        "7: MORE 1/a/bb 2//; OK 3/c/; 8: OK; 9: OK 4/d/e; END",
        "7: OK 1/a/bb 2// 3/c/; 8: OK; 9: OK 4/d/e; END",
        "7: OK 1/a/bb 2// 3/c/; 8: OK; 9: OK 4/d/e; END",
    };
    for (i32 capacity = 1; capacity <= 4; ++capacity) {
        ExpectWalk(
            bytes, [=](u16 h) { return WalkLevel2(h, capacity); }, kExpected[capacity - 1]);
    }
    InBothModes(bytes, [](u16 h) {
        const auto byNextAlone = [&] {
            return WalkGroups<SectionL2Item>(h, 2, tv_GetNextSectionL2Group, nullptr);
        };
        EXPECT_EQ(byNextAlone(), "7: MORE 1/a/bb 2//; 7: OK 3/c/; 8: OK; 9: OK 4/d/e; END");
        EXPECT_EQ(WalkLevel2(h), "END");
        EnterAnotherSection(h);
        u8 id = 0;
        i32 count = 0;
        SectionL2Item items[4];
        for (const i32 none : {0, -1, 0}) {
            EXPECT_EQ(tv_GetNextSectionL2Group(h, &id, &count, items, none), SYM_MORE_DATA);
            EXPECT_EQ(tv_GetAgainSectionL2Data(h, &count, items, none), SYM_MORE_DATA);
        }
        EXPECT_EQ(tv_GetAgainSectionL2Data(h, &count, items, 2), SYM_MORE_DATA);
        const char* const text = items[0].text2;
        EXPECT_STREQ(text, "bb");
        EXPECT_EQ(tv_GetAgainSectionL2Data(h, &count, items + 2, 0), SYM_MORE_DATA);
        EXPECT_STREQ(text, "") << "each call resets the arena";
        EXPECT_EQ(tv_GetNextSectionL2Group(h, &id, &count, items, 4), SYM_OK);
        for (const bool again : {false, true}) {
            id = 0;
            while (id != 9) ASSERT_EQ(tv_GetNextSectionL2Group(h, &id, &count, items, 4), SYM_OK);
            const char* const last = items[0].text1;
            EXPECT_STREQ(last, "d");
            EXPECT_EQ(again ? tv_GetAgainSectionL2Data(h, &count, items, 4)
                            : tv_GetNextSectionL2Group(h, &id, &count, items, 4),
                      SYM_END_OF_DATA);
            EXPECT_STREQ(last, "") << "whatever it returns";
            EnterAnotherSection(h);
        }
        EXPECT_EQ(tv_GetNextSectionL2Group(h, &id, &count, items, 1), SYM_MORE_DATA);
        EnterAnotherSection(h);
        EXPECT_EQ(WalkLevel2(h), "7: OK 1/a/bb 2// 3/c/; 8: OK; 9: OK 4/d/e; END")
            << "an open group is dropped";
    });
}

// The section directory records the size of the groups only; the six bytes before them do not count.
TEST(Level2, WhereTheTableEnds) {
    const std::vector<Row> two = {{{7}, {{{1, "a", "b"}}, {{2, "c", "d"}}}}, {{8}, {{{3, "e", "f"}}}}};
    const auto sized = [&](u32 size) {
        symwrite::Section section = Level2(two);
        section.directorySize = size;
        return FileOf({section, kOther});
    };
    const Bytes last = FileOf({Level2(two)});
    const std::size_t groups = 12 + 6;
    const WalkCase kCases[] = {
        {"at the end of the file", last, "7: OK 1/a/b 2/c/d; 8: MORE 3/e/f; END"},
        {"size 0", sized(0), "END"},
        {"a group ends the section", sized(12), "7: OK 1/a/b 2/c/d; END"},
        {"an item ends the section", sized(7), "7: FORMAT 1/a/b 2/c/d"},
        {"inside an item", sized(11), "7: FORMAT 1/a/b 2/c/d"},
        {"inside the first item", sized(6), "7: FORMAT 1/a/b"},
        {"empty group at the section's end", FileOf({Level2({{{7}}}), kOther}), "7: END"},
        {"no section", FileOf({kOther}), "END"},
        {"cut after a lead byte", CutAt(last, groups + 3), "7: FORMAT 1/null/null"},
        {"cut after a text", CutAt(last, groups + 5), "7: FORMAT 1/a/null"},
        {"cut after an item", CutAt(last, groups + 7), "7: MORE 1/a/b; END"},
        {"cut after a group head", CutAt(last, groups + 2), "7: END"},
        {"cut inside a group head", CutAt(last, groups + 1), "7: END"},
        {"cut before the groups", CutAt(last, groups), "END"},
    };
    ExpectWalks(kCases, [](u16 h) { return WalkLevel2(h); });
    Row longest({9});
    for (int i = 0; i < 255; ++i) longest.rows.push_back({{i, "x", "y"}});
    InBothModes(FileOf({Level2({longest}), kOther}), [](u16 h) {
        u8 id = 0;
        i32 count = 0, sum = 0;
        SectionL2Item items[100];
        for (const i32 expected : {100, 100, 55}) {
            EXPECT_EQ(tv_GetNextSectionL2Group(h, &id, &count, items, 100),
                      expected == 55 ? SYM_OK : SYM_MORE_DATA);
            EXPECT_EQ(count, expected);
            for (i32 i = 0; i < count; ++i) EXPECT_EQ(items[i].leadByte, sum++);
        }
        EXPECT_EQ(tv_GetSymDataProgress(h), 1.0);
    });
}

// An item whose texts find no room while the arena holds others waits for the next call; with an empty arena
// it arrives with null for the text that is too long, and the walk stays in step.
TEST(Level2, FullArena) {
    const std::size_t kRoom = 102397;  // of the least budget; a text takes its characters and 2
    const std::string half(kRoom / 2, 'h'), whole(kRoom - 2, 'w'), over(kRoom + 5, 'o');
    const struct {
        const char* name;
        std::vector<Row> items;
        std::string expected;
    } kCases[] = {
        {"the third waits",
         {{{1, "a", half}}, {{2, "b", "c"}}, {{3, "d", half}}, {{4, "", ""}}},
         "7: MORE 1/a/" + half + " 2/b/c; OK 3/d/" + half + " 4//; 9: OK 5/z/z; END"},
        {"first text takes all",
         {{{1, whole, "x"}}, {{2, "b", "c"}}},
         "7: MORE 1/" + whole + "/null; OK 2/b/c; 9: OK 5/z/z; END"},
        {"too long on its own",
         {{{1, over, "x"}}, {{2, "b", over}}, {{3, "", ""}}},
         "7: MORE 1/null/x; OK 2/b/null 3//; 9: OK 5/z/z; END"},
        {"too long after others",
         {{{1, "a", "b"}}, {{2, over, over}}, {{3, "", ""}}},
         "7: MORE 1/a/b; OK 2/null/null 3//; 9: OK 5/z/z; END"},
    };
    for (const auto& c : kCases) {
        SCOPED_TRACE(c.name);
        InBothModes(FileOf({Level2({{{7}, c.items}, {{9}, {{{5, "z", "z"}}}}}), kOther}),
                    [&](u16 h) {
                        const std::string walk = WalkLevel2(h, 8);
                        const auto shorter = [](std::string text) {
                            for (const char filler : {'h', 'w', 'o'}) {
                                text.erase(
                                    std::unique(text.begin(), text.end(),
                                                [&](char a, char b) { return a == filler && b == filler; }),
                                    text.end());
                            }
                            return text;
                        };
                        EXPECT_TRUE(walk == c.expected) << shorter(walk) << "\n" << shorter(c.expected);
                    },
                    {0, kLeastBudget});
    }
}

}  // namespace
}  // namespace torva::test
