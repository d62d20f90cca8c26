#include "tables/columns/Source.h"

#include <algorithm>
#include <cstring>

namespace torva::tables::columns {

bool Source::Read(u64 offset, u8* dst, u32 n, u32& got) const {
    got = 0;
    if (file != nullptr) return file->ReadAt(offset, dst, n, got);
    if (offset >= size) return true;
    got = static_cast<u32>(std::min<u64>(n, size - offset));
    std::memcpy(dst, memory + offset, got);
    return true;
}

}  // namespace torva::tables::columns
