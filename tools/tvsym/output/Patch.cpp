#include "tools/tvsym/output/Patch.h"

#include <fmt/format.h>

#include <algorithm>
#include <optional>
#include <vector>

#include "format/LittleEndian.h"
#include "tables/Hash.h"

namespace tvsym {

namespace {

constexpr std::string_view kMagic = "tvsymdif\x01";
constexpr size_t kPiece = size_t{256} << 10;

u64 HashOf(const FileSource& file) {
    u64 hash = kHashStart;
    file.Read(0, file.Size(), [&](std::string_view bytes) { hash = Hash(bytes, hash); });
    return hash;
}

// Bytes of a file around the one asked for last.
class Window {
public:
    Window(const FileSource& bytesOf, size_t windowSize) : source(bytesOf), size(windowSize) {}

    // Up to `count` bytes at `offset`, fewer at the end of the file; at most half the window.
    std::string_view At(u64 offset, size_t count) {
        const bool toEnd = start + held.size() == source.Size();
        if (offset < start || (offset + count > start + held.size() && !toEnd)) {
            // Backward steps are short, so some bytes before the offset are kept.
            start = offset > size / 4 ? offset - size / 4 : 0;
            held.resize(size);
            held.resize(source.ReadAt(start, held.data(), static_cast<u32>(size)));
        }
        const size_t at = static_cast<size_t>(offset - start);
        return at >= held.size() ? std::string_view() : std::string_view(held).substr(at, count);
    }

private:
    const FileSource& source;
    size_t size;
    std::string held;
    u64 start = 0;
};

// A hash of a block that moves on byte by byte.
class RollingHash {
public:
    explicit RollingHash(size_t blockSize) {
        for (size_t at = 1; at < blockSize; ++at) highest *= kFactor;
    }
    void Start(std::string_view block) {
        value = 0;
        for (const char c : block) Add(c);
    }
    void Move(char leaves, char comes) {
        value -= highest * Number(leaves);
        Add(comes);
    }
    u64 Value() const { return value ^ (value >> 29); }

private:
    static constexpr u64 kFactor = 0x9e3779b97f4a7c15U;
    static u64 Number(char c) { return static_cast<u8>(c) + u64{1}; }
    void Add(char c) { value = value * kFactor + Number(c); }

    u64 value = 0;
    u64 highest = 1;
};

// Where the blocks of the old file are, by their hashes; of equal blocks the first.
class Blocks {
public:
    static constexpr u64 kMost = u64{1} << 19;
    static constexpr size_t kLeastSize = 256;

    explicit Blocks(const FileSource& old) {
        while (old.Size() / size > kMost) size *= 2;
        u64 slots = 16;
        while (slots < 2 * (old.Size() / size)) slots *= 2;
        table.assign(static_cast<size_t>(slots), kNone);
        RollingHash hash(size);
        Window window(old, std::max(kPiece, 4 * size));
        for (u64 block = 0; (block + 1) * size <= old.Size(); ++block) {
            const std::string_view bytes = window.At(block * size, size);
            if (bytes.size() < size) break;
            hash.Start(bytes);
            u64& slot = Slot(hash.Value());
            if (slot == kNone) slot = (hash.Value() & ~kMask) | block;
        }
    }

    size_t Size() const { return size; }

    // Offset of the block with this hash, most likely; none if there is none.
    std::optional<u64> Find(u64 hash) {
        const u64 slot = Slot(hash);
        return slot == kNone ? std::nullopt : std::optional((slot & kMask) * size);
    }

private:
    static constexpr u64 kMask = (u64{1} << 20) - 1;  // a block's number; the hash has the other bits
    static constexpr u64 kNone = UINT64_MAX;

    u64& Slot(u64 hash) {
        size_t at = static_cast<size_t>(hash * 0xd6e8feb86659fd93U >> 20) & (table.size() - 1);
        while (table[at] != kNone && ((table[at] ^ hash) & ~kMask) != 0) at = (at + 1) & (table.size() - 1);
        return table[at];
    }

    size_t size = kLeastSize;
    std::vector<u64> table;
};

class PatchWriter {
public:
    PatchWriter(const FileSource& oldFile, const FileSource& newFile, Output& output)
        : now(newFile), out(output), blocks(oldFile), oldWindow(oldFile, kPiece), window(newFile, kWide) {}

    void Write() {
        const size_t block = blocks.Size();
        u64 at = 0;
        bool rolling = false;
        RollingHash hash(block);
        while (at < now.Size()) {
            const std::string_view bytes = window.At(at, block);
            if (bytes.size() < block) {  // no block fits in the rest, which may be in its old place
                const u64 aligned = expected + (at - done);
                const u64 same = Same(aligned, at);
                at = same >= kShortest || at + same == now.Size() ? Copy(aligned, at, same) : at + 1;
                rolling = false;
                continue;
            }
            if (!rolling) hash.Start(bytes);
            const std::optional<u64> found = blocks.Find(hash.Value());
            const u64 same = found ? Same(*found, at) : 0;
            if (same >= block) {
                at = Copy(*found, at, same);
                rolling = false;
                continue;
            }
            const std::string_view more = window.At(at, block + 1);
            rolling = more.size() > block;
            if (rolling) hash.Move(more[0], more[block]);
            ++at;
            if (at - done >= kLongestData) Data(at);
        }
        Data(now.Size());
    }

private:
    static constexpr u64 kShortest = 16;
    static constexpr size_t kWide = 4 * kPiece;
    static constexpr u64 kLongestData = kPiece / 2;

    // How many bytes are the same from the two offsets on.
    u64 Same(u64 oldOffset, u64 newOffset) {
        u64 same = 0;
        for (;;) {
            const std::string_view a = oldWindow.At(oldOffset + same, kPiece / 8);
            const std::string_view b = window.At(newOffset + same, kPiece / 8);
            const size_t most = std::min(a.size(), b.size());
            const auto differ =
                std::mismatch(a.begin(), a.begin() + static_cast<std::ptrdiff_t>(most), b.begin());
            const auto equal = static_cast<size_t>(differ.first - a.begin());
            same += equal;
            if (equal < most || most == 0) return same;
        }
    }

    // Writes what is before, and a copy as long as possible both ways. Returns its end in the new file.
    u64 Copy(u64 oldOffset, u64 newOffset, u64 same) {
        while (oldOffset > 0 && newOffset > done &&
               oldWindow.At(oldOffset - 1, 1) == window.At(newOffset - 1, 1)) {
            --oldOffset;
            --newOffset;
            ++same;
        }
        Data(newOffset);
        Varint(2 * same + 1);
        const u64 step = oldOffset - expected;
        Varint(step << 1 ^ (step >> 63 != 0 ? UINT64_MAX : 0));
        done = newOffset + same;
        expected = oldOffset + same;
        return done;
    }

    // Writes the bytes of the new file up to `end`.
    void Data(u64 end) {
        if (end <= done) return;
        Varint(2 * (end - done));
        now.Read(done, end - done, [&](std::string_view bytes) { out.Write(bytes); });
        done = end;
    }

    void Varint(u64 number) {
        std::string bytes;
        for (; number >= 0x80; number >>= 7) bytes += static_cast<char>(number | 0x80);
        bytes += static_cast<char>(number);
        out.Write(bytes);
    }

    const FileSource& now;
    Output& out;
    Blocks blocks;
    Window oldWindow;
    Window window;
    u64 done = 0;      // of the new file
    u64 expected = 0;  // offset in the old file after the last copy
};

std::string Number(u64 number) {
    std::string bytes(8, '\0');
    torva::WriteNumber(bytes.data(), number, 8);
    return bytes;
}

}  // namespace

bool WritePatch(const FileSource& old, const FileSource& now, Output& out) {
    const u64 oldHash = HashOf(old);
    const u64 newHash = HashOf(now);
    out.Write(kMagic);
    out.Write(Number(old.Size()) + Number(oldHash) + Number(now.Size()));
    PatchWriter(old, now, out).Write();
    out.Write(Number(newHash));
    return old.Size() != now.Size() || oldHash != newHash;
}

void ApplyPatch(const FileSource& old, std::istream& patch, const std::string& patchName,
                const std::function<void(std::string_view)>& sink) {
    const auto fail = [&](const std::string& what) {
        throw ToolError(kExitUnreadable, fmt::format("{}: {}", patchName, what));
    };
    const auto take = [&](size_t count) {
        std::string bytes(count, '\0');
        patch.read(bytes.data(), static_cast<std::streamsize>(count));
        if (static_cast<size_t>(patch.gcount()) != count) fail("the patch is cut off");
        return bytes;
    };
    const auto number = [&] { return torva::ReadNumber(take(8).data(), 8); };
    const auto varint = [&] {
        u64 value = 0;
        for (int shift = 0; shift < 64; shift += 7) {
            const u64 byte = static_cast<u8>(take(1)[0]);
            value |= (byte & 0x7f) << shift;
            if (byte < 0x80) return value;
        }
        fail("a number of the patch has too many bytes");
        return value;
    };
    std::string magic(kMagic.size(), '\0');
    patch.read(magic.data(), static_cast<std::streamsize>(magic.size()));
    if (magic != kMagic) fail("is not a patch of tvsym diff --format patch");
    const u64 oldSize = number();
    const u64 oldHash = number();
    if (oldSize != old.Size() || oldHash != HashOf(old)) {
        fail(fmt::format("was made from another file than {}", old.Name()));
    }
    const u64 newSize = number();
    u64 hash = kHashStart;
    u64 expected = 0;
    const auto write = [&](std::string_view bytes) {
        hash = Hash(bytes, hash);
        sink(bytes);
    };
    for (u64 done = 0; done < newSize;) {
        const u64 step = varint();
        const u64 size = step >> 1;
        if (size == 0 || size > newSize - done) fail("a step of the patch passes the end of the file");
        if ((step & 1) != 0) {
            const u64 zigzag = varint();
            expected += zigzag >> 1 ^ ((zigzag & 1) != 0 ? UINT64_MAX : 0);
            if (expected > old.Size() || size > old.Size() - expected)
                fail("a step of the patch passes the old file");
            old.Read(expected, size, write);
            expected += size;
        } else {
            for (u64 left = size; left > 0;) {
                const std::string bytes = take(static_cast<size_t>(std::min<u64>(left, kPiece)));
                write(bytes);
                left -= bytes.size();
            }
        }
        done += size;
    }
    if (number() != hash) fail("the patch is damaged: the result is not the file that it was made from");
    if (patch.peek() != std::char_traits<char>::eof()) fail("more follows after the end of the patch");
}

}  // namespace tvsym
