// The smallest host in C++: walks the first symbols with their values and gives every value back.
#include <TorvaValues.h>

#include <cstdio>

int main(int argc, char** argv) {
    if (argc != 2) return 2;
    const int32_t opened = tv_OpenSymFile(argv[1], 1u << 20, nullptr, 0, 0);
    if (opened < 1) return 3;
    const auto handle = static_cast<uint16_t>(opened);
    char symbol[256];
    SymFieldItem items[64];
    int32_t count = 0;
    int symbols = 0;
    int values = 0;
    int32_t result = tv_GetNextSymData(handle, symbol, sizeof symbol, &count, items, 64);
    while (result == SYM_OK || result == SYM_MORE_DATA) {
        for (int32_t i = 0; i < count; ++i) {
            if (items[i].value != nullptr) ++values;
        }
        SymFreeItems(items, count);
        if (result == SYM_OK) {
            ++symbols;
            result = tv_GetNextSymData(handle, symbol, sizeof symbol, &count, items, 64);
        } else {
            result = tv_GetAgainSymData(handle, &count, items, 64);
        }
    }
    tv_CloseSymFile(handle);
    std::printf("%d symbols, %d values\n", symbols, values);
    return result == SYM_END_OF_DATA && symbols > 0 && values > symbols ? 0 : 4;
}
