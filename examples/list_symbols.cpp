// Lists the symbols of a file with their fields, then its Eidr countries: list_symbols FILE
#include <cstdint>
#include <iostream>

#include "TorvaAPI.hpp"

namespace {

void PrintSymbols(tvapi::File& file) {
    for (const auto& symbol : file.symbols()) {
        std::cout << symbol.text() << '\n';
        for (const auto field : symbol.fields()) {
            std::cout << "  " << field.id() << "  ";
            if (field.tag() == 7) {
                std::cout << field.text() << '\n';
            } else {
                std::cout << field.as<std::uint64_t>() << '\n';
            }
        }
    }
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::cerr << "usage: list_symbols FILE\n";
        return 2;
    }
    try {
        tvapi::File file(argv[1]);
        PrintSymbols(file);
        if (file.has(10)) {
            for (const auto& country : file.eidrCountries()) {
                std::cout << country.id << "  " << country.name << '\n';
            }
        }
    } catch (const tvapi::Error& error) {
        std::cerr << "list_symbols: " << argv[1] << ": " << error.what() << '\n';
        return 1;
    }
    return 0;
}
