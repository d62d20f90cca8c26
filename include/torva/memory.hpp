// Memory that may run out without an exception.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <new>
#include <type_traits>
#include <utility>

#include "TorvaFwd.hpp"

namespace tvapi {
inline namespace TORVA_EDITION {
namespace detail {

// An array that grows, keeps what it holds and reports when there is no memory. New room has no initial
// value.
template <class T>
class Buffer {
    static_assert(std::is_trivially_copyable_v<T>);

public:
    Buffer() = default;
    Buffer(Buffer&& other) noexcept
        : first(std::exchange(other.first, nullptr)), room(std::exchange(other.room, 0)) {}
    Buffer& operator=(Buffer&& other) noexcept {
        std::swap(first, other.first);
        std::swap(room, other.room);
        return *this;
    }
    Buffer(const Buffer&) = delete;
    Buffer& operator=(const Buffer&) = delete;
    ~Buffer() { std::free(first); }

    [[nodiscard]] bool reserve(std::size_t count) noexcept {
        if (count <= room) {
            return true;
        }
        if (count > static_cast<std::size_t>(PTRDIFF_MAX) / sizeof(T)) {
            return false;
        }
        void* const larger = std::realloc(first, count * sizeof(T));
        if (larger == nullptr) {
            return false;
        }
        first = static_cast<T*>(larger);
        room = count;
        return true;
    }
    T* data() const noexcept { return first; }
    std::size_t capacity() const noexcept { return room; }

private:
    T* first = nullptr;
    std::size_t room = 0;
};

// An object of its own; null when there is no memory for it.
template <class T, class... Arguments>
T* create(Arguments&&... arguments) noexcept {
    void* const place = std::realloc(nullptr, sizeof(T));
    return place != nullptr ? ::new (place) T(std::forward<Arguments>(arguments)...) : nullptr;
}
template <class T>
void destroy(T* object) noexcept {
    if (object != nullptr) {
        object->~T();
        std::free(object);
    }
}

// The one owner of such an object.
template <class T>
class Box {
public:
    explicit Box(T* object) noexcept : owned(object) {}
    Box(Box&& other) noexcept : owned(std::exchange(other.owned, nullptr)) {}
    Box& operator=(Box&& other) noexcept {
        std::swap(owned, other.owned);
        return *this;
    }
    Box(const Box&) = delete;
    Box& operator=(const Box&) = delete;
    ~Box() { destroy(owned); }
    T* get() const noexcept { return owned; }

private:
    T* owned;
};

// An element of a range: it refers to what the range holds, so it cannot be copied out of it.
struct Borrowed {
    Borrowed() = default;
    Borrowed(const Borrowed&) = delete;
    Borrowed& operator=(const Borrowed&) = delete;
};

}  // namespace detail
}  // namespace TORVA_EDITION
}  // namespace tvapi
