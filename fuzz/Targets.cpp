#include "fuzz/Targets.h"

#include <algorithm>
#include <sstream>

#include "reference/CallDriver.h"
#include "symwrite/Json.h"

namespace fuzz {

namespace {

constexpr size_t kMostWalked = 40;  // bounds a walk instead of the file's size

std::string WalkBothModes(const driver::Bytes& file, const uint8_t* calls, const uint8_t* callsEnd,
                          driver::OpenOptions open) {
    for (const bool wholeFile : {false, true}) {
        open.wholeFile = wholeFile;
        driver::Pair pair(file, open);
        const uint8_t* next = calls;
        while (const auto call = driver::Decode(next, callsEnd)) pair.Step(*call);
        driver::WalkAll([&pair](const driver::Call& call) { return pair.Step(call); },
                        {3, 20, 2, kMostWalked});
        if (!pair.Difference().empty())
            return (wholeFile ? "memory mode\n" : "file mode\n") + pair.Difference();
    }
    return "";
}

}  // namespace

std::string RunCalls(const uint8_t* data, size_t size) {
    if (size < 2) return "";
    driver::OpenOptions open;
    if ((data[0] & 1) != 0) open.fieldIds = {1, 3, 7, 250};
    if ((data[0] & 2) != 0) open.fieldIds.push_back(0);
    if ((data[0] & 4) != 0) open.memoryBudget = 102401U + (data[0] >> 4) * 16U;
    const size_t calls = std::min<size_t>(data[1] * size_t{3}, size - 2);
    const uint8_t* const callsEnd = data + 2 + calls;
    return WalkBothModes(driver::Bytes(callsEnd, data + size), data + 2, callsEnd, open);
}

std::string RunBuild(const uint8_t* data, size_t size) {
    std::istringstream document(std::string(reinterpret_cast<const char*>(data), size));
    symwrite::JsonErrors errors;
    driver::Bytes file;
    try {
        const symwrite::File content = symwrite::ReadJson(document, {}, errors);
        if (!errors.Empty()) return "";
        file = Write(content);
    } catch (const symwrite::WriteError&) {
        return "";  // a value too large for its place is reported
    }
    return WalkBothModes(file, nullptr, nullptr, {});
}

}  // namespace fuzz
