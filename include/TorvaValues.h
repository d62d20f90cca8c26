/* Frees the values of symbol fields (SymFieldItem). For C99 and C++.
 *
 * A value is a block from the library's `operator new[]`. How it is freed depends on the host; SymFreeValue
 * does the right thing in each:
 *   - C++, on POSIX or with the static library on Windows: `operator delete[]`, inline.
 *   - C, on POSIX or with the static library on Windows: a function of the static library TorvaValues
 *     (libTorvaValues.a), which calls `operator delete[]`. The CMake targets and the pkg-config files
 *     link it; by hand: cc host.c -lTorvaAPI -lTorvaValues -lstdc++. Never call free on a value: that is
 * wrong as soon as anything in the process replaces `operator new[]`, and under the address sanitizer.
 *   - Windows with TorvaAPI.dll (TORVA_API_SHARED), C and C++: the DLL contains its own C++ runtime, which
 *     allocates with the malloc of the system's msvcrt.dll, whatever the host was built with, and values are
 *     freed by the free of that DLL. A build of TorvaAPI.dll for another C runtime defines
 *     TORVA_VALUE_RUNTIME as the name of that runtime's DLL.
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
#endif

/* Frees one value. Any thread may call it, without the library's lock, also after the file was closed.
 *
 * Parameters:
 *   value  a value that a call delivered, not freed before; a null pointer has no effect */
#if defined(_WIN32) && defined(TORVA_API_SHARED)
static inline void SymFreeValue(void* value) {
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
}
#elif defined(__cplusplus)
static inline void SymFreeValue(void* value) { ::operator delete[](value); }
#else
void SymFreeValue(void* value);
#endif

/* Frees the values of the first count items and clears these items.
 *
 * Parameters:
 *   items  an array that tv_GetNextSymData or tv_GetAgainSymData filled with SYM_OK or SYM_MORE_DATA
 *   count  the number of items that the call delivered; 0 or less has no effect */
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
