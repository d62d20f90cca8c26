// What the C interface does not say about a file: whether it has sections 1 and 2, and why it did not open.
#pragma once

#include <sys/stat.h>

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#if !defined(_WIN32)
#include <sys/file.h>
#endif

#include "torva/codes.hpp"

namespace tvapi {
inline namespace TORVA_EDITION {
namespace detail {

// The directory at the start of a file: u16 count, then entries of 10 bytes that begin with a u16 id.
struct Look {
    Reason reason = Reason::none;  // why the file cannot be read
    bool lockedElsewhere = false;
    std::uint64_t size = 0;
    unsigned ownSections = 0;  // bit n: section n, of 1 and 2
    bool extended = false;     // any other section
};

inline Reason reasonOf(int error) noexcept {
    switch (error) {
        case ENOENT:
        case ENOTDIR:
            return Reason::missing;
        case EACCES:
        case EPERM:
#ifdef _WIN32
            return _doserrno == 32 ? Reason::inUse : Reason::noPermission;  // ERROR_SHARING_VIOLATION
#else
            return Reason::noPermission;
#endif
        case ENOMEM:
            return Reason::outOfMemory;
        case EMFILE:
        case ENFILE:
            return Reason::tooManyFiles;
        default:
            return Reason::notReadable;
    }
}

inline void lookAtDirectory(std::FILE* file, Look& seen) noexcept {
    unsigned char entry[10];
    if (std::fread(entry, 1, 2, file) != 2) {
        return;
    }
    for (unsigned left = entry[0] + 256U * entry[1]; left > 0; --left) {
        const std::size_t got = std::fread(entry, 1, sizeof entry, file);
        const unsigned id = entry[0] + 256U * (got > 1 ? entry[1] : 0U);
        if (got == 0) {
            return;
        }
        if (id == 1 || id == 2) {
            seen.ownSections |= 1U << id;
        } else {
            seen.extended = true;
        }
    }
}

inline Look lookAt(const char* path, bool tryLock) noexcept {
    Look seen;
#ifdef _WIN32
    struct _stat64 status;
    const bool found = _stat64(path, &status) == 0;
    const bool regular = found && (status.st_mode & _S_IFMT) == _S_IFREG;
#else
    struct stat status;
    const bool found = ::stat(path, &status) == 0;
    const bool regular = found && S_ISREG(status.st_mode);
#endif
    if (!regular) {  // never opened: a pipe would wait
        seen.reason = found ? Reason::notARegularFile : reasonOf(errno);
        return seen;
    }
    seen.size = static_cast<std::uint64_t>(status.st_size);
    std::FILE* const file = std::fopen(path, "rb");
    if (file == nullptr) {
        seen.reason = reasonOf(errno);
        return seen;
    }
    lookAtDirectory(file, seen);
#ifndef _WIN32
    // Shared, so that it disturbs other openers as little as possible, and only for a file that did not open.
    seen.lockedElsewhere = tryLock && ::flock(fileno(file), LOCK_SH | LOCK_NB) != 0 && errno == EWOULDBLOCK;
#else
    static_cast<void>(tryLock);
#endif
    std::fclose(file);
    return seen;
}

}  // namespace detail
}  // namespace TORVA_EDITION
}  // namespace tvapi
