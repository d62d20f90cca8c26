// The fixed-width names that the library's own code uses, and the one assumption about the host.
#pragma once

#include <bit>
#include <cstdint>

namespace torva {

using u8 = std::uint8_t;
using u16 = std::uint16_t;
using u32 = std::uint32_t;
using u64 = std::uint64_t;
using i32 = std::int32_t;
using i64 = std::int64_t;

// A symbol file is little-endian and its values reach the caller byte for byte, to be read in place.
static_assert(std::endian::native == std::endian::little);

}  // namespace torva
