// The library's re-entrant locks and their scoped guard.
#pragma once

#include <cassert>

#include "format/Types.h"
#include "library/platform/Platform.h"

namespace torva {

// The outermost lock: wraps a lock of the operating system, which is left alone as long as the process has
// one thread. That can change while the lock is held (by an allocator of the host), so each entry remembers
// what it did.
class TVCriticalSection {
public:
    class Nested;

    TVCriticalSection() = default;
    TVCriticalSection(const TVCriticalSection&) = delete;
    TVCriticalSection& operator=(const TVCriticalSection&) = delete;
    virtual ~TVCriticalSection() = default;

    // Whether the lock of the operating system was taken: what Leave has to be told.
    [[nodiscard]] bool Enter() {
        const bool taken = !platform::OnlyThread();
        if (taken) lock.Enter();
#ifndef NDEBUG
        ++entries;
#endif
        return taken;
    }

    void Leave(bool taken) {
#ifndef NDEBUG
        --entries;
#endif
        if (taken) lock.Leave();
    }

private:
    platform::Lock lock;
#ifndef NDEBUG
    u32 entries = 0;
#endif
};

// A lock that is only ever entered by a thread that holds the outermost one, which has nobody left to
// exclude. Builds with assertions hold the order of locks to that; others make nothing of it.
class TVCriticalSection::Nested {
public:
    explicit Nested([[maybe_unused]] const TVCriticalSection& outermost)
#ifndef NDEBUG
        : outer(outermost)
#endif
    {
    }
    Nested(const Nested&) = delete;
    Nested& operator=(const Nested&) = delete;

    bool Enter() const {
        assert(outer.entries > 0);
        return true;
    }
    void Leave(bool) const { assert(outer.entries > 0); }

private:
#ifndef NDEBUG
    const TVCriticalSection& outer;
#endif
};

// Holds a lock from construction to the end of the scope.
template <class Section>
class ScopedLock {
public:
    explicit ScopedLock(Section& section) : held(section), taken(section.Enter()) {}
    ~ScopedLock() { held.Leave(taken); }
    ScopedLock(const ScopedLock&) = delete;
    ScopedLock& operator=(const ScopedLock&) = delete;

private:
    Section& held;
    const bool taken;
};

}  // namespace torva
