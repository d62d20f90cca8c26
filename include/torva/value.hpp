// The typed values of fields.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <optional>
#include <string_view>
#include <type_traits>
#include <utility>

#include "TorvaValues.h"
#include "torva/codes.hpp"

namespace tvapi {
inline namespace TORVA_EDITION {
namespace detail {

// What can be read of a value with a tag() and its data(): Payload and Field.
//
//   tag    1, 2   3, 5   4   6   7      8   9   other
//   bytes  1      4      2   8   text   4   3   no value
template <class Self>
class TypedReads {
public:
    // False for a tag without a value, and where there was no memory for it.
    [[nodiscard]] bool present() const noexcept { return self().data() != nullptr; }

    // Bytes of the value; of a text without its zero byte.
    [[nodiscard]] std::size_t size() const noexcept {
        const auto* const bytes = static_cast<const char*>(self().data());
        return bytes == nullptr ? 0 : self().tag() == 7 ? std::strlen(bytes) : width();
    }
    // The text of tag 7; else empty.
    [[nodiscard]] std::string_view text() const noexcept {
        const auto* const bytes = static_cast<const char*>(self().data());
        return self().tag() == 7 && bytes != nullptr ? bytes : std::string_view();
    }

    // The value as a number, of 1, 2, 3, 4 or 8 bytes; nothing for a text and where there is no value. The
    // file does not record whether a number has a sign: the host knows its fields.
    [[nodiscard]] std::optional<std::uint64_t> asUnsigned() const noexcept {
        const std::size_t bytes = self().data() != nullptr ? width() : 0;
        if (bytes == 0) {
            return std::nullopt;
        }
        std::uint64_t number = 0;
        std::memcpy(&number, self().data(), bytes);
        return number;
    }
    // The same in two's complement.
    [[nodiscard]] std::optional<std::int64_t> asSigned() const noexcept {
        const std::optional<std::uint64_t> number = asUnsigned();
        if (!number) {
            return std::nullopt;
        }
        const std::uint64_t sign = std::uint64_t{1} << (width() * 8 - 1);
        return static_cast<std::int64_t>((*number ^ sign) - sign);
    }
    // A floating-point number of 4 or 8 bytes; nothing for any other value.
    [[nodiscard]] std::optional<double> asFloat() const noexcept {
        static_assert(sizeof(float) == 4 && sizeof(double) == 8);
        float single = 0;
        double number = 0;
        if (self().data() == nullptr || (width() != 4 && width() != 8)) {
            return std::nullopt;
        }
        if (width() == 8) {
            std::memcpy(&number, self().data(), sizeof number);
            return number;
        }
        std::memcpy(&single, self().data(), sizeof single);
        return static_cast<double>(single);
    }
    // The value as a number of type T, by asUnsigned, asSigned or asFloat; nothing where T cannot hold it.
    template <class T>
    [[nodiscard]] std::optional<T> as() const noexcept {
        static_assert(std::is_arithmetic_v<T> && !std::is_same_v<T, bool>,
                      "as<T>() reads numbers: T must be an integer or floating-point type; "
                      "use text() for texts and data() for bytes");
        if constexpr (std::is_floating_point_v<T>) {
            const std::optional<double> number = asFloat();
            return number && width() <= sizeof(T) ? std::optional<T>(static_cast<T>(*number)) : std::nullopt;
        } else if constexpr (std::is_signed_v<T>) {
            return fitting<T>(asSigned());
        } else {
            return fitting<T>(asUnsigned());
        }
    }

private:
    const Self& self() const noexcept { return static_cast<const Self&>(*this); }
    // Bytes of a number; 0 for any other tag.
    std::size_t width() const noexcept {
        switch (self().tag()) {
            case 1:
            case 2:
                return 1;
            case 4:
                return 2;
            case 9:
                return 3;
            case 3:
            case 5:
            case 8:
                return 4;
            case 6:
                return 8;
            default:
                return 0;
        }
    }
    template <class T, class Number>
    std::optional<T> fitting(std::optional<Number> number) const noexcept {
        return number && width() <= sizeof(T) ? std::optional<T>(static_cast<T>(*number)) : std::nullopt;
    }
};

}  // namespace detail

// A typed value that belongs to somebody else.
class Payload : public detail::TypedReads<Payload> {
public:
    Payload(std::uint8_t tag, const void* value) noexcept : typeTag(tag), bytes(value) {}

    [[nodiscard]] std::uint8_t tag() const noexcept { return typeTag; }
    [[nodiscard]] const void* data() const noexcept { return bytes; }

private:
    std::uint8_t typeTag;
    const void* bytes;
};

// A symbol value that was taken out of its field. Outlives symbol, range and file.
class [[nodiscard]] Value {
public:
    Value() = default;
    explicit Value(void* value) noexcept : block(value) {}
    Value(Value&& other) noexcept : block(other.release()) {}
    Value& operator=(Value&& other) noexcept {
        std::swap(block, other.block);
        return *this;
    }
    Value(const Value&) = delete;
    Value& operator=(const Value&) = delete;
    ~Value() { SymFreeValue(block); }

    [[nodiscard]] void* get() const noexcept { return block; }
    explicit operator bool() const noexcept { return block != nullptr; }
    // The caller frees the value with SymFreeValue.
    [[nodiscard]] void* release() noexcept { return std::exchange(block, nullptr); }

private:
    void* block = nullptr;
};

}  // namespace TORVA_EDITION
}  // namespace tvapi
