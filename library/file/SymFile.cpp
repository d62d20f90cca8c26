#include "library/file/SymFile.h"

#include <cstring>
#include <utility>

#include "library/core/DefaultFields.h"

namespace torva {
namespace {

constexpr std::size_t kMostPath = 25600;  // characters

}  // namespace

i32 SymFile::Open(const char* path, u32 memoryBudget, bool wholeFile) {
    if (path == nullptr || strnlen(path, kMostPath + 1) > kMostPath) return SYM_ERR_PARAM;
    std::unique_ptr<platform::File> openFile = platform::OpenFile(path, platform::Sharing::exclusive);
    if (openFile == nullptr) return SYM_ERR_OPEN;
    return Open(std::move(openFile), memoryBudget, wholeFile);
}

i32 SymFile::Open(std::unique_ptr<platform::File> openFile, u32 memoryBudget, bool wholeFile) {
    file.Open(std::move(openFile), wholeFile);
    return Prepare(memoryBudget);
}

i32 SymFile::OpenImage(const u8* image, u64 size, u32 memoryBudget) {
    file.OpenImage(image, size);
    return Prepare(memoryBudget);
}

i32 SymFile::Prepare(u32 memoryBudget) {
    const i32 result = PrepareMemory(file, symbols.defaults, memoryBudget);
    if (result != SYM_OK) return result;
    symbols.defaults.ListWanted([this](u16 id) { return symbols.Wants(id); });
    return SYM_OK;
}

}  // namespace torva
