// The hash of everything that is only compared, never stored: FNV-1a of 64 bits.
#pragma once

#include <string_view>

#include "format/Types.h"

namespace torva::tables {

constexpr u64 kHashStart = 0xcbf29ce484222325U;

constexpr u64 HashStep(u64 hash, u64 value) { return (hash ^ value) * 0x100000001b3U; }

constexpr u64 Hash(std::string_view bytes, u64 hash = kHashStart) {
    for (const char c : bytes) hash = HashStep(hash, static_cast<u8>(c));
    return hash;
}

}  // namespace torva::tables
