// What ./dev bench instructions counts: one walk over the symbols of a file, or what precedes it.
//
//   torva_instructions make FILE SYMBOLS   writes the file, prints how many values its symbols deliver
//   torva_instructions walk FILE           the exports in memory mode; every value is freed
//   torva_instructions limit FILE          a loop written by hand over the bytes in memory, with the same
//   values torva_instructions table FILE          a table of all fields torva_instructions open|map|none FILE
//   what precedes the walk, the limit and the table

#include <cstdio>
#include <cstdlib>
#include <string>

#include "TorvaTables.h"
#include "bench/Files.h"
#include "bench/Limit.h"

namespace {

struct Counter : bench::Swallow {
    void Elements(std::size_t n) { elements += n; }
    std::size_t elements = 0;
};

std::uint16_t Open(const std::string& path) {
    const std::int32_t handle = tv_OpenSymFile(path.c_str(), 4U << 20U, nullptr, 0, 1);
    if (handle <= 0) bench::Fail("cannot open " + path);
    return static_cast<std::uint16_t>(handle);
}

void Load(const std::string& path) {
    TvtTable* table = nullptr;
    TvtError error;
    if (tvt_Load(path.c_str(), nullptr, &table, &error) != TVT_OK) bench::Fail(error.message);
    tvt_Release(table);
}

}  // namespace

int main(int argc, char** argv) {
    const std::string what = argc > 2 ? argv[1] : "";
    const std::string path = argc > 2 ? argv[2] : "";
    if (what == "make") {
        bench::SymbolOptions options;
        options.symbols = argc > 3 ? static_cast<std::uint32_t>(std::atol(argv[3])) : 100000;
        bench::WriteSymbolFile(options, path);
    }
    if (what == "make" || what == "walk" || what == "open") {
        bench::LibraryFile file{};
        file.handle = Open(path);
        Counter counter;
        if (what != "open") bench::WalkSymbols(file, counter);
        tv_CloseSymFile(file.handle);
        if (what == "make") std::printf("%zu\n", counter.elements);
    } else if (what == "limit" || what == "map") {
        const bench::MappedFile file(path);
        bench::Limit limit(file.Data(), {});
        Counter counter;
        if (what == "limit") limit.Walk(2, counter);
    } else if (what == "table") {
        Load(path);
    } else if (what != "none") {
        bench::Fail("make, walk, limit, table, open, map or none, and a file");
    }
    return 0;
}
