/* How a host gives back the values of symbol fields (SymFieldItem). For C99 and C++.
 *
 * A value is a block from the library's array form of operator new. Which call gives such a block back
 * depends on the host:
 *   - C++ on POSIX, or with the static library on Windows: the array form of operator delete.
 *   - C on POSIX, or with the static library on Windows: free, since the C++ runtimes in use there take their
 *     memory from malloc. That does not hold in a program that replaces operator new; such a host calls
 *     SymFreeValue from a C++ file. (AddressSanitizer wants alloc_dealloc_mismatch=0 for it.)
 *   - Windows with TorvaAPI.dll (TORVA_API_SHARED): the DLL carries its C++ runtime within itself and takes
 *     its memory from the malloc of the system's msvcrt.dll, whatever the host was built with. The block goes
 *     to the free of that DLL. Who builds TorvaAPI.dll for another C runtime names it in TORVA_VALUE_RUNTIME.
 */
#ifndef TORVA_VALUES_H
#define TORVA_VALUES_H

#include "TorvaAPI.h"

#if defined(_WIN32) && defined(TORVA_API_SHARED)
#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <windows.h>
#ifndef TORVA_VALUE_RUNTIME
#define TORVA_VALUE_RUNTIME "msvcrt.dll"
#endif
#elif !defined(__cplusplus)
#include <stdlib.h>
#endif

/* Gives one value back. Null does nothing. */
static inline void SymFreeValue(void* value) {
#if defined(_WIN32) && defined(TORVA_API_SHARED)
    /* The runtime stays loaded as long as TorvaAPI.dll does; a value that outlives the DLL is left to the
     * process. */
    typedef void(__cdecl * FreeFunction)(void*);
    HMODULE runtime = value != 0 ? GetModuleHandleA(TORVA_VALUE_RUNTIME) : 0;
    if (runtime != 0) {
        FreeFunction release = (FreeFunction)(void (*)(void))GetProcAddress(runtime, "free");
        if (release != 0) {
            release(value);
        }
    }
#elif defined(__cplusplus)
    ::operator delete[](value);
#else
    free(value);
#endif
}

/* Gives the values of count items back and clears the items. */
static inline void SymFreeItems(SymFieldItem* items, int32_t count) {
    int32_t i;
    for (i = 0; i < count; ++i) {
        SymFreeValue(items[i].value);
        items[i].id = 0;
        items[i].tag = 0;
        items[i].value = 0;
    }
}

#endif
