// Eidr quick groups (section 6), Eidr sections (7): one field, or one element with two texts, per call.
#include "TestSupport.h"

namespace torva::test {
namespace {

using namespace symwrite;

const symwrite::Section kOther = MakeSection(17, {{{1, 2}}});
const std::size_t kHead = 12 + 2 + 4;  // of a file with one section: where its groups begin

Field Byte(u16 id, u8 value) { return NumberField(id, 1, value); }

// A section of one kind with something wrong about it, before another section.
Bytes With(symwrite::Section section, const std::function<void(symwrite::Section&)>& change) {
    change(section);
    return FileOf({std::move(section), kOther});
}

// --- section 6
// --------------------------------------------------------------------------------------------------------

struct QuickCall {
    const char* name = nullptr;
    i32 count = 0;
    u32 room = 16;  // the capacity of the record
    bool nullValue = false;

    // One call: "MORE group.id:value", the value as long as the record says.
    std::string Next(u16 h, i32 capacity = 1) {
        Guarded<u8> value(room + 8);
        SymFieldBuffer target = {0xcdcd, 0xcd, nullValue ? nullptr : value.Data(), room, 77};
        const i32 before = count;
        const i32 result = tv_GetNextEidrQuickGroup(h, &name, &count, &target, capacity);
        EXPECT_TRUE(value.Intact());
        std::string text = Name(result);
        const u32 size = target.size, room2 = target.capacity;
        if (count == before) {
            EXPECT_EQ(room2, room) << "as it was";
            return text + (size == 77 ? "" : " size " + std::to_string(size));
        }
        EXPECT_EQ(count, before + 1);
        EXPECT_EQ(room2, size);
        EXPECT_EQ(value[size], 0xcd) << "nothing after the value";
        const bool isText = target.tag == kTextTag;
        return text + " " + name + "." + std::to_string(target.id) + ":" +
               (isText ? "'" + std::string(reinterpret_cast<char*>(value.Data())) + "'"
                       : Hex(value.Data(), size));
    }
};

std::string WalkQuick(u16 h) {
    return WalkOn(tv_InitialSection6(h), [&] { return QuickCall().Next(h); });
}

symwrite::Section Quick(std::vector<Row> groups) { return MakeSection(6, std::move(groups)); }

TEST(EidrQuickGroups, Walk) {
    const std::string fortyNine(49, 'n');
    const u64 n = 0x8877665544332211U;
    const struct {
        const char* name;
        std::vector<Row> groups;
        std::string expected;
    } kCases[] = {
        {"one field", {{"g", {Byte(1, 5)}, {}}}, "OK; OK g.1:05; END"},
        {"two groups",
         {{"g", {Byte(1, 5), TextField(2, "xy")}, {}}, {"", {TextField(3, "")}, {}}, {"h", {Byte(4, 6)}, {}}},
         "OK; MORE g.1:05; MORE g.2:'xy'; MORE .3:''; OK h.4:06; END"},
        {"the width of each tag",
         {{"g",
           {NumberField(1, 1, n), NumberField(2, 2, n), NumberField(3, 3, n), NumberField(4, 4, n),
            NumberField(5, 5, n), NumberField(6, 6, n), NumberField(8, 8, n), NumberField(9, 9, n)},
           {}}},
         "OK; MORE g.1:11; MORE g.2:11; MORE g.3:11223344; MORE g.4:1122; MORE g.5:11223344; MORE "
         "g.6:1122334455667788; "
         "MORE g.8:11223344; OK g.9:112233; END"},
        {"null values",
         {{"g", {NullField(1, 0), NullField(2, 10), NullField(3, 255)}, {}}},
         "OK; MORE g.1:; MORE g.2:; OK g.3:; END"},
        {"longest name", {{fortyNine, {Byte(1, 5)}, {}}}, "OK; OK " + fortyNine + ".1:05; END"},
        {"name too long", {{fortyNine + "n", {Byte(1, 5)}, {}}}, "OK; PARAM"},
        {"text as long as its room",
         {{"g", {TextField(1, "fifteen letters")}, {}}},
         "OK; OK g.1:'fifteen letters'; END"},
        {"group size too small", {{"g", {Byte(1, 5), Byte(2, 6)}, u16{5}}}, "OK; MORE g.1:05; FORMAT"},
    };
    for (const auto& c : kCases) {
        SCOPED_TRACE(c.name);
        ExpectWalk(FileOf({Quick(c.groups), kOther}), WalkQuick, c.expected);
        ExpectWalk(FileOf({Quick(c.groups)}), WalkQuick, c.expected);
    }
}

TEST(EidrQuickGroups, WhereTheSectionEnds) {
    const symwrite::Section two = Quick({{"g", {Byte(1, 5), Byte(2, 6)}, {}}});  // 2 + 2 + 4 + 4 bytes
    const auto cut = [&](std::size_t length) { return CutAt(FileOf({two}), kHead + length); };
    const WalkCase kCases[] = {
        {"only a head", FileOf({Quick({}), kOther}), "END; END"},
        {"section of 6 bytes", With(two, [](auto& s) { s.directorySize = 6; }), "END; END"},
        {"section ends inside a field", With(two, [](auto& s) { s.directorySize = 6 + 5; }),
         "OK; MORE g.1:05; END"},
        {"head value 0", With(two, [](auto& s) { s.headValue = 0; }), "OK; FORMAT g.1:05"},
        {"head value inside the last field", With(two, [](auto& s) { s.headValue = 9; }),
         "OK; MORE g.1:05; FORMAT g.2:06"},
        {"head value inside a group",  // the next call begins with a group head, wherever the position is
         With(Quick({{"g", {Byte(1, 5), TextField(2, "xy"), Byte(3, 7)}, {}}}),
              [](auto& s) { s.headValue = 8; }),
         "OK; OK g.1:05; FORMAT \axy.3:07"},
        {"wrong id", With(two, [](auto& s) { s.idInFile = 7; }), "NO_SECTION; END"},
        {"no section", FileOf({}), "NO_SECTION; END"},
        {"cut in the head value", CutAt(FileOf({two}), kHead - 1), "READ; END"},
        {"cut after the head", cut(0), "END; END"},
        {"cut in the group size", cut(1), "OK; READ"},
        {"cut in the name", cut(3), "OK; READ"},
        {"cut after the name", cut(4), "OK; MORE g.52685:; END"},  // id and tag stay the caller's
        {"cut in an id", cut(5), "OK; MORE g.52481:; END"},
        {"cut after a tag", cut(7), "OK; MORE g.1:00; END"},
        {"cut after a field", cut(8), "OK; MORE g.1:05; END"},
        {"cut in the last value", cut(11), "OK; MORE g.1:05; OK g.2:00; END"},
    };
    ExpectWalks(kCases, WalkQuick);
}

TEST(EidrQuickGroups, CountsAndNames) {
    InBothModes(FileOf({Quick({{"g", {Byte(1, 5), Byte(3, 7)}, {}}, {"h", {Byte(2, 6)}, {}}}), kOther}),
                [](u16 h) {
                    QuickCall call;
                    EXPECT_EQ(call.Next(h), "END") << "not entered";
                    EXPECT_EQ(tv_InitialSection6(h), SYM_OK);
                    for (const i32 none : {0, -1}) EXPECT_EQ(call.Next(h, none), "MORE");
                    EXPECT_EQ(call.Next(h, 1), "MORE g.1:05");
                    const char* const name = call.name;
                    EXPECT_EQ(call.Next(h, 1), "MORE") << "until the count is cleared";
                    EXPECT_EQ(call.Next(h, 2), "MORE g.3:07");
                    EXPECT_STREQ(name, "g");
                    EXPECT_EQ(call.Next(h, 3), "OK h.2:06");
                    EXPECT_EQ(call.name, name) << "the same place";
                    EXPECT_STREQ(name, "h");
                    EXPECT_EQ(tv_GetSymDataProgress(h), 1.0);
                    const std::string all = "OK; MORE g.1:05; MORE g.3:07; OK h.2:06; END";
                    EXPECT_EQ(WalkQuick(h), all) << "an initial call begins anew";
                    EXPECT_EQ(InTurn({Name(tv_InitialSection6(h)), QuickCall().Next(h), WalkQuick(h)}),
                              "OK; MORE g.1:05; " + all)
                        << "inside a group too";
                });
}

// A value that finds no room is passed over: the next call reads the next field.
TEST(EidrQuickGroups, ValuesWithoutRoom) {
    InBothModes(
        FileOf({Quick({{"g", {TextField(1, "four"), Byte(2, 6), TextField(3, "five5")}, {}}}), kOther}),
        [](u16 h) {
            EXPECT_EQ(tv_InitialSection6(h), SYM_OK);
            QuickCall call;
            call.room = 4;
            EXPECT_EQ(call.Next(h, 9), "PARAM size 0");
            call.nullValue = true;
            EXPECT_EQ(call.Next(h, 9), "PARAM size 0");
            call.nullValue = false;
            EXPECT_EQ(call.Next(h, 9), "PARAM size 0");
            EXPECT_EQ(call.Next(h, 9), "END") << "the last field was accounted for";
            EXPECT_EQ(tv_GetSymDataProgress(h), 1.0);
        });
    InBothModes(FileOf({Quick({{"g", {NullField(1), Byte(2, 6)}, {}}})}), [](u16 h) {
        EXPECT_EQ(tv_InitialSection6(h), SYM_OK);
        QuickCall call;
        call.nullValue = true;
        EXPECT_EQ(call.Next(h, 9), "MORE g.1:") << "a null value needs no room";
    });
    // A text that the arena cannot take, or that is cut off, ends the walk.
    ExpectWalk(FileOf({Quick({{"g", {TextField(1, std::string(102397, 'x'))}, u16{9}}})}), WalkQuick,
               "OK; READ size 0", {0, kLeastBudget});
    const Bytes cut = CutAt(FileOf({Quick({{"g", {TextField(2, "cut")}, {}}})}), kHead + 4 + 3 + 2);
    InBothModes(cut, [](u16 h) {
        EXPECT_EQ(WalkQuick(h), "OK; READ size 0");
        EXPECT_DOUBLE_EQ(tv_GetSymDataProgress(h), 13.0 / 17) << "only the head of the field counts";
    });
}

// --- section 7
// --------------------------------------------------------------------------------------------------------

// One call with text buffers of these sizes: "MORE 1/a/b".
std::string NextEidr(u16 h, i32* count, i32 capacity, u32 size1 = 8, u32 size2 = 8) {
    Guarded<char> text1(size1), text2(size2);
    EidrSectionItem item = {0xcdcd, text1.Data(), size1, text2.Data(), size2};
    const i32 before = *count;
    const i32 result = tv_GetNextEidrSectionGroup(h, count, &item, capacity);
    EXPECT_TRUE(text1.Intact() && text2.Intact());
    if (*count == before) return Name(result);
    EXPECT_EQ(*count, before + 1);
    return Name(result) + " " + std::to_string(item.id) + "/" + text1.Data() + "/" + text2.Data();
}
std::string WalkEidr(u16 h, u32 size1 = 8, u32 size2 = 8) {
    return WalkOn(tv_InitialSection7(h), [&] {
        i32 count = 0;
        return NextEidr(h, &count, 1, size1, size2);
    });
}
std::string WalkEidrPlainly(u16 h) { return WalkEidr(h); }

TEST(EidrSections, WhereTheSectionEnds) {
    const auto section = [](std::vector<Row> elements) { return MakeSection(7, std::move(elements)); };
    const symwrite::Section two = section({{{1, "a", "bc"}}, {{65535, "", ""}}});  // 7 + 4 bytes
    const auto cut = [&](std::size_t length) { return CutAt(FileOf({two}), kHead + length); };
    const WalkCase kCases[] = {
        {"two", FileOf({two, kOther}), "OK; MORE 1/a/bc; OK 65535//; END"},
        {"two at the end of the file", FileOf({two}), "OK; MORE 1/a/bc; OK 65535//; END"},
        {"one", FileOf({section({{{3, "x", ""}}}), kOther}), "OK; OK 3/x/; END"},
        {"only a head", FileOf({section({}), kOther}), "END; END"},
        {"section of 6 bytes", With(two, [](auto& s) { s.directorySize = 6; }), "END; END"},
        {"section ends inside an element", With(two, [](auto& s) { s.directorySize = 6 + 3; }),
         "OK; MORE 1/a/bc; END"},
        {"head value 0", With(two, [](auto& s) { s.headValue = 0; }), "OK; FORMAT 1/a/bc"},
        {"head value inside the last element", With(two, [](auto& s) { s.headValue = 10; }),
         "OK; MORE 1/a/bc; FORMAT 65535//"},
        {"wrong id", With(two, [](auto& s) { s.idInFile = 6; }), "NO_SECTION; END"},
        {"no section", FileOf({}), "NO_SECTION; END"},
        {"cut in the head value", CutAt(FileOf({two}), kHead - 1), "READ; END"},
        {"cut after the head", cut(0), "END; END"},
        {"cut in an id", cut(1), "OK; READ"},
        {"cut in the first text", cut(3), "OK; READ"},
        {"cut before the second text", cut(4), "OK; READ"},
        {"cut in the second text", cut(6), "OK; READ"},
        {"cut after an element", cut(7), "OK; MORE 1/a/bc; END"},
    };
    ExpectWalks(kCases, WalkEidrPlainly);
}

TEST(EidrSections, RoomAndCounts) {
    const Bytes bytes = FileOf({MakeSection(7, {{{1, "abc", "de"}}, {{2, "f", "g"}}}), kOther});
    ExpectWalk(
        bytes, [](u16 h) { return WalkEidr(h, 4, 3); }, "OK; MORE 1/abc/de; OK 2/f/g; END");
    ExpectWalk(
        bytes, [](u16 h) { return WalkEidr(h, 3, 3); }, "OK; PARAM");
    ExpectWalk(
        bytes, [](u16 h) { return WalkEidr(h, 4, 2); }, "OK; PARAM");
    ExpectWalk(
        bytes, [](u16 h) { return WalkEidr(h, 0, 3); }, "OK; PARAM");
    InBothModes(bytes, [](u16 h) {
        i32 count = 0;
        EXPECT_EQ(NextEidr(h, &count, 1), "END") << "not entered";
        EXPECT_EQ(tv_InitialSection7(h), SYM_OK);
        for (const i32 none : {0, -1}) EXPECT_EQ(NextEidr(h, &count, none), "MORE");
        EXPECT_EQ(NextEidr(h, &count, 1), "MORE 1/abc/de");
        EXPECT_EQ(NextEidr(h, &count, 1), "MORE") << "until the count is cleared";
        EXPECT_EQ(NextEidr(h, &count, 2), "OK 2/f/g");
        EXPECT_EQ(tv_GetSymDataProgress(h), 1.0);
        // A null buffer fails in the copy, after the read; a buffer too small is left with an empty text.
        char text[8] = "old";
        EidrSectionItem item = {0, nullptr, 8, text, 8};
        tv_InitialSection7(h);
        count = 0;
        EXPECT_EQ(tv_GetNextEidrSectionGroup(h, &count, &item, 1), SYM_ERR_PARAM);
        EXPECT_EQ(item.id, 1);
        EXPECT_STREQ(text, "old");
        tv_InitialSection7(h);
        item = {0, text, 3, text, 8};
        EXPECT_EQ(tv_GetNextEidrSectionGroup(h, &count, &item, 1), SYM_ERR_PARAM);
        EXPECT_STREQ(text, "");
        EXPECT_EQ(count, 0);
    });
}

}  // namespace
}  // namespace torva::test
