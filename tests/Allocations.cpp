#include "Allocations.h"

#include <malloc.h>

#include <atomic>
#include <cstdlib>
#include <new>

#include "platform/Platform.h"

namespace torva::test {
namespace {

std::atomic<bool> watching{false};
std::atomic<bool> refused{false};
std::atomic<bool> keepFailing{false};
std::atomic<std::int64_t> failNumber{AllocationWatch::kNever};
std::atomic<std::int64_t> calls{0};
std::atomic<std::int64_t> live{0};
std::atomic<std::int64_t> peak{0};

std::int64_t SizeOf(void* block) {
#ifdef _WIN32
    return static_cast<std::int64_t>(_msize(block));
#else
    return static_cast<std::int64_t>(malloc_usable_size(block));
#endif
}

bool MayAllocate() {
    if (!watching) return true;
    const std::int64_t number = calls++;
    const bool fails = number == failNumber || (keepFailing && number > failNumber);
    if (fails) refused = true;
    return !fails;
}

void* Counted(void* block) {
    if (!watching || block == nullptr) return block;
    const std::int64_t now = live += SizeOf(block);
    std::int64_t highest = peak;
    while (now > highest && !peak.compare_exchange_weak(highest, now)) {
    }
    return block;
}

void* Take(std::size_t size) noexcept {
    return MayAllocate() ? Counted(std::malloc(size == 0 ? 1 : size)) : nullptr;
}

void* TakeOrThrow(std::size_t size) {
    void* const block = Take(size);
    if (block == nullptr) throw std::bad_alloc();
    return block;
}

// The library gives these back with free().
void* TakeZeroed(std::size_t size) { return MayAllocate() ? std::calloc(size, 1) : nullptr; }

void Give(void* block) noexcept {
    if (block == nullptr) return;
    if (watching) live -= SizeOf(block);
    std::free(block);
}

}  // namespace

AllocationWatch::AllocationWatch(std::int64_t failAt, bool failOn) {
    failNumber = failAt;
    keepFailing = failOn;
    calls = live = peak = 0;
    refused = false;
    platform::SetZeroedAllocator(TakeZeroed);
    watching = true;
}

AllocationWatch::~AllocationWatch() {
    watching = false;
    platform::SetZeroedAllocator(nullptr);
}

std::int64_t AllocationWatch::Calls() const { return calls; }
std::int64_t AllocationWatch::LiveBytes() const { return live; }
std::int64_t AllocationWatch::PeakBytes() const { return peak; }
bool AllocationWatch::Refused() const { return refused; }

}  // namespace torva::test

void* operator new(std::size_t size) { return torva::test::TakeOrThrow(size); }
void* operator new[](std::size_t size) { return torva::test::TakeOrThrow(size); }
void* operator new(std::size_t size, const std::nothrow_t&) noexcept { return torva::test::Take(size); }
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept { return torva::test::Take(size); }
void operator delete(void* block) noexcept { torva::test::Give(block); }
void operator delete[](void* block) noexcept { torva::test::Give(block); }
void operator delete(void* block, std::size_t) noexcept { torva::test::Give(block); }
void operator delete[](void* block, std::size_t) noexcept { torva::test::Give(block); }
void operator delete(void* block, const std::nothrow_t&) noexcept { torva::test::Give(block); }
void operator delete[](void* block, const std::nothrow_t&) noexcept { torva::test::Give(block); }
