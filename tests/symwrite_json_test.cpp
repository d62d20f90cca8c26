// Symbol files from JSON. That `tvsym dump` writes what is read here is tested with the tool.
#include <gtest/gtest.h>

#include <sstream>

#include "symwrite/Json.h"

namespace {

using namespace symwrite;

std::string Report(const JsonErrors& errors) {
    std::string all;
    for (const JsonError& error : errors.First()) {
        all += error.where + " | " + error.what + "\n";
    }
    return all;
}

File Parsed(const std::string& text, const FromJsonOptions& options = {}) {
    std::istringstream in(text);
    JsonErrors errors;
    File file = ReadJson(in, options, errors);
    EXPECT_EQ(Report(errors), "");
    return file;
}

TEST(SymWriteJson, TheShortFormMeansWhatTheDictionarySays) {
    const File file = Parsed(R"({
        "_comment": "anything",
        "dictionary": {
            "1": {"name": "name", "type": "text"}, "2": {"name": "day", "type": "date"},
            "3": {"name": "change", "type": "signed", "tag": 4}, "4": {"name": "lot", "type": "unsigned", "tag": 9},
            "5": {"name": "price", "type": "float"}, "6": {"name": "ratio", "type": "float", "tag": 8},
            "7": {"name": "code", "type": "hex", "tag": 2}},
        "symbols": [
            {"symbol": "A", "fields": {"day": "2024-02-29", "name": "Ünï", "change": -32768, "lot": 16777215,
                                       "price": 1.5, "ratio": -1, "code": "0xAB", "300": "plain"}},
            {"symbol": {"hex": "ff"}, "fields": [{"name": "day", "value": 20180102}, {"id": 1, "value": {"hex": "80"}},
                                                 {"id": 3, "tag": 1, "value": 9}, {"id": 5, "name": "x", "value": null}]},
            {"symbol": "C", "fields": {"name": null, "lot": {"tag": 4, "value": 5}, "price": {"hex": "0000000000000840"}}}],
        "default-fields": {"name": "none"},
        "exchanges": [{"id": 1, "text1": "HK", "text2": ""}],
        "sections": [{"id": 99, "bytes": ""}]})");

    File expected;
    expected.sections = {
        {.id = 99, .raw = Bytes()},
        {.id = 1, .fields = {TextField(1, "none")}},
        {.id = 2,
         .rows = {{"A",
                   {NumberField(2, 5, 20240229), TextField(1, "Ünï"), NumberField(3, 4, 0x8000),
                    NumberField(4, 9, 16777215), NumberField(5, 6, 0x3FF8000000000000),
                    NumberField(6, 8, 0xBF800000), NumberField(7, 2, 0xAB), TextField(300, "plain")},
                   {}},
                  {"\xFF",
                   {NumberField(2, 5, 20180102), TextField(1, "\x80"), NumberField(3, 1, 9), NullField(5)},
                   {}},
                  {"C", {NullField(1), NumberField(4, 4, 5), NumberField(5, 6, 0x4008000000000000)}, {}}}},
        {.id = 16, .rows = {{{1, "HK", ""}}}}};
    EXPECT_EQ(Write(file), Write(expected));

    // What only the exact form can say.
    File exact;
    exact.sections = {{.id = 9, .rows = {{{1, "a"}}}, .before = {0xFE, 0}, .headValue = 77}};
    exact.behind = {0, 1};
    EXPECT_EQ(Write(Parsed(R"({"sections": [{"id": 9, "name": "fund-companies", "head": 77, "before": "fe00",
                                             "elements": [{"id": 1, "name": "a"}]}], "behind": "0001"})")),
              Write(exact));

    // A dictionary from elsewhere, and one id of a preloaded section instead of a list.
    FromJsonOptions options;
    JsonErrors errors;
    const Json words = Json::parse(R"({"9": {"name": "nine", "type": "unsigned", "tag": 1}})");
    options.dictionary.Load(JsonNode(words, errors));
    EXPECT_EQ(Report(errors), "");
    EXPECT_EQ(
        Write(Parsed(R"({"default-fields": {"nine": 9}, "exchange-support": [{"id": 5, "items": [1]}]})",
                     options)),
        Write(Parsed(R"({"sections": [{"id": 1, "fields": [{"id": 9, "tag": 1, "value": 9}]},
                                            {"id": 21, "entries": [{"ids": [5], "items": [1]}]}]})")));
}

TEST(SymWriteJson, ErrorsNameTheirPlace) {
    const std::string words =
        R"("dictionary": {"1": {"name": "day", "type": "date"}, "2": {"name": "n", "type": "signed",
        "tag": 1}, "3": {"name": "f", "type": "float", "tag": 3}, "4": {"name": "t", "type": "text"}}, )";
    struct Case {
        std::string text;
        const char* where;
        const char* what;  // a part of it
    };
    const std::vector<Case> cases = {
        {"", "line 1, column 1", "unexpected end"},
        {"{\n  \"symbols\": [,", "line 2, column 15", "unexpected ','"},
        {"{\"a\": \"\xFF\"}", "line 1, column 8", "UTF-8"},
        {"{} {}", "line 1, column 4", "expected end of input"},
        {"[]", "", "expected an object, found an array"},
        {std::string(100, '['), "", "deeper than 64"},
        {R"({"symbols": [{"symbol": "A", "symbol": "B"}]})", "/symbols/0", "\"symbol\" occurs twice"},
        {R"({"simbols": []})", "/simbols", "unknown key"},
        {R"({"symbols": {}})", "/symbols", "expected an array, found an object"},
        {R"({"symbols": [{"symbol": "A"}, {"fields": []}]})", "/symbols/1", "\"symbol\" is missing"},
        {R"({"symbols": [{"symbol": "A\u0000"}]})", "/symbols/0/symbol", "zero byte"},
        {R"({"symbols": [{"symbol": {"hex": "4100"}}]})", "/symbols/0/symbol", "zero byte"},
        {R"({"symbols": [{"symbol": {"hex": "4"}}]})", "/symbols/0/symbol/hex", "hex digits"},
        {R"({"symbols": [{"symbol": "A", "fields": {"a/b~": 1}}]})", "/symbols/0/fields/a~1b~0",
         "no dictionary"},
        {R"({"symbols": [{"symbol": "A", "fields": {"7": 1}}]})", "/symbols/0/fields/7", "no dictionary"},
        {R"({"sections": [{"id": 2, "symbols": [{"symbol": 7}]}]})", "/sections/0/symbols/0/symbol",
         "found 7"},
        {R"({"sections": [{"id": 1, "fields": [{"tag": 1, "value": 1}]}]})", "/sections/0/fields/0",
         "\"id\" is missing"},
        {R"({"sections": [{"id": 1, "fields": [{"id": 1, "tag": 1}]}]})", "/sections/0/fields/0",
         "\"value\" is missing"},
        {R"({"sections": [{"id": 1, "fields": [{"id": 1, "tag": 9, "value": 16777216}]}]})",
         "/sections/0/fields/0/value", "from 0 to 16777215, found 16777216"},
        {R"({"sections": [{"id": 1, "fields": [{"id": 1, "tag": 6, "value": -1}]}]})",
         "/sections/0/fields/0/value", "18446744073709551615"},
        {R"({"sections": [{"id": 1, "fields": [{"id": 1, "tag": 77, "value": 1}]}]})",
         "/sections/0/fields/0/value", "no payload"},
        {R"({"sections": [{"id": 1, "fields": [{"id": 1, "tag": 4, "value": {"hex": "00"}}]}]})",
         "/sections/0/fields/0/value/hex", "4 hex digits"},
        {R"({"sections": [{"id": 70000, "bytes": ""}]})", "/sections/0/id", "65535"},
        {R"({"sections": [{"id": 5}]})", "/sections/0", "\"bytes\""},
        {R"({"sections": [{"id": 3}]})", "/sections/0", "\"groups\" is missing"},
        {R"({"sections": [{"id": 3, "groups": [], "bytes": ""}]})", "/sections/0", "exclude"},
        {R"({"sections": [{"id": 3, "name": "symbols", "groups": []}]})", "/sections/0/name", "jump-prices"},
        {R"({"sections": [{"id": 13, "types": [], "symbols": []}]})", "/sections/0/symbols", "unknown key"},
        {R"({"sections": [{"id": 2, "head": 1, "symbols": []}]})", "/sections/0/head", "no head value"},
        {R"({"jump-prices": [{"id": 256, "records": []}]})", "/jump-prices/0/id", "255"},
        {R"({"jump-prices": [{"id": 1, "records": ["00"]}]})", "/jump-prices/0/records/0", "48 hex digits"},
        {R"({"fund-companies": [{"id": 65536, "name": ""}]})", "/fund-companies/0/id", "65535"},
        {R"({"section-groups": [{"id": 1, "members": [1, 1.5]}]})", "/section-groups/0/members/1",
         "found 1.5"},
        {R"({"exchange-support": [{"items": []}]})", "/exchange-support/0", "either"},
        {"{" + words + R"("default-fields": {"day": "2023-02-29"}})", "/default-fields/day",
         "expected a day"},
        {"{" + words + R"("default-fields": {"day": 20181301}})", "/default-fields/day", "expected a day"},
        {"{" + words + R"("default-fields": {"n": 128}})", "/default-fields/n",
         "from -128 to 127, found 128"},
        {"{" + words + R"("default-fields": {"n": "1"}})", "/default-fields/n", "found \"1\""},
        {"{" + words + R"("default-fields": {"f": 1e39}})", "/default-fields/f", "4 bytes"},
        {"{" + words + R"("default-fields": {"t": 1}})", "/default-fields/t", "expected a text"},
        {R"({"dictionary": {"x": {"name": "a", "type": "text"}}})", "/dictionary/x", "field id"},
        {R"({"dictionary": {"1": {"name": "a", "type": "word"}}})", "/dictionary/1/type", "found \"word\""},
        {R"({"dictionary": {"1": {"name": "a", "type": "text", "tag": 1}}})", "/dictionary/1", "tag 1"},
        {R"({"dictionary": {"1": {"name": "a", "type": "hex"}}})", "/dictionary/1", "tag 0"},
        {R"({"dictionary": {"1": {"name": "a", "type": "text"}, "2": {"name": "a", "type": "text"}}})",
         "/dictionary/2", "already"},
    };
    for (const Case& one : cases) {
        SCOPED_TRACE(one.text);
        std::istringstream in(one.text);
        JsonErrors errors;
        ReadJson(in, {}, errors);
        ASSERT_EQ(errors.Count(), 1U) << Report(errors);
        EXPECT_EQ(errors.First()[0].where, one.where) << errors.First()[0].what;
        EXPECT_NE(errors.First()[0].what.find(one.what), std::string::npos) << errors.First()[0].what;
    }
}

TEST(SymWriteJson, ReadingContinuesAfterAnErrorAndKeepsTheFirstOnes) {
    std::string text = R"({"symbols": [)";
    for (int i = 0; i < 50; ++i) {
        text += R"({"symbol": 1},)";
    }
    std::istringstream in(text + R"({"symbol": "last"}]})");
    JsonErrors errors;
    ReadJson(in, {}, errors);
    EXPECT_EQ(errors.Count(), 50U);
    ASSERT_EQ(errors.First().size(), 20U);
    EXPECT_EQ(errors.First()[19].where, "/symbols/19/symbol");
}

}  // namespace
