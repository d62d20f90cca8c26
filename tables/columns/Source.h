// Where the bytes of a load come from: a file, or memory of the caller.
#pragma once

#include <memory>

#include "format/Types.h"
#include "library/platform/Platform.h"

namespace torva::tables::columns {

class Source {
public:
    Source() = default;
    explicit Source(std::unique_ptr<platform::File> openFile) : file(std::move(openFile)) {
        if (!file->Size(size)) size = 0;
    }
    Source(const u8* bytes, u64 byteCount) : memory(bytes), size(byteCount) {}

    u64 Size() const { return size; }

    // All bytes, where they are in memory already; else null.
    const u8* Memory() const { return memory; }

    // Reads up to `n` bytes at `offset`; `got` is less only where the data ends. False where the system
    // cannot read them. May be called by several threads at once.
    bool Read(u64 offset, u8* dst, u32 n, u32& got) const;

private:
    std::unique_ptr<platform::File> file;
    const u8* memory = nullptr;
    u64 size = 0;
};

}  // namespace torva::tables::columns
