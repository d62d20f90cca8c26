// tvsym export: what is in the database is what the tables say that the sample is made from.
#include <algorithm>
#include <fstream>
#include <map>
#include <sstream>

#include "symwrite/RandomFile.h"
#include "tests/tool/ToolRun.h"

#ifdef TORVA_WITH_SQLITE
#include <sqlite3.h>
#endif

namespace tooltest {
namespace {

using namespace symwrite;
namespace fs = std::filesystem;

class Export : public ToolTest {};

#ifdef TORVA_WITH_SQLITE

using Rows = std::vector<std::string>;

// Each row of the result as one line, columns after bars.
Rows Query(const char* file, const char* sql) {
    sqlite3* database = nullptr;
    EXPECT_EQ(sqlite3_open_v2(file, &database, SQLITE_OPEN_READONLY, nullptr), SQLITE_OK);
    Rows rows;
    char* error = nullptr;
    sqlite3_exec(
        database, sql,
        [](void* to, int columns, char** values, char**) {
            std::string row;
            for (int at = 0; at < columns; ++at) {
                row += (at > 0 ? "|" : "") + std::string(values[at] != nullptr ? values[at] : "NULL");
            }
            static_cast<Rows*>(to)->push_back(row);
            return 0;
        },
        &rows, &error);
    EXPECT_EQ(error, nullptr) << error;
    sqlite3_free(error);
    sqlite3_close(database);
    return rows;
}

std::vector<std::vector<std::string>> LoadTsv(const std::string& name) {
    std::ifstream in(fs::path(TORVA_SOURCE_DIR) / "samples/data" / name);
    std::vector<std::vector<std::string>> rows;
    for (std::string line; std::getline(in, line);) {
        if (line.starts_with('#')) continue;
        std::vector<std::string>& cells = rows.emplace_back();
        std::istringstream rest(line);
        for (std::string cell; std::getline(rest, cell, '\t');) cells.push_back(cell);
        cells.resize(std::max<std::size_t>(cells.size(), 8));
    }
    return rows;
}

TEST_F(Export, JoinsOfTheSampleSayWhatItsTablesSay) {
    const std::string samples = std::string(TORVA_SOURCE_DIR) + "/samples/";
    ASSERT_EQ(Run("build \"" + samples + "instruments.json\" sample.sym").status, 0);
    const ToolResult result = Run("export --dictionary \"" + samples + "fields.json\" sample.sym sample.db");
    ASSERT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(Query("sample.db", "PRAGMA integrity_check; PRAGMA foreign_key_check"), Rows{"ok"});

    const auto countries = LoadTsv("countries.tsv");
    std::map<std::string, std::vector<std::string>> byAlpha2;
    for (const auto& country : countries) byAlpha2[country[0]] = country;
    Rows expected;
    for (const auto& instrument : LoadTsv("instruments.tsv")) {
        const auto country = byAlpha2.find(instrument[4]);
        if (country != byAlpha2.end()) {
            expected.push_back(instrument[1] + "|" + instrument[2] + "|" + instrument[4] + "|" +
                               country->second[3]);
        }
    }
    std::sort(expected.begin(), expected.end());
    Rows found =
        Query("sample.db",
              "SELECT s.symbol, s.name, e.text1, c.name FROM symbols s JOIN exchanges e ON e.id = s.country "
              "JOIN eidr_countries c ON c.id = e.id");
    std::sort(found.begin(), found.end());
    EXPECT_GT(expected.size(), 1000U);
    EXPECT_EQ(found, expected);
}

// Every own field of every symbol, and the rows of a section with three levels and of one with lists.
TEST_F(Export, KeepsAllSectionsAndMarksDamage) {
    const File file = SmallFile();
    Save("small.sym", file);
    ASSERT_EQ(Run("export small.sym small.db").status, 0);
    EXPECT_EQ(
        Query(
            "small.db",
            "SELECT symbol, group_concat(f.id || ':' || f.tag || ':' || coalesce(f.value, 'none'), ' ') FROM "
            "symbols LEFT JOIN symbol_fields f USING (symbol_no) GROUP BY symbol_no LIMIT 1"),
        (Rows{"A.1|1:1:17 2:2:34 3:3:858993459 4:4:17476 5:5:1431655765 6:6:7378697629483820646 7:7:own "
              "8:8:2290649224 9:9:10066329 10:0:none 11:200:none"}));
    EXPECT_EQ(Query("small.db", "SELECT symbol, field_7, field_21, field_10 FROM symbols"),
              (Rows{"A.1|own|8481|NULL", "B|default|8481|NULL", "||8481|NULL"}));
    EXPECT_EQ(
        Query("small.db",
              "SELECT h.id, h.name, i.tag, n.name FROM foreign_trade h JOIN foreign_trade_items i USING "
              "(head_no) JOIN foreign_trade_names n USING (item_no) LIMIT 1"),
        Rows{"1|h1|1|a"});
    EXPECT_EQ(Query("small.db", "SELECT count(*), sum(value) FROM section_groups_members"), Rows{"4|10"});

    Bytes bytes = Write(file);
    bytes.resize(bytes.size() / 2);
    SaveBytes("cut.sym", {reinterpret_cast<const char*>(bytes.data()), bytes.size()});
    const ToolResult damaged = Run("export cut.sym small.db");
    EXPECT_EQ(damaged.status, 1);
    EXPECT_NE(damaged.err.find("tvsym: cut.sym: section 16 (exchanges)"), std::string::npos) << damaged.err;
    EXPECT_EQ(Query("small.db", "SELECT count(*) > 3, max(section) FROM problems"), Rows{"1|22"});
    EXPECT_EQ(Query("small.db", "SELECT count(*) FROM symbols"), Rows{"3"});
}

TEST_F(Export, FailuresLeaveTheTargetAsItWas) {
    Save("small.sym", SmallFile());
    SaveBytes("old.db", "old");
    SaveBytes("empty.sym", "");
    EXPECT_EQ(Run("export empty.sym old.db").status, 2);
    EXPECT_EQ(Load("old.db"), "old");
    fs::create_directory("folder");
    EXPECT_EQ(Run("export --format sqlite small.sym folder").status, 2);
    EXPECT_EQ(Run("export small.sym nowhere/new.db").status, 2);
    EXPECT_EQ(Run("export --format xml small.sym new.db").status, 64);
    EXPECT_TRUE(fs::is_empty("folder"));
    EXPECT_EQ(std::distance(fs::directory_iterator("."), {}), 6);  // three files, the folder, two outputs
}

#endif

TEST_F(Export, WritesCsvFilesAndTheScriptsThatLoadThem) {
    File file;
    File all = SmallFile();
    for (Section& section : all.sections) {
        if (section.id <= 2 || section.id == 10 || section.id == 14) file.sections.push_back(section);
    }
    Save("small.sym", file);
    SaveBytes("small.sym.fields.json",
              R"({"1": {"name": "Name", "type": "text"}, "2": {"name": "SYMBOL", "type": "unsigned"},
                                           "4": {"name": "day", "type": "date"}})");
    ASSERT_EQ(Run("export small.sym tables/").status, 0);
    std::string text;
    std::vector<fs::path> files(fs::directory_iterator("tables"), {});
    std::sort(files.begin(), files.end());
    for (const fs::path& path : files) {
        text += "==> " + path.filename().string() + "\n" + Load(path);
    }
    ExpectGolden("export_csv.txt", text);
}

// A number that is not a day of the calendar is a number everywhere, and a column with one is not of dates.
TEST_F(Export, DaysOfTheCalendar) {
    struct Case {
        std::uint32_t number;
        const char* shown;
    };
    for (const Case& one :
         {Case{20240229, "2024-02-29"}, Case{20230229, "20230229"}, Case{20230231, "20230231"},
          Case{20231301, "20231301"}, Case{20231100, "20231100"}, Case{9991231, "9991231"}}) {
        const Section symbols = {.id = 2, .rows = {{"A", {NumberField(3, 3, one.number)}, {}}}};
        Save("day.sym", {{symbols}, {}, {}});
        SaveBytes("day.sym.fields.json", R"({"3": {"name": "day", "type": "date", "tag": 3}})");
        ASSERT_EQ(Run("export day.sym days/").status, 0);
        const bool date = std::string(one.shown).find('-') != std::string::npos;
        EXPECT_EQ(Load("days/symbols-wide.csv"),
                  "symbol_no,symbol,day\r\n1,A," + std::string(one.shown) + "\r\n");
        EXPECT_EQ(Load("days/load-postgresql.sql").find("\"day\" date") != std::string::npos, date)
            << one.number;
        EXPECT_NE(Run("get day.sym A").out.find(one.shown), std::string::npos);
        SaveBytes("day.json",
                  R"({"symbols": [{"symbol": "A", "fields": {"day": )" + std::to_string(one.number) + "}}]}");
        EXPECT_EQ(Run("build --dictionary day.sym.fields.json day.json built.sym").status, date ? 0 : 1);
    }
}

}  // namespace
}  // namespace tooltest
