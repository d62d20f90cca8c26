// The library's lock and its scoped guard.
#pragma once

#include <atomic>
#include <cstdint>

#include "format/Types.h"
#include "library/platform/Platform.h"

namespace torva {

// A re-entrant lock that needs no constructor and no destructor to run, so that it works before the first
// and after the last of them. While the process has one thread its word is written without an atomic
// instruction; a thread that the process starts in the meantime finds it written. It can be closed for good:
// from then on every entry is refused.
class TVCriticalSection {
public:
    enum class Entry : u8 { refused, nested, outermost };

    constexpr TVCriticalSection() = default;
    TVCriticalSection(const TVCriticalSection&) = delete;
    TVCriticalSection& operator=(const TVCriticalSection&) = delete;

    [[nodiscard]] Entry Enter() { return EnterAlone() ? Entry::outermost : EnterShared(); }

    // Enters where the process has one thread and that is not inside; else does nothing and returns false.
    [[nodiscard]] bool EnterAlone() {
        if (!platform::OnlyThread() || owner.load(std::memory_order_relaxed) != kNobody) return false;
        owner.store(platform::ThisThread(), std::memory_order_relaxed);
        return true;
    }

    // After an outermost entry; a nested one just ends.
    void Leave() {
        if (platform::OnlyThread()) {
            owner.store(kNobody, std::memory_order_relaxed);
        } else {
            LeaveShared();
        }
    }

    // Refuses all further entries and waits for the running call, up to `milliseconds`. True when none runs
    // any more: no thread enters again, the caller included.
    bool Close(u32 milliseconds);

    // In a forked child, whose other threads are gone. True when one of them was inside the lock, which is
    // free now.
    bool AbandonOtherThread();

private:
    static constexpr std::uintptr_t kNobody = 0;
    static constexpr std::uintptr_t kClosed = 1;

    Entry EnterShared();
    void LeaveShared();

    std::atomic<std::uintptr_t> owner{kNobody};  // the thread inside
    std::atomic<bool> closed{false};
    std::atomic<u32> sleepers{0};  // threads that wait, or are about to
    std::atomic<u32> wakeups{0};   // changes whenever a sleeper should look again
};

// Holds the lock from construction to the end of the scope, unless it is refused.
class ScopedLock {
public:
    explicit ScopedLock(TVCriticalSection& section) : held(section), entry(section.Enter()) {}
    ~ScopedLock() {
        if (Outermost()) held.Leave();
    }
    ScopedLock(const ScopedLock&) = delete;
    ScopedLock& operator=(const ScopedLock&) = delete;

    bool Outermost() const { return entry == TVCriticalSection::Entry::outermost; }
    bool Refused() const { return entry == TVCriticalSection::Entry::refused; }

private:
    TVCriticalSection& held;
    const TVCriticalSection::Entry entry;
};

}  // namespace torva
