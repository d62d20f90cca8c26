// The C++ header without exceptions, in one program with the other kind.
#define TORVA_NO_EXCEPTIONS
#include "api/TorvaAPI.hpp"

namespace torva::test {

std::int32_t CodeOfMissingSection(const char* path);

std::int32_t CodeOfMissingSection(const char* path) {
    tvapi::File file;
    if (file.open(path) != SYM_OK) return SYM_OK;
    auto symbols = file.symbols();
    for ([[maybe_unused]] const auto& symbol : symbols) return SYM_OK;
    auto exchanges = file.exchanges();
    for ([[maybe_unused]] const auto& exchange : exchanges) return SYM_OK;
    return symbols.result() == SYM_OK ? exchanges.result() : SYM_OK;
}

}  // namespace torva::test
