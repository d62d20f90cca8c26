// tvsym diff: what differs between two files, whatever the order in which it stands.
#include <algorithm>

#include "symwrite/RandomFile.h"
#include "tests/tool/ToolRun.h"

namespace tooltest {
namespace {

using namespace symwrite;

class DiffCommand : public ToolTest {};

template <typename T>
T& ContentOf(File& file, std::uint16_t id) {
    const auto found = std::find_if(file.sections.begin(), file.sections.end(),
                                    [id](const Section& section) { return section.id == id; });
    return std::get<T>(found->content);
}

void DropSection(File& file, std::uint16_t id) {
    std::erase_if(file.sections, [id](const Section& section) { return section.id == id; });
}

TEST_F(DiffCommand, TellsWhatWasAddedRemovedAndChanged) {
    File file = SmallFile();
    DropSection(file, 12);
    Save("old.sym", file);
    auto& symbols = ContentOf<Symbols>(file, 2).symbols;
    symbols.push_back(symbols[1]);  // a second one of its name
    symbols.erase(symbols.begin() + 2);
    symbols[0].fields.erase(symbols[0].fields.begin());
    symbols[0].fields[0].value[0] ^= 1;
    symbols[0].fields[1] = TextField(symbols[0].fields[1].id, "text");
    symbols[0].fields.push_back(TextField(500, "\xff new"));
    ContentOf<DefaultFields>(file, 1).fields[0].value += "!";
    ContentOf<Directory>(file, 9).elements[0].name = "renamed";
    ContentOf<Directory>(file, 10).elements.push_back({77, "Newland"});
    ContentOf<SectionGroups>(file, 11).groups[0].members.push_back(9);
    ContentOf<Objects>(file, 13).types[0].sources[0].symbols.push_back({5, "OBJ", {{6, "data"}}, {}});
    ContentOf<ForeignTrade>(file, 14).heads[0].name = "other";
    ContentOf<GlobalRelated>(file, 15).heads[0].lists.push_back({{{1, "x"}}, {}});
    ContentOf<EodItems>(file, 18).groups[0].first.push_back(4);
    std::get<Raw>(std::find_if(file.sections.begin(), file.sections.end(),
                               [](const Section& section) { return section.id == 5; })
                      ->content)
        .bytes.push_back(1);
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
    auto& symbols = ContentOf<Symbols>(file, 2).symbols;
    std::reverse(symbols.begin(), symbols.end());
    for (Symbol& symbol : symbols) {
        std::reverse(symbol.fields.begin(), symbol.fields.end());
    }
    auto& heads = ContentOf<GlobalRelated>(file, 15).heads;
    std::reverse(heads.begin(), heads.end());
    std::reverse(file.sections.begin(), file.sections.end());
    Save("b.sym", file);
    const ToolResult same = Run("diff a.sym b.sym");
    EXPECT_EQ(same.status, 0) << same.out.substr(0, 2000) << same.err;
    EXPECT_NE(same.out.find("120,000\n"), std::string::npos) << same.out;

    ContentOf<Symbols>(file, 2).symbols[123].fields[0].id ^= 0x4000;
    Save("b.sym", file);
    const ToolResult changed = Run("diff --json a.sym b.sym");
    EXPECT_EQ(changed.status, 1);
    EXPECT_NE(changed.out.find(R"("name":"symbols","added":0,"removed":0,"changed":1,"same":119999)"),
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
