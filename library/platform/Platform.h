// The operating system as the library sees it: one file object and one re-entrant lock. Implemented twice, in
// PosixPlatform.cpp and Win32Platform.cpp; no other file includes a system header.
#pragma once

#if __has_include(<sys/single_threaded.h>)
#include <sys/single_threaded.h>
#endif

#include <cstddef>
#include <memory>

#include "format/Types.h"

namespace torva::platform {

// An open file with a file position. The destructor closes it.
class File {
public:
    virtual ~File() = default;

    // Reads up to `size` bytes at the file position and moves it by what came. True with `got` below `size`
    // means that the file ended; an interrupted or partial read is continued. False means that the read
    // failed: `got` is 0, the bytes at `dst` and the file position have no defined value.
    virtual bool Read(void* dst, u32 size, u32& got) = 0;

    // Moves the file position to `offset` bytes from the start. A position behind the end is no failure.
    virtual bool Seek(u64 offset) = 0;

    // The size of the file in bytes; false when it cannot be told.
    virtual bool Size(u64& size) = 0;
};

// Opens the existing regular file `path` for reading, alone: while it is open no other opener, this library
// included, gets it. Never blocks. Null when the operating system refuses. Throws std::bad_alloc.
using FileOpener = std::unique_ptr<File> (*)(const char* path);

std::unique_ptr<File> OpenFile(const char* path);

// For tests: puts another opener in the place of the operating system's; null restores it.
void SetFileOpener(FileOpener opener);

// Whether the calling thread is the only one of the process, as far as the system tells; it can start
// another.
inline bool OnlyThread() {
#if __has_include(<sys/single_threaded.h>)
    return __libc_single_threaded != 0;
#else
    return false;
#endif
}

// A re-entrant mutual exclusion object.
class Lock {
public:
    Lock();
    ~Lock();
    Lock(const Lock&) = delete;
    Lock& operator=(const Lock&) = delete;

    void Enter();
    void Leave();

private:
    alignas(std::max_align_t) unsigned char storage[64];
};

}  // namespace torva::platform
