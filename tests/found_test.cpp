// Inputs that once showed a fault, each named for what is wrong with it: they stay harmless for ever after.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

#include "fuzz/Targets.h"

namespace {

using Run = std::string (*)(const uint8_t* data, size_t size);

void RunAll(const char* target, Run run) {
    size_t inputs = 0;
    const std::filesystem::path found = std::filesystem::path(TORVA_SOURCE_DIR) / "fuzz" / "found" / target;
    for (const auto& entry : std::filesystem::directory_iterator(found)) {
        std::ifstream in(entry.path(), std::ios::binary);
        const std::vector<char> input(std::istreambuf_iterator<char>(in), {});
        EXPECT_EQ(run(reinterpret_cast<const uint8_t*>(input.data()), input.size()), "") << entry.path();
        ++inputs;
    }
    EXPECT_GT(inputs, 0U) << found;
}

TEST(Found, Calls) { RunAll("calls", fuzz::RunCalls); }

TEST(Found, Build) { RunAll("build", fuzz::RunBuild); }

}  // namespace
