// The writer of symbol files: what it refuses, where deliberate errors land, and that its two ways of writing
// agree.
#include <gtest/gtest.h>

#include <functional>
#include <sstream>
#include <utility>

#include "format/LittleEndian.h"
#include "format/Sections.h"
#include "symwrite/RandomFile.h"
#include "symwrite/SymFileWriter.h"

namespace {

using namespace symwrite;

std::uint64_t Number(const Bytes& bytes, std::size_t offset, std::size_t width) {
    EXPECT_LE(offset + width, bytes.size());
    return torva::ReadNumber(&bytes[offset], width);
}

std::uint64_t Fingerprint(const Bytes& bytes) {
    std::uint64_t hash = 0xCBF29CE484222325U;
    for (const std::uint8_t byte : bytes) {
        hash = (hash ^ byte) * 0x100000001B3U;
    }
    return hash;
}

Section& Of(File& file, std::uint16_t id) {
    for (Section& section : file.sections) {
        if (section.id == id) {
            return section;
        }
    }
    throw std::out_of_range("no such section");
}

TEST(SymWrite, SmallFileStaysSmallAndHasTwoOfEverything) {
    const File file = SmallFile();
    EXPECT_LT(Write(file).size(), 1536U);
    ASSERT_EQ(file.sections.size(), 22U);
    const Bytes bytes = Write(file);
    EXPECT_EQ(Number(bytes, 0, 2), 22U);
    const std::vector<SectionPlace> places = Layout(file);
    std::size_t end = 2 + 22 * 10;
    for (std::size_t i = 0; i < places.size(); ++i) {
        EXPECT_EQ(places[i].offset, end);
        end += places[i].bytes;
        EXPECT_EQ(Number(bytes, 2 + 10 * i, 2), places[i].id);
        EXPECT_EQ(Number(bytes, 4 + 10 * i, 4), places[i].offset);
        EXPECT_EQ(Number(bytes, 8 + 10 * i, 4), places[i].bytes - (places[i].id == 8 ? 6U : 0U));
        EXPECT_EQ(Number(bytes, places[i].offset, 2), places[i].id);
        const torva::SectionInfo* info = torva::FindSection(places[i].id);
        if (info != nullptr && info->id != 2) {
            EXPECT_EQ(Number(bytes, places[i].offset + 2, 4), places[i].bytes - info->HeadSize());
        }
        if (info != nullptr && info->stored[0].countWidth != 0) {
            EXPECT_GE(Number(bytes, places[i].offset + 6, info->stored[0].countWidth), 2U);
        }
    }
    EXPECT_EQ(end, bytes.size());
}

// Written out by hand, so that writer and readers cannot share a misunderstanding.
TEST(SymWrite, ALittleFileByteForByte) {
    File file;
    file.sections = {{.id = 1, .fields = {NumberField(0x0102, 9, 0x030405)}},
                     {.id = 2, .rows = {{"S", {TextField(1, "x"), NullField(2, 77)}, {}}}},
                     {.id = 8, .rows = {{{5}, {{{6, "a", ""}}}}}},
                     {.id = 19, .rows = {{{0x01020304, "n"}}}, .before = {0xEE}}};
    file.behind = {0xFF};
    // clang-format off
    const Bytes expected = {
        4, 0,
        1, 0, 42, 0, 0, 0, 12, 0, 0, 0,
        2, 0, 54, 0, 0, 0, 16, 0, 0, 0,
        8, 0, 70, 0, 0, 0, 6, 0, 0, 0,
        19, 0, 83, 0, 0, 0, 16, 0, 0, 0,
        1, 0, 6, 0, 0, 0, 2, 1, 9, 5, 4, 3,
        2, 0, 10, 0, 0, 0, 'S', 0, 1, 0, 7, 'x', 0, 2, 0, 77,
        8, 0, 6, 0, 0, 0, 5, 1, 6, 'a', 0, 0,
        0xEE,
        19, 0, 6, 0, 0, 0, 1, 0, 0, 0, 4, 3, 2, 1, 'n', 0,
        0xFF,
    };
    // clang-format on
    EXPECT_EQ(Write(file), expected);
}

TEST(SymWrite, DeliberateErrorsLandWhereMeantAndChangeNothingElse) {
    struct Case {
        std::function<void(File&)> change;
        std::size_t section;  // index; offset counts from the section's start
        std::size_t offset;
        std::size_t width;
        std::uint64_t value;
    };
    const auto section = [](std::size_t index, auto member, auto value) {
        return [=](File& file) { file.sections[index].*member = value; };
    };
    const std::vector<Case> cases = {
        {section(0, &Section::headValue, 999U), 0, 2, 4, 999},
        {section(3, &Section::idInFile, std::uint16_t{77}), 3, 0, 2, 77},
        {section(3, &Section::count, 65535U), 3, 6, 2, 65535},
        {section(10, &Section::count, 9U), 10, 6, 1, 9},
        {section(18, &Section::count, 0xFFFFFFFFU), 18, 6, 4, 0xFFFFFFFF},
        {section(8, &Section::headValue, 0U), 8, 2, 4, 0},
        {[](File& f) { Of(f, 2).rows[0].size = 12345; }, 1, 2, 4, 12345},
        {[](File& f) { Of(f, 3).rows[0].count = 500; }, 2, 8, 2, 500},
        {[](File& f) { Of(f, 6).rows[0].size = 1; }, 5, 6, 2, 1},
        {[](File& f) { Of(f, 8).rows[0].count = 255; }, 7, 7, 1, 255},
        {[](File& f) { Of(f, 11).rows[0].cells[1].count = 200; }, 10, 8, 1, 200},
        {[](File& f) { Of(f, 13).rows[0].size = 3; }, 12, 10, 4, 3},
        {[](File& f) { Of(f, 13).rows[0].count = 900; }, 12, 14, 2, 900},
        {[](File& f) { Of(f, 13).rows[0].rows[0].count = 901; }, 12, 19, 2, 901},
        {[](File& f) { Of(f, 13).rows[0].rows[0].rows[0].count = 99; }, 12, 24, 1, 99},
        {[](File& f) { Of(f, 14).rows[0].size = 5; }, 13, 13, 4, 5},
        {[](File& f) { Of(f, 14).rows[0].rows[0].count = 77; }, 13, 18, 2, 77},
        {[](File& f) { Of(f, 15).rows[0].size = 6; }, 14, 10, 4, 6},
        {[](File& f) { Of(f, 15).rows[0].rows[0].count = 7; }, 14, 14, 1, 7},
        {[](File& f) { Of(f, 18).rows[0].count = 3000; }, 17, 8, 2, 3000},
        {[](File& f) { Of(f, 18).rows[0].cells[0].count = 3001; }, 17, 22, 2, 3001},
        {[](File& f) { Of(f, 21).rows[0].cells[0].count = 3002; }, 20, 16, 2, 3002},
    };
    const Bytes sound = Write(SmallFile());
    const std::vector<SectionPlace> places = Layout(SmallFile());
    for (std::size_t i = 0; i < cases.size(); ++i) {
        SCOPED_TRACE(i);
        const Case& c = cases[i];
        File file = SmallFile();
        c.change(file);
        Bytes expected = sound;
        const std::size_t at = places[c.section].offset + c.offset;
        for (std::size_t n = 0; n < c.width; ++n) {
            expected.at(at + n) = static_cast<std::uint8_t>(c.value >> (8 * n));
        }
        EXPECT_NE(expected, sound);
        EXPECT_EQ(Write(file), expected);
    }

    File file = SmallFile();
    file.sectionCount = 3;
    file.sections[4].directoryId = 500;
    file.sections[4].directoryOffset = 0xFFFFFFF0;
    file.sections[4].directorySize = 1;
    Bytes expected = sound;
    PatchU16(expected, 0, 3);
    PatchU16(expected, 42, 500);
    PatchU32(expected, 44, 0xFFFFFFF0);
    PatchU32(expected, 48, 1);
    EXPECT_EQ(Write(file), expected);
    EXPECT_EQ(CutAt(sound, 7), Bytes(sound.begin(), sound.begin() + 7));
    EXPECT_EQ(CutAt(sound, sound.size() + 1), sound);
    EXPECT_THROW(PatchU32(expected, expected.size() - 3, 0), std::out_of_range);
}

TEST(SymWrite, WhatCannotBeExpressedIsRefusedWithItsPlace) {
    struct Case {
        std::function<void(File&)> change;
        const char* where;
    };
    const std::string zero("a\0b", 3);
    const std::vector<Case> cases = {
        {[&](File& f) { Of(f, 2).rows[1].cells[0] = zero; }, "/sections/1/symbols/1/symbol"},
        {[&](File& f) { Of(f, 2).rows[2].fields[1].value = zero; }, "/sections/1/symbols/2/fields/1/value"},
        {[](File& f) { Of(f, 2).rows[0].fields[2].value = "12345"; }, "/sections/1/symbols/0/fields/2/value"},
        {[](File& f) { Of(f, 1).fields[2].value = "1"; }, "/sections/0/fields/2/value"},
        {[](File& f) { Of(f, 3).rows[1].rows.resize(65536); }, "/sections/2/groups/1"},
        {[](File& f) { Of(f, 3).rows[0].rows[1].cells[0] = std::string(25, 'x'); },
         "/sections/2/groups/0/records/1"},
        {[](File& f) { Of(f, 3).rows.resize(256); }, "/sections/2"},
        {[](File& f) { Of(f, 6).rows[1].fields.push_back(TextField(1, std::string(65600, 'x'))); },
         "/sections/5/groups/1"},
        {[](File& f) { Of(f, 8).rows[1].rows.resize(256); }, "/sections/7/groups/1"},
        {[](File& f) { Of(f, 9).rows[1].cells[0] = 65536; }, "/sections/8/elements/1"},
        {[](File& f) { Of(f, 9).rows[1].cells.emplace_back("more"); }, "/sections/8/elements/1"},
        {[](File& f) { Of(f, 9).rows[1].cells[1] = 7; }, "/sections/8/elements/1/name"},
        {[](File& f) { Of(f, 9).rows.resize(65536); }, "/sections/8"},
        {[](File& f) { Of(f, 9).fields = {NullField(1)}; }, "/sections/8"},
        {[](File& f) { Of(f, 11).rows[0].cells[1].list[2] = 256; }, "/sections/10/groups/0/members"},
        {[&](File& f) { Of(f, 13).rows[0].rows[0].rows[0].rows[1].cells[1] = zero; },
         "/sections/12/types/0/sources/0/symbols/0/data/1/data"},
        {[&](File& f) { Of(f, 14).rows[0].rows[0].rows[1].cells[0] = zero; },
         "/sections/13/heads/0/items/0/names/1/name"},
        {[](File& f) { Of(f, 18).rows[0].cells[2].list.resize(65536); }, "/sections/17/definitions/0/third"},
        {[](File& f) { f.sections[3].id = 11; }, "/sections/3/groups/0/id"},
        {[](File& f) { f.sections[3].id = 5; }, "/sections/3"},
        {[](File& f) { f.sections[1].headValue = 1; }, "/sections/1"},
        {[](File& f) { f.sections[5].count = 1; }, "/sections/5"},
        {[](File& f) { f.sections[10].count = 256; }, "/sections/10"},
        {[](File& f) { f.sections.resize(65536, {.id = 99, .raw = Bytes()}); }, ""},
    };
    for (std::size_t i = 0; i < cases.size(); ++i) {
        SCOPED_TRACE(i);
        File file = SmallFile();
        cases[i].change(file);
        std::ostringstream out;
        try {
            Write(file, out);
            ADD_FAILURE() << "was written";
        } catch (const WriteError& error) {
            EXPECT_EQ(error.Where(), cases[i].where) << error.what();
        }
        EXPECT_EQ(out.str(), "") << "nothing is written before all is known to fit";
    }
}

TEST(SymWrite, AllWaysOfWritingGiveTheSameBytes) {
    RandomFileOptions options;
    options.vary = true;
    options.shuffle = true;
    options.anyBytes = true;
    for (options.seed = 1; options.seed <= 20; ++options.seed) {
        File file = RandomFile(options);
        file.behind = {1, 2, 3};
        const Bytes bytes = Write(file);
        const std::string expected(bytes.begin(), bytes.end());
        std::ostringstream plain;
        Write(file, plain);
        EXPECT_EQ(plain.str(), expected);

        const std::vector<Row> symbols = std::exchange(Of(file, 2).rows, {});
        std::ostringstream streamed;
        streamed << "ahead";
        SymbolStreamWriter writer(file, streamed);
        for (const Row& symbol : symbols) {
            writer.Add(symbol);
        }
        writer.Finish();
        EXPECT_EQ(streamed.str(), "ahead" + expected);
    }
    std::ostringstream refusing;
    refusing.setstate(std::ios::badbit);
    EXPECT_THROW(Write(SmallFile(), refusing), WriteError);
    EXPECT_THROW(SymbolStreamWriter(File{}, refusing), WriteError);
}

TEST(SymWrite, RandomFilesAreTheSameEverywhere) {
    RandomFileOptions options;
    EXPECT_EQ(Fingerprint(Write(RandomFile(options))), 13431544156285760849U);
    options.seed = 2;
    options.vary = options.anyBytes = options.shuffle = true;
    EXPECT_EQ(Fingerprint(Write(RandomFile(options))), 1108056501082170430U);
}

}  // namespace
