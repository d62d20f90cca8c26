// The bytes of a file from some place on, one number or text after the other, for what the library has no
// operation for: where something is.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "tables/source/FileSource.h"

namespace torva::tables {

// Thrown by reads that pass the end of the file.
struct BytesEnded {
    u64 offset;  // where the file ends
};

class RawBytes {
public:
    // The source must outlive the object.
    explicit RawBytes(const FileSource& bytesOf);

    void SeekTo(u64 offset);
    u64 Position() const { return windowOffset + at; }

    // Little-endian, 1 to 8 bytes wide.
    u64 Number(std::size_t width);

    // Up to a zero byte, which is passed over. Of a text longer than `kLongestText` only the start is
    // returned. The view lives until the next read.
    std::string_view Text();

    void Skip(u64 size);

    static constexpr std::size_t kLongestText = std::size_t{1} << 20;

private:
    // Ensures that `size` bytes are in the window, and throws when the file has fewer.
    void Need(std::size_t size);
    bool Refill();

    const FileSource& source;
    std::vector<char> window;
    u64 windowOffset = 0;  // of the window's first byte
    std::size_t filled = 0;
    std::size_t at = 0;
    std::string longText;
};

}  // namespace torva::tables
