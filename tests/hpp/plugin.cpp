// A plugin that uses the header, in a shared object of its own.
#include <cstdio>

#include "TorvaAPI.hpp"

extern "C" int Read(const char* path) {
    try {
        tvapi::File file(path);
        std::size_t fields = 0;
        for (const auto& symbol : file.symbols()) fields += symbol.fields().size();
        for (const auto& type : file.objectTypes()) fields += type.sourceCount;
        for (const auto& country : file.eidrCountries()) fields += country.name.size();
        for (const auto& symbol : file.symbols()) {
            for (const auto& exchange : file.exchanges()) fields += symbol.text() == exchange.text1 ? 1 : 0;
        }
    } catch (const tvapi::Error& error) {
        return error.code() == tvapi::kErrLostPlace ? 0 : 1;
    }
    return 2;
}
