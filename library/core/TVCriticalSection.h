// The library's re-entrant locks and their scoped guard.
#pragma once

#include "library/platform/Platform.h"

namespace torva {

// The outermost lock: wraps a lock of the operating system, which is left alone as long as the process has
// one thread. That can change while the lock is held (by an allocator of the host), so each entry remembers
// what it did.
class TVCriticalSection {
public:
    TVCriticalSection() = default;
    TVCriticalSection(const TVCriticalSection&) = delete;
    TVCriticalSection& operator=(const TVCriticalSection&) = delete;
    virtual ~TVCriticalSection() = default;

    // Whether the lock of the operating system was taken: what Leave has to be told.
    [[nodiscard]] bool Enter() {
        const bool taken = !platform::OnlyThread();
        if (taken) lock.Enter();
        return taken;
    }

    void Leave(bool taken) {
        if (taken) lock.Leave();
    }

private:
    platform::Lock lock;
};

// Holds a lock from construction to the end of the scope.
class ScopedLock {
public:
    explicit ScopedLock(TVCriticalSection& section) : held(section), taken(section.Enter()) {}
    ~ScopedLock() { held.Leave(taken); }
    ScopedLock(const ScopedLock&) = delete;
    ScopedLock& operator=(const ScopedLock&) = delete;

private:
    TVCriticalSection& held;
    const bool taken;
};

}  // namespace torva
