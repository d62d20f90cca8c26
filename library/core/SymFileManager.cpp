#include "library/core/SymFileManager.h"

#include <new>

namespace torva {

TVCriticalSection libraryLock;

SymFileManager::~SymFileManager() {
    const ScopedLock lock(libraryLock);
    CloseAll();
}

// The lowest free handle. With no file open it is 1; the limit is never below 10.
i32 SymFileManager::ChooseHandle() {
    for (u32 handle = 1; handle <= handleLimit; ++handle) {
        if (handle >= openFiles.size() || openFiles[handle] == nullptr) return static_cast<i32>(handle);
    }
    return SYM_ERR_NO_SLOT;
}

// Registration is the last step, and the room for it is made first, so that no failure leaves a trace.
i32 SymFileManager::Open(const char* path, u32 memoryBudget, const u16* fieldIds, u32 fieldIdCount,
                         bool wholeFile) {
    const i32 handle = ChooseHandle();
    if (handle < 0) return handle;
    const auto wantedCount = static_cast<u16>(fieldIdCount & 0xFFFFU);
    if (wantedCount > 0 && fieldIds == nullptr) return SYM_ERR_PARAM;
    const auto index = static_cast<std::size_t>(handle);
    if (openFiles.size() <= index) openFiles.resize(index + 1);
    auto file = std::make_unique<SymFile>(fieldIds, wantedCount);
    const i32 result = file->Open(path, memoryBudget, wholeFile);
    if (result != SYM_OK) return result;
    openFiles[index] = std::move(file);
    return handle;
}

void SymFileManager::Close(u16 handle) {
    if (handle < openFiles.size()) openFiles[handle].reset();
}

void SymFileManager::CloseAll() {
    openFiles.clear();
    openFiles.shrink_to_fit();
}

}  // namespace torva
