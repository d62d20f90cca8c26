// Sections as rows: from a path, a descriptor or memory, several readers at once, and walks that are
// cancelled.
#include <fcntl.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>

#include "TorvaAPI.h"
#include "symwrite/RandomFile.h"
#include "tables/check/Check.h"
#include "tables/dictionary/Values.h"
#include "tables/rows/Reader.h"

namespace torva::tables {
namespace {

// Every cell of every section, as text.
std::string Rows(Reader& reader) {
    std::string text;
    for (const DirectoryEntry& entry : reader.Directory().entries) {
        RowCursor rows = reader.Rows(entry.id);
        while (rows.Next()) {
            text += "\n" + std::to_string(entry.id) + "." + std::to_string(rows.Level());
            for (const Cell& cell : rows.Cells()) {
                text += " " + std::to_string(cell.number) + std::string(cell.bytes);
                for (const u16 value : cell.list) text += "," + std::to_string(value);
            }
        }
        EXPECT_TRUE(rows.Result().problems.empty()) << entry.id;
    }
    return text;
}

class RowsTest : public testing::Test {
protected:
    RowsTest() : bytes(symwrite::Write(symwrite::SmallFile())) {
        std::ofstream(path, std::ios::binary)
            .write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    }
    ~RowsTest() override { std::filesystem::remove(path); }

    std::vector<u8> bytes;
    std::string path = (std::filesystem::temp_directory_path() /
                        testing::UnitTest::GetInstance()->current_test_info()->name())
                           .string();
};

TEST_F(RowsTest, EverySourceDeliversTheSame) {
    Reader memory(FileSource::FromBytes(bytes, "memory"));
    const std::string expected = Rows(memory);
    EXPECT_GT(std::count(expected.begin(), expected.end(), '\n'), 50);
    for (const ReadMode mode : {ReadMode::File, ReadMode::Memory}) {
        Reader file(FileSource::FromPath(path), {mode});
        EXPECT_EQ(Rows(file), expected);
        EXPECT_EQ(Rows(file), expected);  // sections may be read again
    }
#ifndef _WIN32
    Reader descriptor(FileSource::FromDescriptor(::open(path.c_str(), O_RDONLY | O_CLOEXEC), "descriptor"));
    EXPECT_EQ(Rows(descriptor), expected);
#endif
    EXPECT_THROW(FileSource::FromPath(path + ".missing"), Error);
    EXPECT_THROW(Reader(FileSource::FromBytes({bytes.data(), 1}, "cut")), Error);
}

TEST_F(RowsTest, ReadersShareTheFileAndBlockNoOne) {
    const auto source = FileSource::FromPath(path);
    Reader first(source);
    Reader second(source);
    SymbolCursor a = first.Symbols();
    SymbolCursor b = second.Symbols();
    ASSERT_TRUE(a.Next());
    const std::string symbol(a.Symbol().text);
    const i32 handle = tv_OpenSymFile(path.c_str(), 200000, nullptr, 0, 0);  // for itself alone
    EXPECT_GT(handle, 0);
    tv_CloseSymFile(static_cast<u16>(handle));
    while (a.Next()) {
    }
    ASSERT_TRUE(b.Next());
    EXPECT_EQ(b.Symbol().text, symbol);
}

TEST_F(RowsTest, ProgressCountsTheFileAndCancels) {
    u64 done = 0;
    const auto source = FileSource::FromBytes(bytes, "memory");
    TextCodec codec;
    EXPECT_FALSE(Check(source, codec, {20, [&](u64 more) { return done += more, true; }}).cancelled);
    EXPECT_GT(done, 2 * bytes.size());
    EXPECT_TRUE(Check(source, codec, {20, [](u64) { return false; }}).cancelled);
    Reader reader(source, {ReadMode::Auto, {}, [](u64) { return false; }});
    EXPECT_TRUE(reader.WalkSymbols([](const SymbolView&) { return true; }).cancelled);
}

// Counts and sizes of nested elements that do not agree. Nothing else of the file is wrong.
TEST(RowsOfDamage, CountsAndSizesThatDisagree) {
    symwrite::File file;
    file.sections = {
        {.id = 13, .raw = symwrite::Bytes{0, 0, 0, 0, 3, 0,                      // head value, types
                                          1, 0, 6, 0, 0, 0, 2, 0, 'S', 0, 0, 0,  // 1 of 2 sources
                                          2, 0, 3, 0, 0, 0, 0, 0, 9,             // a byte too many
                                          3, 0, 2, 0, 0, 0, 0, 0}}};
    const symwrite::Bytes bytes = symwrite::Write(file);
    Reader reader(FileSource::FromBytes(bytes, "memory"));
    const WalkResult walk = reader.WalkSection(13, [](std::size_t, std::span<const Cell>) {});
    ASSERT_EQ(walk.problems.size(), 2U);
    EXPECT_NE(walk.problems[0].what.find("1 of 2 source symbols"), std::string::npos)
        << walk.problems[0].what;
    EXPECT_NE(walk.problems[1].what.find("1 bytes at the end of the type block"), std::string::npos)
        << walk.problems[1].what;
    EXPECT_EQ(walk.rows, (std::vector<u64>{3, 1, 0, 0}));
}

TEST(Texts, OnlyWhatDecodesIsText) {
    for (const char* good :
         {"\x7f", "\xc2\x80", "\xe0\xa0\x80", "\xed\x9f\xbf", "\xee\x80\x80", "\xf4\x8f\xbf\xbf"}) {
        EXPECT_TRUE(IsUtf8(good)) << Hex(good);
    }
    for (const char* bad : {"\x80", "\xc1\xbf", "\xe0\x9f\xbf", "\xed\xa0\x80", "\xf0\x8f\xbf\xbf",
                            "\xf4\x90\x80\x80", "\xe2\x82"}) {
        EXPECT_FALSE(IsUtf8(bad)) << Hex(bad);
    }
    EXPECT_EQ(TextCodec().Display("a\x1b\xc2\x9b\xff\xc3\xbc"), "a\\x1b\\xc2\\x9b\\xff\xc3\xbc");
    EXPECT_EQ(FromHex("0x0aFf"), "\n\xff");
    for (const char* bad : {"0", "0g", "-1", "0x0"}) EXPECT_EQ(FromHex(bad), std::nullopt) << bad;
}

TEST(Values, SignedNumbersOfEveryWidth) {
    for (std::size_t width = 1; width <= 8; ++width) {
        TextCodec codec;
        EXPECT_EQ(ValueText(ValueType::Signed, "\xfe" + std::string(width - 1, '\xff'), codec), "-2")
            << width;
        EXPECT_EQ(ValueText(ValueType::Signed, "\x7f" + std::string(width - 1, '\0'), codec), "127") << width;
    }
}

}  // namespace
}  // namespace torva::tables
