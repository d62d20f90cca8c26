// Two files compared as data.
#include <gtest/gtest.h>

#include <fstream>

#include "symwrite/SymFileWriter.h"
#include "tables/compare/Comparison.h"

namespace torva::tables {
namespace {

using symwrite::File;

// The differences, one a line: section, change, the values' field ids. `memory` small enough puts the records
// into a temporary file, run by run.
std::string Differences(const File& old, const File& now, CompareOptions options = {}) {
    options.makeFile = [number = 0]() mutable {
        std::string path = testing::TempDir() + "compare-" + std::to_string(++number);
        std::ofstream(path).flush();
        return path;
    };
    Comparison comparison(options);
    std::size_t side = 0;
    for (const symwrite::Bytes& bytes : {Write(old), Write(now)}) {
        Reader reader(FileSource::FromBytes(bytes, "memory"));
        EXPECT_TRUE(comparison.Read(side++, reader).empty());
    }
    std::string text;
    while (comparison.Next()) {
        const Difference& difference = comparison.Current();
        text += std::to_string(difference.section) + " " +
                std::to_string(static_cast<int>(difference.change)) +
                (difference.wholeSection ? " whole" : "");
        for (const ValueChange& value : difference.values) {
            text += " " + std::to_string(value.field) + ":";
            for (const auto& cell : value.cells) text += cell ? std::string(cell->bytes) + "/" : "-/";
        }
        text += "\n";
    }
    return text;
}

// Three hundred symbols of one name; `last` is the value of the last one.
File Alike(const std::string& last) {
    File file;
    file.sections = {{.id = 2}};
    for (int i = 0; i < 300; ++i) {
        const std::string value = i == 299 ? last : "value " + std::to_string(i);
        file.sections[0].rows.push_back({"A", {symwrite::TextField(1, value)}, {}});
    }
    return file;
}

TEST(Comparison, RecordsOfOneNamePairInFileOrder) {
    for (const std::size_t memory : {std::size_t{1} << 20, std::size_t{2000}}) {
        SCOPED_TRACE(memory);
        EXPECT_EQ(Differences(Alike("x"), Alike("x"), {.memory = memory}), "");
        EXPECT_EQ(Differences(Alike("x"), Alike("y"), {.memory = memory}), "2 2 1:x/y/\n");
        File shorter = Alike("x");
        shorter.sections[0].rows.pop_back();
        EXPECT_EQ(Differences(Alike("x"), shorter, {.memory = memory}), "2 1 1:x/-/\n");
    }
}

TEST(Comparison, FieldsByTagAndWithinAFilter) {
    const auto file = [](u8 tag, const char* group) {
        File made;
        made.sections = {{.id = 2, .rows = {{"A", {symwrite::NumberField(1, tag, 65)}, {}}}},
                         {.id = 6, .rows = {{"G", {symwrite::TextField(2, group)}, {}}}}};
        return made;
    };
    EXPECT_EQ(Differences(file(1, "a"), file(2, "b")), "2 2 1:A/A/\n6 2 2:a/b/\n");
    EXPECT_EQ(Differences(file(1, "a"), file(2, "b"), {.fields = {1}}), "2 2 1:A/A/\n");
    EXPECT_EQ(Differences(file(1, "a"), file(2, "b"), {.fields = {2}}), "6 2 2:a/b/\n");
    File empty;
    empty.sections = {{.id = 6}};
    EXPECT_EQ(Differences(file(1, "a"), empty, {.sections = {2}}), "2 1 whole\n2 1 1:A/-/\n");
}

}  // namespace
}  // namespace torva::tables
