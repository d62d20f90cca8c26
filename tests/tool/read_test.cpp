// info, symbols, dump, get and stats: whole outputs on a small file with everything in it, content against
// the data that files were written from, and files that are damaged, held by a host or no symbol files at
// all.
#include <algorithm>
#include <map>
#include <set>
#include <sstream>

#include "TorvaAPI.h"
#include "symwrite/Json.h"
#include "symwrite/RandomFile.h"
#include "tests/tool/ToolRun.h"

namespace tooltest {
namespace {

using symwrite::Json;

constexpr const char* kDictionary = R"({
  "1": {"name": "lot", "type": "unsigned", "tag": 1},  "3": {"name": "listed", "type": "date", "tag": 3},
  "6": {"name": "price", "type": "float", "tag": 6},   "7": {"name": "name", "type": "text"},
  "8": {"name": "change", "type": "signed", "tag": 8}, "9": {"name": "flags", "type": "hex", "tag": 9}
})";

// Texts in Chinese: one that decodes in Big5 alone, one that does in both, one that does in neither.
symwrite::File ChineseFile() {
    symwrite::Section defaults = {.id = 1, .fields = {symwrite::TextField(7, "\xa4\xa4\xa4\xe5")}};
    symwrite::Section symbols = {.id = 2};
    symbols.rows = {{"2330", {symwrite::TextField(7, "\xa5\x78\xbfn")}, {}},
                    {"1101", {symwrite::TextField(7, "\xff\xff")}, {}},
                    {"9999", {}, {}}};
    return {{defaults, symbols}, {}, {}};
}

// Two sections of one id, one of an id without a reader, bytes that belong to no section, one of the wrong
// id.
symwrite::File OddFile() {
    symwrite::Section first = {.id = 9, .rows = {{{1, "first"}}}};
    symwrite::Section again = {.id = 9, .rows = {{{2, "second"}}}};
    again.before = {0xab, 0xcd};
    symwrite::Section unknown = {.id = 99, .raw = symwrite::Bytes{1, 2, 3}};
    symwrite::Section wrongId = {.id = 17};
    wrongId.idInFile = 16;
    return {{first, again, unknown, wrongId}, {0xee}, {}};
}

TEST_F(ToolTest, WholeOutputs) {
#ifndef TORVA_WITH_SQLITE
    GTEST_SKIP() << "without SQLite tvsym has neither sql nor --where";
#endif
    Save("small.sym", symwrite::SmallFile());
    Save("big5.sym", ChineseFile());
    Save("odd.sym", OddFile());
    SaveBytes("dictionary.json", kDictionary);
    SaveBytes("wrong.json", R"({"1": {"name": "lot", "type": "number"}})");
    const std::string small = Load("small.sym");
    SaveBytes("third.sym", small.substr(0, small.size() / 3));
    const std::map<std::string, std::vector<std::string>> goldens = {
        {"info.txt",
         {"info small.sym", "info --json small.sym", "info odd.sym", "info --json odd.sym",
          "info third.sym"}},
        {"symbols.txt",
         {"symbols small.sym", "symbols small.sym --dictionary dictionary.json --limit 1",
          "symbols small.sym --json --file-mode", "symbols --json --dictionary dictionary.json small.sym",
          "symbols small.sym --fields 7,21",
          "symbols small.sym --dictionary dictionary.json --fields name,listd",
          "symbols small.sym --dictionary missing.json", "symbols small.sym --dictionary wrong.json",
          "symbols big5.sym", "symbols big5.sym --encoding BIG5", "symbols big5.sym --json --encoding BIG5",
          "symbols third.sym --json"}},
        {"dump_json.txt",
         {"dump small.sym", "dump odd.sym", "dump big5.sym --encoding big5", "dump third.sym"}},
        {"dump_table.txt",
         {"dump small.sym --format table", "dump odd.sym --format table",
          "dump small.sym --format table --section symbols --dictionary dictionary.json"}},
        {"dump_ndjson.txt",
         {"dump small.sym --format ndjson --dictionary dictionary.json", "dump odd.sym --format ndjson",
          "dump small.sym --format ndjson --section 14 --section eidr_countries",
          "dump odd.sym --section symbols"}},
        {"get.txt",
         {"get small.sym A.1", "get small.sym B nobody", "get small.sym A --prefix --json",
          "get small.sym --where \"field_7 = 'default'\"",
          "get small.sym --dictionary dictionary.json --where lot=17 --json",
          "get small.sym A.1 --where \"field_7 = 'x'\"",
          "get big5.sym 2330 --encoding BIG5 --where \"field_7 = '台積'\"", "get small.sym"}},
        {"stats.txt",
         {"stats small.sym", "stats small.sym --json --dictionary dictionary.json", "stats third.sym"}},
    };
    for (const auto& [golden, commands] : goldens) {
        std::string transcripts;
        for (const std::string& command : commands) {
            transcripts += Transcript(command, Run(command)) + "\n";
        }
        ExpectGolden(golden, transcripts);
    }
}

TEST_F(ToolTest, CsvIsAFileForEachSection) {
    symwrite::File small = symwrite::SmallFile();
    std::ranges::find(small.sections, 10, &symwrite::Section::id)->rows[0].cells[1] = "ends blank ";
    Save("small.sym", small);
    SaveBytes("small.sym.fields.json", kDictionary);
    const ToolResult result = Run("dump small.sym --format csv --output tables/small");
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.out, "");
    std::set<std::filesystem::path> files;
    for (const auto& entry : std::filesystem::directory_iterator("tables/small")) {
        files.insert(entry.path());
    }
    std::string all = result.err;
    for (const std::filesystem::path& file : files) {
        all += "--- " + file.filename().string() + "\n" + Load(file);
    }
    ExpectGolden("dump_csv.txt", all);
    EXPECT_EQ(Run("dump small.sym --format csv").status, 64);
}

TEST_F(ToolTest, WrongUsage) {
#ifndef TORVA_WITH_SQLITE
    GTEST_SKIP() << "without SQLite tvsym has neither sql nor --where";
#endif
    Save("small.sym", symwrite::SmallFile());
    const char* const commands[] = {"",
                                    "simbols small.sym",
                                    "info",
                                    "info --jsn small.sym",
                                    "frobnicate small.sym",
                                    "small.sym",
                                    "symbols --frob small.sym",
                                    "symbols -z small.sym",
                                    "symbols small.sym --fields 7 more",
                                    "dump small.sym x y",
                                    "help nothing",
                                    "export small.sym small.txt",
                                    "dump small.sym --format jsn",
                                    "dump small.sym --section objets",
                                    "dump small.sym --encoding NO-SUCH-SET",
                                    "symbols small.sym --fields name",
                                    "get small.sym --where name=x",
                                    "completion tcsh",
                                    "info --quietly --dictionary x small.sym",
                                    "check --limit -1 small.sym",
                                    "symbols --limit x small.sym",
                                    "diff - -",
                                    "split small.sym --by symbol --output parts",
                                    "split small.sym --by symbol,1 --output {}",
                                    "split small.sym --by \"'small'\" --output {symbol}.sym",
                                    "split small.sym --by \"iif(symbol_no = 1, null, 'none')\" --output {}"};
    std::string transcripts;
    for (const char* const command : commands) {
        const ToolResult result = Run(command);
        EXPECT_EQ(result.status, 64) << command;
        transcripts += Transcript(command, result);
    }
    ExpectGolden("usage.txt", transcripts);
}

TEST_F(ToolTest, FilesThatAreNotSymbolFiles) {
    SaveBytes("empty", "");
    SaveBytes("byte", "x");
    SaveBytes("text",
              "This is a text, and not a short one, to have a directory that announces many sections.\n");
    SaveBytes("numbers", std::string(1000, '\x01'));
    std::filesystem::create_directory("directory");
    std::string transcripts;
    for (const char* const file : {"empty", "byte", "text", "numbers", "directory", "missing"}) {
        for (const char* const command : {"info", "symbols", "dump", "get --prefix", "stats"}) {
            const ToolResult result =
                Run(std::string(command) + " " + file + (command[0] == 'g' ? " A" : ""));
            EXPECT_EQ(result.status, 2) << command << " " << file;
            EXPECT_EQ(result.out, "");
            if (command == std::string("info")) {
                transcripts += Transcript(std::string("info ") + file, result);
            }
        }
    }
    ExpectGolden("refused.txt", transcripts);
}

// A host holds the file for itself alone; looking at it neither heeds that nor gets in its way.
TEST_F(ToolTest, ReadsAFileThatAHostHasOpen) {
    Save("held.sym", symwrite::SmallFile());
    const int handle = tv_OpenSymFile("held.sym", 200000, nullptr, 0, 0);
    ASSERT_GT(handle, 0);
    for (const char* const command : {"info", "check", "dump", "stats", "symbols", "diff held.sym"}) {
        const ToolResult result = Run(std::string(command) + " held.sym");
        EXPECT_EQ(result.status, 0) << command << result.err;
    }
    tv_CloseSymFile(static_cast<uint16_t>(handle));
}

// No name, and nothing that a file holds, reaches the terminal as a control character.
TEST_F(ToolTest, ControlCharactersAreShownAsDigits) {
    const std::string name = "a\x1b[31m\nb";
    symwrite::File file = OddFile();
    file.sections.push_back({.id = 22, .rows = {{{1, "\x1b\x7f"}}}});
    Save(name, file);
    SaveBytes("bad" + name, "not a symbol file");
    for (const char* const command : {"info", "check", "symbols", "dump", "dump --format table", "stats"}) {
        for (const char* const prefix : {"", "bad", "missing"}) {
            const ToolResult result = Run(std::string(command) + " '" + prefix + name + "'");
            EXPECT_EQ((result.out + result.err).find_first_of("\x1b\x7f"), std::string::npos)
                << command << prefix;
            if (*prefix) {
                EXPECT_NE(result.err.find(R"(a\x1b[31m\x0ab: )"), std::string::npos) << result.err;
                EXPECT_EQ(std::count(result.err.begin(), result.err.end(), '\n'), 1) << result.err;
            }
        }
    }
}

// The default fields are delivered wherever their section is.
TEST_F(ToolTest, DefaultFieldsAtTheEndOfTheFile) {
    symwrite::File file = ChineseFile();
    std::swap(file.sections[0], file.sections[1]);
    Save("last.sym", file);
    EXPECT_NE(Run("dump last.sym").out.find(R"("default-fields", "fields": [
{"id":7)"),
              std::string::npos);
    EXPECT_EQ(Run("check --encoding BIG5 last.sym").out.find("default"), std::string::npos);
}

TEST_F(ToolTest, EveryCutIsReportedAndTheRestPrinted) {
    const std::string whole = [] {
        Save("small.sym", symwrite::SmallFile());
        return Load("small.sym");
    }();
    size_t symbolsBefore = 0;
    for (size_t size = 1; size < whole.size(); size += 23) {
        SaveBytes("cut.sym", whole.substr(0, size));
        const ToolResult dump = Run("dump cut.sym");
        EXPECT_TRUE(dump.status == 1 || dump.status == 2) << size << ": " << dump.status;
        EXPECT_NE(dump.err, "") << size;
        if (dump.status == 1) {
            const Json document = Json::parse(dump.out, nullptr, false);
            ASSERT_TRUE(document.is_object()) << size << ": " << dump.out;
            EXPECT_EQ(document["_damaged"], true) << size;
        }
        const ToolResult symbols = Run("symbols cut.sym --json --file-mode");
        const auto lines = static_cast<size_t>(std::count(symbols.out.begin(), symbols.out.end(), '\n'));
        EXPECT_GE(lines, symbolsBefore) << size;
        symbolsBefore = lines;
    }
    EXPECT_EQ(symbolsBefore, 3U);
}

// A dump stays JSON when every section is damaged.
TEST_F(ToolTest, DamagedSectionsAreDumpedAsJson) {
    symwrite::File file = symwrite::SmallFile();
    for (symwrite::Section& section : file.sections) section.directorySize = 9;
    Save("damaged.sym", file);
    const ToolResult dump = Run("dump damaged.sym");
    EXPECT_EQ(dump.status, 1);
    const Json document = Json::parse(dump.out, nullptr, false);
    ASSERT_TRUE(document.is_object()) << dump.out;
    EXPECT_EQ(document["sections"].size(), file.sections.size());
    EXPECT_GT(std::count(dump.err.begin(), dump.err.end(), '\n'), 10);
}

// What was dumped or exported, in whatever form, makes the same bytes again.
TEST_F(ToolTest, DumpsAndExportsBuildTheSameFile) {
    struct RoundTrip {
        const char* take;
        const char* build;
    };
    constexpr RoundTrip kRoundTrips[] = {
        {"dump file.sym --output file.json", "build --damaged file.json again.sym"},
        {"dump file.sym --format csv --output tables", "build --damaged tables again.sym"},
        {"export file.sym exported/", "build --damaged exported again.sym"},
        {"dump file.sym --encoding BIG5 --output file.json",
         "build --damaged --encoding BIG5 file.json again.sym"},
        {"export file.sym exported/ --encoding BIG5", "build --damaged --encoding BIG5 exported again.sym"},
    };
    for (unsigned seed = 0; seed <= 7; ++seed) {
        symwrite::RandomFileOptions options;
        options.seed = seed;
        options.vary = seed % 2 == 1;
        options.anyBytes = seed % 3 == 1;
        options.shuffle = seed % 3 == 2;
        symwrite::File file = seed == 0   ? symwrite::SmallFile()
                              : seed == 1 ? OddFile()
                                          : symwrite::RandomFile(options);
        if (seed == 1) file.sections.pop_back();  // what starts with another id is lost
        Save("file.sym", file);
        for (const RoundTrip& trip : kRoundTrips) {
            const ToolResult taken = Run(trip.take);
            EXPECT_EQ(taken.status, seed == 1 ? 1 : 0) << trip.take << taken.err;
            const ToolResult built = Run(trip.build);
            EXPECT_EQ(built.status, 0) << trip.build << built.err;
            EXPECT_TRUE(Load("again.sym") == Load("file.sym")) << "seed " << seed << ": " << trip.take;
        }
    }
}

std::string FieldKey(const Json& field) {
    return std::to_string(field["id"].get<int>()) + "/" + std::to_string(field["tag"].get<int>());
}

// Own fields in the order of the record, then the defaults whose id the record does not have. A record marks
// only the first default of an id.
TEST_F(ToolTest, DefaultsAreDistinguishedFromOwnFields) {
    for (unsigned seed = 1; seed <= 8; ++seed) {
        symwrite::RandomFileOptions options;
        options.seed = seed;
        options.fieldIds = 6;
        options.defaults = 5;
        options.fieldsPerSymbol = 4;
        options.vary = true;
        options.allSections = false;
        const symwrite::File file = symwrite::RandomFile(options);
        Save("file.sym", file);
        std::vector<symwrite::Field> defaults;
        std::vector<symwrite::Row> symbols;
        for (const symwrite::Section& section : file.sections) {
            if (section.id == 1) {
                defaults = section.fields;
            } else {
                symbols = section.rows;
            }
        }
        std::string expected;
        for (const symwrite::Row& symbol : symbols) {
            std::set<unsigned> carried;
            for (const symwrite::Field& field : symbol.fields) {
                carried.insert(field.id);
                expected += std::to_string(field.id) + "/" + std::to_string(field.tag) + " ";
            }
            for (const symwrite::Field& field : defaults) {
                if (carried.erase(field.id) == 0) {
                    expected += "default " + std::to_string(field.id) + "/" + std::to_string(field.tag) + " ";
                }
            }
            expected += "\n";
        }
        std::string found;
        std::istringstream lines(Run("symbols --json file.sym").out);
        for (std::string line; std::getline(lines, line); found += "\n") {
            const Json symbol = Json::parse(line);
            for (const Json& field : symbol["fields"]) {
                found += (field.contains("default") ? "default " : "") + FieldKey(field) + " ";
            }
        }
        EXPECT_EQ(found, expected) << "seed " << seed;
    }
}

#ifndef _WIN32
TEST_F(ToolTest, StreamsAndPipes) {
    symwrite::RandomFileOptions options;
    options.symbols = 20000;
    Save("large.sym", symwrite::RandomFile(options));
    EXPECT_EQ(Run("info - <large.sym").out.substr(0, 16), "(standard input)");
    EXPECT_EQ(Run("info - </dev/null").err.substr(0, 33), "tvsym: (standard input): is empty");
    EXPECT_EQ(Run("symbols large.sym --dictionary .").err, "tvsym: .: is a directory\n");
    Run("--version; (" TORVA_TVSYM " symbols large.sym; echo $? >.status) 2>.errors | head -n 1");
    EXPECT_EQ(Load(".status"), "0\n");
    EXPECT_EQ(Load(".errors"), "");
    if (std::filesystem::exists("/dev/full")) {
        EXPECT_EQ(Run("dump large.sym --output /dev/full").status, 2);
    }
    const ToolResult syntax = Run("completion bash | bash -n");
    EXPECT_EQ(syntax.status, 0) << syntax.err;
    const ToolResult completed = Run(
        "completion bash >script; bash -c '. ./script; COMP_WORDS=(tvsym dump --form); COMP_CWORD=2; _tvsym; "
        "echo ${COMPREPLY[*]}; COMP_WORDS=(tvsym dump --format n); COMP_CWORD=3; _tvsym; echo "
        "${COMPREPLY[*]}'");
    EXPECT_EQ(completed.out, "--format\nndjson\n");
}
#endif

}  // namespace
}  // namespace tooltest
