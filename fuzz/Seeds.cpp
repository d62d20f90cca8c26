// fuzz_seeds DIRECTORY: writes the inputs that each fuzz target begins with to DIRECTORY/TARGET/.
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "fuzz/Tvsym.h"
#include "symwrite/RandomFile.h"
#include "symwrite/SymFileWriter.h"

namespace {

using symwrite::Bytes;
namespace fs = std::filesystem;

void Save(const fs::path& directory, const std::string& name, const Bytes& bytes) {
    fs::create_directories(directory);
    std::ofstream out(directory / name, std::ios::binary);
    out.exceptions(std::ios::failbit | std::ios::badbit);
    out.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
}

void SaveAll(const fs::path& root, const std::string& name, const symwrite::File& file) {
    const Bytes bytes = Write(file);
    Save(root / "roundtrip_fuzz", name, bytes);
    fs::create_directories(root / "build_fuzz");
    Tvsym({"dump", "--quiet", "--output", (root / "build_fuzz" / name).string(),
           (root / "roundtrip_fuzz" / name).string()});
    symwrite::Random random(bytes.size());
    Bytes table = {static_cast<uint8_t>(random.Next())};
    table.insert(table.end(), bytes.begin(), bytes.end());
    Save(root / "tables_fuzz", name, table);
    for (uint8_t calls = 0; calls <= 40; calls = static_cast<uint8_t>(calls + 20)) {
        Bytes input = {static_cast<uint8_t>(random.Next()), calls};
        for (int i = 0; i < calls * 3; ++i) input.push_back(static_cast<uint8_t>(random.Next()));
        input.insert(input.end(), bytes.begin(), bytes.end());
        Save(root / "calls_fuzz", name + "-" + std::to_string(calls), input);
    }
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        fputs("fuzz_seeds DIRECTORY\n", stderr);
        return 64;
    }
    try {
        const symwrite::File small = symwrite::SmallFile();
        SaveAll(argv[1], "all", small);
        for (const symwrite::Section& section : small.sections) {
            symwrite::File single;
            single.sections = {section};
            SaveAll(argv[1], "section-" + std::to_string(section.id), single);
        }
        for (uint64_t seed = 1; seed <= 8; ++seed) {
            symwrite::RandomFileOptions options;
            options.seed = seed;
            options.symbols = 3;
            options.vary = true;
            SaveAll(argv[1], "random-" + std::to_string(seed), RandomFile(options));
        }
    } catch (const std::exception& error) {
        fprintf(stderr, "fuzz_seeds: %s\n", error.what());
        return 2;
    }
    return 0;
}
