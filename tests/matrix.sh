#!/usr/bin/env bash
# Builds and tests the library on every platform and in every way it is used, and prints a table. With arguments,
# only the rows of these functions.
set -uo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

readonly logs=build/matrix root=$PWD
readonly wanted=" $* "
rows=()
failed=0
wine_started=

# row PLATFORM WHAT FUNCTION: runs the function into a log; the last line it prints is the row's remark. If it fails,
# the end of the log is printed.
row() {
    local log=$logs/$3.log result=ok remark start=$SECONDS
    [[ -z ${wanted// /} || $wanted == *" $3 "* ]] || return 0
    printf '%s, %s ...\n' "$1" "$2" >&2
    if "$3" >"$log" 2>&1; then
        remark=$(tail -n 1 "$log")
    else
        result=FAILED
        remark="see $log"
        failed=1
        tail -n 60 "$log" >&2
    fi
    add_row "$1" "$2" "$remark" "$result" "$(((SECONDS - start + 59) / 60)) min"
}

# not_run PLATFORM WHAT WHY
not_run() {
    [[ -n ${wanted// /} ]] || add_row "$1" "$2" "$3" "not run" ""
}

add_row() { rows+=("$(printf '| %-14s | %-36s | %-52s | %-7s | %6s |' "$@")"); }

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
    suite m32 && echo "$(cases build/m32/bin/torva_tests) + $(cases build/m32/bin/tool_tests) cases passed, strides asserted"
}

sweep_m32() {
    { ./dev sweep m32 && ./dev faults m32; } >"$logs/sweep.log" 2>&1 || {
        cat "$logs/sweep.log"
        return 1
    }
    echo "$(awk '/^[0-9]+ (files|faults)$/ { n[$2] += $1 } END { print n["files"] " damaged files, " n["faults"] " faults" }' "$logs/sweep.log")"
}

suite_mingw64() {
    start_wine || return 1
    suite mingw64 && echo "$(cases wine_run build/mingw64/bin/torva_tests.exe) cases passed"
}

cases() { "$@" --gtest_list_tests 2>/dev/null | grep -c '^  '; }

wine() { command -v wine64 || echo /usr/lib/wine/wine64; }

wine_environment() { WINEPREFIX=$root/build/wine WINEDEBUG=-all WINEDLLOVERRIDES=mscoree,mshtml= "$@"; }

wine_run() { wine_environment "$(wine)" "$@"; }

# Wine's services start with the first program and end with the last one; they keep the files that were open when they
# started. So one idle program is started before all others, with none of the pipes that ctest or a row waits on, and
# stays until the script ends. Without it ctest would wait for the services, up to its time-out.
start_wine() {
    [[ -z $wine_started ]] || return 0
    wine_started=yes
    mkdir -p build/wine
    command -v wineserver >/dev/null && wine_environment wineserver -p
    coproc IDLE { exec 2>/dev/null && wine_environment setsid "$(wine)" cmd /q; }
    readonly idle=$IDLE_PID to_idle=${IDLE[1]}
    trap stop_wine EXIT
    # The prefix is complete when the idle program answers.
    echo "echo ready" >&"${IDLE[1]}"
    timeout 300 grep -q -m 1 ready <&"${IDLE[0]}"
}

stop_wine() {
    echo exit >&"$to_idle"
    wait "$idle"
    ! command -v wineserver >/dev/null || wine_environment wineserver -k
}

# The tool's own tests, run from Linux against tvsym.exe: outputs, messages and statuses are the same. Left out are
# exports to SQLite, which the Windows build has not, what needs POSIX streams, locks and UTF-8 arguments; of these
# tests the outputs on sound, damaged and refused files are compared with those of the Linux build below.
readonly not_on_windows='Export.*:ToolTest.StreamsAndPipes:ToolTest.WholeOutputs:ToolTest.FilesThatAreNotSymbolFiles'

tool_mingw64() {
    ./dev build release --target tool_tests tvsym && ./dev build mingw64 --target tvsym || return 1
    start_wine || return 1
    local cases
    wine_environment env TORVA_TVSYM_COMMAND="$(wine) $PWD/build/mingw64/bin/tvsym.exe" \
        build/release/bin/tool_tests --gtest_filter="*:-$not_on_windows" >"$logs/tool.log" 2>&1 || {
        cat "$logs/tool.log"
        return 1
    }
    cases=$(sed -n 's/.*  PASSED  . \([0-9]*\) tests.*/\1/p' "$logs/tool.log")
    compare_tools || return 1
    echo "$cases of $(cases build/release/bin/tool_tests) tests, $compared outputs as on Linux"
}

# Every command on a sound file, a cut one and some that are refused, by both builds of the tool.
compare_tools() {
    local dir=$logs/tools linux=$PWD/build/release/bin/tvsym windows=$PWD/build/mingw64/bin/tvsym.exe file command
    rm -rf "$dir" && mkdir -p "$dir/directory" && "$linux" build samples/instruments.json "$dir/sound.sym" &&
        wine_run "$windows" build samples/instruments.json "$dir/windows.sym" &&
        cmp "$dir/sound.sym" "$dir/windows.sym" || return 1
    head -c 70000 "$dir/sound.sym" >"$dir/cut.sym"
    : >"$dir/empty"
    cp dev "$dir/text"
    cp samples/fields.json "$dir/fields.json"
    compared=0
    for file in sound.sym cut.sym empty text directory missing; do
        for command in info "symbols --dictionary fields.json" dump "dump --format table" "dump --format ndjson" stats \
            check "diff sound.sym" "get --prefix --json"; do
            one_of_both "$dir" "$command $file$([[ $command != get* ]] || echo " 0005")" || return 1
            compared=$((compared + 1))
        done
    done
}

# one_of_both DIRECTORY ARGUMENTS
one_of_both() (
    cd "$1" || return 1
    # shellcheck disable=SC2086 # arguments are words
    "$linux" $2 >linux.out 2>linux.err
    echo $? >>linux.err
    # shellcheck disable=SC2086
    wine_run "$windows" $2 >windows.out 2>windows.err
    echo $? >>windows.err
    tr -d '\r' <windows.err >windows.txt
    cmp linux.out windows.out && cmp linux.err windows.txt || {
        echo "differs: tvsym $2"
        diff linux.err windows.txt
        return 1
    }
)

dll_mingw32() {
    ./dev build mingw32 && ctest --test-dir build/mingw32 -R library.exports -V || return 1
    echo "all builds; 54 exports by name, system libraries only"
}

# exports_of DLL
exports_of() { objdump -p "$1" | awk '/^\[Ordinal\/Name Pointer\]/ { names = 1; next } names && !NF { exit } names { print $NF }'; }

# windows_hosts PRESET: find_package from the cross compiler; the programs lie beside the DLL.
windows_hosts() {
    local prefix=$PWD/$logs/$1 toolchain=$PWD/cmake/toolchains/$1.cmake
    ./dev build "$1" --target TorvaAPI TorvaAPIStatic &&
        cmake --install "build/$1" --prefix "$prefix" --component library &&
        cmake --install "build/$1" --prefix "$prefix" --component development &&
        cmake -G Ninja -S tests/consumer -B "$prefix/hosts" -DHOW=package -DCMAKE_BUILD_TYPE=Release \
            --toolchain "$toolchain" -DTorvaAPI_DIR="$prefix/lib/cmake/TorvaAPI" &&
        cmake --build "$prefix/hosts" && cp "$prefix/hosts"/*.exe "$prefix/bin" &&
        [ "$(exports_of "$prefix/hosts/libplugin.dll")" = main ] &&
        [ "$(sed -n 's/^ *tv_/tv_/p' cmake/TorvaAPI.def | wc -l)" -eq "$(strings "$prefix/lib/TorvaAPI.lib" |
            grep -c '__imp_')" ]
}

hosts_mingw64() {
    local host
    windows_hosts mingw64 && ./dev build release && start_wine || return 1
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

hosts_hpp() { ./dev build release && tests/hpp/check.sh "$PWD" "$PWD/build/release" full; }

hosts() {
    ./dev build release && ctest --preset release -R library.hosts -V || return 1
    echo "find_package, pkg-config, subdirectory, fetch"
}

# The packages are installed below a directory of their own, the archives unpacked; the tools run from there.
packages() {
    local system=$PWD/$logs/system unpacked=$PWD/$logs/unpacked
    rm -rf "$system" "$unpacked" build/release/packages build/mingw64/packages
    ./dev package && start_wine || return 1
    mkdir -p "$system/var/lib/dpkg/info" "$system/var/lib/dpkg/updates" "$unpacked" && touch "$system/var/lib/dpkg/status"
    dpkg --root="$system" --force-not-root --force-depends --force-script-chrootless \
        --log=/dev/null -i build/release/packages/*.deb &&
        ls "$system/usr/share/man/man1/tvsym.1.gz" "$system/usr/share/bash-completion/completions/tvsym" &&
        tar -xzf build/release/packages/*.tar.gz -C "$unpacked" --strip-components=1 &&
        unzip -q build/mingw64/packages/*.zip -d "$unpacked" || return 1
    local deb
    for deb in build/release/packages/*.deb; do
        dpkg-deb -c "$deb" >"$logs/contents" && grep '/copyright$' "$logs/contents" || return 1
        # What a program is linked against holds for later releases, too.
        dpkg-deb -I "$deb" shlibs >"$logs/shlibs" 2>/dev/null || continue
        ! grep '(= ' "$logs/shlibs" || return 1
    done
    local made=$logs/packaged
    "$system/usr/bin/tvsym" build samples/instruments.json "$made.sym" &&
        "$unpacked/bin/tvsym" build samples/instruments.json "$made-archive.sym" &&
        wine_run "$unpacked"/*/bin/tvsym.exe build samples/instruments.json "$made-windows.sym" &&
        cmp "$made.sym" "$made-archive.sym" && cmp "$made.sym" "$made-windows.sym" || return 1
    echo "$(ls build/release/packages/*.deb | wc -l) .deb, .tar.gz, .zip: the tool of each makes the same file"
}

mkdir -p "$logs"

row "Linux x86_64" "gcc, whole suite" suite_gcc
row "Linux x86_64" "clang, whole suite" suite_clang
row "Linux x86_64" "hosts, shared and static, gcc and clang" hosts
row "Linux x86_64" "C++ header, gcc and clang, C++17 to 23" hosts_hpp
row "Linux i386" "gcc -m32, whole suite" suite_m32
row "Linux i386" "gcc -m32, full damage and fault sweep" sweep_m32
row "Windows x86_64" "MinGW, wine64: the library's suite" suite_mingw64
row "Windows x86_64" "MinGW, wine64: tvsym.exe" tool_mingw64
row "Windows x86_64" "MinGW, wine64: hosts" hosts_mingw64
row "Windows i686" "MinGW: everything, the DLL's tables" dll_mingw32
row "Windows i686" "MinGW: hosts" hosts_mingw32
not_run "Windows i686" "the suite" "there is no 32-bit Wine here"
not_run "Windows" "Microsoft's compiler and linker" "TorvaAPI.lib is made for them, untried"
row "Debian, Windows" "packages" packages

printf '| %-14s | %-36s | %-52s | %-7s | %6s |\n' Platform Build Tests Result Time
printf '|%s|%s|%s|%s|%s|\n' ---------------- -------------------------------------- \
    ------------------------------------------------------ --------- --------
printf '%s\n' "${rows[@]}"
exit "$failed"
