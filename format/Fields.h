// Typed fields, in which sections 1, 2 and 6 carry their data:
//
//   0   u16   id
//   2   u8    tag
//   3         payload, its width by tag
//
// Ids and payloads have no meaning here: they are compared and moved.
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

struct FieldTag {
    u8 tag;
    const char* type;  // of the payload
    u8 width;          // bytes of the payload in the file; 0 for a text, which ends at its zero byte
    u8 blockSize;      // bytes of the block that a caller receives; 0 for a text, which gets what it needs
};

// Every tag with a payload. All others are null values: 3 bytes in the file, no block.
inline constexpr std::array<FieldTag, 9> kTags = {{
    {1, "u8", 1, 1},
    {2, "u8", 1, 1},
    {3, "u32", 4, 4},
    {4, "u16", 2, 2},
    {5, "u32", 4, 4},
    {6, "u64", 8, 8},
    {7, "text", 0, 0},
    {8, "u32", 4, 11},
    {9, "u24", 3, 9},
}};

constexpr u8 kTextTag = 7;
constexpr u32 kMostPayload = 8;  // of a fixed width
constexpr u32 kMostFixedField = sizeof(FieldHeader) + kMostPayload;

namespace detail {

constexpr std::array<u8, 256> ByTag(u8 FieldTag::*member) {
    std::array<u8, 256> values = {};
    for (const FieldTag& tag : kTags) values[tag.tag] = tag.*member;
    return values;
}

inline constexpr std::array<u8, 256> kPayloadWidths = ByTag(&FieldTag::width);
inline constexpr std::array<u8, 256> kBlockSizes = ByTag(&FieldTag::blockSize);

}  // namespace detail

// Bytes of a payload in the file; 0 for a text and for a null value.
constexpr u32 PayloadWidth(u8 tag) { return detail::kPayloadWidths[tag]; }

// Bytes of the block that a caller receives for a value of this tag; 0 for a text and for a null value.
constexpr u32 BlockSize(u8 tag) { return detail::kBlockSizes[tag]; }

constexpr bool HasPayload(u8 tag) { return tag == kTextTag || PayloadWidth(tag) != 0; }

// Tags with a block that is longer than the value: after the value it shows the bytes that follow in the
// arena.
constexpr bool HasTail(u8 tag) { return BlockSize(tag) > PayloadWidth(tag); }

}  // namespace torva
