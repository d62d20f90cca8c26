// Sections walked on several levels with a skip: objects (13), foreign trade (14), global related (15).
#include <algorithm>

#include "TestSupport.h"

namespace torva::test {
namespace {

using namespace symwrite;

const symwrite::Section kOther = MakeSection(17, {{{1, 2}}});
const u32 kWhole = 1000;  // reads every level to its end

Bytes With(symwrite::Section section, const std::function<void(symwrite::Section&)>& change) {
    change(section);
    return FileOf({std::move(section), kOther});
}
std::string Shown(const char* text) { return text == nullptr ? "null" : text; }

// --- section 13
// -------------------------------------------------------------------------------------------------------

std::string NextType(u16 h) {
    u16 id = 0xcdcd, sources = 0;
    const i32 result = tv_GetNextObjectTypeID(h, &id, &sources);
    return result == SYM_MORE_DATA ? std::to_string(id) + "(" + std::to_string(sources) + ")" : Name(result);
}
std::string NextSource(u16 h) {
    const char* text = nullptr;
    u16 count = 0;
    const i32 result = tv_GetNextObjectSourceSym(h, &text, &count);
    return result == SYM_MORE_DATA ? Shown(text) + "(" + std::to_string(count) + ")" : Name(result);
}
std::string NextSym(u16 h) {
    const char* text = nullptr;
    u8 byte = 0, count = 0;
    const i32 result = tv_GetNextObjectSym(h, &byte, &text, &count);
    return result == SYM_MORE_DATA ? std::to_string(byte) + Shown(text) + "(" + std::to_string(count) + ")"
                                   : Name(result);
}
std::string NextData(u16 h) {
    const char* text = nullptr;
    u8 byte = 0;
    const i32 result = tv_GetNextObjectData(h, &byte, &text);
    return result == SYM_MORE_DATA ? std::to_string(byte) + Shown(text) : Name(result);
}

// Depth first, at most `most` records of each list below the types. A level ends with its "END" or an error.
std::string WalkLevel(u16 h, int level, u32 most) {
    static const std::function<std::string(u16)> kNext[] = {NextType, NextSource, NextSym, NextData};
    std::string text;
    for (u32 i = 0; level == 0 || i < most; ++i) {
        const std::string record = kNext[level](h);
        text += (i > 0 ? " " : "") + record;
        const bool delivered =
            record.find('(') != std::string::npos || (level == 3 && record != "END" && record != "READ");
        if (!delivered) break;
        if (level < 3) text += "[" + WalkLevel(h, level + 1, most) + "]";
    }
    return text;
}
std::string WalkObjects(u16 h, u32 most = kWhole) {
    return InTurn({Name(tv_InitialObjectSection(h)), WalkLevel(h, 0, most)});
}
std::string WalkAllObjects(u16 h) { return WalkObjects(h); }
std::string WalkTypes(u16 h) { return WalkObjects(h, 0); }

Row Type(u16 id, std::vector<Row> sources, std::optional<u32> blockSize = {}) {
    Row type({id}, std::move(sources));
    type.size = blockSize;
    return type;
}
const Row kSource1({"s"}, {{{5, "x"}, {{{1, "d"}}, {{2, ""}}}}, {{6, ""}}});  // 2+2 + 4+3+2 + 3 bytes
const Row kSource2({""});                                                     // 3 bytes
symwrite::Section ObjectTree(std::vector<Row> types) { return MakeSection(13, std::move(types)); }
const std::string kTree = "7(2)[s(2)[5x(2)[1d 2 END] 6(0)[END] END] (0)[END] END]";

TEST(ObjectTreeWalk, WhereItEnds) {
    const symwrite::Section two = ObjectTree({Type(7, {kSource1, kSource2}), Type(8, {})});
    const Bytes last = FileOf({two});
    const auto cut = [&](std::size_t length) { return CutAt(last, 12 + 8 + length); };
    const std::string block = "7(2)[s(2)[5x(2)[1d ";
    const WalkCase kCases[] = {
        {"two types", FileOf({two, kOther}), "2; " + kTree + " 8(0)[END] END"},
        {"at the end of the file", last, "2; " + kTree + " 8(0)[END] END"},
        {"only a head", FileOf({ObjectTree({}), kOther}), "END; END"},
        {"section of 8 bytes", With(two, [](auto& s) { s.directorySize = 8; }), "END; END"},
        {"type count 0", With(two, [](auto& s) { s.count = 0; }), "OK; " + kTree + " 8(0)[END] END"},
        {"type count too large", With(two, [](auto& s) { s.count = 65535; }),
         "65535; " + kTree + " 8(0)[END] END"},
        {"block used up early", FileOf({ObjectTree({Type(7, {kSource2}, 4), Type(8, {})}), kOther}),
         "2; 7(1)[(0)[END] END] 8(0)[END] END"},
        {"block without its last record",
         FileOf({ObjectTree({Type(7, {kSource2, kSource2}, 5), Type(8, {})}), kOther}),
         "2; 7(2)[(0)[END] END] 0(0)[END] READ"},
        {"wrong id", With(two, [](auto& s) { s.idInFile = 14; }), "NO_SECTION; END"},
        {"no section", FileOf({}), "NO_SECTION; END"},
        {"cut in the head value", CutAt(last, 17), "READ; READ"},
        {"cut in the type count", CutAt(last, 19), "READ; READ"},
        {"cut after the head", cut(0), "END; READ"},
        {"cut in a type id", cut(1), "2; READ"},
        {"cut in a block size", cut(4), "2; READ"},
        {"cut in a source count", cut(7), "2; READ"},
        {"cut after a type", cut(8), "2; 7(2)[READ] READ"},
        {"cut in a source", cut(9), "2; 7(2)[READ] READ"},
        {"cut in a symbol count", cut(11), "2; 7(2)[READ] READ"},
        {"cut in a symbol", cut(14), "2; 7(2)[s(2)[READ] READ] READ"},
        {"cut before a data count", cut(15), "2; 7(2)[s(2)[READ] READ] READ"},
        {"cut in data", cut(18), "2; 7(2)[s(2)[5x(2)[READ] READ] READ] READ"},
    };
    ExpectWalks(kCases, WalkAllObjects);
}

// What is left of a block is skipped; after the last block the section ends, and the block counts as used
// up.
TEST(ObjectTreeWalk, SkipsAndRestarts) {
    const Bytes bytes =
        FileOf({ObjectTree({Type(7, {kSource1, kSource2}), Type(8, {}), Type(9, {kSource1})}), kOther});
    const std::string again = "9(1)[s(2)[5x(2)[1d 2 END] 6(0)[END] END] END]";
    ExpectWalk(bytes, WalkAllObjects, "3; " + kTree + " 8(0)[END] " + again + " END");
    ExpectWalk(bytes, WalkTypes, "3; 7(2)[] 8(0)[] 9(1)[] END");
    ExpectWalk(
        bytes, [](u16 h) { return WalkObjects(h, 1); },
        "3; 7(2)[s(2)[5x(2)[1d]]] 8(0)[END] 9(1)[s(2)[5x(2)[1d]]] END");
    InBothModes(bytes, [](u16 h) {
        EXPECT_EQ(InTurn({NextSource(h), NextSym(h), NextData(h)}), "END; END; END") << "not entered";
        EXPECT_EQ(tv_InitialObjectSection(h), 3);
        EXPECT_EQ(InTurn({NextSource(h), NextSym(h), NextData(h)}), "END; END; END") << "no type yet";
        EXPECT_EQ(InTurn({NextType(h), NextSource(h), NextSym(h)}), "7(2); s(2); 5x(2)");
        EXPECT_EQ(tv_InitialObjectSection(h), 3);
        EXPECT_EQ(InTurn({NextSource(h), NextSym(h), NextData(h)}), "END; END; END");
        EXPECT_EQ(InTurn({NextType(h), NextType(h), NextType(h), NextSource(h)}), "7(2); 8(0); 9(1); s(2)")
            << "nothing was skipped first";
        EXPECT_EQ(NextType(h), "END");
        EXPECT_EQ(tv_GetSymDataProgress(h), 1.0);
        EXPECT_EQ(InTurn({NextSource(h), NextSym(h), NextData(h)}), "END; END; END")
            << "the last block is used up";
        EXPECT_EQ(NextType(h), "END");
    });
    // A skip that meets the end of the data.
    ExpectWalk(CutAt(FileOf({ObjectTree({Type(7, {kSource1})})}), 12 + 8 + 12), WalkTypes, "1; 7(1)[] READ");
    ExpectWalk(FileOf({ObjectTree({Type(7, {kSource2}, 0x7fffffffU)})}), WalkTypes, "1; 7(1)[] READ");
    // A remainder that is negative as a signed number is not skipped.
    ExpectWalk(FileOf({ObjectTree({Type(7, {kSource2}, 0x90000000U), Type(8, {})}), kOther}), WalkAllObjects,
               "2; 7(1)[(0)[END] END] 8(0)[END] END");
}

TEST(ObjectTreeWalk, LifetimesAndLimits) {
    Row wide({"w"}, std::vector<Row>(65535, Row({1, ""})));
    wide.rows.front().rows.assign(255, Row({2, "d"}));
    InBothModes(FileOf({ObjectTree({Type(7, {wide})}), kOther}), [](u16 h) {
        tv_InitialObjectSection(h);
        EXPECT_EQ(InTurn({NextType(h), NextSource(h)}), "7(1); w(65535)");
        EXPECT_EQ(NextSym(h), "1(255)");
        const char* text = nullptr;
        u8 byte = 0;
        for (int i = 0; i < 255; ++i) EXPECT_EQ(tv_GetNextObjectData(h, &byte, &text), SYM_MORE_DATA);
        EXPECT_EQ(NextData(h), "END");
        EXPECT_STREQ(text, "d") << "an END leaves the arena unchanged";
        for (int i = 1; i < 65535; ++i) ASSERT_EQ(NextSym(h), "1(0)");
        EXPECT_EQ(InTurn({NextSym(h), NextSource(h), NextType(h)}), "END; END; END");
    });
    InBothModes(FileOf({ObjectTree({Type(7, {kSource1}), Type(8, {})}), kOther}), [](u16 h) {
        tv_InitialObjectSection(h);
        const char* text = nullptr;
        u16 count = 0;
        NextType(h);
        EXPECT_EQ(tv_GetNextObjectSourceSym(h, &text, &count), SYM_MORE_DATA);
        EXPECT_EQ(NextType(h), "8(0)");
        EXPECT_STREQ(text, "s") << "a type leaves the arena unchanged";
    });
    const std::size_t kRoom = 102397;
    for (const std::size_t characters : {kRoom - 2, kRoom - 1, kRoom}) {
        const std::string name(characters, 'x');
        const std::string expected = characters == kRoom - 2   ? name + "(0)"
                                     : characters == kRoom - 1 ? "null(0)"
                                                               : "READ";
        InBothModes(FileOf({ObjectTree({Type(7, {{{name}}})})}),
                    [&](u16 h) {
                        tv_InitialObjectSection(h);
                        NextType(h);
                        EXPECT_TRUE(NextSource(h) == expected) << characters;
                    },
                    {0, kLeastBudget});
    }
}

// --- sections 14 and 15: the same walk over different layouts
// -----------------------------------------------------------

// One of the two as text: heads as "1name" or "1", entries as "name" or "3name", the item's tag or the list's
// size ahead.
struct Kind {
    const char* name;
    u16 id;
    bool trade;
    i32 (*initial)(u16);

    std::string Head(u16 h) const {
        ::ForeignTradeHead head = {0xcdcd, nullptr};
        u16 headId = 0xcdcd;
        const i32 result =
            trade ? tv_GetNextForeignTradeHead(h, &head) : tv_GetNextGlobalReleatedHead(h, &headId);
        if (result != SYM_OK) return Name(result);
        return trade ? std::to_string(head.id) + Shown(head.name) : std::to_string(headId);
    }
    // The first call of an item or list, or a later one: "OK 9: a b", "MORE a".
    std::string Entries(u16 h, bool first, u32 capacity) const {
        Guarded<const char*> names(capacity);
        Guarded<::GlobalRelatedItem> items(capacity);
        u8 byte = 0xcd;
        u32 count = 77;
        const i32 result = trade   ? first ? tv_GetForeignTrade(h, &byte, names.Data(), &count, capacity)
                                           : tv_GetNextForeignTrade(h, names.Data(), &count, capacity)
                             : first ? tv_GetGlobalReleated(h, &byte, items.Data(), &count, capacity)
                                   : tv_GetNextGlobalReleated(h, items.Data(), &count, capacity);
        EXPECT_TRUE(names.Intact() && items.Intact());
        std::string text = Name(result);
        if (byte != 0xcd) text += " " + std::to_string(byte) + ":";
        for (u32 i = 0; i < count && count != 77; ++i) {
            text += trade ? " " + Shown(names[i]) : " " + std::to_string(items[i].tag) + Shown(items[i].name);
        }
        return text;
    }
    // Reads at most `most` items or lists of each head.
    std::string Walk(u16 h, u32 capacity, u32 most = kWhole) const {
        Calls calls;
        calls << Name(initial(h));
        for (int turn = 0; turn < kMostCalls; ++turn) {
            const std::string head = Head(h);
            calls << head;
            if (head == "END" || head == "READ") return calls.Text();
            for (u32 item = 0; item < most; ++item) {
                std::string entries = Entries(h, true, capacity);
                calls << entries;
                while (entries.compare(0, 4, "MORE") == 0) calls << (entries = Entries(h, false, capacity));
                if (entries.compare(0, 2, "OK") != 0) break;
            }
        }
        return calls.Text() + "; no end";
    }
};
const Kind kKinds[] = {{"ForeignTrade", 14, true, tv_InitialForeignTradeSection},
                       {"GlobalRelated", 15, false, tv_InitialGlobalRelatedSection}};

class HeadsAndBodies : public ::testing::TestWithParam<Kind> {
protected:
    const Kind& kind = GetParam();

    // Heads of ids 1, 2, 3; each head is a list of items or lists, and each of these a list of names.
    symwrite::Section Section(const std::vector<std::vector<std::vector<std::string>>>& heads,
                              std::optional<u32> firstBody = {}) const {
        std::vector<Row> rows;
        for (const auto& head : heads) {
            const std::size_t id = rows.size() + 1;
            Row& row = rows.emplace_back(kind.trade ? std::vector<Cell>{id, "h"} : std::vector<Cell>{id});
            if (id == 1) row.size = firstBody;
            for (const auto& names : head) {
                Row& item = row.rows.emplace_back(kind.trade ? std::vector<Cell>{9} : std::vector<Cell>{});
                for (const auto& name : names) {
                    item.rows.emplace_back(kind.trade ? std::vector<Cell>{name} : std::vector<Cell>{5, name});
                }
            }
        }
        return MakeSection(kind.trade ? 14 : 15, std::move(rows));
    }
    // A walk written for section 14, in the words of section 15 where that is meant: head names, tags and
    // list sizes.
    std::string Told(const char* trade, const char* related) const { return kind.trade ? trade : related; }
    std::function<std::string(u16)> Walk(u32 capacity, u32 most = kWhole) const {
        return [this, capacity, most](u16 h) { return kind.Walk(h, capacity, most); };
    }
};
INSTANTIATE_TEST_SUITE_P(Sections, HeadsAndBodies, ::testing::ValuesIn(kKinds),
                         [](const auto& about) { return about.param.name; });

TEST_P(HeadsAndBodies, EveryCapacity) {
    const Bytes bytes = FileOf({Section({{{"a", "", "c"}, {}, {"d"}}, {}, {{"e"}}}), kOther});
    const char* const kExpected[][2] = {
        {"3; 1h; MORE 9: a; MORE ; OK c; OK 9:; OK 9: d; END; 2h; END; 3h; OK 9: e; END; END",
         "3; 1; MORE 3: 5a; MORE 5; OK 5c; OK 0:; OK 1: 5d; END; 2; END; 3; OK 1: 5e; END; END"},
        {"3; 1h; MORE 9: a ; OK c; OK 9:; OK 9: d; END; 2h; END; 3h; OK 9: e; END; END",
         "3; 1; MORE 3: 5a 5; OK 5c; OK 0:; OK 1: 5d; END; 2; END; 3; OK 1: 5e; END; END"},
        {"3; 1h; OK 9: a  c; OK 9:; OK 9: d; END; 2h; END; 3h; OK 9: e; END; END",
         "3; 1; OK 3: 5a 5 5c; OK 0:; OK 1: 5d; END; 2; END; 3; OK 1: 5e; END; END"},
    };
    for (u32 capacity = 1; capacity <= 4; ++capacity) {
        const auto& expected = kExpected[std::min(capacity, 3U) - 1];
        ExpectWalk(bytes, Walk(capacity), Told(expected[0], expected[1]));
    }
    ExpectWalk(bytes, Walk(2, 0), Told("3; 1h; 2h; 3h; END", "3; 1; 2; 3; END"));
    ExpectWalk(bytes, Walk(4, 1),
               Told("3; 1h; OK 9: a  c; 2h; END; 3h; OK 9: e; END",
                    "3; 1; OK 3: 5a 5 5c; 2; END; 3; OK 1: 5e; END"));
    InBothModes(bytes, [&](u16 h) {
        EXPECT_EQ(kind.Entries(h, true, 2), "END") << "not entered";
        EXPECT_EQ(kind.initial(h), 3);
        EXPECT_EQ(kind.Entries(h, true, 2), "END") << "no head yet";
        EXPECT_EQ(kind.Entries(h, false, 2), "OK");
        kind.Head(h);
        EXPECT_EQ(kind.Entries(h, true, 0), Told("MORE 9:", "MORE 3:"));
        EXPECT_EQ(kind.Entries(h, false, 0), "MORE");
        EXPECT_EQ(kind.Entries(h, false, 1), Told("MORE a", "MORE 5a"));
        EXPECT_EQ(kind.Head(h), Told("2h", "2")) << "out of an open list";
        EXPECT_EQ(kind.Head(h), Told("3h", "3"));
        EXPECT_EQ(kind.Head(h), "END") << "after the skip of the last body";
        EXPECT_EQ(tv_GetSymDataProgress(h), 1.0);
        EXPECT_EQ(kind.Entries(h, true, 2), "END") << "which counts as used up";
        EXPECT_EQ(kind.Head(h), "END");
    });
}

TEST_P(HeadsAndBodies, WhereTheWalkEnds) {
    const symwrite::Section two = Section({{{"a", "b"}}, {}});
    const Bytes last = FileOf({two});
    const std::string all =
        Told("2; 1h; OK 9: a b; END; 2h; END; END", "2; 1; OK 2: 5a 5b; END; 2; END; END");
    const std::size_t head = kind.trade ? 8 : 6;  // bytes of a head before its body
    const auto cut = [&](std::size_t length) { return CutAt(last, 12 + 8 + length); };
    const WalkCase kCases[] = {
        {"two heads", FileOf({two, kOther}), all},
        {"at the end of the file", last, all},
        {"only a head", FileOf({Section({}), kOther}), "END; END"},
        {"section of 8 bytes", With(two, [](auto& s) { s.directorySize = 8; }), "END; END"},
        {"head count 0", With(two, [](auto& s) { s.count = 0; }), "OK" + all.substr(1)},
        {"largest head count", With(two, [](auto& s) { s.count = 65535; }), "65535" + all.substr(1)},
        {"wrong id", With(two, [](auto& s) { s.idInFile = 13; }), "NO_SECTION; END"},
        {"no section", FileOf({}), "NO_SECTION; END"},
        {"body size too small", FileOf({Section({{{"a", "b"}}, {}}, 2), kOther}), all},
        {"cut in the head value", CutAt(last, 17), "READ; READ"},
        {"cut in the head count", CutAt(last, 19), "READ; READ"},
        {"cut after the section's head", cut(0), "END; READ"},
        {"cut in a head id", cut(1), "2; READ"},
        {"cut in a body size", cut(head - 1), "2; READ"},
        {"cut after a head", cut(head), Told("2; 1h; READ; READ", "2; 1; READ; READ")},
        {"cut in a name", cut(head + 4), Told("2; 1h; READ 9:; READ", "2; 1; READ 2: 5a; READ")},
        {"cut between two names", cut(head + (kind.trade ? 5 : 4)),
         Told("2; 1h; READ 9: a; READ", "2; 1; READ 2: 5a; READ")},
        {"cut after a body", cut(head + 7),
         Told("2; 1h; OK 9: a b; END; READ", "2; 1; OK 2: 5a 5b; END; READ")},
    };
    ExpectWalks(kCases, Walk(8));
    // A skip that meets the end of the data, and a remainder that is negative as a signed number.
    ExpectWalk(cut(head + 2), Walk(8, 0), Told("2; 1h; READ", "2; 1; READ"));
    ExpectWalk(FileOf({Section({{}, {}}, 0xf0000000U), kOther}), Walk(8, 0),
               Told("2; 1h; 2h; END", "2; 1; 2; END"));
}

// Names die with the next reset of the arena, and a full arena ends a call.
TEST_P(HeadsAndBodies, Arena) {
    InBothModes(FileOf({Section({{{"abc"}}, {}}), kOther}), [&](u16 h) {
        const char* names[2] = {};
        ::GlobalRelatedItem items[2] = {};
        ::ForeignTradeHead head = {};
        u16 headId = 0;
        u8 byte = 0;
        u32 count = 0;
        kind.initial(h);
        if (kind.trade) {
            EXPECT_EQ(tv_GetNextForeignTradeHead(h, &head), SYM_OK);
            const char* const name = head.name;
            EXPECT_STREQ(name, "h");
            EXPECT_EQ(tv_GetForeignTrade(h, &byte, names, &count, 2), SYM_OK);
            EXPECT_STREQ(names[0], "abc");
            EXPECT_EQ(tv_GetForeignTrade(h, &byte, names, &count, 2), SYM_END_OF_DATA);
            EXPECT_STREQ(names[0], "abc") << "an END leaves the arena unchanged";
            EXPECT_EQ(tv_GetNextForeignTrade(h, names, &count, 2), SYM_OK);
            EXPECT_STREQ(names[0], "") << "a reset, though nothing was delivered";
        } else {
            EXPECT_EQ(tv_GetNextGlobalReleatedHead(h, &headId), SYM_OK);
            EXPECT_EQ(tv_GetGlobalReleated(h, &byte, items, &count, 2), SYM_OK);
            const char* const name = items[0].name;
            EXPECT_STREQ(name, "abc");
            EXPECT_EQ(tv_GetGlobalReleated(h, &byte, items, &count, 2), SYM_END_OF_DATA);
            EXPECT_STREQ(name, "abc") << "an END leaves the arena unchanged";
            EXPECT_EQ(tv_GetNextGlobalReleatedHead(h, &headId), SYM_OK);
            EXPECT_STREQ(name, "") << "a head resets the arena";
        }
    });
    const std::size_t kRoom = 102397;
    const auto name = [](std::size_t characters) { return std::string(characters, 'x'); };
    const std::string five = kind.trade ? "" : "5", begin = kind.trade ? "2; 1h; " : "2; 1; ";
    const std::string tag = kind.trade ? " 9: " : " 2: ";
    const struct {
        std::size_t second;
        std::string expected;
    } kCases[] = {
        {kRoom - 5, "OK" + tag + five + "a " + five + name(kRoom - 5)},  // "a" takes 3 of the room
        {kRoom - 4, "OK" + tag + five + "a " + five + "null"},
        {kRoom - 3, "READ" + tag + five + "a"},
    };
    for (const auto& c : kCases) {
        InBothModes(
            FileOf({Section({{{"a", name(c.second)}}, {}})}),
            [&](u16 h) {
                const std::string walk = kind.Walk(h, 8, 1);
                EXPECT_TRUE(walk.compare(0, begin.size() + c.expected.size(), begin + c.expected) == 0)
                    << c.second;
            },
            {0, kLeastBudget});
    }
}

TEST(GlobalRelated, LongestList) {
    Row list;
    for (int i = 0; i < 255; ++i) list.rows.push_back({{i, "n"}});
    InBothModes(FileOf({MakeSection(15, {{{1}, {list}}})}), [](u16 h) {
        std::vector<::GlobalRelatedItem> items(255);
        u16 id = 0;
        u8 size = 0;
        u32 count = 0;
        EXPECT_EQ(tv_InitialGlobalRelatedSection(h), 1);
        EXPECT_EQ(tv_GetNextGlobalReleatedHead(h, &id), SYM_OK);
        EXPECT_EQ(tv_GetGlobalReleated(h, &size, items.data(), &count, 255), SYM_OK);
        EXPECT_EQ(size, 255);
        EXPECT_EQ(count, 255U);
        for (u32 i = 0; i < 255; ++i) EXPECT_EQ(items[i].tag, i);
    });
}

}  // namespace
}  // namespace torva::test
