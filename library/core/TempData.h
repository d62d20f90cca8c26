// A bump arena over one block of memory.
#pragma once

#include <algorithm>
#include <cassert>
#include <cstring>
#include <functional>
#include <limits>
#include <memory>
#include <new>

#include "format/Types.h"

namespace torva {

// Values are placed with a gap of one zero byte before each: a value of n bytes is at pos + 1, and pos
// moves on by n + 1. The last 4 bytes of the block lie outside the placing room.
//
//   base                                  pos                               end         base + size
//   | 0 | value | 0 | value | ... | value | 0 | room for the next value ... | 4 bytes   |
class TempData {
public:
    TempData() = default;
    TempData(const TempData&) = delete;
    TempData& operator=(const TempData&) = delete;
    virtual ~TempData() = default;

    // Takes a block of `newSize` bytes, at least 4, replacing the one it holds; 0 means no block. False
    // when there is no memory. No page of it is touched before it is used: only bytes that were placed are
    // ever lent, and their gaps are zeroed with them.
    bool Init(u32 newSize) {
        block.reset();
        size = newSize;
        base = nullptr;
        if (size > 0) {
            block.reset(new (std::nothrow) u8[size]);
            base = block.get();
            if (base == nullptr) return false;
        }
        pos = base;
        end = size > 0 ? base + (size - 4) : base;
        return true;
    }

    // Empties the arena: the part in use is zeroed, so that what was placed there is gone.
    void Reset() {
        if (pos == base) return;
        std::memset(base, 0, static_cast<std::size_t>(pos - base) + 4);
        pos = base;
    }

    bool Empty() const { return pos == base; }

    // Bytes of room: a value of n bytes can be placed when this is at least n + 1.
    std::size_t Room() const { return static_cast<std::size_t>(end - pos); }

    // Where the next value is to be written before it is placed, and the most characters that a text may have
    // there.
    u8* Next() const { return pos + 1; }
    i32 MaxText() const { return TextLimit(Room()); }
    static constexpr i32 TextLimit(u64 room) {
        constexpr i64 kMost = std::numeric_limits<i32>::max();
        return static_cast<i32>(std::min(static_cast<i64>(room) - 1, kMost));
    }

    bool Fits(u32 n) const { return Room() > n; }

    // Keeps the `n` bytes written at Next(), for which there is room. The gap after them is 0 whatever was
    // read over it before.
    u8* Place(u32 n) {
        assert(Fits(n));
        u8* const value = pos + 1;
        pos += std::size_t{n} + 1;
        *pos = 0;
        return value;
    }

    // Gives up `n` bytes of room without placing anything there.
    void Use(std::size_t n) {
        assert(n <= Room());
        pos += n;
    }

    // Moves the write position back to the start and keeps the bytes.
    void Rewind() { pos = base; }

    // Whether `value` points into what is in use; then HeldFrom(value) is the number of bytes in use from it
    // on.
    bool Holds(const void* value) const {
        return std::greater_equal<const void*>()(value, base) && std::less<const void*>()(value, pos);
    }
    std::size_t HeldFrom(const void* value) const {
        return static_cast<std::size_t>(pos - static_cast<const u8*>(value));
    }

    // The write position: everything placed is before it. TakeBack(mark) frees what was placed after
    // `mark`.
    u8* Mark() const { return pos; }
    void TakeBack(u8* mark) {
        std::memset(mark, 0, static_cast<std::size_t>(pos - mark) + 1);
        pos = mark;
    }

private:
    std::unique_ptr<u8[]> block;
    u32 size = 0;
    u8* base = nullptr;
    u8* end = nullptr;
    u8* pos = nullptr;
};

}  // namespace torva
