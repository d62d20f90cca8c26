#include "library/core/SymFile.h"

#include <cstring>

namespace torva {

SymFile::SymFile(const TVCriticalSection& libraryLock, const u16* fieldIds, u16 fieldIdCount)
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

// Leaves a record that came in part to the reads from the window, and all of them when the read fails.
u32 SymFile::ReadRecordsPastWindow(void* dst, u32 size, u32 n) {
    const u32 came = source.ReadPastWindow(dst, n * size);
    source.StepBack(came % size);
    Consume(came / size * size);
    return came / size;
}

}  // namespace torva
