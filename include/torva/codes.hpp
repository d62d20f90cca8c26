// What can go wrong: result codes of the C interface and of the ranges, and why a file did not open.
#pragma once

#include <cstdint>

#include "TorvaAPI.h"
#include "TorvaFwd.hpp"

// Lets compilers that know it report a view that outlives what it refers to.
#if defined(__has_cpp_attribute)
#if __has_cpp_attribute(clang::lifetimebound)
#define TORVA_LIFETIMEBOUND [[clang::lifetimebound]]
#elif __has_cpp_attribute(msvc::lifetimebound)
#define TORVA_LIFETIMEBOUND [[msvc::lifetimebound]]
#endif
#endif
#ifndef TORVA_LIFETIMEBOUND
#define TORVA_LIFETIMEBOUND
#endif

// The step to the next element is a few instructions around a call of the library; what happens once for a
// range is kept out of the loop. Compilers take a way that leads to TORVA_RARE for the unusual one.
#if defined(__GNUC__)
#define TORVA_STEP inline __attribute__((always_inline))
#define TORVA_ONCE __attribute__((noinline))
#define TORVA_RARE __attribute__((noinline, cold))
#else
#define TORVA_STEP inline
#define TORVA_ONCE
#define TORVA_RARE
#endif

namespace tvapi {
inline namespace TORVA_EDITION {

// Results of ranges beside those of the C interface.
enum : std::int32_t {
    // Another range of the same file was begun, or the element that the range belongs to was left.
    kErrLostPlace = -100,
    // Sections 2, 3 and 8 can begin again only by way of another section, and the file has none.
    kErrNoRestart = -101
};

// Why a file did not open, as far as it can be determined afterwards.
enum class Reason : unsigned char {
    none,
    missing,
    noPermission,
    notARegularFile,
    inUse,
    notASymbolFile,  // or damaged at its start: its default fields cannot be read
    tooLarge,        // for memory mode; file mode takes it
    outOfMemory,
    tooManyFiles,
    tooManyFieldIds,
    invalidPath,     // null, too long, or with a zero byte inside
    invalidOption,   // a negative textMax, or a count of field ids without the ids
    budgetTooSmall,  // for the file's default fields
    notReadable      // the operating system reports something else
};

[[nodiscard]] inline const char* describe(std::int32_t code) noexcept {
    switch (code) {
        case SYM_OK:
            return "done";
        case SYM_ERR_OPEN:
            return "the file cannot be opened";
        case SYM_ERR_PARAM:
            return "invalid argument, or a text longer than textMax";
        case SYM_ERR_NO_SLOT:
            return "too many open files";
        case SYM_ERR_BAD_HANDLE:
            return "the file is not open";
        case SYM_MORE_DATA:
            return "more data";
        case SYM_END_OF_DATA:
            return "the data ends here";
        case SYM_ERR_NO_MEMORY:
            return "out of memory";
        case SYM_ERR_BUFFER_TOO_SMALL:
            return "a text or a value does not fit";
        case SYM_ERR_FORMAT:
            return "counts and sizes disagree";
        case SYM_ERR_NO_SECTION:
            return "no such section, or another id at its start";
        case SYM_ERR_READ:
            return "the data is cut off or cannot be read, or a text is too long";
        case kErrLostPlace:
            return "the range lost its place: another range of the file was begun, or its parent moved on";
        case kErrNoRestart:
            return "the section cannot begin again: the file has no other; open it again";
        default:
            return "unknown result";
    }
}

[[nodiscard]] inline const char* describe(Reason reason) noexcept {
    switch (reason) {
        case Reason::none:
            return "no error";
        case Reason::missing:
            return "no such file";
        case Reason::noPermission:
            return "permission denied";
        case Reason::notARegularFile:
            return "not a regular file";
        case Reason::inUse:
            return "in use: it is open elsewhere";
        case Reason::notASymbolFile:
            return "not a symbol file, or cut off inside its default fields";
        case Reason::tooLarge:
            return "too large for memory mode";
        case Reason::outOfMemory:
            return "out of memory";
        case Reason::tooManyFiles:
            return "too many open files";
        case Reason::tooManyFieldIds:
            return "more than 65535 field ids";
        case Reason::invalidPath:
            return "invalid path";
        case Reason::invalidOption:
            return "invalid option";
        case Reason::budgetTooSmall:
            return "memoryBudget is too small for the default fields";
        case Reason::notReadable:
            return "cannot be read";
    }
    return "unknown reason";
}

}  // namespace TORVA_EDITION
}  // namespace tvapi
