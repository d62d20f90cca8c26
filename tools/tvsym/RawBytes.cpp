#include "tools/tvsym/RawBytes.h"

#include <fmt/format.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace tvsym {

namespace {

constexpr size_t kWindow = size_t{256} * 1024;

}  // namespace

RawBytes::RawBytes(const std::string& path) : file(path, std::ios::binary), window(kWindow) {
    if (!file) {
        throw ToolError(kExitUnreadable, fmt::format("{}: {}", path, std::strerror(errno)));
    }
}

void RawBytes::SeekTo(u64 offset) {
    if (offset >= windowOffset && offset <= windowOffset + filled) {
        at = static_cast<size_t>(offset - windowOffset);
        return;
    }
    file.clear();
    file.seekg(static_cast<std::streamoff>(offset));
    windowOffset = offset;
    filled = 0;
    at = 0;
}

// Moves what is left to the front and reads on; false when nothing came.
bool RawBytes::Refill() {
    std::copy(window.begin() + static_cast<std::ptrdiff_t>(at),
              window.begin() + static_cast<std::ptrdiff_t>(filled), window.begin());
    windowOffset += at;
    filled -= at;
    at = 0;
    file.read(window.data() + filled, static_cast<std::streamsize>(window.size() - filled));
    const auto got = static_cast<size_t>(file.gcount());
    filled += got;
    return got > 0;
}

void RawBytes::Need(size_t size) {
    while (filled - at < size) {
        if (!Refill()) {
            throw BytesEnded{windowOffset + filled};
        }
    }
}

u64 RawBytes::Number(size_t width) {
    Need(width);
    u64 number = 0;
    for (size_t byte = width; byte-- > 0;) {
        number = number << 8 | static_cast<u8>(window[at + byte]);
    }
    at += width;
    return number;
}

std::string_view RawBytes::Text() {
    longText.clear();
    for (;;) {
        const char* start = window.data() + at;
        const size_t here = filled - at;
        const auto* end = static_cast<const char*>(here ? std::memchr(start, 0, here) : nullptr);
        if (end && longText.empty()) {
            at += static_cast<size_t>(end - start) + 1;
            return {start, end};
        }
        const size_t part = end ? static_cast<size_t>(end - start) : here;
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
    at += static_cast<size_t>(size);
}

}  // namespace tvsym
