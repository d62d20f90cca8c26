// The path that every exported call takes.
#pragma once

#include <new>

#include "library/core/SymFileManager.h"

namespace torva {

// Runs `operation` under the library's lock. No exception leaves an export: what can be thrown is that memory
// ran out. Once the library is being unloaded nothing runs.
template <class Operation>
i32 CallLibrary(Operation operation) noexcept {
    const ScopedLock lock(libraryLock);
    if (lock.Refused()) return SYM_ERR_BAD_HANDLE;
    try {
        return operation(SymFileManager::Instance());
    } catch (...) {
        return SYM_ERR_NO_MEMORY;
    }
}

// Finds the file of a handle and runs an operation of it under the library's lock. The operation is a
// template argument so that the call is a direct one, with the arguments still in registers.
template <auto operation, class... Arguments>
i32 CallFile(u16 handle, Arguments... arguments) noexcept {
    const ScopedLock lock(libraryLock);
    SymFileManager& manager = SymFileManager::Instance();
    SymFile* const file = lock.Refused() ? nullptr : manager.Find(handle);
    if (file == nullptr) return SYM_ERR_BAD_HANDLE;
    const SymFileManager::Use use(manager, handle);
    try {
        return (file->*operation)(arguments...);
    } catch (...) {
        return SYM_ERR_NO_MEMORY;
    }
}

}  // namespace torva
