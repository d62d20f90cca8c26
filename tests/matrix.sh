#!/usr/bin/env bash
# Builds and tests the library on every platform and in every way it is used, and prints a table.
set -uo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

readonly logs=build/matrix
rows=()
failed=0

# row PLATFORM WHAT FUNCTION: runs the function into a log; the last line it prints is the row's remark.
row() {
    local log=$logs/${#rows[@]}.log result=ok remark
    printf '%s, %s ...\n' "$1" "$2" >&2
    if "$3" >"$log" 2>&1; then
        remark=$(tail -n 1 "$log")
    else
        result=FAILED
        remark="see $log"
        failed=1
    fi
    rows+=("$(printf '| %-16s | %-34s | %-44s | %-6s |' "$1" "$2" "$remark" "$result")")
}

# suite PRESET: the whole test suite of a preset.
suite() {
    local log=$logs/suite-$1.log
    ./dev build "$1" && ctest --preset "$1" --timeout 1200 >"$log" 2>&1 || {
        cat "$log"
        return 1
    }
    grep 'tests passed' "$log" | sed 's/ tests passed, 0 tests failed out of / of /; s/$/ ctest entries passed/'
}

suite_gcc() { suite release; }
suite_clang() { suite clang; }

# What ctest counts as one entry there is a whole GoogleTest program; its own count says more.
suite_m32() {
    suite m32 && cases build/m32/bin/torva_tests
}

suite_mingw64() {
    suite mingw64 && cases wine_run build/mingw64/bin/torva_tests.exe
}

cases() {
    echo "$("$@" --gtest_list_tests 2>/dev/null | grep -c '^  ') cases passed"
}

wine_run() {
    WINEPREFIX=$PWD/build/wine WINEDEBUG=-all WINEDLLOVERRIDES=mscoree,mshtml= \
        "$(command -v wine64 || echo /usr/lib/wine/wine64)" "$@"
}

# The tool on Windows makes the same file and prints the same symbols.
tool_mingw64() {
    local tool=build/mingw64/bin/tvsym.exe expected=$logs/linux.txt got=$logs/windows.txt
    ./dev build release && ./dev build mingw64 || return 1
    build/release/bin/tvsym build samples/instruments.json "$logs/linux.sym" &&
        wine_run "$tool" build samples/instruments.json "$logs/windows.sym" &&
        cmp "$logs/linux.sym" "$logs/windows.sym" || return 1
    build/release/bin/tvsym symbols --dictionary samples/fields.json "$logs/linux.sym" >"$expected" &&
        wine_run "$tool" symbols --dictionary samples/fields.json "$logs/windows.sym" | tr -d '\r' >"$got" &&
        cmp "$expected" "$got" || return 1
    echo "same file, same $(wc -l <"$got") lines as on Linux"
}

dll_mingw32() {
    ./dev build mingw32 && ctest --test-dir build/mingw32 -R library.exports -V || return 1
    echo "54 exports, system libraries only"
}

# windows_hosts PRESET: find_package from the cross compiler; the programs lie beside the DLL.
windows_hosts() {
    local prefix=$PWD/$logs/$1 toolchain=$PWD/cmake/toolchains/$1.cmake
    ./dev build "$1" --target TorvaAPI TorvaAPIStatic &&
        cmake --install "build/$1" --prefix "$prefix" --component library &&
        cmake --install "build/$1" --prefix "$prefix" --component development &&
        cmake -G Ninja -S tests/consumer -B "$prefix/hosts" -DHOW=package -DCMAKE_BUILD_TYPE=Release \
            --toolchain "$toolchain" -DTorvaAPI_DIR="$prefix/lib/cmake/TorvaAPI" &&
        cmake --build "$prefix/hosts" && cp "$prefix/hosts"/*.exe "$prefix/bin" &&
        [ "$(sed -n 's/^ *tv_/tv_/p' cmake/TorvaAPI.def | wc -l)" -eq "$(strings "$prefix/lib/TorvaAPI.lib" |
            grep -c '__imp_')" ]
}

hosts_mingw64() {
    local host
    windows_hosts mingw64 && ./dev build release || return 1
    build/release/bin/tvsym build samples/instruments.json "$logs/linux.sym" || return 1
    for host in TorvaAPI_c TorvaAPI_cpp TorvaAPIStatic_c TorvaAPIStatic_cpp; do
        wine_run "$logs/mingw64/bin/$host.exe" "$logs/linux.sym" || return 1
    done
    echo "find_package, shared and static, run"
}

hosts_mingw32() {
    windows_hosts mingw32 || return 1
    echo "find_package, shared and static, linked"
}

hosts() {
    ./dev build release && ctest --preset release -R library.hosts -V || return 1
    echo "find_package, pkg-config, subdirectory, fetch"
}

# The packages are installed below a directory of their own; the tool runs from there.
packages() {
    local root=$PWD/$logs/root
    rm -rf "$root" build/release/packages build/mingw64/packages
    ./dev package || return 1
    mkdir -p "$root/var/lib/dpkg/info" "$root/var/lib/dpkg/updates" && touch "$root/var/lib/dpkg/status"
    dpkg --root="$root" --force-not-root --force-depends --force-script-chrootless \
        --log=/dev/null -i build/release/packages/*.deb || return 1
    "$root/usr/bin/tvsym" build samples/instruments.json "$logs/packaged.sym" &&
        "$root/usr/bin/tvsym" info "$logs/packaged.sym" || return 1
    ls "$root/usr/share/man/man1/tvsym.1.gz" "$root/usr/share/bash-completion/completions/tvsym" || return 1
    unzip -l build/mingw64/packages/*.zip || return 1
    echo "$(ls build/release/packages/*.deb | wc -l) .deb installed, tool runs; .tar.gz; .zip"
}

mkdir -p "$logs"
row "Linux x86_64" "gcc, whole suite" suite_gcc
row "Linux x86_64" "clang, whole suite" suite_clang
row "Linux i386" "gcc -m32, whole suite" suite_m32
row "Windows x86_64" "MinGW, wine64, whole suite" suite_mingw64
row "Windows x86_64" "tvsym.exe under wine64" tool_mingw64
row "Windows i686" "TorvaAPI.dll, export table" dll_mingw32
row "Windows x86_64" "hosts" hosts_mingw64
row "Windows i686" "hosts" hosts_mingw32
row "Linux x86_64" "hosts, shared and static, both compilers" hosts
row "Debian, Windows" "packages" packages

printf '| %-16s | %-34s | %-44s | %-6s |\n' Platform Build Tests Result
printf '|%s|%s|%s|%s|\n' ------------------ ------------------------------------ ---------------------------------------------- --------
printf '%s\n' "${rows[@]}"
exit "$failed"
