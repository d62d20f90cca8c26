// The path that every exported call takes.
//
// No cancellation of a thread takes effect inside a call. The places where one could are calls of the system,
// which the platform layer guards, and the host's allocator. Calls that allocate or free are guarded as a
// whole, here; for all others that would cost more than their work.
#pragma once

#include <new>

#include "library/exports/SymFileManager.h"
#include "library/platform/Platform.h"

namespace torva {

// Runs `operation` under the library's lock. No exception leaves an export: what can be thrown is that memory
// ran out. Once the library is being unloaded nothing runs.
template <class Operation>
i32 CallLibrary(Operation operation) noexcept {
    const platform::NoCancellation guard;
    const ScopedLock lock(libraryLock);
    if (lock.Refused()) return SYM_ERR_BAD_HANDLE;
    SymFileManager& manager = SymFileManager::Instance();
    if (lock.Outermost()) manager.UseAlone(0);
    try {
        return operation(manager);
    } catch (...) {
        return SYM_ERR_NO_MEMORY;
    }
}

// Runs `operation` on an open file; libraryLock is held.
template <class Operation>
i32 CallOpenFile(SymFile* open, Operation operation) noexcept {
    if (open == nullptr) return SYM_ERR_BAD_HANDLE;
    try {
        return operation(*open);
    } catch (...) {
        return SYM_ERR_NO_MEMORY;
    }
}

// The way of a call beside other threads, or inside another call.
template <class Operation>
[[gnu::noinline]] i32 CallFileShared(u16 handle, Operation operation) noexcept {
    const ScopedLock lock(libraryLock);
    if (lock.Refused()) return SYM_ERR_BAD_HANDLE;
    SymFileManager& manager = SymFileManager::Instance();
    if (lock.Outermost()) manager.UseAlone(0);
    const SymFileManager::Use use(manager, handle);
    return CallOpenFile(manager.Find(handle), operation);
}

// Runs `operation` on the file of a handle under the library's lock.
template <class Operation>
i32 CallFile(u16 handle, Operation operation) noexcept {
    if (!libraryLock.EnterAlone()) return CallFileShared(handle, operation);
    SymFileManager& manager = SymFileManager::Instance();
    manager.UseAlone(handle);
    const i32 result = CallOpenFile(manager.Find(handle), operation);
    libraryLock.Leave();
    return result;
}

// The same for an operation of one of the file's readers.
template <auto reader, auto operation, class... Arguments>
i32 CallReader(u16 handle, Arguments... arguments) noexcept {
    return CallFile(handle,
                    [=](SymFile& open) { return (open.*reader.*operation)(open.file, arguments...); });
}

// The same for an operation that allocates.
template <auto reader, auto operation, class... Arguments>
i32 CallAllocatingReader(u16 handle, Arguments... arguments) noexcept {
    const platform::NoCancellation guard;
    return CallReader<reader, operation>(handle, arguments...);
}

}  // namespace torva
