#include "Allocations.h"

#include <malloc.h>

#include <cstdlib>
#include <cstring>
#include <new>

namespace torva::test::allocations {

std::atomic<std::int64_t> liveBlocks{0};
std::atomic<std::int64_t> liveBytes{0};
std::atomic<std::int64_t> peakBytes{0};
bool (*failsNow)() = nullptr;
void (*beforeFree)() = nullptr;

namespace {

std::int64_t SizeOf(void* block) {
#ifdef _WIN32
    return static_cast<std::int64_t>(_msize(block));
#else
    return static_cast<std::int64_t>(malloc_usable_size(block));
#endif
}

void* Take(std::size_t size) noexcept {
    if (failsNow != nullptr && failsNow()) return nullptr;
    void* const block = std::malloc(size == 0 ? 1 : size);
    if (block == nullptr) return nullptr;
    ++liveBlocks;
    const std::int64_t now = liveBytes += SizeOf(block);
    std::int64_t highest = peakBytes;
    while (now > highest && !peakBytes.compare_exchange_weak(highest, now)) {
    }
    return std::memset(block, 0xcd, size);  // what is handed out without having been written shows
}

void* TakeOrThrow(std::size_t size) {
    void* const block = Take(size);
    if (block == nullptr) throw std::bad_alloc();
    return block;
}

void Give(void* block) noexcept {
    if (block == nullptr) return;
    if (beforeFree != nullptr) beforeFree();
    --liveBlocks;
    liveBytes -= SizeOf(block);
    std::free(block);
}

}  // namespace
}  // namespace torva::test::allocations

namespace allocations = torva::test::allocations;

void* operator new(std::size_t size) { return allocations::TakeOrThrow(size); }
void* operator new[](std::size_t size) { return allocations::TakeOrThrow(size); }
void* operator new(std::size_t size, const std::nothrow_t&) noexcept { return allocations::Take(size); }
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept { return allocations::Take(size); }
void operator delete(void* block) noexcept { allocations::Give(block); }
void operator delete[](void* block) noexcept { allocations::Give(block); }
void operator delete(void* block, std::size_t) noexcept { allocations::Give(block); }
void operator delete[](void* block, std::size_t) noexcept { allocations::Give(block); }
void operator delete(void* block, const std::nothrow_t&) noexcept { allocations::Give(block); }
void operator delete[](void* block, const std::nothrow_t&) noexcept { allocations::Give(block); }
