// Files above 2 GiB on 32-bit systems.
#define _FILE_OFFSET_BITS 64  // NOLINT(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp)

#include <fcntl.h>
#include <pthread.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <new>

#include "library/platform/Platform.h"

namespace torva::platform {
namespace {

class PosixFile final : public File {
public:
    PosixFile() = default;
    PosixFile(const PosixFile&) = delete;
    PosixFile& operator=(const PosixFile&) = delete;

    ~PosixFile() override {
        if (descriptor >= 0) close(descriptor);
    }

    // O_NONBLOCK keeps a pipe or a device without a peer from holding up the open; a regular file does not
    // mind it.
    bool Open(const char* path) {
        do {
            descriptor = open(path, O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
        } while (descriptor < 0 && errno == EINTR);
        struct stat status {};
        if (descriptor < 0 || fstat(descriptor, &status) != 0 || !S_ISREG(status.st_mode)) return false;
        // Only "held by somebody else" refuses the file; a file system without such locks lets it through.
        int locked = 0;
        do {
            locked = flock(descriptor, LOCK_EX | LOCK_NB);
        } while (locked != 0 && errno == EINTR);
        return locked == 0 || errno != EWOULDBLOCK;
    }

    bool Read(void* dst, u32 size, u32& got) override {
        got = 0;
        u32 sum = 0;
        while (sum < size) {
            const ssize_t part = read(descriptor, static_cast<unsigned char*>(dst) + sum,
                                      std::min<u32>(size - sum, kMostPerRead));
            if (part < 0 && errno == EINTR) continue;
            if (part < 0) return false;
            if (part == 0) break;
            sum += static_cast<u32>(part);
        }
        got = sum;
        return true;
    }

    bool Seek(u64 offset) override { return lseek(descriptor, static_cast<off_t>(offset), SEEK_SET) >= 0; }

    bool Size(u64& size) override {
        struct stat status {};
        if (fstat(descriptor, &status) != 0) return false;
        size = static_cast<u64>(status.st_size);
        return true;
    }

private:
    static constexpr u32 kMostPerRead = 1U << 30U;

    int descriptor = -1;
};

FileOpener fileOpener = nullptr;

}  // namespace

std::unique_ptr<File> OpenFile(const char* path) {
    if (fileOpener != nullptr) return fileOpener(path);
    auto file = std::make_unique<PosixFile>();
    if (!file->Open(path)) return nullptr;
    return file;
}

void SetFileOpener(FileOpener opener) { fileOpener = opener; }

static_assert(sizeof(pthread_mutex_t) <= sizeof(Lock));
static_assert(alignof(pthread_mutex_t) <= alignof(Lock));

Lock::Lock() : storage{} {
    pthread_mutexattr_t attributes{};
    pthread_mutexattr_init(&attributes);
    pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_RECURSIVE);
    pthread_mutex_init(new (storage) pthread_mutex_t, &attributes);
    pthread_mutexattr_destroy(&attributes);
}

Lock::~Lock() { pthread_mutex_destroy(std::launder(reinterpret_cast<pthread_mutex_t*>(storage))); }

void Lock::Enter() { pthread_mutex_lock(std::launder(reinterpret_cast<pthread_mutex_t*>(storage))); }

void Lock::Leave() { pthread_mutex_unlock(std::launder(reinterpret_cast<pthread_mutex_t*>(storage))); }

}  // namespace torva::platform
