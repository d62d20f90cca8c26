// Sets and tables over 16-bit ids, answered in constant time whatever their size.
#pragma once

#include <array>
#include <bit>
#include <vector>

#include "format/Types.h"

namespace torva {

// A set of ids: one bit for each of the 65,536.
class IdSet {
public:
    void Add(u16 id) { words[id / 64U] |= u64{1} << (id % 64U); }
    bool Has(u16 id) const { return (words[id / 64U] >> (id % 64U) & 1U) != 0; }

    // The smallest id of the set from `from` on, which is below kIds; 65,536 or more when there is none.
    u32 NextFrom(u32 from) const {
        u32 word = from / 64U;
        u64 bits = words[word] & ~u64{0} << (from % 64U);
        while (bits == 0 && ++word < kWords) bits = words[word];
        return word * 64U + static_cast<u32>(std::countr_zero(bits));
    }

    static constexpr u32 kIds = 65536;
    static constexpr u32 kWords = kIds / 64;

private:
    std::array<u64, kWords> words{};
};

// For each id the number of the first entry, in a list of entries, that has this id. Pages of 64 ids are made
// where an id is; all other ids share page 0, which has no entry.
class FirstEntryIndex {
public:
    static constexpr u32 kNone = ~u32{0};

    // `idOf(i)` returns the id of entry i of `count` entries. Throws std::bad_alloc.
    template <class IdOf>
    void Build(u32 count, IdOf idOf) {
        pageOf.fill(0);
        first.assign(kPage, kNone);
        for (u32 i = 0; i < count; ++i) {
            const u16 id = idOf(i);
            u16& page = pageOf[id / kPage];
            if (page == 0) {
                page = static_cast<u16>(first.size() / kPage);
                first.resize(first.size() + kPage, kNone);
            }
            u32& entry = first[page * kPage + id % kPage];
            if (entry == kNone) entry = i;
        }
    }

    // Once the index is built.
    u32 Find(u16 id) const { return first[pageOf[id / kPage] * kPage + id % kPage]; }

private:
    static constexpr u32 kPage = 64;

    std::array<u16, IdSet::kIds / kPage> pageOf{};
    std::vector<u32> first;
};

}  // namespace torva
