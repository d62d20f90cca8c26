#include "viewer/wasm/Kernels.h"

#include <wasm_simd128.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>
#include <optional>
#include <string>
#include <vector>

namespace viewer {

namespace {

struct SortKey {
    u64 key;  // sorts like the value; of texts, the 8 bytes after their common prefix
    u32 row;
};

u64 BigEndianStart(std::string_view text) {
    u64 key = 0;
    for (std::size_t at = 0; at < 8; ++at) {
        key = key << 8 | (at < text.size() ? static_cast<u8>(text[at]) : 0U);
    }
    return key;
}

// The length of the prefix that all texts share.
std::size_t CommonPrefix(const ColumnView& column, const u32* rows, u32 count) {
    std::optional<std::string_view> common;
    for (u32 at = 0; at < count && common != std::string_view(); ++at) {
        if (column.IsNull(rows[at])) continue;
        const std::string_view text = column.Text(column.ValueOf(rows[at]));
        if (!common) common = text;
        const std::size_t most = std::min(common->size(), text.size());
        const auto differs = std::mismatch(common->begin(), common->begin() + most, text.begin()).first;
        common = common->substr(0, static_cast<std::size_t>(differs - common->begin()));
    }
    return common.value_or(std::string_view()).size();
}

u64 OrderedKey(const ColumnView& column, u32 row, std::size_t prefix) {
    const u32 value = column.ValueOf(row);
    if (column.IsText()) return BigEndianStart(column.Text(value).substr(prefix));
    const u64 bits = column.Number(value);
    if (column.bits == 0) return bits;
    const u64 sign = u64{1} << (column.bits - 1);
    switch (column.kind) {
        case ColumnView::Kind::Signed:
            return bits ^ sign;
        case ColumnView::Kind::Float:  // negative floats sort in reverse order of their bits
            return (bits & sign) != 0 ? ~bits & (sign | (sign - 1)) : bits | sign;
        default:
            return bits;
    }
}

constexpr std::array<u8, 256> kFolded = [] {
    std::array<u8, 256> folded{};
    for (u32 c = 0; c < 256; ++c) {
        folded[c] = static_cast<u8>(c >= 'A' && c <= 'Z' ? c + 32 : c);
    }
    return folded;
}();

u8 Fold(char c) { return kFolded[static_cast<u8>(c)]; }

bool FoldedEqual(const char* text, std::string_view folded) {
    for (std::size_t at = 0; at < folded.size(); ++at) {
        if (Fold(text[at]) != static_cast<u8>(folded[at])) return false;
    }
    return true;
}

bool Matches(std::string_view text, std::string_view folded, Match match) {
    if (text.size() < folded.size()) return false;
    if (match == Match::Equals && text.size() != folded.size()) return false;
    if (match != Match::Contains) return FoldedEqual(text.data(), folded);
    if (folded.empty()) return true;
    const u8 first = static_cast<u8>(folded[0]);
    const char* const last = text.data() + (text.size() - folded.size());
    for (const char* at = text.data(); at <= last; ++at) {
        if (Fold(*at) == first && FoldedEqual(at + 1, folded.substr(1))) return true;
    }
    return false;
}

}  // namespace

u64 ColumnView::Number(u32 value) const {
    if (kind == Kind::Bool) return values[value >> 3] >> (value & 7) & 1U;
    u64 number = 0;
    std::memcpy(&number, values + std::size_t{value} * width, width);
    return number;
}

std::string_view ColumnView::Text(u32 value) const {
    const char* const bytes = reinterpret_cast<const char*>(values);
    if (kind == Kind::Fixed) return {bytes + std::size_t{value} * width, width};
    return {bytes + offsets[value], static_cast<std::size_t>(offsets[value + 1] - offsets[value])};
}

u32 Sort(const ColumnView& column, u32* rows, u32 count, bool descending) {
    std::vector<SortKey> keys;
    keys.reserve(count);
    std::vector<u32> without;
    const bool text = column.IsText();
    const std::size_t prefix = text ? CommonPrefix(column, rows, count) : 0;
    for (u32 at = 0; at < count; ++at) {
        if (column.IsNull(rows[at])) {
            without.push_back(rows[at]);
        } else {
            keys.push_back({OrderedKey(column, rows[at], prefix), rows[at]});
        }
    }
    const auto less = [&](const SortKey& a, const SortKey& b) {
        if (a.key != b.key) return a.key < b.key;
        return text && column.Text(column.ValueOf(a.row)) < column.Text(column.ValueOf(b.row));
    };
    if (descending) {
        std::stable_sort(keys.begin(), keys.end(),
                         [&](const SortKey& a, const SortKey& b) { return less(b, a); });
    } else {
        std::stable_sort(keys.begin(), keys.end(), less);
    }
    u32* to = rows;
    for (const SortKey& key : keys) *to++ = key.row;
    std::copy(without.begin(), without.end(), to);
    return static_cast<u32>(keys.size());
}

u32 Runs(const ColumnView& column, const u32* rows, u32 count, u32* starts) {
    const auto same = [&](u32 a, u32 b) {
        if (a == b) return true;
        return column.IsText() ? column.Text(a) == column.Text(b) : column.Number(a) == column.Number(b);
    };
    u32 runs = 0;
    for (u32 at = 0; at < count; ++at) {
        if (at == 0 || !same(column.ValueOf(rows[at - 1]), column.ValueOf(rows[at]))) starts[runs++] = at;
    }
    return runs;
}

namespace {

// Finds a folded needle in bytes, 16 at a time: by its first and last byte, then by all of it. A letter is
// compared with bit 5 of the text set, which folds its case and makes a letter of nothing else.
class Finder {
public:
    explicit Finder(std::string_view foldedNeedle)
        : needle(foldedNeedle), first(Pattern(needle.front())), last(Pattern(needle.back())) {}

    // The first place from `at` on, or `end`. Does not read past `end`.
    const char* Find(const char* at, const char* end) const {
        const std::size_t tail = needle.size() - 1;
        constexpr std::ptrdiff_t kLanes = 16;
        for (; end - at >= kLanes + static_cast<std::ptrdiff_t>(tail); at += kLanes) {
            const v128_t both = wasm_v128_and(first.In(at), last.In(at + tail));
            for (u32 lanes = wasm_i8x16_bitmask(both); lanes != 0; lanes &= lanes - 1) {
                const char* const place = at + std::countr_zero(lanes);
                if (FoldedEqual(place, needle)) return place;
            }
        }
        for (; end - at > static_cast<std::ptrdiff_t>(tail); ++at) {
            if (FoldedEqual(at, needle)) return at;
        }
        return end;
    }

    std::size_t Size() const { return needle.size(); }

private:
    struct Pattern {
        explicit Pattern(char c)
            : wanted(wasm_i8x16_splat(c)), folding(wasm_i8x16_splat(c >= 'a' && c <= 'z' ? 0x20 : 0)) {}
        v128_t In(const char* at) const {
            return wasm_i8x16_eq(wasm_v128_or(wasm_v128_load(at), folding), wanted);
        }
        v128_t wanted;
        v128_t folding;
    };

    std::string_view needle;
    Pattern first;
    Pattern last;
};

// Sets hit[i] for each row first + i whose text contains the needle. The texts are contiguous, so they are
// searched as one.
void MarkContaining(const ColumnView& column, const Finder& finder, u32 first, u32 count, u8* hit) {
    const char* const bytes = reinterpret_cast<const char*>(column.values);
    const char* const end = bytes + column.offsets[first + count];
    u32 row = first;
    for (const char* at = bytes + column.offsets[first]; (at = finder.Find(at, end)) != end;) {
        while (bytes + column.offsets[row + 1] <= at) ++row;
        const char* const rowEnd = bytes + column.offsets[row + 1];
        if (at + finder.Size() <= rowEnd) {
            hit[row - first] = 1;
            at = rowEnd;
        } else {
            ++at;  // the match spans two texts
        }
    }
}

}  // namespace

u32 Search(const ColumnView* const* columns, u32 columnCount, std::string_view needle, Match match,
           const u32* rows, u32 first, u32 count, u32* found) {
    if (count == 0) return 0;
    std::string folded(needle);
    std::transform(folded.begin(), folded.end(), folded.begin(),
                   [](char c) { return static_cast<char>(Fold(c)); });
    const auto rowAt = [&](u32 at) { return rows != nullptr ? rows[first + at] : first + at; };
    u32 low = first;
    u32 high = first + count;
    if (rows != nullptr) {
        const auto [least, most] = std::minmax_element(rows + first, rows + first + count);
        low = *least;
        high = *most + 1;
    }
    const bool asOne = match == Match::Contains && !folded.empty();
    constexpr u64 kFew = 8;  // sparser rows are faster to search one by one
    const bool dense = high - low <= kFew * count;

    std::vector<u8> hit(high - low);
    for (u32 c = 0; c < columnCount; ++c) {
        const ColumnView& column = *columns[c];
        const bool texts = column.kind == ColumnView::Kind::Text;
        if (column.indices == nullptr && texts && asOne && dense) {
            MarkContaining(column, Finder(folded), low, high - low, hit.data());
            continue;
        }
        // Each value of a dictionary is matched once, not once per row.
        std::vector<u8> matching(column.indices != nullptr ? column.valueCount : 0);
        if (!matching.empty() && texts && asOne) {
            MarkContaining(column, Finder(folded), 0, column.valueCount, matching.data());
        } else {
            for (u32 at = 0; at < matching.size(); ++at) {
                matching[at] = Matches(column.Text(at), folded, match) ? 1 : 0;
            }
        }
        for (u32 at = 0; at < count; ++at) {
            const u32 row = rowAt(at);
            if (hit[row - low] != 0 || column.IsNull(row)) continue;
            const u32 value = column.ValueOf(row);
            hit[row - low] = column.indices != nullptr
                                 ? matching[value]
                                 : static_cast<u8>(Matches(column.Text(value), folded, match));
        }
    }

    u32 hits = 0;
    for (u32 at = 0; at < count; ++at) {
        found[hits] = rowAt(at);
        hits += hit[found[hits] - low];
    }
    return hits;
}

}  // namespace viewer
