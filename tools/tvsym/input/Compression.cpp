#include "tools/tvsym/input/Compression.h"

#include <fmt/format.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <vector>

#include "tools/tvsym/system/System.h"

#ifdef TORVA_WITH_ZLIB
#include <zlib.h>
#endif
#ifdef TORVA_WITH_ZSTD
#include <zstd.h>
#endif

namespace tvsym {

namespace {

constexpr size_t kPiece = size_t{128} << 10;

[[noreturn]] [[maybe_unused]] void Missing(const char* library, const std::string& name) {
    throw ToolError(kExitUnreadable, fmt::format("{}: this tvsym was built without {}", name, library));
}

// Counts what goes through a decompressor.
class Expansion {
public:
    explicit Expansion(std::string fileName) : name(std::move(fileName)) {}

    void In(size_t bytes) { in += bytes; }
    void Out(size_t bytes) {
        out += bytes;
        if (out > kHarmless && out / kMost > in) {
            Fail(fmt::format("expands to more than {} times its size; such data is not read", kMost));
        }
    }
    [[noreturn]] void Fail(const std::string& what) const {
        throw ToolError(kExitUnreadable, fmt::format("{}: {}", name, what));
    }

private:
    static constexpr u64 kHarmless = u64{64} << 20;
    static constexpr u64 kMost = 200;

    std::string name;
    u64 in = 0;
    u64 out = 0;
};

#ifdef TORVA_WITH_ZLIB
class Gunzip final : public Recoder {
public:
    Gunzip(const std::string& name, Sink to) : expansion(name), sink(std::move(to)), room(kPiece, '\0') {
        constexpr int kGzip = 16 + MAX_WBITS;
        if (inflateInit2(&stream, kGzip) != Z_OK) throw std::bad_alloc();
    }
    ~Gunzip() override { inflateEnd(&stream); }
    Gunzip(const Gunzip&) = delete;
    Gunzip& operator=(const Gunzip&) = delete;

    void Add(std::string_view bytes) override {
        expansion.In(bytes.size());
        stream.next_in =
            reinterpret_cast<Bytef*>(const_cast<char*>(bytes.data()));  // zlib does not write there
        stream.avail_in = static_cast<uInt>(bytes.size());
        while (stream.avail_in > 0) {
            if (ended) {  // another member follows
                inflateReset(&stream);
                ended = false;
            }
            Step();
        }
    }
    void Finish() override {
        if (!ended) expansion.Fail("the compressed data is cut off");
    }

private:
    void Step() {
        do {
            stream.next_out = reinterpret_cast<Bytef*>(room.data());
            stream.avail_out = static_cast<uInt>(room.size());
            const int result = inflate(&stream, Z_NO_FLUSH);
            if (result != Z_OK && result != Z_STREAM_END && result != Z_BUF_ERROR) {
                expansion.Fail("the compressed data is damaged");
            }
            const size_t made = room.size() - stream.avail_out;
            expansion.Out(made);
            sink(std::string_view(room).substr(0, made));
            ended = result == Z_STREAM_END;
        } while (!ended && stream.avail_out == 0);
    }

    Expansion expansion;
    Sink sink;
    std::string room;
    z_stream stream = {};
    bool ended = false;
};

class Gzip final : public Recoder {
public:
    explicit Gzip(Sink to) : sink(std::move(to)), room(kPiece, '\0') {
        constexpr int kGzip = 16 + MAX_WBITS;
        constexpr int kMemory = 8;
        if (deflateInit2(&stream, Z_DEFAULT_COMPRESSION, Z_DEFLATED, kGzip, kMemory, Z_DEFAULT_STRATEGY) !=
            Z_OK) {
            throw std::bad_alloc();
        }
    }
    ~Gzip() override { deflateEnd(&stream); }
    Gzip(const Gzip&) = delete;
    Gzip& operator=(const Gzip&) = delete;

    void Add(std::string_view bytes) override { Step(bytes, Z_NO_FLUSH); }
    void Finish() override { Step({}, Z_FINISH); }

private:
    void Step(std::string_view bytes, int flush) {
        stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(bytes.data()));
        stream.avail_in = static_cast<uInt>(bytes.size());
        do {
            stream.next_out = reinterpret_cast<Bytef*>(room.data());
            stream.avail_out = static_cast<uInt>(room.size());
            deflate(&stream, flush);
            sink(std::string_view(room).substr(0, room.size() - stream.avail_out));
        } while (stream.avail_out == 0);
    }

    Sink sink;
    std::string room;
    z_stream stream = {};
};
#endif

#ifdef TORVA_WITH_ZSTD
class Unzstd final : public Recoder {
public:
    Unzstd(const std::string& name, Sink to)
        : expansion(name),
          sink(std::move(to)),
          room(kPiece, '\0'),
          stream(ZSTD_createDStream(), ZSTD_freeDStream) {
        if (!stream) throw std::bad_alloc();
        constexpr int kMostWindow = 24;  // 16 MiB, more than any level below --ultra asks for
        ZSTD_DCtx_setParameter(stream.get(), ZSTD_d_windowLogMax, kMostWindow);
    }

    void Add(std::string_view bytes) override {
        expansion.In(bytes.size());
        ZSTD_inBuffer in = {bytes.data(), bytes.size(), 0};
        bool more = false;
        while (in.pos < in.size || more) {
            ZSTD_outBuffer out = {room.data(), room.size(), 0};
            left = ZSTD_decompressStream(stream.get(), &out, &in);
            if (ZSTD_isError(left) != 0) {
                expansion.Fail(fmt::format("the compressed data is damaged: {}", ZSTD_getErrorName(left)));
            }
            expansion.Out(out.pos);
            sink(std::string_view(room).substr(0, out.pos));
            more = out.pos == out.size;
        }
    }
    void Finish() override {
        if (left != 0) expansion.Fail("the compressed data is cut off");
    }

private:
    Expansion expansion;
    Sink sink;
    std::string room;
    std::unique_ptr<ZSTD_DStream, size_t (*)(ZSTD_DStream*)> stream;
    size_t left = 1;  // 0 after a whole frame
};

class Zstd final : public Recoder {
public:
    explicit Zstd(Sink to)
        : sink(std::move(to)), room(kPiece, '\0'), stream(ZSTD_createCStream(), ZSTD_freeCStream) {
        if (!stream) throw std::bad_alloc();
        ZSTD_CCtx_setParameter(stream.get(), ZSTD_c_checksumFlag, 1);  // so that damage is found
    }

    void Add(std::string_view bytes) override { Step(bytes, ZSTD_e_continue); }
    void Finish() override { Step({}, ZSTD_e_end); }

private:
    void Step(std::string_view bytes, ZSTD_EndDirective directive) {
        ZSTD_inBuffer in = {bytes.data(), bytes.size(), 0};
        size_t left = 0;
        do {
            ZSTD_outBuffer out = {room.data(), room.size(), 0};
            left = ZSTD_compressStream2(stream.get(), &out, &in, directive);
            sink(std::string_view(room).substr(0, out.pos));
        } while (directive == ZSTD_e_end ? left > 0 : in.pos < in.size);
    }

    Sink sink;
    std::string room;
    std::unique_ptr<ZSTD_CStream, size_t (*)(ZSTD_CStream*)> stream;
};
#endif

}  // namespace

Compression CompressionOf(std::string_view head) {
    if (head.starts_with("\x1f\x8b\x08")) return Compression::Gzip;
    return head.starts_with("\x28\xb5\x2f\xfd") ? Compression::Zstd : Compression::None;
}

Compression CompressionNamed(const std::string& name) {
    return name.ends_with(".gz")    ? Compression::Gzip
           : name.ends_with(".zst") ? Compression::Zstd
                                    : Compression::None;
}

std::string NameWithout(Compression compression, const std::string& name) {
    const size_t ending = compression == Compression::Gzip ? 3 : compression == Compression::Zstd ? 4 : 0;
    return name.substr(0, name.size() - ending);
}

std::unique_ptr<Recoder> Recoder::Decompressor(Compression compression, const std::string& name,
                                               [[maybe_unused]] Sink sink) {
    if (compression == Compression::Gzip) {
#ifdef TORVA_WITH_ZLIB
        return std::make_unique<Gunzip>(name, std::move(sink));
#else
        Missing("zlib, which .gz needs", name);
#endif
    }
#ifdef TORVA_WITH_ZSTD
    return std::make_unique<Unzstd>(name, std::move(sink));
#else
    Missing("zstd, which .zst needs", name);
#endif
}

std::unique_ptr<Recoder> Recoder::Compressor(Compression compression, [[maybe_unused]] Sink sink) {
    if (compression == Compression::Gzip) {
#ifdef TORVA_WITH_ZLIB
        return std::make_unique<Gzip>(std::move(sink));
#else
        Missing("zlib, which .gz needs", "the output");
#endif
    }
#ifdef TORVA_WITH_ZSTD
    return std::make_unique<Zstd>(std::move(sink));
#else
    Missing("zstd, which .zst needs", "the output");
#endif
}

bool IsCompressedFile(const std::string& path) {
    std::error_code ignored;
    if (!std::filesystem::is_regular_file(path, ignored)) return false;
    std::ifstream in(path, std::ios::binary);
    std::string head(4, '\0');
    in.read(head.data(), static_cast<std::streamsize>(head.size()));
    head.resize(static_cast<size_t>(in.gcount()));
    return CompressionOf(head) != Compression::None;
}

TemporaryCopy::TemporaryCopy(std::FILE* stream, const std::string& name) : path(MakeTemporaryFile("")) {
    const auto fail = [&] {
        throw ToolError(kExitUnreadable,
                        fmt::format("{}: cannot be copied to {}: {}", name, path, std::strerror(errno)));
    };
    try {
        std::ofstream file(path, std::ios::binary);
        const auto write = [&](std::string_view bytes) {
            if (!file.write(bytes.data(), static_cast<std::streamsize>(bytes.size()))) fail();
        };
        std::unique_ptr<Recoder> decompressor;
        std::string buffer(size_t{64} << 10, '\0');
        for (bool first = true;; first = false) {
            const size_t got = std::fread(buffer.data(), 1, buffer.size(), stream);
            if (got == 0) break;
            const std::string_view bytes = std::string_view(buffer).substr(0, got);
            const Compression compression = first ? CompressionOf(bytes) : Compression::None;
            if (compression != Compression::None)
                decompressor = Recoder::Decompressor(compression, name, write);
            if (decompressor) {
                decompressor->Add(bytes);
            } else {
                write(bytes);
            }
        }
        if (std::ferror(stream) != 0) fail();
        if (decompressor) decompressor->Finish();
        file.close();
        if (!file) fail();
    } catch (...) {
        std::error_code ignored;
        std::filesystem::remove(path, ignored);
        throw;
    }
}

TemporaryCopy::~TemporaryCopy() {
    std::error_code ignored;
    std::filesystem::remove(path, ignored);
}

}  // namespace tvsym
