// The files that are measured: generated, the same in every run, under the build directory, gone at the end.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "symwrite/RandomFile.h"
#include "symwrite/SymFileWriter.h"

namespace bench {

// Symbols whose fields look like those of a real master file: the tag belongs to the id, ids ascend, and each
// symbol carries another part of them.
struct SymbolOptions {
    std::uint32_t symbols = 100000;
    std::uint32_t fields = 40;      // of each symbol, out of half as many ids more
    std::uint32_t defaults = 30;    // ids from two thirds of the symbols' ids on
    std::uint32_t textLength = 24;  // texts have half of this to all of it
};

class SymbolMaker {
public:
    explicit SymbolMaker(const SymbolOptions& symbolOptions) : options(symbolOptions), random(1) {}
    symwrite::Row Next();  // the same sequence for the same options
    std::vector<symwrite::Field> Defaults() const;

private:
    static symwrite::Field MakeField(symwrite::Random& random, std::uint16_t id, std::uint32_t textLength);

    SymbolOptions options;
    symwrite::Random random;
    std::uint32_t made = 0;
};

// A file in the benchmarks' directory, removed with the object.
class TemporaryFile {
public:
    explicit TemporaryFile(const std::string& name);
    ~TemporaryFile();
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;
    const std::string& Path() const { return path; }

private:
    std::string path;
};

void WriteSymbolFile(const SymbolOptions& options, const std::string& path);
// Every section but 2, `scale` times a base size that fits all counts at 1.
void WriteSectionFile(double scale, std::uint32_t textLength, const std::string& path);

// A file's bytes, mapped and touched.
class MappedFile {
public:
    explicit MappedFile(const std::string& path);
    ~MappedFile();
    MappedFile(const MappedFile&) = delete;
    MappedFile& operator=(const MappedFile&) = delete;
    const std::uint8_t* Data() const { return data; }
    std::size_t Size() const { return size; }

private:
    const std::uint8_t* data = nullptr;
    std::size_t size = 0;
};

[[noreturn]] void Fail(const std::string& message);

}  // namespace bench
