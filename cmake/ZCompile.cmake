# Language, warnings, word size and sanitizers: the same for the library, the tool and the tests.

# The library is C++17; its headers serve later standards too (tests/consumers.sh).
set(CMAKE_CXX_STANDARD 17)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_C_STANDARD 11)
set(CMAKE_C_STANDARD_REQUIRED ON)
set(CMAKE_C_EXTENSIONS OFF)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
if(NOT CMAKE_BUILD_TYPE)
    set(CMAKE_BUILD_TYPE RelWithDebInfo)
endif()

set(Z_WARNINGS
    -Wall
    -Wextra
    -Wconversion
    -Werror
    $<$<COMPILE_LANGUAGE:CXX>:-Woverloaded-virtual>
)

# In 32 bits the plain stat and open fail on files with large inode numbers or sizes.
add_compile_definitions(_GNU_SOURCE)
if(CMAKE_SIZEOF_VOID_P EQUAL 4)
    add_compile_definitions(_FILE_OFFSET_BITS=64)
endif()

if(Z_SANITIZE STREQUAL "address")
    set(Z_SANITIZE_FLAGS -fsanitize=address,undefined -fno-sanitize-recover=all)
elseif(Z_SANITIZE STREQUAL "thread")
    set(Z_SANITIZE_FLAGS -fsanitize=thread)
elseif(Z_SANITIZE)
    message(FATAL_ERROR "Z_SANITIZE is empty, address or thread, not ${Z_SANITIZE}")
endif()
if(Z_BUILD_FUZZ AND NOT Z_COVERAGE)
    list(APPEND Z_SANITIZE_FLAGS -fsanitize=fuzzer-no-link)
endif()
add_compile_options(${Z_SANITIZE_FLAGS} -fno-omit-frame-pointer)
if(Z_COVERAGE)
    # The counters stand in the profile's file, so those of killed processes are kept.
    add_compile_options(-fprofile-instr-generate -fcoverage-mapping
        "SHELL:-mllvm -runtime-counter-relocation")
    add_link_options(-fprofile-instr-generate)
endif()
if(Z_HARDENED)
    add_compile_definitions(_FORTIFY_SOURCE=3 _GLIBCXX_ASSERTIONS)
    add_compile_options(-fstack-protector-strong -fstack-clash-protection -fcf-protection)
    add_link_options(LINKER:-z,relro,-z,now)
endif()
if(Z_BUILD_FUZZ)
    add_compile_definitions(_GLIBCXX_ASSERTIONS)
endif()
# Nobody puts functions of their own in the place of a library's, so its calls to itself need no
# detour. Relocations of a library to itself are packed: there is one for every virtual function.
add_compile_options(-fno-semantic-interposition)
include(CheckLinkerFlag)
check_linker_flag(CXX LINKER:-z,pack-relative-relocs Z_PACKS_RELOCATIONS)
set(Z_LIBRARY_LINK_OPTIONS $<$<BOOL:${Z_PACKS_RELOCATIONS}>:LINKER:-z,pack-relative-relocs>)
add_link_options(${Z_SANITIZE_FLAGS})
