// SymFreeValue for hosts in C: include/TorvaValues.h declares it there and defines it inline for C++. A
// separate static library (TorvaValues), linked into the host with the shared or the static TorvaAPI, so
// that the exports stay the 54 and the host's `operator delete[]` is the one that the linker pairs with the
// library's `operator new[]`, replaced or instrumented as it may be.

#if defined(__GNUC__) && !defined(_WIN32)
#define TV_HOST_ONLY __attribute__((visibility("hidden")))
#else
#define TV_HOST_ONLY
#endif

extern "C" TV_HOST_ONLY void SymFreeValue(void* value);

void SymFreeValue(void* value) { ::operator delete[](value); }
