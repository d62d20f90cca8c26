// tvsym check: each fault that a file can have is reported with its place, and nothing is reported of a sound
// file.
#include <array>
#include <filesystem>
#include <functional>
#include <map>

#include "symwrite/Json.h"
#include "symwrite/RandomFile.h"
#include "tests/tool/ToolRun.h"

namespace tooltest {
namespace {

using namespace symwrite;

// The section of that id in `file`.
Section& Of(File& file, std::uint16_t id) {
    for (Section& section : file.sections) {
        if (section.id == id) return section;
    }
    throw std::out_of_range("no such section");
}

struct Fault {
    const char* name;
    std::function<void(File& file)> make;
};

const Fault kFaults[] = {
    {"sound", [](File&) {}},
    {"no-sections", [](File& f) { f = {}; }},
    {"gap-and-tail",
     [](File& f) {
         Of(f, 9).before = {1, 2, 3}, f.behind = {4};
     }},
    {"id-twice", [](File& f) { f.sections.push_back(Of(f, 10)); }},
    {"overlap", [](File& f) { Of(f, 10).directoryOffset = Layout(f)[0].offset; }},
    {"after-the-end", [](File& f) { Of(f, 10).directoryOffset = 1 << 20; }},
    {"wrong-id-in-file", [](File& f) { Of(f, 2).idInFile = 77; }},
    {"directory-size", [](File& f) { Of(f, 9).directorySize = 11, Of(f, 16).directorySize = 500; }},
    {"section-8-size-from-id", [](File& f) { *(Of(f, 8).directorySize = Layout(f)[6].directorySize) += 6; }},
    {"head-value", [](File& f) { Of(f, 9).headValue = 1, Of(f, 6).headValue = 2, Of(f, 1).headValue = 3; }},
    {"count", [](File& f) { Of(f, 4).count = 9, Of(f, 14).count = 7, Of(f, 17).count = 1; }},
    {"record-size", [](File& f) { Of(f, 2).rows[0].size = 9; }},
    {"record-too-long", [](File& f) { Of(f, 2).rows[1].size = 100000; }},
    {"fields-too-long",  // more of one kind than the limit, which does not hide what ends the scan
     [](File& f) {
         Of(f, 2).raw = Bytes{9,  0, 0, 0, 'A', 0, 1, 0, 6, 1, 2, 3, 4,  //
                              8,  0, 0, 0, 'B', 0, 1, 0, 3, 1, 2, 3,     //
                              2,  0, 0, 0, 'A', 0,                       //
                              99, 0, 0, 0, 'C', 0};
     }},
    {"record-one-byte-too-long", [](File& f) { Of(f, 2).raw = Bytes{3, 0, 0, 0, 'A', 0}; }},
    {"group-without-field", [](File& f) { Of(f, 6).raw = Bytes{4, 0, 0, 0, 2, 0, 'G', 0}; }},
    {"block-size", [](File& f) { Of(f, 13).rows[0].size = 3; }},
    {"body-size", [](File& f) { Of(f, 14).rows[0].size = 1; }},
    {"inner-counts",
     [](File& f) {
         Of(f, 15).rows[0].rows[0].count = 200;
         Of(f, 18).rows[0].cells[0].count = 60000;
     }},
    {"duplicates",
     [](File& f) {
         auto& symbols = Of(f, 2).rows;
         symbols.push_back(symbols[0]);
         symbols[0].fields.push_back(symbols[0].fields[0]);
         Of(f, 19).rows.assign(30, Row({0x80000001, "x"}));
     }},
    {"not-utf8", [](File& f) { Of(f, 9).rows[0].cells[1] = "\xa4\xa4\xa4\xe5"; }},
    {"long-group-name", [](File& f) { Of(f, 6).rows[0].cells[0] = std::string(50, 'n'); }},
};

class Check : public ToolTest {};

TEST_F(Check, ReportsEachFaultWithItsPlace) {
    std::string transcripts;
    for (const Fault& fault : kFaults) {
        File file = SmallFile();
        fault.make(file);
        Save(std::string(fault.name) + ".sym", file);
        const std::string arguments = std::string("check --limit 2 ") + fault.name + ".sym";
        transcripts += Transcript(arguments, Run(arguments));
    }
    ExpectGolden("check.txt", transcripts);
}

TEST_F(Check, OptionsAndFilesThatAreNotSymbolFiles) {
    File file;
    for (const std::uint16_t id : std::initializer_list<std::uint16_t>{1, 2, 9, 10}) {
        File all = SmallFile();
        file.sections.push_back(Of(all, id));
    }
    const Bytes whole = Write(file);
    const std::string_view bytes(reinterpret_cast<const char*>(whole.data()), whole.size());
    SaveBytes("third.sym", bytes.substr(0, bytes.size() / 3));
    SaveBytes("defaults-cut.sym", bytes.substr(0, Layout(file)[0].offset + 9));
    Of(file, 9).rows[0].cells[1] = "\xa4\xa4\xa4\xe5";
    Of(file, 10).rows[1].cells[1] = "\xff";
    Save("big5.sym", file);
    SaveBytes("empty.sym", "");
    std::string transcripts;
    for (const char* arguments : {"check --encoding BIG5 --json big5.sym", "check third.sym",
                                  "check defaults-cut.sym", "check - <third.sym", "check empty.sym",
                                  "check missing.sym", "check --limt 3 third.sym", "check"}) {
        transcripts += Transcript(arguments, Run(arguments));
    }
    ExpectGolden("check_options.txt", transcripts);
}

// Whatever the number of processes, several files have the results of each alone, in order.
TEST_F(Check, AThousandFilesAtOnce) {
    namespace fs = std::filesystem;
    constexpr int kFiles = 1000;
    Save("sound", SmallFile());
    SaveBytes("damaged", Load("sound").substr(0, 200));
    SaveBytes("text", "not a symbol file");
    fs::create_directory("many");
    fs::create_directory("few");
    std::string out;
    std::string err;
    for (int at = 0; at < kFiles; ++at) {
        const std::string name = std::to_string(kFiles + at) + ".sym";
        fs::create_hard_link(std::array{"sound", "damaged", "text"}[static_cast<std::size_t>(at % 3)],
                             "many/" + name);
        if (at % 400 == 0) fs::create_hard_link("sound", "few/" + name);
        if (at < 6) {
            const ToolResult alone = Run("check many/" + name);
            out += alone.out;
            err += alone.err;
        }
    }
    const ToolResult result = Run("check --jobs 7 many");
    EXPECT_EQ(result.status, 2);
    EXPECT_TRUE(result.out.starts_with(out)) << result.out.substr(0, out.size());
    EXPECT_TRUE(result.err.starts_with(err)) << result.err.substr(0, err.size());
    EXPECT_TRUE(result.out.ends_with("\n1,000 files: 334 sound, 333 with findings, 333 unreadable\n"));
    const ToolResult one = Run("check --jobs 1 many");
    EXPECT_TRUE(one.out == result.out && one.err == result.err);

    fs::create_hard_link("sound", "few/2000.sym");
    const Json differences = Json::parse(Run("diff --json few many").out, nullptr, false);
    ASSERT_EQ(differences.size(), kFiles + 1);
    for (const auto& [at, status] : {std::pair(0, 0), std::pair(1, 1), std::pair(400, 2)}) {
        EXPECT_EQ(differences[static_cast<std::size_t>(at)]["status"], status) << at;
    }
    EXPECT_EQ(differences[kFiles]["result"], Json::parse(R"({"onlyIn": "few"})"));
    const Json infos = Json::parse(Run("info --json few damaged text").out, nullptr, false);
    ASSERT_EQ(infos.size(), 6);
    EXPECT_EQ(infos[4]["result"]["file"], "damaged");
    EXPECT_EQ(infos[5], Json::parse(R"({"file": "text", "status": 2, "result": null})"));
}

// What readers get of each section, as `arguments` report it in JSON.
std::map<int, Json> Delivered(const ToolResult& result) {
    std::map<int, Json> sections;
    const Json document = Json::parse(result.out, nullptr, false);
    for (const Json& section : document.value("sections", Json::array())) {
        const Json& id = section[section.contains("id") ? "id" : "section"];
        if (section["read"] == true) sections[id.get<int>()] = section["elements"];
    }
    return sections;
}

// Faults in random places: an answer always, never a crash, and what it says that readers get is what they
// get in both modes; and sound random files have no size or count to complain of.
TEST_F(Check, RandomFilesAndRandomDamage) {
    Random random(11);
    for (std::uint64_t seed = 1; seed <= 12; ++seed) {
        RandomFileOptions options;
        options.seed = seed;
        options.vary = options.shuffle = true;
        Bytes bytes = Write(RandomFile(options));
        SaveBytes("random.sym", {reinterpret_cast<const char*>(bytes.data()), bytes.size()});
        const ToolResult sound = Run("check random.sym");
        EXPECT_EQ(sound.out.find("expected"), std::string::npos) << "seed " << seed << "\n" << sound.out;
        for (int flips = 0; flips < 3; ++flips) {
            const auto size = static_cast<std::uint32_t>(bytes.size());
            bytes[random.Below(size)] = static_cast<std::uint8_t>(random.Below(256));
        }
        bytes.resize(bytes.size() - random.Below(static_cast<std::uint32_t>(bytes.size() / 2)));
        SaveBytes("random.sym", {reinterpret_cast<const char*>(bytes.data()), bytes.size()});
        const ToolResult damaged = Run("check random.sym");
        EXPECT_TRUE(damaged.status == 1 || damaged.status == 2) << "seed " << seed << "\n" << damaged.out;
        EXPECT_EQ(damaged.out.find("unexpected"), std::string::npos) << damaged.out;
        if (damaged.out.find("the read modes differ") == std::string::npos) {
            const auto told = Delivered(Run("check --json random.sym"));
            EXPECT_EQ(told, Delivered(Run("info --json random.sym"))) << "seed " << seed;
            EXPECT_EQ(told, Delivered(Run("info --json --file-mode random.sym"))) << "seed " << seed;
        }
    }
}

}  // namespace
}  // namespace tooltest
