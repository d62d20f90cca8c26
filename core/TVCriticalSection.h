// The library's re-entrant lock and its scoped guard.
#pragma once

#include <cassert>
#include <optional>

#include "core/Types.h"
#include "platform/Platform.h"

namespace torva {

// There are two kinds. The outermost lock wraps a lock of the operating system. A lock that is only ever
// entered by a thread that holds an outer one need not exclude anybody again: it keeps the order of locks
// honest and counts its entries, and that is all it costs.
class TVCriticalSection {
public:
    TVCriticalSection() : lock(std::in_place) {}
    explicit TVCriticalSection(const TVCriticalSection* outerLock) : outer(outerLock) {}
    TVCriticalSection(const TVCriticalSection&) = delete;
    TVCriticalSection& operator=(const TVCriticalSection&) = delete;
    virtual ~TVCriticalSection() = default;

    void Enter() {
        if (lock) lock->Enter();
        assert(outer == nullptr || outer->entries > 0);
        ++entries;
    }

    void Leave() {
        --entries;
        if (lock) lock->Leave();
    }

private:
    std::optional<platform::Lock> lock;
    [[maybe_unused]] const TVCriticalSection* outer = nullptr;  // looked at by an assertion alone
    u32 entries = 0;
};

// Holds a lock from construction to the end of the scope.
class ScopedLock {
public:
    explicit ScopedLock(TVCriticalSection& section) : held(section) { held.Enter(); }
    ~ScopedLock() { held.Leave(); }
    ScopedLock(const ScopedLock&) = delete;
    ScopedLock& operator=(const ScopedLock&) = delete;

private:
    TVCriticalSection& held;
};

}  // namespace torva
