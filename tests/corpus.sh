#!/usr/bin/env bash
# tests/corpus.sh [BUILD-FOLDER [FOLDER...]]: loads and stores every stanza file under the folders
# (/: the whole machine) with the library of a build; see corpus.py.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
build=$(realpath "${1:-build/default}")
shift $(($# > 0))
# shellcheck disable=SC2086
"${CXX:-g++}" -std=c++17 -O1 -Wall -Wextra -Werror ${CXXFLAGS-} -I src tests/corpus.cpp \
    -L "$build/src/Z" -lZ-5.1 -Wl,-rpath,"$build/src/Z:$build/src/tis" \
    -Wl,-rpath-link,"$build/src/tis" -o "$build/corpus"
TISDIR=/ LC_ALL=C.UTF-8 exec python3 tests/corpus.py "$build/corpus" "${@:-/}"
