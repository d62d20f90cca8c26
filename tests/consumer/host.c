/* The smallest host in C: its output shows that it was compiled, linked and run against the library. */
#include <TorvaValues.h>
#include <stdio.h>

int main(int argc, char** argv) {
    if (argc != 2) return 2;
    SymApiVersion version;
    tv_GetAPIVersion(&version);
    int32_t handle = tv_OpenSymFile(argv[1], 1u << 20, NULL, 0, 1);
    if (handle < 1) return 3;
    char symbol[256];
    int32_t count = 0;
    SymFieldItem items[4];
    int32_t result = tv_GetNextSymData((uint16_t)handle, symbol, (int32_t)sizeof symbol, &count, items, 4);
    if (result != SYM_MORE_DATA && result != SYM_OK) return 4;
    SymFreeItems(items, count);
    tv_CloseSymFile((uint16_t)handle);
    printf("%u.%u.%u.%u %s\n", version.version1, version.version2, version.version3, version.version4,
           symbol);
    return 0;
}
