// The process-wide registry of open files.
#pragma once

#include <memory>
#include <vector>

#include "format/Types.h"
#include "library/core/SymFile.h"
#include "library/core/TVCriticalSection.h"

namespace torva {

// Held by every export but tv_GetAPIVersion for its whole run. Ready when the library is loaded.
extern TVCriticalSection libraryLock;

// A handle is a number from 1 up; it names a file from the end of a successful open to its close. All
// operations are called with libraryLock held.
class SymFileManager {
public:
    // The one manager. It comes into being at the first call and closes what is left open when the library is
    // unloaded.
    static SymFileManager& Instance() {
        static SymFileManager manager;
        return manager;
    }

    SymFileManager(const SymFileManager&) = delete;
    SymFileManager& operator=(const SymFileManager&) = delete;
    virtual ~SymFileManager();

    void RaiseHandleLimit(u16 limit) { handleLimit = std::max(handleLimit, limit); }

    // The handle, or a result code. A failed open leaves nothing behind.
    i32 Open(const char* path, u32 memoryBudget, const u16* fieldIds, u32 fieldIdCount, bool wholeFile);

    // The file of a handle; null when it is not open.
    SymFile* Find(u16 handle) { return handle < openFiles.size() ? openFiles[handle].get() : nullptr; }

    void Close(u16 handle);
    void CloseAll();

private:
    SymFileManager() = default;

    i32 ChooseHandle();

    std::vector<std::unique_ptr<SymFile>> openFiles;  // by handle; null where the handle is free
    u16 handleLimit = 10;                             // highest handle that ChooseHandle gives
};

}  // namespace torva
