#include "library/core/TVCriticalSection.h"

namespace torva {

// A sleeper registers itself, then checks the word once more; a leaving thread clears the word, then checks
// for sleepers. In the one order of all these operations one of the two sees the other.
TVCriticalSection::Entry TVCriticalSection::EnterShared() {
    const std::uintptr_t self = platform::ThisThread();
    std::uintptr_t found = kNobody;
    if (!owner.compare_exchange_strong(found, self)) {
        if (found == self) return closed ? Entry::refused : Entry::nested;
        ++sleepers;
        for (;;) {
            const u32 seen = wakeups;
            found = kNobody;
            if (closed || owner.compare_exchange_strong(found, self)) break;
            wakeups.wait(seen);
        }
        --sleepers;
        if (owner != self) return Entry::refused;
    }
    if (!closed) return Entry::outermost;
    LeaveShared();
    return Entry::refused;
}

void TVCriticalSection::LeaveShared() {
    owner = kNobody;
    if (sleepers == 0) return;
    ++wakeups;
    wakeups.notify_one();
}

bool TVCriticalSection::Close(u32 milliseconds) {
    closed = true;
    ++wakeups;
    wakeups.notify_all();
    for (;; --milliseconds) {
        std::uintptr_t found = kNobody;
        if (owner.compare_exchange_strong(found, kClosed)) return true;
        if (found == platform::ThisThread() || milliseconds == 0) return false;
        platform::WaitBriefly();
    }
}

bool TVCriticalSection::AbandonOtherThread() {
    sleepers = 0;
    const std::uintptr_t found = owner;
    if (found == kNobody || found == kClosed || found == platform::ThisThread()) return false;
    owner = kNobody;
    return true;
}

}  // namespace torva
