// The bytes of a file from some place on, one number or text after the other, for what the library has no
// export for: where something stands.
#pragma once

#include <fstream>
#include <string>
#include <string_view>
#include <vector>

#include "tools/tvsym/Tool.h"

namespace tvsym {

// Thrown by reads that pass the end of the file.
struct BytesEnded {
    u64 offset;  // where the file ends
};

class RawBytes {
public:
    // Throws ToolError with kExitUnreadable.
    explicit RawBytes(const std::string& path);

    void SeekTo(u64 offset);
    u64 Position() const { return windowOffset + at; }

    // Little-endian, 1 to 8 bytes wide.
    u64 Number(size_t width);

    // Up to a zero byte, which is passed over. Of a longer text than `kLongestText` only its start is given.
    // The view lives until the next read.
    std::string_view Text();

    void Skip(u64 size);

    static constexpr size_t kLongestText = size_t{1} << 20;

private:
    // Sees to it that `size` bytes stand in the window, and throws when the file has fewer.
    void Need(size_t size);
    bool Refill();

    std::ifstream file;
    std::vector<char> window;
    u64 windowOffset = 0;  // of the window's first byte
    size_t filled = 0;
    size_t at = 0;
    std::string longText;
};

}  // namespace tvsym
