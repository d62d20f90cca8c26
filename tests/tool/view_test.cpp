// view: the page that it makes holds the files, byte for byte, and nothing that a name or a byte could add to
// it.
#include <cstdlib>
#include <vector>

#include "tests/tool/ToolRun.h"

namespace tooltest {
namespace {

constexpr const char* kPage = "<html><body><p></body></html>\n";

struct Carried {
    std::string name;
    std::string bytes;
    int blocks = 0;
};

std::string Decoded(std::string_view text) {
    static constexpr std::string_view kDigits =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string bytes;
    unsigned bits = 0;
    int held = 0;
    for (const char digit : text.substr(0, text.find('='))) {
        bits = bits << 6U | static_cast<unsigned>(kDigits.find(digit));
        held += 6;
        if (held < 8) continue;
        held -= 8;
        bytes += static_cast<char>(bits >> static_cast<unsigned>(held));
    }
    return bytes;
}

std::vector<Carried> CarriedBy(const std::string& page) {
    const std::string start = "<script type=\"application/octet-stream\" ";
    std::vector<Carried> files;
    for (size_t at = page.find(start); at != std::string::npos; at = page.find(start, at)) {
        at += start.size();
        const size_t text = page.find('>', at) + 1;
        const std::string attribute = page.substr(at, text - 1 - at);
        if (attribute != "data-more") files.push_back({attribute, "", 0});
        files.back().bytes += Decoded(std::string_view(page).substr(text, page.find('<', text) - text));
        ++files.back().blocks;
    }
    return files;
}

TEST_F(ToolTest, ViewPutsFilesIntoThePage) {
    SaveBytes("page.html", kPage);
    std::string large(size_t{3} * 1024 * 1024 + 2, '\0');
    for (size_t at = 0; at < large.size(); ++at) large[at] = static_cast<char>(at * 7 + at / 1000);
    // Windows takes no file names of this kind.
    const bool foreign = std::getenv("TORVA_TVSYM_COMMAND") != nullptr;
    const std::string name = foreign ? "a&b.sym" : "a\"&<b>.sym";
    SaveBytes(name, large);
    SaveBytes("other.sym", "x");
    SaveBytes(name + ".fields.json", R"({"1": {"name": "n", "type": "text"}})");
    const ToolResult made = Run("view --page page.html --output out.html '" + name + "' other.sym");
    EXPECT_EQ(made.status, 0) << made.err;
    const std::string page = Load("out.html");
    EXPECT_EQ(page.find("<html><body><p><script"), 0U);
    EXPECT_TRUE(page.ends_with("</script>\n</body></html>\n"));
    const std::vector<Carried> files = CarriedBy(page);
    ASSERT_EQ(files.size(), 3U);
    EXPECT_EQ(files[0].name,
              foreign ? "data-name=\"a&#38;b.sym\"" : "data-name=\"a&#34;&#38;&#60;b&#62;.sym\"");
    EXPECT_TRUE(files[0].bytes == large);
    EXPECT_EQ(files[0].blocks, 2);
    EXPECT_EQ(files[1].name + files[1].bytes, "data-name=\"other.sym\"x");
    EXPECT_EQ(files[2].bytes, Load(name + ".fields.json"));

    const std::pair<const char*, const char*> refused[] = {
        {"view --page page.html none.sym", "none.sym"},
        {"view --page none.html other.sym", "none.html"},
        {"view --page other.sym other.sym", "other.sym: not the viewer's page"},
        {"view --page page.html --dictionary other.sym other.sym", "other.sym"},
        {"view --page page.html --output other.sym other.sym", "other.sym"},
    };
    for (const auto& [arguments, message] : refused) {
        const ToolResult result = Run(arguments);
        EXPECT_NE(result.status, 0) << arguments;
        EXPECT_NE(result.err.find(message), std::string::npos) << arguments << ": " << result.err;
    }
    EXPECT_EQ(Load("other.sym"), "x");
}

TEST_F(ToolTest, ViewStartsTheBrowser) {
    if (std::getenv("TORVA_TVSYM_COMMAND") != nullptr)
        GTEST_SKIP() << "another system starts its own browser";
    SaveBytes("page.html", kPage);
    SaveBytes("a.sym", "x");
    SaveBytes("browser", "#!/bin/sh\nprintf %s \"$1\" >opened\n");
    std::filesystem::permissions("browser", std::filesystem::perms::owner_all);
    const std::string folder = std::filesystem::current_path().string();
    ::setenv("TMPDIR", folder.c_str(), 1);
    const char* const given = std::getenv("PATH");
    const std::string path = given != nullptr ? given : "";
    ::setenv("PATH", folder.c_str(), 1);  // with no other program that opens files
    const std::pair<const char*, int> browsers[] = {{"none:browser", 0}, {"none", 2}};
    for (const auto& [browser, status] : browsers) {
        ::setenv("BROWSER", browser, 1);
        const ToolResult result = Run("view --page page.html a.sym");
        EXPECT_EQ(result.status, status) << result.err;
        const std::string opened = status == 0 ? Load("opened") : "";
        EXPECT_NE(result.err.find(status == 0 ? "opened " + opened : "no browser"), std::string::npos)
            << result.err;
        if (status != 0) continue;
        const std::vector<Carried> files = CarriedBy(Load(opened));
        ASSERT_EQ(files.size(), 1U) << opened;
        EXPECT_EQ(files[0].bytes, "x");
        namespace fs = std::filesystem;
        EXPECT_EQ(fs::status(opened).permissions(), fs::perms::owner_read | fs::perms::owner_write);
        // A later view removes it once it is old.
        fs::last_write_time(opened, fs::file_time_type::clock::now() - std::chrono::hours(25));
        EXPECT_EQ(Run("view --page page.html a.sym").status, 0);
        EXPECT_FALSE(fs::exists(opened));
    }
    ::setenv("PATH", path.c_str(), 1);
    ::unsetenv("TMPDIR");
    ::unsetenv("BROWSER");
}

}  // namespace
}  // namespace tooltest
