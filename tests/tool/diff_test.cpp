// tvsym diff: what differs between two files, whatever the order in which it stands.
#include <algorithm>

#include "symwrite/RandomFile.h"
#include "tests/tool/ToolRun.h"

namespace tooltest {
namespace {

using namespace symwrite;

class DiffCommand : public ToolTest {};

Section& Of(File& file, std::uint16_t id) {
    return *std::find_if(file.sections.begin(), file.sections.end(),
                         [id](const Section& section) { return section.id == id; });
}

void DropSection(File& file, std::uint16_t id) {
    std::erase_if(file.sections, [id](const Section& section) { return section.id == id; });
}

TEST_F(DiffCommand, ReportsWhatWasAddedRemovedAndChanged) {
    File file = SmallFile();
    DropSection(file, 12);
    Save("old.sym", file);
    auto& symbols = Of(file, 2).rows;
    symbols.push_back(symbols[1]);  // a second one of its name
    symbols.erase(symbols.begin() + 2);
    symbols[0].fields.erase(symbols[0].fields.begin());
    symbols[0].fields[0].value[0] ^= 1;
    symbols[0].fields[1] = TextField(symbols[0].fields[1].id, "text");
    symbols[0].fields.push_back(TextField(500, "\xff new"));
    Of(file, 1).fields[0].value += "!";
    Of(file, 9).rows[0].cells[1] = "renamed";
    Of(file, 10).rows.push_back({{77, "Newland"}});
    Of(file, 11).rows[0].cells[1].list.push_back(9);
    Of(file, 13).rows[0].rows[0].rows.push_back({{5, "OBJ"}, {{{6, "data"}}}});
    Of(file, 14).rows[0].cells[1] = "other";
    Of(file, 15).rows[0].rows.push_back({{}, {{{1, "x"}}}});
    Of(file, 18).rows[0].cells[0].list.push_back(4);
    Of(file, 5).raw->push_back(1);
    DropSection(file, 22);
    Save("new.sym", file);
    SaveBytes("names.json",
              R"({"1": {"name": "name", "type": "text"}, "500": {"name": "extra", "type": "text"},
                                "2": {"name": "lot", "type": "unsigned"}})");
    std::string transcripts;
    for (const char* arguments :
         {"diff --dictionary names.json old.sym new.sym",
          "diff --json --section 2 --fields 500,2 old.sym new.sym",
          "diff --summary --section jump-prices old.sym new.sym", "diff - old.sym --section 9 <new.sym"}) {
        transcripts += Transcript(arguments, Run(arguments));
    }
    ExpectGolden("diff.txt", transcripts);
}

// The same content in another order is the same, whether it is sorted in memory or not.
TEST_F(DiffCommand, OrderDoesNotMatter) {
    RandomFileOptions options;
    options.symbols = 120000;  // more than is sorted in memory at once
    options.fieldsPerSymbol = 12;
    File file = RandomFile(options);
    Save("a.sym", file);
    auto& symbols = Of(file, 2).rows;
    std::reverse(symbols.begin(), symbols.end());
    for (Row& symbol : symbols) {
        std::reverse(symbol.fields.begin(), symbol.fields.end());
    }
    auto& heads = Of(file, 15).rows;
    std::reverse(heads.begin(), heads.end());
    std::reverse(file.sections.begin(), file.sections.end());
    Save("b.sym", file);
    const ToolResult same = Run("diff a.sym b.sym");
    EXPECT_EQ(same.status, 0) << same.out.substr(0, 2000) << same.err;
    EXPECT_NE(same.out.find("120,000\n"), std::string::npos) << same.out;

    Of(file, 2).rows[123].fields[0].id ^= 0x4000;
    Save("b.sym", file);
    const ToolResult changed = Run("diff --json a.sym b.sym");
    EXPECT_EQ(changed.status, 1);
    EXPECT_NE(
        changed.out.find(R"("section":"symbols","id":2,"added":0,"removed":0,"changed":1,"same":119999)"),
        std::string::npos)
        << changed.out;
}

TEST_F(DiffCommand, DamageAndMissingFilesAreTrouble) {
    const Bytes bytes = Write(SmallFile());
    const std::string_view whole(reinterpret_cast<const char*>(bytes.data()), bytes.size());
    SaveBytes("whole.sym", whole);
    SaveBytes("cut.sym", whole.substr(0, whole.size() / 2));
    const ToolResult damaged = Run("diff whole.sym cut.sym");
    EXPECT_EQ(damaged.status, 2);
    EXPECT_NE(damaged.out.find("- section 16 (exchanges)"), std::string::npos) << damaged.out;
    EXPECT_NE(damaged.err.find("tvsym: cut.sym: section 16 (exchanges), offset 0x"), std::string::npos)
        << damaged.err;
    EXPECT_EQ(Run("diff whole.sym missing.sym").status, 2);
    EXPECT_EQ(Run("diff whole.sym").status, 64);
    EXPECT_EQ(Run("diff whole.sym whole.sym --fields nothing").status, 64);
}

}  // namespace
}  // namespace tooltest
