/* Lists the symbols of a file with their fields: list_symbols FILE */
#include <inttypes.h>
#include <stdio.h>
#include <string.h>

#include "TorvaAPI.h"
#include "TorvaValues.h"

static void PrintField(const SymFieldItem* item) {
    static const size_t kWidths[10] = {0, 1, 1, 4, 2, 4, 8, 0, 4, 3};
    printf("  %5u  ", (unsigned)item->id);
    if (item->value == NULL) {
        printf("(none)\n");
    } else if (item->tag == 7) {
        printf("%s\n", (const char*)item->value);
    } else {
        uint64_t number = 0; /* values are little-endian, as the host is */
        memcpy(&number, item->value, kWidths[item->tag]);
        printf("%" PRIu64 "\n", number);
    }
}

/* Prints the items that a call delivered and gives their values back. */
static void PrintAndFree(SymFieldItem* items, int32_t count) {
    for (int32_t i = 0; i < count; ++i) {
        PrintField(&items[i]);
    }
    SymFreeItems(items, count);
}

static int32_t PrintSymbols(uint16_t file) {
    char text[256];
    SymFieldItem items[64];
    for (;;) {
        int32_t count = -1;
        int32_t result = tv_GetNextSymData(file, text, (int32_t)sizeof text - 1, &count, items, 64);
        if (count < 0) { /* no further symbol, or none at all */
            return result == SYM_END_OF_DATA ? SYM_OK : result;
        }
        printf("%s\n", text);
        while (result == SYM_MORE_DATA) {
            PrintAndFree(items, count);
            result = tv_GetAgainSymData(file, &count, items, 64);
        }
        if (result != SYM_OK) {
            return result;
        }
        PrintAndFree(items, count);
    }
}

int main(int argc, char** argv) {
    if (argc != 2) {
        fprintf(stderr, "usage: list_symbols FILE\n");
        return 2;
    }
    int32_t opened = tv_OpenSymFile(argv[1], 4u << 20, NULL, 0, 1);
    if (opened < 0) {
        fprintf(stderr, "list_symbols: %s: can't be opened (%" PRId32 ")\n", argv[1], opened);
        return 1;
    }
    int32_t result = PrintSymbols((uint16_t)opened);
    tv_CloseSymFile((uint16_t)opened);
    if (result != SYM_OK) {
        fprintf(stderr, "list_symbols: %s: damaged (%" PRId32 ")\n", argv[1], result);
        return 1;
    }
    return 0;
}
