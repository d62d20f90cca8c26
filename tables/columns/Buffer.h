// Memory for columns: blocks that grow where they are, and the limit on what a load may take.
#pragma once

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <cstring>
#include <new>
#include <utility>

#include "format/Types.h"

namespace torva::tables::columns {

// Thrown where columns would take more memory than the load may use, or a column more than Arrow's 32-bit
// offsets address.
struct LimitError {};

// For tests: when set and true, the next allocation of a Buffer fails.
inline bool (*failsNow)() = nullptr;

// The bytes that the columns of one load hold together. Shared by the threads of the load.
class Budget {
public:
    explicit Budget(u64 most) : limit(most) {}
    void Take(u64 bytes) {
        if (used.fetch_add(bytes, std::memory_order_relaxed) + bytes > limit) {
            used.fetch_sub(bytes, std::memory_order_relaxed);
            throw LimitError();
        }
    }
    u64 Used() const { return used.load(std::memory_order_relaxed); }
    u64 Limit() const { return limit; }
    void Return(u64 bytes) { used.fetch_sub(bytes, std::memory_order_relaxed); }

private:
    const u64 limit;
    std::atomic<u64> used{0};
};

// A block of bytes. It grows with realloc, which moves the pages of a large block instead of its bytes.
class Buffer {
public:
    Buffer() = default;
    Buffer(Buffer&& other) noexcept { Swap(other); }
    Buffer& operator=(Buffer&& other) noexcept {
        Swap(other);
        return *this;
    }
    Buffer(const Buffer&) = delete;
    Buffer& operator=(const Buffer&) = delete;
    ~Buffer() { Free(); }

    // Room for `bytes`, with what is there kept. New bytes have no defined value. Throws std::bad_alloc and
    // LimitError, with nothing changed.
    void Resize(std::size_t bytes, Budget* from) {
        if (bytes == room) return;
        if (bytes == 0) return Free();
        if (bytes > room && from != nullptr) from->Take(bytes - room);
        void* const grown = failsNow != nullptr && failsNow() ? nullptr : std::realloc(block, bytes);
        if (grown == nullptr) {
            if (bytes < room) return;  // the longer block serves as well
            if (from != nullptr) from->Return(bytes - room);
            throw std::bad_alloc();
        }
        if (bytes < room && budget != nullptr) budget->Return(room - bytes);
        if (from != nullptr) budget = from;
        block = grown;
        room = bytes;
    }

    void Free() {
        std::free(block);
        if (budget != nullptr) budget->Return(room);
        budget = nullptr;  // which may end before the empty buffer does
        block = nullptr;
        room = 0;
    }

    // The load is over: the block outlives its budget and no longer counts.
    void Detach() {
        if (budget != nullptr) budget->Return(room);
        budget = nullptr;
    }

    std::size_t Room() const { return room; }
    template <class T = u8>
    T* As() {
        return static_cast<T*>(block);
    }
    template <class T = u8>
    const T* As() const {
        return static_cast<const T*>(block);
    }

private:
    void Swap(Buffer& other) noexcept {
        std::swap(block, other.block);
        std::swap(room, other.room);
        std::swap(budget, other.budget);
    }

    void* block = nullptr;
    std::size_t room = 0;
    Budget* budget = nullptr;
};

// --- Bitmaps, the lowest bit of a byte first.

inline std::size_t BitmapBytes(u64 bits) { return static_cast<std::size_t>((bits + 7) / 8); }

inline bool Bit(const u8* bits, u64 at) { return (u32{bits[at / 8]} >> (at % 8) & 1U) != 0; }

// Sets bits `from` to `to` of a bitmap.
inline void SetBits(u8* bits, u64 from, u64 to) {
    if (from >= to) return;
    const u64 first = from / 8;
    const u64 last = to / 8;
    const u32 head = 0xffU << from % 8;
    const u32 tail = (1U << to % 8) - 1;
    if (first == last) {
        bits[first] = static_cast<u8>(bits[first] | (head & tail));
        return;
    }
    bits[first] = static_cast<u8>(bits[first] | head);
    if (last > first + 1) std::memset(bits + first + 1, 0xff, static_cast<std::size_t>(last - first - 1));
    if (tail != 0) bits[last] = static_cast<u8>(bits[last] | tail);
}

// Appends `count` bits of `from` to a zeroed bitmap that has `at` bits.
inline void AppendBits(u8* to, u64 at, const u8* from, u64 count) {
    for (u64 i = 0; i < count; ++i) {
        if (Bit(from, i)) to[(at + i) / 8] = static_cast<u8>(to[(at + i) / 8] | 1U << ((at + i) % 8));
    }
}

}  // namespace torva::tables::columns
