// What the library allocates, seen and refused: the test program's operator new in place of the language's.
#pragma once

#include <cstdint>

namespace torva::test {

// Watches operator new and the platform's zeroed blocks, in all threads, for as long as it lives; one at a
// time.
class AllocationWatch {
public:
    static constexpr std::int64_t kNever = -1;

    // Refuses the allocation with number `failAt` (the first is 0), and with `failOn` all that follow.
    explicit AllocationWatch(std::int64_t failAt = kNever, bool failOn = false);
    ~AllocationWatch();
    AllocationWatch(const AllocationWatch&) = delete;
    AllocationWatch& operator=(const AllocationWatch&) = delete;

    std::int64_t Calls() const;  // allocations asked for
    std::int64_t LiveBytes()
        const;  // allocated minus freed since the watch began; blocks from before count below 0
    std::int64_t PeakBytes() const;  // the highest value of LiveBytes()
    bool Refused() const;            // an allocation was refused
};

}  // namespace torva::test
