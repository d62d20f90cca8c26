#include "library/core/SymFile.h"

#include <cstring>
#include <utility>

namespace torva {
namespace {

constexpr std::size_t kMostPath = 25600;  // characters

}  // namespace

SymFile::SymFile(const u16* fieldIds, u16 fieldIdCount) {
    if (fieldIdCount == 0) return;
    wantedIds = std::make_unique<IdSet>();
    for (u32 i = 0; fieldIds != nullptr && i < fieldIdCount; ++i) wantedIds->Add(fieldIds[i]);
}

SymFile::~SymFile() { Close(); }

i32 SymFile::Open(const char* path, u32 memoryBudget, bool wholeFile) {
    if (path == nullptr) return SYM_ERR_PARAM;
    if (strnlen(path, kMostPath + 1) > kMostPath) return SYM_ERR_PARAM;
    std::unique_ptr<platform::File> file = platform::OpenFile(path, platform::Sharing::exclusive);
    if (file == nullptr) return SYM_ERR_OPEN;
    return Open(std::move(file), memoryBudget, wholeFile);
}

i32 SymFile::Open(std::unique_ptr<platform::File> file, u32 memoryBudget, bool wholeFile) {
    source.Open(std::move(file), wholeFile);
    LoadDirectory();
    return PrepareMemory(memoryBudget);
}

i32 SymFile::OpenImage(const u8* image, u64 size, u32 memoryBudget) {
    source.OpenImage(image, size);
    LoadDirectory();
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
    const u32 came = source.ReadPastWindow(dst, n * size).got;
    source.StepBack(came % size);
    Consume(came / size * size);
    return came / size;
}

}  // namespace torva
