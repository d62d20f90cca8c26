// Sets and tables over 16-bit ids, answered in constant time whatever their size.
#pragma once

#include <array>
#include <bit>
#include <memory>
#include <vector>

#include "core/Types.h"

namespace torva {

// A set of ids: one bit for each of the 65,536.
class IdSet {
public:
    void Add(u16 id) { words[id / 64U] |= u64{1} << (id % 64U); }
    void Remove(u16 id) { words[id / 64U] &= ~(u64{1} << (id % 64U)); }
    bool Has(u16 id) const { return (words[id / 64U] >> (id % 64U) & 1U) != 0; }

    // How many of the set's ids lie below `id` in the same word of 64 ids, and in the words ahead of it.
    u32 CountInWordBelow(u16 id) const {
        const u64 below = words[id / 64U] & ((u64{1} << (id % 64U)) - 1);
        return static_cast<u32>(std::popcount(below));
    }
    u32 CountInWord(u32 word) const { return static_cast<u32>(std::popcount(words[word])); }

    // The smallest id of the set from `from` on; 65,536 when there is none.
    u32 NextFrom(u32 from) const {
        for (u32 word = from / 64U; word < kWords; ++word) {
            u64 bits = words[word];
            if (word == from / 64U) bits &= ~u64{0} << (from % 64U);
            if (bits != 0) return word * 64U + static_cast<u32>(std::countr_zero(bits));
        }
        return kIds;
    }

    static constexpr u32 kIds = 65536;
    static constexpr u32 kWords = kIds / 64;

private:
    std::array<u64, kWords> words{};
};

// For each id the number of the first entry, in a list of entries, that has this id.
class FirstEntryIndex {
public:
    static constexpr u32 kNone = ~u32{0};

    // `idOf(i)` gives the id of entry i of `count` entries. Throws std::bad_alloc.
    template <class IdOf>
    void Build(u32 count, IdOf idOf) {
        ids = std::make_unique<IdSet>();
        for (u32 i = 0; i < count; ++i) ids->Add(idOf(i));
        u32 distinct = 0;
        for (u32 word = 0; word < IdSet::kWords; ++word) {
            idsAhead[word] = static_cast<u16>(distinct);
            distinct += ids->CountInWord(word);
        }
        first.assign(distinct, kNone);
        for (u32 i = 0; i < count; ++i) {
            u32& entry = first[Rank(idOf(i))];
            if (entry == kNone) entry = i;
        }
    }

    u32 Find(u16 id) const { return ids != nullptr && ids->Has(id) ? first[Rank(id)] : kNone; }

private:
    u32 Rank(u16 id) const { return idsAhead[id / 64U] + ids->CountInWordBelow(id); }

    std::unique_ptr<IdSet> ids;                 // null before Build
    std::array<u16, IdSet::kWords> idsAhead{};  // ids of the set ahead of each word of 64
    std::vector<u32> first;                     // by rank among the ids of the set
};

}  // namespace torva
