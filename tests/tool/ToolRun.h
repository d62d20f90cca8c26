// Runs tvsym as a process and compares what it wrote.
#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "symwrite/SymFileWriter.h"

namespace tooltest {

struct ToolResult {
    int status = -1;
    std::string out;
    std::string err;
};

// Runs in a directory of its own, which is the current one during that time, so that outputs name files
// without a path.
class ToolTest : public testing::Test {
protected:
    ToolTest();
    ~ToolTest() override;
    ToolTest(const ToolTest&) = delete;
    ToolTest& operator=(const ToolTest&) = delete;

    // `arguments` as a shell takes them.
    static ToolResult Run(const std::string& arguments);

    static void Save(const std::string& name, const symwrite::File& file);
    static void SaveBytes(const std::string& name, std::string_view bytes);
    static std::string Load(const std::filesystem::path& name);

    // Compares with tests/tool/golden/NAME; with TORVA_UPDATE_GOLDEN set in the environment writes it
    // instead.
    static void ExpectGolden(const std::string& name, const std::string& text);

private:
    std::filesystem::path before;
    std::filesystem::path directory;
};

// Command line, output, errors and status, for golden files.
std::string Transcript(const std::string& arguments, const ToolResult& result);

}  // namespace tooltest
