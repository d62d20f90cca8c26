#include <stdio.h>

#include "TorvaAPI.h"
#include "TorvaValues.h"

/* Prints the fields that a call delivered and frees their values. */
static void Print(SymFieldItem* items, int32_t count) {
    for (int32_t i = 0; i < count; ++i) {
        const int isText = items[i].tag == 7 && items[i].value != NULL;
        printf("  %u: %s\n", items[i].id, isText ? (const char*)items[i].value : "(not a text)");
    }
    SymFreeItems(items, count);
}

int main(int argc, char** argv) {
    int32_t file = argc == 2 ? tv_OpenSymFile(argv[1], 4u << 20, NULL, 0, 1) : SYM_ERR_PARAM;
    if (file < 0) {
        fprintf(stderr, "can't open (%d); usage: list_symbols FILE\n", (int)file);
        return 2;
    }
    char symbol[256];
    SymFieldItem items[64];
    int32_t count, result;
    do {
        count = -1; /* unchanged when there are no more symbols */
        result = tv_GetNextSymData((uint16_t)file, symbol, 255, &count, items, 64);
        if (count >= 0) printf("%s\n", symbol);
        while (result == SYM_MORE_DATA) {
            Print(items, count);
            result = tv_GetAgainSymData((uint16_t)file, &count, items, 64);
        }
        if (result == SYM_OK && count >= 0) Print(items, count);
    } while (result == SYM_OK && count >= 0);
    tv_CloseSymFile((uint16_t)file);
    return count < 0 && (result == SYM_OK || result == SYM_END_OF_DATA) ? 0 : 1;
}
