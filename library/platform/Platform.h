// The operating system as the library sees it: files, threads and processes. Implemented twice, in
// PosixPlatform.cpp and Win32Platform.cpp; no other file includes a system header.
#pragma once

#if __has_include(<sys/single_threaded.h>)
#include <sys/single_threaded.h>
#endif

#include <cstdint>
#include <memory>

#include "format/Types.h"

namespace torva::platform {

// An open file. It has no position: every read names its offset, so copies of it in forked
// processes do not move each other. The destructor closes it.
class File {
public:
    virtual ~File() = default;

    // Reads up to `size` bytes at `offset` from the start. True with `got` below `size` means that the file
    // ended; an interrupted or partial read is continued. False means that the read failed: `got` is 0, the
    // bytes at `dst` are undefined. An offset past the end is not a failure.
    virtual bool ReadAt(u64 offset, void* dst, u32 size, u32& got) = 0;

    // The size of the file in bytes; false when it cannot be determined.
    virtual bool Size(u64& size) = 0;
};

// How a file meets other openers.
enum class Sharing {
    exclusive,  // while it is open no other exclusive open gets it, in this process or another
    shared,     // neither takes nor heeds the lock of an exclusive open (on Windows the system still does)
};

// Opens the existing regular file `path` for reading. Never blocks. Null when the operating system refuses.
// Throws std::bad_alloc. May be called by several threads at the same time.
std::unique_ptr<File> OpenFile(const char* path, Sharing sharing);

// A file descriptor, on Windows a HANDLE.
using Descriptor = std::intptr_t;

// The same for a regular file that is open already, shared. Takes over the descriptor, and closes it when the
// file cannot be used.
std::unique_ptr<File> OpenFile(Descriptor descriptor);

// For tests: replaces the operating system's opening of paths; null restores it.
using FileOpener = std::unique_ptr<File> (*)(const char* path);
void SetFileOpener(FileOpener opener);

// Whether the calling thread is the only one of the process, as far as the system knows; it can start
// another.
inline bool OnlyThread() {
#if __has_include(<sys/single_threaded.h>)
    return __libc_single_threaded != 0;
#else
    return false;
#endif
}

// A number of the calling thread that no other running thread has, above 1. A forked child keeps its own.
#ifdef _WIN32
std::uintptr_t ThisThread();
#else
extern __thread char threadMark __attribute__((tls_model("initial-exec")));
inline std::uintptr_t ThisThread() { return reinterpret_cast<std::uintptr_t>(&threadMark); }
#endif

// While one exists, no cancellation of the calling thread takes effect: it would unwind through functions
// that must not throw, and end the process. Has no effect on Windows.
class NoCancellation {
public:
    NoCancellation();
    ~NoCancellation();
    NoCancellation(const NoCancellation&) = delete;
    NoCancellation& operator=(const NoCancellation&) = delete;

private:
    int before = 0;
};

// Has the system call `handler` in every child that this process forks, before anything else there.
void OnForkedChild(void (*handler)());

// Whether the system has already ended the other threads of the process, wherever they were.
bool OtherThreadsAreGone();

// Waits about a millisecond.
void WaitBriefly();

}  // namespace torva::platform
