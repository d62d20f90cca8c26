// The allocator of the whole test program, replacing the language's: it counts, and it can fail on
// purpose.
#pragma once

#include <atomic>
#include <cstdint>

namespace torva::test::allocations {

extern std::atomic<std::int64_t> liveBlocks;
extern std::atomic<std::int64_t> liveBytes;
extern std::atomic<std::int64_t> peakBytes;  // the highest liveBytes since a test last set it

// Asked before each allocation; true lets it fail. Null never does.
extern bool (*failsNow)();

// Called before each deallocation unless null.
extern void (*beforeFree)();

}  // namespace torva::test::allocations
