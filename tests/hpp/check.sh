#!/usr/bin/env bash
# check.sh SOURCE BUILD [full]: compiles hosts of the C++ header as hosts do, with and without exceptions, and runs them
# on the sample; programs that must not compile; the programs of docs/cpp.md; a plugin that must unload. FULL: with every
# compiler and language version, with the address sanitizer, and with the C++ library that has std::format.
set -euo pipefail

readonly source=$1 build=$2 extent=${3:-short}
readonly work=$build/hpp here=$source/tests/hpp
readonly warnings="-Wall -Wextra -Wpedantic -Wconversion -Wsign-conversion -Wshadow -Werror"
readonly file=$work/sample.sym
readonly includes="-I$build/include -I$source/include"
failed=0 done=0

rm -rf "$work" && mkdir -p "$work"
"$build/bin/tvsym" build "$source/samples/instruments.json" "$file"

fail() {
    echo "FAILED: $*"
    failed=1
}

# host NAME COMPILER SOURCE FLAG...: compiles without a warning, links the static library and runs.
host() {
    local program=$work/$1
    # shellcheck disable=SC2086 # flags are words
    "$2" $warnings $includes "${@:4}" -DTORVA_API_STATIC "$3" -o "$program" "$build/lib/libTorvaAPI.a" -pthread \
        -lfmt -Wl,-lstdc++ >"$program.log" 2>&1 && (cd "$work" && "$program" "$file" >>"$program.log" 2>&1) || {
        cat "$program.log"
        fail "$@"
    }
    done=$((done + 1))
}

# documents COMPILER: the programs of docs/cpp.md, each with the setting that its first line asks for.
documents() {
    local program flags
    awk -v to="$work/doc" '/^```cpp$/ { ++n; inside = 1; next } /^```$/ { inside = 0 }
        inside { print > (to n ".cpp") }' "$source/docs/cpp.md"
    for program in "$work"/doc*.cpp; do
        flags=-std=c++17
        ! grep -q '^// C++20' "$program" || flags=-std=c++20
        ! grep -q '^// without exceptions' "$program" || flags="-std=c++17 -fno-exceptions"
        [[ $flags != *20 || $1 != clang++ ]] || continue  # 14 does not compile the views of libstdc++
        # shellcheck disable=SC2086
        host "$(basename "$program" .cpp)" "$1" "$program" $flags "${@:2}"
    done
}

# refused COMPILER FLAG...: all programs in one unit, each a function on a line of its own; each must be refused there,
# with its message.
refused() {
    local line body pattern unit=$work/refused.cpp log=$work/refused.log number=0 all=-fmax-errors=0
    [[ $1 != clang* ]] || all=-ferror-limit=0
    printf '#include <vector>\n#include "TorvaAPI.hpp"\n' >"$unit"
    while IFS= read -r line; do
        [[ $line != \#* ]] || continue
        number=$((number + 1)) body=${line%%  => *}
        printf '#line %d "program"\nvoid f%d(tvapi::File& file, tvapi::Symbol& symbol) { (void)file; (void)symbol; %s }\n' \
            "$number" "$number" "$body" >>"$unit"
    done <"$here/refused.txt"
    # shellcheck disable=SC2086
    ! "$1" $includes -Werror -fsyntax-only "$all" "${@:2}" "$unit" >"$log" 2>&1 || fail "$*: compiles"
    number=0
    while IFS= read -r line; do
        [[ $line != \#* ]] || continue
        number=$((number + 1)) pattern=${line##*  => }
        # Not a pipe: grep -q ends at the first match, and the writer would fail.
        grep -q -E -- "$pattern" <<<"$(grep -B 12 -A 12 "program:$number:" "$log")" ||
            fail "$*: not refused with '$pattern': ${line%%  => *}"
    done <"$here/refused.txt"
    done=$((done + number))
}

# plugin COMPILER: no symbol that keeps it in memory, and gone after each of 200 rounds.
plugin() {
    # shellcheck disable=SC2086
    "$1" $includes -std=c++17 -fPIC -shared -fvisibility=hidden -DTORVA_API_STATIC -Wl,--exclude-libs,ALL \
        "-DRead=__attribute__((visibility(\"default\"))) Read" "$here/plugin.cpp" -o "$work/plugin.so" \
        "$build/lib/libTorvaAPI.a"
    ! nm "$work/plugin.so" | grep ' u ' || fail "$1: the plugin has unique symbols"
    "$1" "$here/loader.cpp" -o "$work/loader" -ldl
    "$work/loader" "$work/plugin.so" "$file" || fail "$1: loader"
    done=$((done + 1))
}

compilers=(g++)
! command -v clang++ >/dev/null || compilers+=(clang++)
sanitize=${SANITIZE:+-fsanitize=$SANITIZE}
if [ "$extent" = full ]; then
    for compiler in "${compilers[@]}"; do
        for level in 17 20 2b; do
            host "host-$compiler-$level" "$compiler" "$here/host.cpp" "-std=c++$level" -O2 -DHOST_WITH_FMT
            host "host-$compiler-$level-coded" "$compiler" "$here/host.cpp" "-std=c++$level" -fno-exceptions -fno-rtti
            host "host-$compiler-$level-asan" "$compiler" "$here/host.cpp" "-std=c++$level" -g \
                -fsanitize=address,undefined
            refused "$compiler" "-std=c++$level"
        done
        documents "$compiler" -g -fsanitize=address,undefined
        plugin "$compiler"
    done
    # The C++ library with std::format, and a clang that compiles views.
    for level in 20 23; do
        host "host-libc++-$level" clang++-19 "$here/host.cpp" "-std=c++$level" -stdlib=libc++ -DHOST_WITH_FORMAT
    done
    documents clang++-19 -stdlib=libc++
else
    host host-17-coded g++ "$here/host.cpp" -std=c++17 -fno-exceptions -fno-rtti ${sanitize:+"$sanitize"}
    host host-20 g++ "$here/host.cpp" -std=c++20 -DHOST_WITH_FMT ${sanitize:+"$sanitize"}
    documents g++ ${sanitize:+"$sanitize"}
    if [ -z "$sanitize" ]; then
        [ "${#compilers[@]}" -eq 1 ] || host host-clang clang++ "$here/host.cpp" -std=c++20
        refused "${compilers[-1]}" -std=c++17
        plugin g++
    fi
fi
echo "$done programs"
exit "$failed"
