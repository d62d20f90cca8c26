// Every command over every bad file: a status that is documented, a message that names the file, and nothing
// written or lost where a command failed.
#include <algorithm>
#include <set>
#include <sstream>

#include "symwrite/RandomFile.h"
#include "tests/tool/ToolRun.h"

namespace tooltest {
namespace {

namespace fs = std::filesystem;

enum class Kind { Unreadable, Damaged, Sound };

struct BadFile {
    const char* name;
    Kind kind;
};

constexpr BadFile kFiles[] = {
    {"empty", Kind::Unreadable},     {"byte", Kind::Unreadable},    {"text", Kind::Unreadable},
    {"directory", Kind::Unreadable}, {"missing", Kind::Unreadable}, {"defaults-cut", Kind::Unreadable},
    {"head-cut", Kind::Damaged},     {"third", Kind::Damaged},      {"sizes", Kind::Damaged},
    {"twice", Kind::Damaged},        {"big5", Kind::Sound},
};

// FILE stands for the file; NEW and OLD for targets, the second of which exists.
constexpr const char* kCommands[] = {
    "info FILE", "info --json FILE", "symbols FILE", "symbols --json --fields 7 --file-mode FILE",
    "dump FILE", "dump --format ndjson FILE", "dump --format table FILE", "dump FILE --output OLD",
    "dump --format csv FILE --output NEW", "dump --format csv FILE --output OLD", "get FILE A --prefix",
    "get FILE --where \"symbol <> ''\" --json", "symbols FILE --order-by 'symbol DESC'",
    "sql FILE 'SELECT * FROM symbol_fields'", "stats FILE", "stats --json FILE", "check FILE",
    "check --json FILE", "diff FILE small", "diff --json small FILE", "export --format sqlite FILE OLD",
    "export --format csv FILE NEW", "export FILE OLD/", "build FILE OLD", "get FILE --search a",
    "dump FILE --format table --order-by symbol --output OLD",
    "dump FILE --format ndjson --columns symbol_no", "stats FILE --top 2", "stats FILE --by 7 --limit 3",
    "info FILE --schema", "edit FILE OLD --set 7=x", "extract FILE OLD --where \"symbol > 'A'\"",
    "extract FILE OLD --section 14", "sort FILE OLD", "sort FILE OLD --order-by symbol",
    "merge FILE small OLD --on-duplicate last", "merge small FILE OLD --on-duplicate fields",
    "split FILE --by symbol --output NEW{}", "apply small FILE OLD", "check FILE --budget 4KiB",
    "export FILE -",
    // The same file as source and target.
    "dump FILE --output FILE", "export --format sqlite FILE FILE", "build FILE FILE"};

std::string Replaced(std::string text, const std::string& from, const std::string& to) {
    for (std::size_t at = 0; (at = text.find(from, at)) != std::string::npos; at += to.size()) {
        text.replace(at, from.size(), to);
    }
    return text;
}

std::set<std::string> Names() {
    std::set<std::string> names;
    for (const auto& entry : fs::recursive_directory_iterator(".")) {
        if (entry.path().extension() != "" || !entry.path().filename().string().starts_with('.')) {
            names.insert(entry.path().string());
        }
    }
    return names;
}

class BadFiles : public ToolTest {
protected:
    BadFiles() {
        symwrite::File file = symwrite::SmallFile();
        Save("small", file);
        const std::string bytes = Load("small");
        SaveBytes("empty", "");
        SaveBytes("byte", "x");
        SaveBytes("text", "This is a text, and long enough to announce a directory of many sections.\n");
        fs::create_directory("directory");
        SaveBytes("defaults-cut", bytes.substr(0, symwrite::Layout(file)[0].offset + 9));
        SaveBytes("head-cut", bytes.substr(0, 45));
        SaveBytes("third", bytes.substr(0, bytes.size() / 3));
        file.sections.push_back(file.sections[9]);
        Save("twice", file);
        file = symwrite::SmallFile();
        file.sections[1].rows[0].size = 9;
        file.sections[12].headValue = 1;
        Save("sizes", file);
        Save(
            "big5",
            {{{.id = 2, .rows = {{"A\xa4\xa4\xa4\xe5", {symwrite::TextField(7, "\xa5\x78")}, {}}}}}, {}, {}});
    }
};

TEST_F(BadFiles, EveryCommandReportsThemAndLosesNothing) {
    for (const BadFile& file : kFiles) {
        const std::string content = fs::is_regular_file(file.name) ? Load(file.name) : "";
        for (const std::string pattern : kCommands) {
#ifndef TORVA_WITH_SQLITE
            if (pattern.starts_with("sql ") || pattern.find("--where") != std::string::npos) continue;
#endif
            SaveBytes("old", "old");
            fs::create_directory("old.d");
            SaveBytes("old.d/symbols.csv", "old");
            const bool folder = pattern.find("csv") != std::string::npos || pattern.ends_with('/');
            const std::string command = Replaced(Replaced(Replaced(pattern, "FILE", file.name), "NEW", "new"),
                                                 "OLD", folder ? "old.d" : "old");
            const std::set<std::string> names = Names();
            const ToolResult result = Run(command);
            const std::string where = "tvsym " + command + "\n" + result.out + result.err;
            const bool ownTarget = pattern.ends_with("FILE FILE") || pattern.ends_with("--output FILE");

            EXPECT_TRUE(result.status >= 0 && (result.status <= 2 || result.status == 64)) << where;
            const bool build = pattern.starts_with("build");
            if (file.kind == Kind::Unreadable) {
                EXPECT_TRUE(result.status == 2 || (build && result.status == 1) ||
                            (ownTarget && result.status == 64))
                    << where;
                EXPECT_TRUE(result.out.empty() || pattern.starts_with("check")) << where;
            }
            if (result.status == 1 || result.status == 2) {
                const bool ordinary = pattern.starts_with("diff") || pattern.starts_with("get");
                EXPECT_TRUE((result.out + result.err).find(file.name) != std::string::npos || ordinary)
                    << where;
            }
            std::istringstream lines(result.err);
            for (std::string line; std::getline(lines, line);) {
                EXPECT_TRUE(line.starts_with("tvsym")) << where;
            }
            const bool failed = result.status == 2 || result.status == 64 || build;
            if (failed) {
                EXPECT_EQ(Load("old"), "old") << where;
                EXPECT_EQ(Load("old.d/symbols.csv"), "old") << where;
                EXPECT_EQ(Names(), names) << where;
            }
            if (fs::is_regular_file(file.name)) {
                EXPECT_TRUE(Load(file.name) == content) << where;
            }
            fs::remove_all("old.d");
            fs::remove_all("new");
            if (std::string(file.name) == "missing") fs::remove_all("missing");
        }
    }
}

}  // namespace
}  // namespace tooltest
