#include "viewer/wasm/Kernels.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <string>
#include <vector>

namespace viewer {

namespace {

struct SortKey {
    u64 key;  // orders the values as unsigned numbers; of texts their first 8 bytes
    u32 row;
};

u64 BigEndianStart(std::string_view text) {
    u64 key = 0;
    for (std::size_t at = 0; at < 8; ++at) {
        key = key << 8 | (at < text.size() ? static_cast<u8>(text[at]) : 0U);
    }
    return key;
}

u64 OrderedKey(const ColumnView& column, u32 row) {
    const u32 value = column.ValueOf(row);
    if (column.IsText()) return BigEndianStart(column.Text(value));
    const u64 bits = column.Number(value);
    if (column.bits == 0) return bits;
    const u64 sign = u64{1} << (column.bits - 1);
    switch (column.kind) {
        case ColumnView::Kind::Signed:
            return bits ^ sign;
        case ColumnView::Kind::Float:  // negative numbers in the opposite order of their bits
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

void Sort(const ColumnView& column, u32* rows, u32 count, bool descending) {
    std::vector<SortKey> keys;
    keys.reserve(count);
    std::vector<u32> without;
    for (u32 at = 0; at < count; ++at) {
        if (column.IsNull(rows[at])) {
            without.push_back(rows[at]);
        } else {
            keys.push_back({OrderedKey(column, rows[at]), rows[at]});
        }
    }
    const bool text = column.IsText();
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
}

u32 Search(const ColumnView* const* columns, u32 columnCount, std::string_view needle, Match match,
           const u32* rows, u32 first, u32 count, u32* found) {
    std::string folded(needle);
    std::transform(folded.begin(), folded.end(), folded.begin(),
                   [](char c) { return static_cast<char>(Fold(c)); });

    // Which values of a dictionary match is found once, not for each row.
    std::vector<std::vector<u8>> matching(columnCount);
    for (u32 c = 0; c < columnCount; ++c) {
        const ColumnView& column = *columns[c];
        if (column.indices == nullptr) continue;
        matching[c].resize(column.valueCount);
        for (u32 at = 0; at < column.valueCount; ++at) {
            matching[c][at] = Matches(column.Text(at), folded, match) ? 1 : 0;
        }
    }

    u32 hits = 0;
    for (u32 at = 0; at < count; ++at) {
        const u32 row = rows != nullptr ? rows[first + at] : first + at;
        for (u32 c = 0; c < columnCount; ++c) {
            const ColumnView& column = *columns[c];
            if (column.IsNull(row)) continue;
            const u32 value = column.ValueOf(row);
            const bool hit = column.indices != nullptr ? matching[c][value] != 0
                                                       : Matches(column.Text(value), folded, match);
            if (hit) {
                found[hits++] = row;
                break;
            }
        }
    }
    return hits;
}

}  // namespace viewer
