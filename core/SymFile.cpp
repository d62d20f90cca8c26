#include "core/SymFile.h"

#include <cstring>

namespace torva {

SymFile::SymFile(const TVCriticalSection* libraryLock, const u16* fieldIds, u16 fieldIdCount)
    : fileLock(libraryLock) {
    if (fieldIdCount == 0) return;
    wantedIds = std::make_unique<IdSet>();
    for (u32 i = 0; i < fieldIdCount; ++i) wantedIds->Add(fieldIds[i]);
}

SymFile::~SymFile() { Close(); }

i32 SymFile::Open(const char* path, u32 memoryBudget, bool wholeFile) {
    if (path == nullptr) return SYM_ERR_PARAM;
    const std::size_t length = strnlen(path, filePath.size());
    if (length == filePath.size()) return SYM_ERR_PARAM;
    std::memcpy(filePath.data(), path, length + 1);
    if (!OpenFile(wholeFile)) return SYM_ERR_OPEN;
    return PrepareMemory(memoryBudget);
}

void SymFile::Close() {
    source.Close();
    sectionId = 0;
    directory.clear();
    wantedIds.reset();
}

u32 SymFile::ReadRecords(void* dst, u32 size, u32 n, bool& ended) {
    u8* to = static_cast<u8*>(dst);
    u32 done = 0;
    ended = false;
    while (done < n && !ended) {
        const u32 part = std::clamp<u32>(static_cast<u32>(source.Lent() / size), 1, n - done);
        if (source.Lent() < size) std::memset(to, 0, size);
        ReadLoose(to, part * size);
        to += std::size_t{part} * size;
        done += part;
        ended = source.AtEnd();
    }
    return done;
}

}  // namespace torva
