#include <iostream>

#include "TorvaAPI.hpp"

int main(int argc, char** argv) try {
    tvapi::File file(argc == 2 ? argv[1] : "");
    for (const auto& symbol : file.symbols()) {
        std::cout << symbol.text() << '\n';
        for (const auto field : symbol.fields()) {
            const auto text = field.tag() == 7 ? field.text() : "(not a text)";
            std::cout << "  " << field.id() << ": " << text << '\n';
        }
    }
    if (file.has(10)) {
        for (const auto& country : file.eidrCountries()) {
            std::cout << country.id << ' ' << country.name << '\n';
        }
    }
    return 0;
} catch (const tvapi::Error& error) {
    std::cerr << error.what() << "; usage: list_symbols FILE\n";
    return error.section() == 0 ? 2 : 1;
}
