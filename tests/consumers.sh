#!/usr/bin/env bash
# consumers.sh PREFIX FOLDER [FLAG...]: builds programs of strangers on the library installed at
# PREFIX, in C89 to C++23, by gcc and clang, through pkg-config and through CMake, and runs them.
# Release 5.2 is installed there too: nobody gets it who asked for this one, and a program can hold
# both. FOLDER is made anew. The flags go to compilers and linkers (-m32).
set -euo pipefail
prefix=$(realpath "$1")
out=$(realpath -m "$2")
shift 2
examples=$(cd "$(dirname "$0")/../examples" && pwd)
source=$examples/consumer
rm -rf "$out"
mkdir -p "$out"
cd "$out"
library=$(dirname "$(find "$prefix" -name libZ-5.1.so)")
export PKG_CONFIG_PATH=$library/pkgconfig
count=0

fail() {
    echo "consumers.sh: $*" >&2
    exit 1
}

# Runs a program; the text it prints must be the same for every compiler and standard.
run() {
    local program=$1 kind=$2
    cp "$examples/server.conf" .
    LC_ALL=C.UTF-8 TISDIR=/ LD_LIBRARY_PATH=$library "$program" ${3+server.conf} >printed ||
        fail "$program ends with $?"
    [ -s printed ] || fail "$program prints nothing"
    [ -e "$kind.first" ] || cp printed "$kind.first"
    diff "$kind.first" printed || fail "$program prints something else than the first"
    count=$((count + 1))
}

read -ra flags <<<"$(pkg-config --cflags --libs Z-5.1)"
for compilers in "gcc g++" "clang clang++"; do
    read -r cc cxx <<<"$compilers"
    for standard in c89 c11; do
        strict=("$cc" "$@" "-std=$standard" -pedantic -fexceptions -Wall -Wextra -Werror)
        "${strict[@]}" "$source/services.c" "${flags[@]}" -o "services.$cc.$standard"
        run "./services.$cc.$standard" services
        "${strict[@]}" "$examples/stanza.c" "${flags[@]}" -o "stanza.$cc.$standard"
        run "./stanza.$cc.$standard" stanza file
    done
    for standard in c++17 c++20 c++2b; do
        strict=("$cxx" "$@" "-std=$standard" -pedantic -Wall -Wextra -Wconversion -Werror)
        "${strict[@]}" "$source/strings.cpp" "${flags[@]}" -o "strings.$cc.$standard"
        run "./strings.$cc.$standard" strings
        "${strict[@]}" "$source/consumer.cpp" "${flags[@]}" -o "list.$cc.$standard"
        run "./list.$cc.$standard" list file
    done

    for alone in 0 1; do
        cmake -S "$source" -B "cmake.$cc.$alone" -G Ninja -D CMAKE_PREFIX_PATH="$prefix" \
            -D CMAKE_C_COMPILER="$cc" -D CMAKE_CXX_COMPILER="$cxx" -D Z_C_ALONE="$alone" \
            -D CMAKE_C_FLAGS="$*" -D CMAKE_CXX_FLAGS="$*" --no-warn-unused-cli
        cmake --build "cmake.$cc.$alone"
        for program in "cmake.$cc.$alone"/*_c[+0-9]*; do
            kind=${program##*/}
            kind=${kind%_c*}
            case $kind in
            list | stanza) run "$program" "$kind" file ;;
            *) run "$program" "$kind" ;;
            esac
        done
    done
done

# Both releases in one program: each half is what the consumer is, and finds its own headers.
mkdir -p both/5.{1,2}
printf '%s\n' 'cmake_minimum_required(VERSION 3.25)' 'project(both LANGUAGES CXX)' \
    'add_subdirectory(5.1)' 'add_subdirectory(5.2)' 'add_executable(both both.cpp)' \
    'target_link_libraries(both PRIVATE half_5_1 half_5_2)' >both/CMakeLists.txt
echo 'extern "C" int main_5_1(int, char**), main_5_2(int, char**);
int main(int argc, char** argv) { return main_5_1(argc, argv) + main_5_2(argc, argv); }' >both/both.cpp
for release in 5.1 5.2; do
    suffix=_${release/./_}
    sed "s/int main/extern \"C\" int main$suffix/; s/_5_1/$suffix/g" "$source/consumer.cpp" \
        >"both/$release/half.cpp"
    printf '%s\n' "find_package(Z $release REQUIRED)" "add_library(half$suffix SHARED half.cpp)" \
        "target_link_libraries(half$suffix PRIVATE Z::Z)" >"both/$release/CMakeLists.txt"
    read -ra flags <<<"$(pkg-config --cflags "Z-$release")"
    g++ "$@" -c "both/$release/half.cpp" "${flags[@]}" -o "both/$release/half.o"
done
read -ra flags <<<"$(pkg-config --libs Z-5.1 Z-5.2)"
g++ "$@" both/both.cpp both/*/half.o "${flags[@]}" -o both/both
cmake -S both -B cmake.both -G Ninja -D CMAKE_PREFIX_PATH="$prefix" -D CMAKE_CXX_FLAGS="$*"
cmake --build cmake.both
cat list.first list.first >both.first
for program in both/both cmake.both/both; do
    run "$program" both file
    [ "$(LD_LIBRARY_PATH=$library ldd "$program" | grep -c "=> $library/libZ-5\.[12]\.so")" = 2 ] ||
        fail "$program does not hold both releases"
done
echo "$count programs built and run through pkg-config and CMake${*:+ with $*}"
