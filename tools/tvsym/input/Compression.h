// Files compressed by gzip (.gz) and zstd (.zst).
#pragma once

#include <cstdio>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "tools/tvsym/Tool.h"

namespace tvsym {

enum class Compression : u8 { None, Gzip, Zstd };

// By the first bytes of a file, of which there are at least four where it is compressed.
Compression CompressionOf(std::string_view head);

// By a name's ending.
Compression CompressionNamed(const std::string& name);

// "a.sym" of "a.sym.gz".
std::string NameWithout(Compression compression, const std::string& name);

// Takes bytes, and hands them on compressed or decompressed. Throws ToolError with kExitUnreadable for
// damage, for what this tvsym was built without, and for what expands to more than 200 times its size beyond
// 64 MiB.
class Recoder {
public:
    using Sink = std::function<void(std::string_view)>;

    static std::unique_ptr<Recoder> Compressor(Compression compression, Sink sink);
    static std::unique_ptr<Recoder> Decompressor(Compression compression, const std::string& name, Sink sink);

    virtual ~Recoder() = default;
    virtual void Add(std::string_view bytes) = 0;
    virtual void Finish() = 0;
};

// Whether a regular file begins as a compressed one does.
bool IsCompressedFile(const std::string& path);

// A temporary file with what a stream holds, decompressed where it is compressed. It goes with the object.
class TemporaryCopy {
public:
    // `name` is that of the stream in messages. Throws ToolError with kExitUnreadable.
    TemporaryCopy(std::FILE* stream, const std::string& name);
    ~TemporaryCopy();
    TemporaryCopy(const TemporaryCopy&) = delete;
    TemporaryCopy& operator=(const TemporaryCopy&) = delete;

    const std::string& Path() const { return path; }

private:
    std::string path;
};

}  // namespace tvsym
