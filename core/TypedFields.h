// The widths of typed fields.
#pragma once

#include <array>

#include "core/Types.h"

namespace torva {

#pragma pack(push, 1)
struct FieldHeader {
    u16 id;
    u8 tag;
};
#pragma pack(pop)
static_assert(sizeof(FieldHeader) == 3);

constexpr u8 kTextTag = 7;
constexpr u32 kMostPayload = 8;

// Bytes of a payload in the file; 0 for a text and for a null value.
constexpr u32 PayloadWidth(u8 tag) {
    constexpr std::array<u8, 10> kWidths = {0, 1, 1, 4, 2, 4, 8, 0, 4, 3};
    return tag < kWidths.size() ? kWidths[tag] : 0;
}

// Bytes of the block that a caller gets for a value of this tag; 0 for a text, which gets what it needs, and
// for a null value, which gets none.
constexpr u32 BlockSize(u8 tag) {
    constexpr std::array<u8, 10> kSizes = {0, 1, 1, 4, 2, 4, 8, 0, 11, 9};
    return tag < kSizes.size() ? kSizes[tag] : 0;
}

}  // namespace torva
