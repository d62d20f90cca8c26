#include "tables/columns/Index.h"

#include <algorithm>

namespace torva::tables::columns {
namespace {

u64 HashOf(std::string_view text) {
    return columns::HashOf(reinterpret_cast<const u8*>(text.data()), text.size());
}

// The first 8 bytes as a number in their order; a symbol has no zero bytes, so shorter ones sort first.
u64 KeyOf(std::string_view text) {
    u64 key = 0;
    for (std::size_t i = 0; i < 8; ++i) key = key << 8U | (i < text.size() ? static_cast<u8>(text[i]) : 0U);
    return key;
}

}  // namespace

HashIndex::HashIndex(TextsView texts) {
    u32 bits = 4;
    while ((u64{1} << bits) * 3 < u64{texts.Count()} * 4) ++bits;
    slots.resize(std::size_t{1} << bits);
    shift = 64 - bits;
    const std::size_t mask = slots.size() - 1;
    // From the last row up, so that a slot ends with the first row of its symbol.
    for (u32 row = texts.Count(); row-- > 0;) {
        const std::string_view text = texts[row];
        const u64 hash = HashOf(text);
        const u32 mark = static_cast<u32>(hash);
        std::size_t at = static_cast<std::size_t>(hash >> shift);
        while (slots[at].row != kNone && (slots[at].mark != mark || texts[slots[at].row] != text))
            at = (at + 1) & mask;
        if (slots[at].row != kNone) {
            if (nextSame.empty()) nextSame.assign(texts.Count(), kNone);
            nextSame[row] = slots[at].row;
        }
        slots[at] = {mark, row};
    }
}

u32 HashIndex::Find(TextsView texts, std::string_view symbol) const {
    const u64 hash = HashOf(symbol);
    const u32 mark = static_cast<u32>(hash);
    const std::size_t mask = slots.size() - 1;
    for (std::size_t at = static_cast<std::size_t>(hash >> shift); slots[at].row != kNone;
         at = (at + 1) & mask) {
        if (slots[at].mark == mark && texts[slots[at].row] == symbol) return slots[at].row;
    }
    return kNone;
}

SortedIndex::SortedIndex(TextsView texts) {
    struct Entry {
        u64 key;
        u32 row;
    };
    std::vector<Entry> entries(texts.Count());
    for (u32 row = 0; row < texts.Count(); ++row) entries[row] = {KeyOf(texts[row]), row};
    std::sort(entries.begin(), entries.end(), [&](const Entry& a, const Entry& b) {
        if (a.key != b.key) return a.key < b.key;
        if ((a.key & 0xffU) != 0) {
            const int difference = texts[a.row].compare(texts[b.row]);
            if (difference != 0) return difference < 0;
        }
        return a.row < b.row;
    });
    keys.resize(entries.size());
    order.resize(entries.size());
    for (std::size_t i = 0; i < entries.size(); ++i) {
        keys[i] = entries[i].key;
        order[i] = entries[i].row;
    }
}

void SortedIndex::Range(TextsView texts, std::string_view prefix, u32& begin, u32& end) const {
    const u64 low = KeyOf(prefix);
    const u64 high = prefix.size() >= 8 ? low : low | ~u64{0} >> (8 * prefix.size());
    auto first = std::lower_bound(keys.begin(), keys.end(), low);
    auto last = std::upper_bound(first, keys.end(), high);
    begin = static_cast<u32>(first - keys.begin());
    end = static_cast<u32>(last - keys.begin());
    if (prefix.size() <= 8) return;
    const auto before = [&](u32 row) { return texts[row].substr(0, prefix.size()) < prefix; };
    const auto through = [&](u32 row) { return texts[row].substr(0, prefix.size()) <= prefix; };
    const u32* const rows = order.data();
    const u32* const from = std::partition_point(rows + begin, rows + end, before);
    const u32* const to = std::partition_point(from, rows + end, through);
    begin = static_cast<u32>(from - rows);
    end = static_cast<u32>(to - rows);
}

}  // namespace torva::tables::columns
