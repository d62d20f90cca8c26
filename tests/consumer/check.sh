#!/usr/bin/env bash
# check.sh SOURCE BUILD: installs the built library and uses it from small hosts in every way that is promised.
set -euo pipefail

readonly source=$1 build=$2
readonly here=$source/tests/consumer
readonly work=$build/consumer prefix=$build/consumer/installed
readonly file=$work/instruments.sym

run_hosts() {
    local host
    for host in "$@"; do
        echo "$host: $("$host" "$file")"
    done
}

# by_cmake NAME COMPILER-C COMPILER-CXX ARGUMENT...
by_cmake() {
    local dir=$work/$1
    CC=$2 CXX=$3 cmake -S "$here" -B "$dir" -G Ninja "${@:4}" >"$dir.log" 2>&1 &&
        cmake --build "$dir" >>"$dir.log" 2>&1 || {
        cat "$dir.log"
        return 1
    }
    run_hosts $(find "$dir" -maxdepth 1 -name 'TorvaAPI*_*' | sort)
    ! nm -D --defined-only "$dir/libplugin.so" | grep -E ' (tv_|SymFree)' || fail "exported again by a plugin"
}

fail() {
    echo "$*"
    return 1
}

# Debian's clang comes without the sanitizers' runtime.
have_clang() {
    command -v clang++ >/dev/null || return 1
    echo 'int main(void) { return 0; }' | clang -fsanitize=address -x c - -o "$work/sanitized" 2>/dev/null || {
        echo "skipped: clang, which cannot link with -fsanitize=address (Debian: libclang-rt-dev)"
        return 1
    }
}

needs_shared() { grep -q 'NEEDED.*libTorvaAPI' <<<"$(readelf -d "$1")"; }

# by_pkg_config COMPILER-C COMPILER-CXX
by_pkg_config() {
    local flags dir=$work/pkg-config-$1
    mkdir -p "$dir"
    export PKG_CONFIG_PATH=$prefix/lib/pkgconfig
    [ "$(pkg-config --modversion torvaapi)" = "$(sed -n 's/^  VERSION \(.*\)/\1/p' "$source/CMakeLists.txt" | head -1)" ]
    flags="$(pkg-config --cflags --libs torvaapi) -Wl,-rpath,$prefix/lib"
    # shellcheck disable=SC2086 # flags are words
    "$1" "$here/host.c" -o "$dir/host_c" $flags
    # shellcheck disable=SC2086
    "$2" "$here/host.cpp" -o "$dir/host_cpp" $flags
    # shellcheck disable=SC2046
    "$1" "$here/host.c" -o "$dir/static_c" $(pkg-config --cflags --libs torvaapi-static)
    # shellcheck disable=SC2046
    "$1" -static "$here/host.c" -o "$dir/whole_static_c" $(pkg-config --static --cflags --libs torvaapi)
    # The address sanitizer wants each block freed by the operator that belongs to the one it came from.
    # shellcheck disable=SC2086
    "$1" -fsanitize=address "$here/host.c" -o "$dir/asan_c" $flags
    needs_shared "$dir/host_c" && ! needs_shared "$dir/static_c" || fail "torvaapi-static does not link libTorvaAPI.a"
    run_hosts "$dir"/*_c "$dir"/*_cpp
}

if command -v ccache >/dev/null; then
    export CMAKE_C_COMPILER_LAUNCHER=ccache CMAKE_CXX_COMPILER_LAUNCHER=ccache
fi
rm -rf "$work"
mkdir -p "$work"
cmake --install "$build" --prefix "$prefix" >/dev/null
"$prefix/bin/tvsym" build "$source/samples/instruments.json" "$file"

compilers=("gcc g++")
! have_clang || compilers+=("clang clang++")
for pair in "${compilers[@]}"; do
    read -r c cxx <<<"$pair"
    by_cmake "package-$c" "$c" "$cxx" -DHOW=package -DCMAKE_PREFIX_PATH="$prefix"
    ! command -v pkg-config >/dev/null || by_pkg_config "$c" "$cxx"
done
by_cmake package-c-alone gcc g++ -DHOW=package -DCMAKE_PREFIX_PATH="$prefix" -DLANGUAGES=C
by_cmake subdirectory gcc g++ -DHOW=subdirectory -DTORVA_SOURCE="$source" \
    -DHOST_FLAGS="-Wall -Wextra -Wsign-conversion -Wshadow -Werror"
sanitized=(gcc g++)
! have_clang || sanitized=(clang clang++)
by_cmake fetch "${sanitized[@]}" -DHOW=fetch -DTORVA_SOURCE="$source" -DHOST_FLAGS="-fsanitize=address -fno-exceptions"
# Without TORVA_INSTALL the host installs what it exports and nothing of the library.
cmake --install "$work/fetch" --prefix "$work/host" >/dev/null
[ ! -e "$work/host/include/TorvaAPI.h" ] && [ -e "$work/host/lib/cmake/Consumer/ConsumerTargets.cmake" ] ||
    fail "installed with the host: $(find "$work/host")"
