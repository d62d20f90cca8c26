#include "TestSupport.h"

#include <atomic>
#include <cstdio>
#include <fstream>
#include <random>

#include "format/Results.h"

namespace torva::test {

std::string TempFile::NewPath() {
    static const unsigned run = std::random_device()();
    static std::atomic<unsigned> number{0};
    return ::testing::TempDir() + "torva-" + std::to_string(run) + "-" + std::to_string(++number);
}

TempFile::TempFile(const Bytes& bytes) : path(NewPath()) {
    std::ofstream out(path, std::ios::binary);
    out.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    EXPECT_TRUE(out.good()) << path;
}

TempFile::~TempFile() { std::remove(path.c_str()); }

void ExpectWalks(std::span<const WalkCase> cases, const std::function<std::string(u16)>& walk) {
    for (const WalkCase& one : cases) {
        SCOPED_TRACE(one.name);
        ExpectWalk(one.bytes, walk, one.expected);
    }
}

// As in format/Results.h, without what the names have in common: "OK", "MORE", "TOO_SMALL".
std::string Name(i32 result) {
    const ResultCode* known = FindResult(result);
    if (known == nullptr) return std::to_string(result);
    std::string name = known->name;
    for (const std::string_view part : {"SYM_", "ERR_", "BUFFER_", "_OF_DATA", "_DATA"}) {
        if (const auto at = name.find(part); at != std::string::npos) name.erase(at, part.size());
    }
    return name;
}

std::string WalkOn(i32 initial, const std::function<std::string()>& next) {
    Calls calls;
    calls << Name(initial);
    for (int call = 0; call < kMostCalls; ++call) {
        const std::string outcome = next();
        calls << outcome;
        if (!outcome.starts_with("OK") && !outcome.starts_with("MORE")) return calls.Text();
    }
    return calls.Text() + "; no end";
}

std::string TakeItems(i32 result, const std::vector<SymFieldItem>& items, const i32& count) {
    std::string text = Name(result);
    const bool handedOver = result == SYM_OK || result == SYM_MORE_DATA || result == SYM_ERR_BUFFER_TOO_SMALL;
    if (!handedOver) return count > 0 ? text + " (" + std::to_string(count) + ")" : text;
    for (i32 i = 0; i < count; ++i) {
        const SymFieldItem item = items.at(static_cast<std::size_t>(i));
        text += " " + std::to_string(item.id) + ":";
        if (item.value == nullptr) {
            text += "-";
        } else if (item.tag == kTextTag) {
            text += "'" + std::string(static_cast<const char*>(item.value)) + "'";
        } else {
            text += Hex(item.value, BlockSize(item.tag));
        }
        FreeValue(item.value);
    }
    return text;
}

}  // namespace torva::test
