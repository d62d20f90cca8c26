#include "library/core/ByteSource.h"

#include <algorithm>
#include <new>
#include <utility>

#include "TorvaAPI.h"

namespace torva {
namespace {

constexpr u32 kUnknownSize = ~u32{0};

// The first refill after a seek is small, since often only a directory or a head is needed there; a
// walk that continues soon fills the whole buffer.
constexpr u32 kFirstReadAhead = 4 * 1024;

// After a read-ahead that failed the next ones are tiny and grow again, so that the bytes before a bad
// sector come in few reads.
constexpr u32 kReadAheadAfterFailure = 16;

}  // namespace

void ByteSource::Open(std::unique_ptr<platform::File> openFile, bool wholeFile) {
    Close();
    file = std::move(openFile);
    inMemory = wholeFile;
    if (inMemory) {
        hasImage = LoadImage();
        if (!hasImage) block.reset();
        return;
    }
    block.reset(new u8[kWindowSize]);
    MoveTo(0);
}

void ByteSource::OpenImage(const u8* image, u64 size) {
    Close();
    inMemory = true;
    hasImage = SetImage(image, size);
}

void ByteSource::Close() {
    file.reset();
    block.reset();
    hasImage = false;
    imageSize = 0;
    SetWindow(kNothing, 0, 0);
}

bool ByteSource::LoadImage() {
    u64 size = 0;
    if (!file->Size(size) || size >= kUnknownSize) {
        imageSize = kUnknownSize;
        return false;
    }
    block.reset(new (std::nothrow) u8[static_cast<std::size_t>(size) + 1]);
    u32 got = 0;
    if (block == nullptr || !file->ReadAt(0, block.get(), static_cast<u32>(size), got) || got != size)
        return false;
    return SetImage(block.get(), size);
}

// A file of 2^32 - 1 bytes or more has no size that 32 bits can hold.
bool ByteSource::SetImage(const u8* image, u64 size) {
    imageSize = static_cast<u32>(std::min<u64>(size, kUnknownSize));
    if (imageSize == kUnknownSize) return false;
    SetWindow(size == 0 ? kNothing : image, size, 0);
    return true;
}

void ByteSource::SetWindow(const u8* base, u64 size, u64 offset) {
    begin = base;
    next = base;
    end = base + size;
    windowOffset = offset;
}

// File mode: brings the bytes that are left to the front of the buffer and continues to read after them, so
// that `need` bytes are in the window if the file has them. A read-ahead that fails is tried again with
// exactly the bytes needed, so that a bad sector meets only the call that needs it. False when that fails
// too; position and bytes are then as before.
bool ByteSource::Refill(u32 need) {
    const u32 held = static_cast<u32>(Lent());
    const u64 position = Position();
    std::memmove(block.get(), next, held);
    SetWindow(block.get(), held, position);
    u8* const free = block.get() + held;
    u32 got = 0;
    const u32 wanted = std::max(need - held, std::min(readAhead, kWindowSize - held));
    if (!file->ReadAt(position + held, free, wanted, got)) {
        if (!file->ReadAt(position + held, free, need - held, got)) return false;
        readAhead = kReadAheadAfterFailure / 4;
    }
    end += got;
    readAhead = std::min(readAhead * 4, kWindowSize);
    return true;
}

ByteSource::Delivery ByteSource::ReadAcrossWindow(void* dst, u32 n) {
    if (!inMemory && file != nullptr) {
        if (n > kWindowSize) return ReadPastWindow(dst, n);
        if (!Refill(n)) return {0, true};
    }
    const u32 got = static_cast<u32>(std::min<std::size_t>(n, Lent()));
    std::memcpy(dst, next, got);
    next += got;
    return {got, false};
}

ByteSource::Delivery ByteSource::ReadPastWindow(void* dst, u32 n) {
    const u32 held = static_cast<u32>(std::min<std::size_t>(n, Lent()));
    const u64 position = Position();
    u32 got = 0;
    if (!file->ReadAt(position + held, static_cast<u8*>(dst) + held, n - held, got)) return {0, true};
    std::memcpy(dst, next, held);
    StartWindowAt(position + held + got);
    return {held + got, false};
}

bool ByteSource::AtEndOfWindow() {
    if (inMemory) return hasImage || imageSize == 0;
    return file == nullptr || !Refill(1) || next == end;
}

// As n reads of one byte each: in file mode one that fails ends the skip, and those past the end of the file
// succeed.
bool ByteSource::SkipBytes(u32 n) {
    for (;;) {
        const u32 part = static_cast<u32>(std::min<std::size_t>(n, Lent()));
        next += part;
        n -= part;
        if (n == 0) return true;
        if (inMemory || file == nullptr || !Refill(1)) return false;
        if (next == end) return true;
    }
}

// Each turn without a byte counts like a character, so that a text with no terminator in sight ends as one
// that is too long. At the end of the data the turns that are left are not walked one by one; nor are they
// where a read has failed twice in a row.
i32 ByteSource::ReadTextAcrossWindow(u8* dst, i32 max, u32* outLen, Gap gap) {
    *outLen = 0;
    if (max < 0) return SYM_ERR_BUFFER_TOO_SMALL;
    const std::size_t limit = static_cast<std::size_t>(max) + 1;
    std::size_t turns = 0;
    bool failedBefore = false;
    while (turns < limit) {
        if (next == end) {
            const bool mayRefill = !inMemory && file != nullptr;
            const bool failed = mayRefill && !Refill(1);
            if (failed && !failedBefore) {
                failedBefore = true;
                if (gap == Gap::zeroed) dst[turns] = 0;
                ++turns;
                continue;
            }
            if (next == end) break;
        }
        failedBefore = false;
        const std::size_t part = std::min(limit - turns, Lent());
        const u8* const zero = FindZero(next, part);
        const std::size_t taken = zero == nullptr ? part : static_cast<std::size_t>(zero - next) + 1;
        std::memcpy(dst + turns, next, taken);
        next += taken;
        turns += taken;
        if (zero != nullptr) {
            *outLen = static_cast<u32>(turns);
            return SYM_OK;
        }
    }
    *outLen = static_cast<u32>(limit);
    return SYM_ERR_BUFFER_TOO_SMALL;
}

bool ByteSource::SkipText(u64& taken) {
    taken = 0;
    for (bool failedBefore = false;;) {
        if (next == end) {
            const bool failed = !inMemory && file != nullptr && !Refill(1);
            if (failed && !failedBefore) {
                failedBefore = true;
                continue;
            }
            if (next == end) return false;
        }
        failedBefore = false;
        const u8* const zero = FindZero(next, Lent());
        const u8* const stop = zero == nullptr ? end : zero + 1;
        taken += static_cast<u64>(stop - next);
        next = stop;
        if (zero != nullptr) return true;
    }
}

void ByteSource::StepBack(u64 n) {
    if (n <= static_cast<u64>(next - begin)) {
        next -= n;
    } else if (!inMemory && n <= Position()) {
        MoveTo(Position() - n);
    }
}

void ByteSource::SeekTo(u32 offset) {
    if (!inMemory) {
        MoveTo(offset);
    } else if (hasImage && offset <= imageSize) {
        next = begin + offset;
    }
}

// File mode: inside the window the position moves there, elsewhere the window begins anew.
void ByteSource::MoveTo(u64 position) {
    const u64 windowEnd = windowOffset + static_cast<u64>(end - begin);
    if (position >= windowOffset && position <= windowEnd && end != begin) {
        next = begin + (position - windowOffset);
        return;
    }
    StartWindowAt(position);
}

void ByteSource::StartWindowAt(u64 position) {
    SetWindow(block.get(), 0, position);
    readAhead = kFirstReadAhead;
}

}  // namespace torva
