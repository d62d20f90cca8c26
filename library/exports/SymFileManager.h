// The process-wide registry of open files.
#pragma once

#include <algorithm>
#include <array>

#include "format/Types.h"
#include "library/core/TVCriticalSection.h"
#include "library/file/SymFile.h"

namespace torva {

// Held by every export except tv_GetAPIVersion for its whole run.
extern TVCriticalSection libraryLock;

// A handle is a number from 1 up; it names a file from the end of a successful open to its close. All
// operations are called with libraryLock held.
//
// Like the lock, the registry is constant data until it is used: no constructor or destructor runs, so
// exports work inside those of a host. Each change is one write, so a child forked beside a running call
// finds it whole.
class SymFileManager {
public:
    static SymFileManager& Instance() { return instance; }

    constexpr SymFileManager() = default;
    SymFileManager(const SymFileManager&) = delete;
    SymFileManager& operator=(const SymFileManager&) = delete;

    void RaiseHandleLimit(u16 limit) { raisedLimit = std::max(raisedLimit, limit); }

    // The handle, or a result code. A failed open leaves nothing allocated or locked. Throws std::bad_alloc.
    i32 Open(const char* path, u32 memoryBudget, const u16* fieldIds, u32 fieldIdCount, bool wholeFile);

    // The file of a handle; null when it is not open.
    // cppcheck-suppress CastIntegerToAddressAtReturn
    SymFile* Find(u16 handle) const { return openFiles[handle]; }

    void Close(u16 handle);
    void CloseAll();

    // In a forked child: handles that another thread was using in the parent are unknown here, since their
    // files may be in any state. Their memory is lost.
    void ForgetFilesInUse();

    // Marks a file as in use by a call that EnterAlone began, until the next outermost call; 0: none.
    void UseAlone(u16 handle) { usedAlone = handle; }

    // Marks a file as in use by any other call while it lives.
    class Use {
    public:
        Use(SymFileManager& manager, u16 handle) : flag(manager.inUse[handle]), before(flag) { flag = true; }
        ~Use() { flag = before; }
        Use(const Use&) = delete;
        Use& operator=(const Use&) = delete;

    private:
        bool& flag;
        const bool before;
    };

private:
    static constexpr u16 kLeastLimit = 10;

    static SymFileManager instance;

    u32 HandleLimit() const { return std::max(raisedLimit, kLeastLimit); }
    i32 ChooseHandle() const;

    // By handle; the registry owns the files. Nearly all of it is memory that is never touched.
    std::array<SymFile*, 65536> openFiles{};
    std::array<bool, 65536> inUse{};
    u16 usedAlone = 0;
    u16 raisedLimit = 0;
};

}  // namespace torva
