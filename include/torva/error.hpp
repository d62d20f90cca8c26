// Errors as exceptions, or, in a build without them, as results alone.
#pragma once

#ifndef TORVA_NO_EXCEPTIONS
#include <stdexcept>
#endif
#include <string>
#include <string_view>

#include "torva/codes.hpp"

namespace tvapi {
inline namespace TORVA_EDITION {
namespace detail {

// "market.sym: section 10: the data is cut off". Not with std::to_string, whose table would keep a plugin
// built with g++ in memory.
inline std::string message(std::string_view path, std::int32_t code, unsigned section, Reason reason) {
    std::string text(path);
    if (!text.empty()) {
        text.append(": ");
    }
    if (reason != Reason::none) {
        return text.append("cannot be opened: ").append(describe(reason));
    }
    if (section != 0) {
        text.append("section ");
        if (section >= 10) {
            text.push_back(static_cast<char>('0' + section / 10));
        }
        text.push_back(static_cast<char>('0' + section % 10));
        text.append(": ");
    }
    return text.append(describe(code));
}

}  // namespace detail

#ifndef TORVA_NO_EXCEPTIONS
// what() names the file, the section and the error.
class Error : public std::runtime_error {
public:
    Error(std::string_view path, std::int32_t code, unsigned section, Reason reason)
        : std::runtime_error(detail::message(path, code, section, reason)),
          errorCode(code),
          errorSection(section),
          openReason(reason) {}

    // A code of the C interface, kErrLostPlace or kErrNoRestart.
    [[nodiscard]] std::int32_t code() const noexcept { return errorCode; }
    // The section that was read; 0 at open.
    [[nodiscard]] unsigned section() const noexcept { return errorSection; }
    // Why the file did not open; Reason::none for any other error.
    [[nodiscard]] Reason reason() const noexcept { return openReason; }

private:
    std::int32_t errorCode;
    unsigned errorSection;
    Reason openReason;
};

namespace detail {
[[noreturn]] inline void raise(std::string_view path, std::int32_t code, unsigned section, Reason reason) {
    throw Error(path, code, section, reason);
}
}  // namespace detail
#else
namespace detail {
inline void raise(std::string_view /*path*/, std::int32_t /*code*/, unsigned /*section*/,
                  Reason /*reason*/) noexcept {}
}  // namespace detail
#endif

}  // namespace TORVA_EDITION
}  // namespace tvapi
