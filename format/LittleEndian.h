// Little-endian numbers of 1 to 8 bytes, read from and written to unaligned bytes.
#pragma once

#include <cstddef>

#include "format/Types.h"

namespace torva {

// `Byte` is any type of one byte. The bytes at `from` and `to` must be there.
template <typename Byte>
constexpr u64 ReadNumber(const Byte* from, std::size_t width) {
    static_assert(sizeof(Byte) == 1);
    u64 number = 0;
    for (std::size_t at = width; at-- > 0;) number = number << 8 | static_cast<u8>(from[at]);
    return number;
}

template <typename T, typename Byte>
constexpr T ReadNumber(const Byte* from) {
    return static_cast<T>(ReadNumber(from, sizeof(T)));
}

// Writes the low `width` bytes of `number`.
template <typename Byte>
constexpr void WriteNumber(Byte* to, u64 number, std::size_t width) {
    static_assert(sizeof(Byte) == 1);
    for (std::size_t at = 0; at < width; ++at) to[at] = static_cast<Byte>(static_cast<u8>(number >> 8 * at));
}

// The largest number that `width` bytes hold.
constexpr u64 LargestNumber(std::size_t width) { return width < 8 ? (u64{1} << 8 * width) - 1 : ~u64{0}; }

}  // namespace torva
