// The widths of typed fields.
#pragma once

#include <array>

#include "format/Types.h"

namespace torva {

#pragma pack(push, 1)
struct FieldHeader {
    u16 id;
    u8 tag;
};
#pragma pack(pop)
static_assert(sizeof(FieldHeader) == 3);

constexpr u8 kTextTag = 7;
constexpr u32 kMostPayload = 8;  // of a fixed width
constexpr u32 kMostFixedField = sizeof(FieldHeader) + kMostPayload;

// By tag; tags that are not told are null values.
inline constexpr std::array<u8, 256> kPayloadWidths = {0, 1, 1, 4, 2, 4, 8, 0, 4, 3};
inline constexpr std::array<u8, 256> kBlockSizes = {0, 1, 1, 4, 2, 4, 8, 0, 11, 9};

// Bytes of a payload in the file; 0 for a text and for a null value.
constexpr u32 PayloadWidth(u8 tag) { return kPayloadWidths[tag]; }

// Bytes of the block that a caller gets for a value of this tag; 0 for a text, which gets what it needs, and
// for a null value, which gets none.
constexpr u32 BlockSize(u8 tag) { return kBlockSizes[tag]; }

// Tags with a block that is longer than the value: behind the value it shows the bytes that follow in the
// arena.
constexpr bool HasTail(u8 tag) { return tag == 8 || tag == 9; }

}  // namespace torva
