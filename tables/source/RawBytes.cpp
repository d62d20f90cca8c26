#include "tables/source/RawBytes.h"

#include <algorithm>
#include <cstring>

#include "format/LittleEndian.h"

namespace torva::tables {

namespace {

constexpr std::size_t kWindow = std::size_t{256} * 1024;

}  // namespace

RawBytes::RawBytes(const FileSource& bytesOf) : source(bytesOf), window(kWindow) {}

void RawBytes::SeekTo(u64 offset) {
    if (offset >= windowOffset && offset <= windowOffset + filled) {
        at = static_cast<std::size_t>(offset - windowOffset);
        return;
    }
    windowOffset = offset;
    filled = 0;
    at = 0;
}

// Moves the rest to the front and continues reading; false when nothing came.
bool RawBytes::Refill() {
    std::copy(window.begin() + static_cast<std::ptrdiff_t>(at),
              window.begin() + static_cast<std::ptrdiff_t>(filled), window.begin());
    windowOffset += at;
    filled -= at;
    at = 0;
    const u32 got = source.ReadAt(windowOffset + filled, window.data() + filled,
                                  static_cast<u32>(window.size() - filled));
    filled += got;
    return got > 0;
}

void RawBytes::Need(std::size_t size) {
    while (filled - at < size) {
        if (!Refill()) {
            throw BytesEnded{windowOffset + filled};
        }
    }
}

u64 RawBytes::Number(std::size_t width) {
    Need(width);
    const u64 number = ReadNumber(window.data() + at, width);
    at += width;
    return number;
}

std::string_view RawBytes::Text() {
    longText.clear();
    for (;;) {
        const char* start = window.data() + at;
        const std::size_t here = filled - at;
        const auto* end = static_cast<const char*>(here ? std::memchr(start, 0, here) : nullptr);
        if (end && longText.empty()) {
            at += static_cast<std::size_t>(end - start) + 1;
            return {start, static_cast<std::size_t>(end - start)};
        }
        const std::size_t part = end ? static_cast<std::size_t>(end - start) : here;
        longText.append(start, std::min(part, kLongestText - longText.size()));
        at += part + (end ? 1 : 0);
        if (end) {
            return longText;
        }
        if (!Refill()) {
            throw BytesEnded{windowOffset + filled};
        }
    }
}

void RawBytes::Skip(u64 size) {
    while (size > filled - at) {
        size -= filled - at;
        at = filled;
        Need(1);
    }
    at += static_cast<std::size_t>(size);
}

}  // namespace torva::tables
