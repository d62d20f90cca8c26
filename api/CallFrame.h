// The path that every exported call takes.
#pragma once

#include <new>

#include "core/SymFileManager.h"

namespace torva {

// Runs `operation` under the library's lock. No exception leaves an export: what can be thrown is that memory
// ran out.
template <class Operation>
i32 CallLibrary(Operation operation) noexcept {
    const ScopedLock lock(libraryLock);
    try {
        return operation(SymFileManager::Instance());
    } catch (...) {
        return SYM_ERR_NO_MEMORY;
    }
}

// Finds the file of a handle and runs an operation of it under the library's lock and the file's.
template <class Operation, class... Arguments>
i32 CallFile(u16 handle, Operation operation, Arguments... arguments) noexcept {
    return CallLibrary([&](SymFileManager& manager) -> i32 {
        SymFile* const file = manager.Find(handle);
        if (file == nullptr) return SYM_ERR_BAD_HANDLE;
        const ScopedLock lock(file->fileLock);
        return (file->*operation)(arguments...);
    });
}

}  // namespace torva
