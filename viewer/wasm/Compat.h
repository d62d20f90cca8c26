// Parts of the standard library that the sources use and Emscripten 3.1.6 lacks. Included before every file.
#pragma once

#include <bit>
#include <memory>
#include <version>

#ifndef __cpp_lib_smart_ptr_for_overwrite
namespace std {

template <class T>
unique_ptr<T> make_unique_for_overwrite(size_t size) {
    return unique_ptr<T>(new remove_extent_t<T>[size]);
}

template <class T>
unique_ptr<T> make_unique_for_overwrite() {
    return unique_ptr<T>(new T);
}

}  // namespace std
#endif

#ifndef __cpp_lib_bit_cast
namespace std {

template <class To, class From>
constexpr To bit_cast(const From& from) noexcept {
    return __builtin_bit_cast(To, from);
}

}  // namespace std
#endif
