// Where the bytes of a symbol file come from, in either read mode.
#pragma once

#include <cstring>
#include <memory>

#include "format/Types.h"
#include "library/platform/Platform.h"

namespace torva {

// The first zero byte of the `n` bytes at `from`; null when there is none.
inline const u8* FindZero(const u8* from, std::size_t n) {
    return static_cast<const u8*>(std::memchr(from, 0, n));
}

// A read position in a file, and a window: the flat region of bytes in memory after that position. In memory
// mode the window is the image of the whole file; in file mode it is a read-ahead buffer of fixed size that
// is filled anew where it ends. The primitives run inside the window and are the same for both modes; the
// modes differ where it ends:
//
//                                  file mode                        memory mode
//   no byte left                   delivers 0                       delivers 0
//   a read fails                   delivers 0, `failed`             does not happen
//   skip past the end              true, position at the end        false, position at the end
//   skip over a failing read       false, position before it        does not happen
//   AtEnd on a failed read         true                             does not happen
//   image not loaded               does not happen                  delivers 0, every skip false
//
// Nothing here locks; the caller holds the file's lock.
class ByteSource {
public:
    // What ReadBytes delivered. A failed read delivers nothing and moves nothing.
    struct Delivery {
        u32 got;
        bool failed;
    };

    static constexpr u32 kWindowSize = 64 * 1024;  // bytes of the read-ahead buffer

    ByteSource() = default;
    ByteSource(const ByteSource&) = delete;
    ByteSource& operator=(const ByteSource&) = delete;

    // Reads from `openFile` from now on; with `wholeFile` loads the image. An image that cannot be loaded is
    // not a failure: there is then nothing to read. Throws std::bad_alloc.
    void Open(std::unique_ptr<platform::File> openFile, bool wholeFile);

    // Memory mode over an image of the caller's, which must not change and must outlive its use here. One of
    // 2^32 - 1 bytes or more cannot be used: there is then nothing to read.
    void OpenImage(const u8* image, u64 size);

    void Close();

    // Reads up to `n` bytes; `dst` stays as it was after the bytes delivered.
    Delivery ReadBytes(void* dst, u32 n) {
        if (n > Lent()) return ReadAcrossWindow(dst, n);
        std::memcpy(dst, next, n);
        next += n;
        return {n, false};
    }

    // Whether a read of `n` bytes is long enough to be made past the window, where there is one to pass.
    bool MayPassWindow(u64 n) const { return n >= kLeastPastWindow && !inMemory && file != nullptr; }

    // Reads `n` bytes straight to `dst`, without the copy in the window. A read that fails leaves any bytes
    // at `dst`.
    Delivery ReadPastWindow(void* dst, u32 n);

    // A strict read: true when all of `n` bytes came.
    bool ReadStrict(void* dst, u32 n) { return ReadBytes(dst, n).got == n; }

    // Moves over `n` bytes, as by reading them one by one. False where that fails; the bytes before the
    // place stay skipped.
    bool SkipBytes(u32 n);

    bool AtEnd() { return next == end && AtEndOfWindow(); }

    // Reads a text of at most `max` characters and its terminator to `dst`, which has room for `max` + 1
    // bytes. SYM_OK: *outLen counts the terminator. SYM_ERR_BUFFER_TOO_SMALL: longer than `max`, or cut off
    // by the end of the data; *outLen is `max` + 1, and 0 for a negative `max`, where nothing is read. A text
    // cut off took fewer bytes than *outLen from the source: Position() shows how many. A byte whose read
    // failed leaves a gap in the text: `dst` stays as it was there.
    i32 ReadText(u8* dst, i32 max, u32* outLen) {
        const u8* const text = LendText(max, outLen);
        if (text == nullptr) return ReadTextAcrossWindow(dst, max, outLen, Gap::left);
        std::memcpy(dst, text, *outLen);
        return 0;
    }

    // The same to an arena: a gap is 0, so that nothing old shows, and what follows the text, within
    // `max` + 1 bytes, may be overwritten. That lets a short text be copied as a block of fixed size, which
    // is cheaper than a branch on its length.
    i32 ReadTextToArena(u8* dst, i32 max, u32* outLen) {
        constexpr i32 kBlock = 32;
        const u8* const text = LendText(max, outLen);
        if (text == nullptr) return ReadTextAcrossWindow(dst, max, outLen, Gap::zeroed);
        const bool blockFits = max >= kBlock && end - text >= kBlock;
        std::memcpy(dst, text, blockFits && *outLen <= kBlock ? kBlock : *outLen);
        return 0;
    }

    // Takes a text of at most `max` characters that is whole in the window, and lends it until the next
    // call of any primitive. Null, with nothing taken, where ReadText has to do it.
    const u8* LendText(i32 max, u32* outLen) {
        *outLen = 0;
        if (max < 0) return nullptr;
        const std::size_t limit = static_cast<std::size_t>(max) + 1;
        const u8* const zero = FindZero(next, limit < Lent() ? limit : Lent());
        if (zero == nullptr) return nullptr;
        const u8* const text = next;
        next = zero + 1;
        *outLen = static_cast<u32>(next - text);
        return text;
    }

    // Passes over a text of any length. `taken` counts its bytes, the terminator included. False when the
    // data ended before the terminator came.
    bool SkipText(u64& taken);

    // Moves back by `n` bytes; where that is before the start of the file nothing changes.
    void StepBack(u64 n);

    // Moves to `offset` bytes from the start of the file. In memory mode an offset past the end changes
    // nothing.
    void SeekTo(u32 offset);

    // Bytes from the start of the file to the next byte to read.
    u64 Position() const { return windowOffset + static_cast<u64>(next - begin); }

    // The window from the read position on: Lent() bytes at LentBytes(). Take(n) moves over n of them.
    std::size_t Lent() const { return static_cast<std::size_t>(end - next); }
    const u8* LentBytes() const { return next; }
    void Take(std::size_t n) { next += n; }

private:
    bool LoadImage();
    bool SetImage(const u8* image, u64 size);
    bool Refill(u32 need);
    void MoveTo(u64 position);
    void StartWindowAt(u64 position);
    void SetWindow(const u8* base, u64 size, u64 offset);
    Delivery ReadAcrossWindow(void* dst, u32 n);
    bool AtEndOfWindow();
    enum class Gap { left, zeroed };
    i32 ReadTextAcrossWindow(u8* dst, i32 max, u32* outLen, Gap gap);

    // Below this a read past the window costs more with its call of the operating system, and the next one
    // for what follows, than the copy that it saves.
    static constexpr u32 kLeastPastWindow = kWindowSize / 2;

    static constexpr u8 kNothing[1] = {0};  // what the window points at when it is empty

    std::unique_ptr<platform::File> file;
    std::unique_ptr<u8[]> block;  // the image, or the read-ahead buffer
    bool inMemory = false;
    bool hasImage = false;
    u32 imageSize = 0;  // all ones when the size of the file could not be determined

    // The window: bytes `begin` to `end`, which are at windowOffset in the file; `next` is the read
    // position.
    const u8* begin = kNothing;
    const u8* next = kNothing;
    const u8* end = kNothing;
    u64 windowOffset = 0;

    u32 readAhead = 0;  // bytes to ask for at the next refill
};

}  // namespace torva
