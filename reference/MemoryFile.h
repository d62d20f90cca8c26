// A file object over bytes in memory, instead of the operating system's, that fails on request.
#pragma once

#include <cstdint>
#include <vector>

namespace memoryfile {

// What goes wrong: operations, counted from the open of the file on, or reads of certain bytes.
struct Plan {
    enum class Kind { kNone, kFail, kShort };
    Kind kind = Kind::kNone;
    uint64_t first = 0;  // the operation that goes wrong, from 0
    bool andAllBehind = false;

    uint64_t badBegin = 0, badEnd = 0;  // reads that want one of these bytes fail

    const std::vector<uint8_t>* changed = nullptr;  // the file's bytes from operation `changedFrom` on
    uint64_t changedFrom = 0;
};

// While this lives, every path opens as `bytes`, which must outlive the open files.
class Scope {
public:
    explicit Scope(const std::vector<uint8_t>& bytes, Plan plan = {});
    ~Scope();
    Scope(const Scope&) = delete;
    Scope& operator=(const Scope&) = delete;

    static void Recover();         // from here on no bytes are bad
    static uint64_t Operations();  // since the last open: reads and size queries
    static uint64_t Injected();    // faults since the scope began
    static int OpenFiles();
};

}  // namespace memoryfile
