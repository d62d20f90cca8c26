// Typed fields as a caller meets them: the block of each tag, and values that do or do not find room in the
// arena.
#include "TestSupport.h"
#include "library/core/IdSet.h"
#include "library/core/TempData.h"

namespace torva::test {
namespace {

using namespace symwrite;

Bytes OneSymbol(std::vector<Field> fields, std::vector<Field> defaults = {}) {
    std::vector<symwrite::Section> sections = {MakeSection(2, {{"S", std::move(fields), {}}})};
    if (!defaults.empty()) sections.push_back(DefaultsSection(std::move(defaults)));
    return FileOf(std::move(sections));
}

// Begins the first record, continues to its end, and describes each call: "MORE 1:ff 2:'text'; OK".
std::string WalkRecord(u16 h, i32 maxItems = 8) {
    Calls calls;
    char text[16];
    std::vector<SymFieldItem> items(static_cast<std::size_t>(maxItems));
    i32 count = -77;
    i32 result = tv_GetNextSymData(h, text, 15, &count, items.data(), maxItems);
    for (int call = 0; call < kMostCalls; ++call) {
        calls << TakeItems(result, items, count);
        if (result != SYM_MORE_DATA) return calls.Text();
        result = tv_GetAgainSymData(h, &count, items.data(), maxItems);
    }
    return calls.Text() + "; no end";
}

TEST(Fields, BlockOfEachTag) {
    const u64 n = 0x8877665544332211U;
    const struct {
        const char* name;
        std::vector<Field> fields;
        const char* expected;
    } kCases[] = {
        {"one byte", {NumberField(1, 1, n)}, "OK 1:11"},
        {"one byte, the other tag", {NumberField(1, 2, n)}, "OK 1:11"},
        {"four bytes", {NumberField(1, 3, n)}, "OK 1:11223344"},
        {"two bytes", {NumberField(1, 4, n)}, "OK 1:1122"},
        {"four bytes, the other tag", {NumberField(1, 5, n)}, "OK 1:11223344"},
        {"eight bytes", {NumberField(1, 6, n)}, "OK 1:1122334455667788"},
        {"text", {TextField(1, "a b")}, "OK 1:'a b'"},
        {"empty text", {TextField(1, "")}, "OK 1:''"},
        {"tag 8 alone is followed by zeros", {NumberField(1, 8, n)}, "OK 1:1122334400000000000000"},
        {"tag 9 alone is followed by zeros", {NumberField(1, 9, n)}, "OK 1:112233000000000000"},
        {"null values", {NullField(1, 0), NullField(2, 10), NullField(3, 255)}, "OK 1:- 2:- 3:-"},
        {"null values take 3 bytes", {NullField(1, 200), NumberField(2, 1, n)}, "OK 1:- 2:11"},
        {"after tag 8: the gap and the next value",
         {NumberField(1, 8, n), NumberField(2, 6, n)},
         "OK 1:1122334400112233445566 2:1122334455667788"},
        {"a null value leaves its own gap",
         {NumberField(1, 9, n), NullField(2), NumberField(3, 1, n)},
         "OK 1:112233000011000000 2:- 3:11"},
        {"an empty text",
         {NumberField(1, 9, n), TextField(2, ""), NumberField(3, 1, n)},
         "OK 1:112233000000110000 2:'' 3:11"},
        {"of a field not wanted nothing shows",
         {NumberField(1, 8, n), NumberField(99, 6, n), NumberField(2, 8, n), TextField(99, "not wanted")},
         "OK 1:1122334400112233440000 2:1122334400000000000000"},
    };
    for (const auto& c : kCases) {
        SCOPED_TRACE(c.name);
        const auto walk = [](u16 h) { return WalkRecord(h); };
        ExpectWalk(OneSymbol(c.fields), walk, c.expected, {0, kBudget, {1, 2, 3}});
        if (c.fields.size() < 4)
            ExpectWalk(OneSymbol({}, c.fields), walk, c.expected, {0, kBudget, {1, 2, 3}});
    }
    // The default arena holds all default fields, so the bytes after a tag-8 value show an unwanted one.
    ExpectWalk(OneSymbol({}, kCases[std::size(kCases) - 1].fields), [](u16 h) { return WalkRecord(h); },
               "OK 1:1122334400112233445566 2:11223344006e6f74207761", {0, kBudget, {1, 2, 3}});
}

// A payload cut off by the end of the data is filled up with zeros, whatever an earlier call left in the
// arena.
TEST(Fields, CutPayload) {
    for (const std::size_t left : {0U, 1U, 3U}) {
        Bytes bytes = OneSymbol({NumberField(1, 6, ~u64{0}), NumberField(2, 8, 0x44332211)});
        bytes.resize(bytes.size() - 4 + left);
        const std::string payload = Hex(Bytes{0x11, 0x22, 0x33}.data(), left);
        ExpectWalk(
            bytes, [](u16 h) { return WalkRecord(h, 1); },
            "MORE 1:ffffffffffffffff; MORE 2:" + payload + std::string(22 - payload.size(), '0') + "; END");
    }
}

TEST(Fields, TextCutOff) {
    Bytes bytes = OneSymbol({NumberField(1, 1, 5), TextField(2, "cut")});
    bytes.pop_back();
    const auto walk = [](u16 h) { return WalkRecord(h); };
    ExpectWalk(bytes, walk, "MORE 1:05; END");
    bytes = OneSymbol({TextField(2, "cut")});
    bytes.pop_back();
    ExpectWalk(bytes, walk, "TOO_SMALL");
}

// The least budget makes an arena with 102,397 bytes of placing room; a value of n bytes takes n + 1 of them.
TEST(Fields, ArenaRoom) {
    const std::size_t kRoom = 102397;
    const auto text = [](u16 id, std::size_t characters) {
        return TextField(id, std::string(characters, 'x'));
    };
    const auto shown = [](std::size_t characters) { return "'" + std::string(characters, 'x') + "'"; };
    const Field byte = NumberField(1, 1, 5), eight = NumberField(3, 6, 6);
    const std::string b = " 1:05", e = " 3:0600000000000000";
    const struct {
        const char* name;
        std::vector<Field> fields;
        std::string expected;
    } kCases[] = {
        {"longest text", {text(2, kRoom - 2), byte}, "MORE 2:" + shown(kRoom - 2) + "; OK" + b},
        {"read but not placed", {text(2, kRoom - 1), byte}, "TOO_SMALL"},
        {"not even read", {text(2, kRoom), byte}, "TOO_SMALL"},
        {"longest after a byte",
         {byte, text(2, kRoom - 4), byte},
         "MORE" + b + " 2:" + shown(kRoom - 4) + "; OK" + b},
        {"one more waits", {byte, text(2, kRoom - 3)}, "MORE" + b + "; OK 2:" + shown(kRoom - 3)},
        {"two more wait", {byte, text(2, kRoom - 2)}, "MORE" + b + "; OK 2:" + shown(kRoom - 2)},
        {"never fits", {byte, text(2, kRoom - 1)}, "MORE" + b + "; TOO_SMALL"},
        {"eight bytes fit", {text(2, kRoom - 11), eight}, "OK 2:" + shown(kRoom - 11) + e},
        {"eight bytes wait",
         {text(2, kRoom - 10), eight, byte},
         "MORE 2:" + shown(kRoom - 10) + "; OK" + e + b},
        {"a null value needs its gap",
         {text(2, kRoom - 3), NullField(1)},
         "OK 2:" + shown(kRoom - 3) + " 1:-"},
        {"a null value waits", {text(2, kRoom - 2), NullField(1)}, "MORE 2:" + shown(kRoom - 2) + "; OK 1:-"},
        {"read over unplaced", {text(9, kRoom - 1), byte}, "OK" + b},
        {"too long to read over", {text(9, kRoom), byte}, "TOO_SMALL"},
        {"read over in what is left", {byte, text(9, kRoom - 3), byte}, "OK" + b + b},
        {"read over in the next call", {byte, text(9, kRoom - 2), byte}, "MORE" + b + "; OK" + b},
        {"tag 8 in the last bytes",
         {text(2, kRoom - 7), NumberField(3, 8, 7)},
         "OK 2:" + shown(kRoom - 7) + " 3:0700000000000000000000"},
        {"tag 9 in the last bytes",
         {text(2, kRoom - 6), NumberField(3, 9, 7)},
         "OK 2:" + shown(kRoom - 6) + " 3:070000000000000000"},
    };
    for (const auto& c : kCases) {
        SCOPED_TRACE(c.name);
        InBothModes(OneSymbol(c.fields), [&](u16 h) { EXPECT_TRUE(WalkRecord(h) == c.expected); },
                    {0, kLeastBudget, {1, 2, 3}});
    }
}

TEST(Fields, MostCharactersOfAText) {
    for (const auto& [room, limit] : {std::pair<u64, i32>{0, -1},
                                      {1, 0},
                                      {5, 4},
                                      {0x7FFFFFFF, 0x7FFFFFFE},
                                      {0x80000000, 0x7FFFFFFF},
                                      {0xFFFFFFFB, 0x7FFFFFFF}}) {
        EXPECT_EQ(TempData::TextLimit(room), limit);
    }
}

TEST(Fields, TheNextIdOfASet) {
    IdSet set;
    set.Add(0), set.Add(200), set.Add(65535);
    for (const auto& [from, next] : {std::pair<u32, u32>{0, 0}, {1, 200}, {200, 200}, {201, 65535}}) {
        EXPECT_EQ(set.NextFrom(from), next);
    }
    EXPECT_GE(IdSet().NextFrom(3), IdSet::kIds);
}

}  // namespace
}  // namespace torva::test
