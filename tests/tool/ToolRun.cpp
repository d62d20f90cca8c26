#include "tests/tool/ToolRun.h"

#include <cstdlib>
#include <fstream>
#include <random>
#include <sstream>

namespace tooltest {

namespace fs = std::filesystem;

ToolTest::ToolTest() : before(fs::current_path()) {
    std::random_device random;
    const fs::path memory = "/dev/shm";  // where waiting for the disk costs nothing
    directory = (fs::is_directory(memory) ? memory : fs::temp_directory_path()) /
                ("tvsym_test_" + std::to_string(random()));
    fs::create_directories(directory);
    fs::current_path(directory);
}

ToolTest::~ToolTest() {
    std::error_code error;
    fs::current_path(before, error);
    fs::remove_all(directory, error);
}

ToolResult ToolTest::Run(const std::string& arguments) {
    // Another build of the tool than this one, with what it takes to run it.
    const char* const other = std::getenv("TORVA_TVSYM_COMMAND");
    const std::string tool = other != nullptr ? other : "\"" TORVA_TVSYM "\"";
    const std::string command = tool + " " + arguments + " >.out 2>.err";
    const int status = std::system(command.c_str());  // NOLINT(cert-env33-c): tests give their own words
    ToolResult result;
#ifdef _WIN32
    result.status = status;
#else
    result.status = WIFEXITED(status) ? WEXITSTATUS(status) : 1000 + status;
#endif
    result.out = Load(".out");
    result.err = Load(".err");
    if (other != nullptr) std::erase(result.err, '\r');  // a stream of text, of whatever system
    return result;
}

void ToolTest::Save(const std::string& name, const symwrite::File& file) {
    std::ofstream out(name, std::ios::binary);
    symwrite::Write(file, out);
}

void ToolTest::SaveBytes(const std::string& name, std::string_view bytes) {
    std::ofstream out(name, std::ios::binary);
    out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
}

std::string ToolTest::Load(const fs::path& name) {
    std::ifstream in(name, std::ios::binary);
    std::ostringstream bytes;
    bytes << in.rdbuf();
    return bytes.str();
}

void ToolTest::ExpectGolden(const std::string& name, const std::string& text) {
    const fs::path golden = fs::path(TORVA_SOURCE_DIR) / "tests/tool/golden" / name;
    if (std::getenv("TORVA_UPDATE_GOLDEN") != nullptr) {
        SaveBytes(golden.string(), text);
    }
    EXPECT_EQ(text, Load(golden)) << "against " << golden;
}

std::string Transcript(const std::string& arguments, const ToolResult& result) {
    return "$ tvsym " + arguments + "\n" + result.out + result.err + "[" + std::to_string(result.status) +
           "]\n";
}

}  // namespace tooltest
