// A host that replaces the array form of operator new: its blocks don't start where malloc's do, so that
// `free` does not take them.
#include <cstdlib>
#include <new>

namespace {
constexpr std::size_t kHead = 64;
}

void* operator new[](std::size_t size) {
    void* block = std::malloc(size + kHead);
    if (block == nullptr) std::abort();
    return static_cast<char*>(block) + kHead;
}

void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
    void* block = std::malloc(size + kHead);
    return block == nullptr ? nullptr : static_cast<char*>(block) + kHead;
}

void operator delete[](void* block) noexcept {
    if (block != nullptr) std::free(static_cast<char*>(block) - kHead);
}

void operator delete[](void* block, std::size_t) noexcept { operator delete[](block); }
