// Drives the library and the plain reader through the same calls and compares every result, every byte that a
// call may write, what lies around it, the texts and values that pointers point to, and the progress.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "reference/LibraryReader.h"
#include "reference/MemoryFile.h"
#include "reference/PlainReader.h"

namespace driver {

using Bytes = std::vector<uint8_t>;

// Every export that takes a handle, except those that open and close, by its name without "tv_"; the progress
// follows each call anyway.
#define TORVA_OP(name) k##name,
enum class Op : uint8_t { TORVA_OPERATIONS(TORVA_OP) kOps };
#undef TORVA_OP

// One call. `room` holds its capacities, text limits or buffer sizes in the order of its arguments; what
// takes an unsigned size gets a negative one as 0. A set bit of `nulls` makes that pointer argument null; the
// pointers inside a record count after the arguments.
struct Call {
    Op op = Op::kGetExtendSectionList;
    int32_t room[3] = {};
    int32_t count = 0;  // what a count argument holds on entry
    uint32_t nulls = 0;
};

std::string Describe(const Call& call);

// Three bytes make a call of a small set of rooms and counts; advances `data`. Empty when there are too few.
std::optional<Call> Decode(const uint8_t*& data, const uint8_t* end);

struct Outcome {
    int32_t result = 0;
    double progress = 0;
    bool guardsIntact = true;
    std::string outputs;  // the outputs, pointers replaced by what they point to
    bool operator==(const Outcome&) const = default;
};

struct OpenOptions {
    bool wholeFile = false;
    uint32_t memoryBudget = 110000;
    uint64_t badBegin = 0, badEnd = 0;  // bytes of the file that can't be read
    std::vector<uint16_t> fieldIds;
};

// The library and the plain reader with one file open in each; the library reads it from memory.
class Pair {
public:
    Pair(const Bytes& file, const OpenOptions& options);
    ~Pair();
    Pair(const Pair&) = delete;
    Pair& operator=(const Pair&) = delete;

    // SYM_OK, or what the library's open returned.
    int32_t OpenResult() const { return openResult; }
    Outcome Step(const Call& call);
    // In file mode: the bytes that could not be read can be from now on.
    void Recover();
    // What is open in each, for tests that replace parts of it.
    uint16_t Handle() const { return handle; }
    plain::PlainReader& Plain() { return reader; }
    // What differed first, with the calls that led there; empty while nothing has.
    const std::string& Difference() const { return difference; }

private:
    void Differ(const Outcome& library, const Outcome& expected);

    std::optional<memoryfile::Scope> scope;
    plain::PlainReader reader;
    uint16_t handle = 0;
    int32_t openResult = 0;
    std::vector<Call> history;
    std::string difference;
};

// True while the library works on a call of CallLibrary or Pair, for what should fail only there.
extern thread_local bool insideLibrary;

// The call on an open handle of the library only.
Outcome CallLibrary(uint16_t handle, const Call& call);

// Walks all sections in the order of their ids as a caller would, every array with room for `capacity`
// elements and every text with room for `textRoom` bytes. Of the children of a nested record at most
// `children` are taken, so that the rest is skipped. An endless walk is left after a number of
// calls derived from the size of the file.
struct WalkOptions {
    int32_t capacity = 4;
    int32_t textRoom = 64;
    uint32_t children = UINT32_MAX;
    size_t fileSize = 0;
};
using Stepper = std::function<Outcome(const Call&)>;
void WalkAll(const Stepper& step, const WalkOptions& options);

}  // namespace driver
