// The distinct texts of a column, numbered in the order in which they first occur.
#pragma once

#include <cstring>
#include <vector>

#include "tables/columns/Buffer.h"

namespace torva::tables::columns {

inline u64 HashOf(const u8* text, std::size_t n) {
    constexpr u64 kMultiplier = 0x9e3779b97f4a7c15U;
    u64 hash = n * kMultiplier;
    while (n >= 8) {
        u64 word = 0;
        std::memcpy(&word, text, 8);
        hash = (hash ^ word) * kMultiplier;
        hash ^= hash >> 29U;
        text += 8;
        n -= 8;
    }
    if (n > 0) {
        u64 word = 0;
        std::memcpy(&word, text, n);
        hash = (hash ^ word) * kMultiplier;
        hash ^= hash >> 29U;
    }
    return hash * kMultiplier;
}

class Interner {
public:
    Interner() : slots(kFirstSlots), shift(64 - kFirstBits) {}

    // The number of `text`, new or known. Throws std::bad_alloc and LimitError.
    u32 Number(const u8* text, std::size_t n, Budget* budget) {
        const u64 hash = HashOf(text, n);
        const u32 mark = static_cast<u32>(hash);
        std::size_t at = static_cast<std::size_t>(hash >> shift);
        const std::size_t mask = slots.size() - 1;
        for (; slots[at].number != 0; at = (at + 1) & mask) {
            if (slots[at].mark == mark && Equals(slots[at].number - 1, text, n)) return slots[at].number - 1;
        }
        return Add(text, n, hash, budget);
    }

    u32 Count() const { return static_cast<u32>(ends.size()); }
    u32 Begin(u32 number) const { return number == 0 ? 0 : ends[number - 1]; }
    u32 End(u32 number) const { return ends[number]; }
    const u8* Bytes() const { return bytes.As(); }
    u64 ByteCount() const { return ends.empty() ? 0 : ends.back(); }

private:
    struct Slot {
        u32 mark = 0;
        u32 number = 0;  // + 1; 0: free
    };
    static constexpr u32 kFirstBits = 6;
    static constexpr u32 kFirstSlots = 1U << kFirstBits;

    bool Equals(u32 number, const u8* text, std::size_t n) const {
        const u32 begin = Begin(number);
        return ends[number] - begin == n && (n == 0 || std::memcmp(bytes.As() + begin, text, n) == 0);
    }

    u32 Add(const u8* text, std::size_t n, u64 hash, Budget* budget) {
        const u64 held = ByteCount();
        if (held + n > 0x7fffffffU) throw LimitError();
        if (held + n > bytes.Room()) {
            bytes.Resize(static_cast<std::size_t>(std::max<u64>(held + n, bytes.Room() * 2 + 256)), budget);
        }
        if (n > 0) std::memcpy(bytes.As() + held, text, n);
        ends.push_back(static_cast<u32>(held + n));
        if (ends.size() * 2 > slots.size()) {
            Rehash();
        } else {
            Place(hash, static_cast<u32>(ends.size()));
        }
        return Count() - 1;
    }

    void Place(u64 hash, u32 number) {
        const std::size_t mask = slots.size() - 1;
        std::size_t at = static_cast<std::size_t>(hash >> shift);
        while (slots[at].number != 0) at = (at + 1) & mask;
        slots[at] = {static_cast<u32>(hash), number};
    }

    void Rehash() {
        std::vector<Slot>(slots.size() * 2).swap(slots);
        --shift;
        for (u32 i = 0; i < Count(); ++i) Place(HashOf(bytes.As() + Begin(i), End(i) - Begin(i)), i + 1);
    }

    std::vector<Slot> slots;
    u32 shift;
    Buffer bytes;
    std::vector<u32> ends;
};

}  // namespace torva::tables::columns
