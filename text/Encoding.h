// Conversion between character sets, by the operating system: EncodingPosix.cpp and EncodingWindows.cpp.
// Where it has none (WebAssembly), no conversion is available and texts are UTF-8 or bytes.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace torva {

class Converter {
public:
    // Null when the system has no such conversion.
    static std::unique_ptr<Converter> Make(const std::string& from, const std::string& to);
    virtual ~Converter() = default;

    // Converts one whole text; none when it cannot be converted without loss.
    virtual std::optional<std::string> Convert(std::string_view text) = 0;
};

}  // namespace torva
