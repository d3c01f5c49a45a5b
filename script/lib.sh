# Shared by the scripts of this folder: what each needs from Debian, and how builds are started.
# shellcheck shell=bash

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
jobs=$(nproc)

packages_run=(cmake ninja-build gcc g++ libc6-dev zlib1g-dev libcli11-dev nlohmann-json3-dev)
packages_test=("${packages_run[@]}" googletest locales python3 python3-jsonschema mandoc)
packages_bench=(cmake ninja-build gcc g++ libc6-dev zlib1g-dev python3 pkg-config
    libpoco-dev openjdk-17-jdk-headless
    libbenchmark-dev libglib2.0-dev libinih-dev libsimpleini-dev libboost-dev libfmt-dev
    qtbase5-dev libicu-dev)
packages_package=("${packages_run[@]}" build-essential debhelper dpkg-dev git lintian)
packages_docs=(doxygen mandoc python3)
packages_abi=("${packages_test[@]}" abigail-tools gcc-multilib g++-multilib lib32z1-dev)
packages_fuzz=("${packages_test[@]}" clang libclang-rt-14-dev)
packages_check=("${packages_fuzz[@]}" "${packages_bench[@]}" "${packages_docs[@]}"
    "${packages_abi[@]}" llvm-14 gdb git clang clang-format clang-tidy cppcheck)

say() { printf '%s\n' "$*" >&2; }

# need_packages PACKAGE...: installs what is missing, or says exactly what is and ends the script.
need_packages() {
    local missing log as_root=()
    missing=$(dpkg-query -W -f '${db:Status-Status} ${Package}\n' "$@" 2>/dev/null |
        sed -n 's/^installed //p' | sort -u |
        comm -13 - <(printf '%s\n' "$@" | sort -u) | paste -sd ' ') || true
    [ -z "$missing" ] && return
    if [ "$(id -u)" -ne 0 ]; then
        as_root=(sudo -n)
        if ! sudo -n true 2>/dev/null; then
            say "Packages are missing. Install them as root and start this again:"
            say "    apt-get update && apt-get install --no-install-recommends $missing"
            exit 1
        fi
    fi
    say "Installing $missing"
    log=$(mktemp)
    # shellcheck disable=SC2086
    if ! "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive sh -c 'apt-get -q update &&
            apt-get -q -y -o DPkg::Lock::Timeout=600 install --no-install-recommends "$@"' \
        sh $missing </dev/null >"$log" 2>&1; then
        tail -n 40 "$log" >&2
        rm -f "$log"
        say "The packages could not be installed."
        exit 1
    fi
    rm -f "$log"
}

# build PRESET [TARGET...]: configures when the presets are newer than the build, then builds. One
# build per preset at a time. Silent when it goes well, all on standard error when it fails.
build() (
    preset=$1
    shift
    cd "$root"
    folder=build/$preset
    mkdir -p "$folder"
    exec 9>"$folder/lock"
    flock 9
    log=$folder/build.log
    if {
        { [ "$folder/build.ninja" -nt CMakePresets.json ] && [ $# -gt 0 ]; } ||
            cmake --preset "$preset" ${build_options+"${build_options[@]}"}
    } >"$log" 2>&1 9>&- &&
        cmake --build --preset "$preset" -j "$jobs" ${1+--target "$@"} >>"$log" 2>&1 9>&-; then
        return 0
    fi
    cat "$log" >&2
    say "The build of preset $preset failed."
    return 1
)
