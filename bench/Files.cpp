#include "bench/Files.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>

namespace bench {
namespace {

std::filesystem::path Directory() {
    return std::filesystem::read_symlink("/proc/self/exe").parent_path().parent_path() / "bench-files";
}

// A walk that begins without an initial call ends only when another section begins.
symwrite::Section OtherSection() { return {.id = 17, .rows = {{{1, 2}}}}; }

}  // namespace

void Fail(const std::string& message) {
    std::fprintf(stderr, "torva_bench: %s\n", message.c_str());
    std::exit(1);
}

symwrite::Field SymbolMaker::MakeField(symwrite::Random& random, std::uint16_t id, std::uint32_t textLength) {
    constexpr std::array<std::uint8_t, 10> kTags = {7, 3, 7, 5, 7, 1, 6, 7, 4, 8};
    const std::uint8_t tag = kTags[id % kTags.size()];
    if (tag != symwrite::kTextTag) return symwrite::NumberField(id, tag, random.Next());
    std::string text(textLength / 2 + random.Below(textLength - textLength / 2 + 1), ' ');
    for (char& c : text) c = static_cast<char>('a' + random.Below(26));
    return symwrite::TextField(id, std::move(text));
}

symwrite::Row SymbolMaker::Next() {
    symwrite::Row symbol({std::to_string(made++).append(".X")});
    const std::uint32_t ids = options.fields + options.fields / 2;
    std::uint32_t wanted = options.fields;
    for (std::uint32_t i = 0; i < ids && wanted > 0; ++i) {
        if (random.Below(ids - i) >= wanted) continue;
        --wanted;
        symbol.fields.push_back(MakeField(random, static_cast<std::uint16_t>(i + 1), options.textLength));
    }
    return symbol;
}

std::vector<symwrite::Field> SymbolMaker::Defaults() const {
    symwrite::Random drawn(2);
    std::vector<symwrite::Field> fields;
    for (std::uint32_t i = 0; i < options.defaults; ++i) {
        fields.push_back(
            MakeField(drawn, static_cast<std::uint16_t>(options.fields + 1 + i), options.textLength));
    }
    return fields;
}

TemporaryFile::TemporaryFile(const std::string& name) {
    std::filesystem::create_directories(Directory());
    path = (Directory() / name).string();
}

TemporaryFile::~TemporaryFile() {
    std::error_code ignored;
    std::filesystem::remove(path, ignored);
}

void WriteSymbolFile(const SymbolOptions& options, const std::string& path) {
    SymbolMaker maker(options);
    symwrite::File shell;
    if (options.defaults > 0) {
        shell.sections.push_back({.id = 1, .fields = maker.Defaults()});
    }
    shell.sections.push_back(OtherSection());
    shell.sections.push_back({.id = 2});
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    symwrite::SymbolStreamWriter writer(shell, out);
    for (std::uint32_t i = 0; i < options.symbols; ++i) writer.Add(maker.Next());
    writer.Finish();
    if (!out.flush()) Fail("can't write " + path);
}

void WriteSectionFile(double scale, std::uint32_t textLength, const std::string& path) {
    struct Sizes {
        std::vector<std::uint16_t> ids;
        std::uint32_t elements, inner;
    };
    // Elements, and those of each level below, chosen so that a walk delivers tens of thousands.
    const std::vector<Sizes> sizes = {
        {{4, 7, 9, 10, 12, 16, 17, 19, 20, 22}, 60000, 0},
        {{3}, 250, 250},
        {{6}, 2000, 30},
        {{8}, 300, 200},
        {{11}, 255, 255},
        {{13}, 60, 10},
        {{14, 15}, 60, 32},
        {{18, 21}, 600, 100},
    };
    symwrite::File file;
    for (const Sizes& size : sizes) {
        for (const std::uint16_t id : size.ids) {
            symwrite::RandomFileOptions options;
            options.onlySection = id;
            options.elements = static_cast<std::uint32_t>(size.elements * scale) + 1;
            options.inner = size.inner;
            options.textLength = textLength;
            file.sections.push_back(std::move(symwrite::RandomFile(options).sections.front()));
        }
    }
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    symwrite::Write(file, out);
    if (!out.flush()) Fail("can't write " + path);
}

MappedFile::MappedFile(const std::string& path) {
    const int descriptor = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    struct stat status {};
    if (descriptor < 0 || fstat(descriptor, &status) != 0) Fail("can't open " + path);
    size = static_cast<std::size_t>(status.st_size);
    void* const mapped = mmap(nullptr, size, PROT_READ, MAP_PRIVATE | MAP_POPULATE, descriptor, 0);
    if (mapped == MAP_FAILED) Fail("can't map " + path);
    close(descriptor);
    data = static_cast<const std::uint8_t*>(mapped);
}

MappedFile::~MappedFile() { munmap(const_cast<std::uint8_t*>(data), size); }

}  // namespace bench
