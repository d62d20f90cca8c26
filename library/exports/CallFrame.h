// The path that every exported call takes.
#pragma once

#include <new>

#include "library/exports/SymFileManager.h"

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

// Runs `operation` on the file of a handle under the library's lock.
template <class Operation>
i32 CallFile(u16 handle, Operation operation) noexcept {
    const ScopedLock lock(libraryLock);
    SymFileManager& manager = SymFileManager::Instance();
    SymFile* const open = lock.Refused() ? nullptr : manager.Find(handle);
    if (open == nullptr) return SYM_ERR_BAD_HANDLE;
    const SymFileManager::Use use(manager, handle);
    try {
        return operation(*open);
    } catch (...) {
        return SYM_ERR_NO_MEMORY;
    }
}

// The same for an operation of one of the file's readers.
template <auto reader, auto operation, class... Arguments>
i32 CallReader(u16 handle, Arguments... arguments) noexcept {
    return CallFile(handle,
                    [=](SymFile& open) { return (open.*reader.*operation)(open.file, arguments...); });
}

}  // namespace torva
