// Files above 2 GiB on 32-bit systems.
#define _FILE_OFFSET_BITS 64  // NOLINT(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp)

#include <fcntl.h>
#include <pthread.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <new>

#include "library/platform/Platform.h"

namespace torva::platform {
namespace {

// Forks between the process that loaded the library and this one. Distinguishes processes as their numbers
// do, without a system call.
u32 forks = 0;
[[maybe_unused]] const int forksAreCounted = pthread_atfork(nullptr, nullptr, [] { ++forks; });

class PosixFile final : public File {
public:
    explicit PosixFile(int openDescriptor) : descriptor(openDescriptor) {}
    PosixFile(const PosixFile&) = delete;
    PosixFile& operator=(const PosixFile&) = delete;

    // The lock belongs to the open file, of which processes started since then hold copies: closing ours
    // would leave it with them. A forked child's copy of this object must not release what its parent holds.
    ~PosixFile() override {
        if (descriptor < 0) return;
        const NoCancellation guard;
        if (locked && forksAtLock == forks) flock(descriptor, LOCK_UN);
        close(descriptor);
    }

    bool IsRegular() const {
        struct stat status {};
        return descriptor >= 0 && fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode);
    }

    // Only "held by somebody else" fails; a file system without such locks lets the file through.
    bool TakeLock() {
        int result = 0;
        do {
            result = flock(descriptor, LOCK_EX | LOCK_NB);
        } while (result != 0 && errno == EINTR);
        locked = result == 0;
        forksAtLock = forks;
        return result == 0 || errno != EWOULDBLOCK;
    }

    bool ReadAt(u64 offset, void* dst, u32 size, u32& got) override {
        const NoCancellation guard;
        got = 0;
        u32 sum = 0;
        while (sum < size) {
            const ssize_t part =
                pread(descriptor, static_cast<unsigned char*>(dst) + sum,
                      std::min<u32>(size - sum, kMostPerRead), static_cast<off_t>(offset + sum));
            if (part < 0 && errno == EINTR) continue;
            if (part < 0) return false;
            if (part == 0) break;
            sum += static_cast<u32>(part);
        }
        got = sum;
        return true;
    }

    bool Size(u64& size) override {
        struct stat status {};
        if (fstat(descriptor, &status) != 0) return false;
        size = static_cast<u64>(status.st_size);
        return true;
    }

private:
    static constexpr u32 kMostPerRead = 1U << 30U;

    int descriptor;
    bool locked = false;
    u32 forksAtLock = 0;  // identifies the process that took the lock
};

FileOpener fileOpener = nullptr;

// O_NONBLOCK keeps a pipe or a device without a peer from holding up the open; a regular file does not mind
// it.
int OpenPath(const char* path) {
    const NoCancellation guard;
    int descriptor = -1;
    do {
        descriptor = open(path, O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
    } while (descriptor < 0 && errno == EINTR);
    return descriptor;
}

// Takes over the descriptor, also when memory runs out.
std::unique_ptr<PosixFile> TakeOver(int descriptor) {
    std::unique_ptr<PosixFile> file(new (std::nothrow) PosixFile(descriptor));
    if (file == nullptr) {
        const NoCancellation guard;
        if (descriptor >= 0) close(descriptor);
        throw std::bad_alloc();
    }
    if (!file->IsRegular()) return nullptr;
    return file;
}

}  // namespace

std::unique_ptr<File> OpenFile(const char* path, Sharing sharing) {
    if (fileOpener != nullptr) return fileOpener(path);
    auto file = TakeOver(OpenPath(path));
    if (file == nullptr || (sharing == Sharing::exclusive && !file->TakeLock())) return nullptr;
    return file;
}

std::unique_ptr<File> OpenFile(Descriptor descriptor) { return TakeOver(static_cast<int>(descriptor)); }

void SetFileOpener(FileOpener opener) { fileOpener = opener; }

__thread char threadMark __attribute__((tls_model("initial-exec")));

NoCancellation::NoCancellation() { pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &before); }

NoCancellation::~NoCancellation() { pthread_setcancelstate(before, nullptr); }

void OnForkedChild(void (*handler)()) { pthread_atfork(nullptr, nullptr, handler); }

bool OtherThreadsAreGone() { return false; }

void WaitBriefly() {
    const NoCancellation guard;
    const timespec time{0, 1000000};
    nanosleep(&time, nullptr);
}

}  // namespace torva::platform
