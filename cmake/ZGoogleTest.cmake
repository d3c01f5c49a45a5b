# GoogleTest from the sources that Debian's package `googletest` installs: the packaged archive is
# 64-bit and without sanitizers, and every preset has to link one of its own kind.
set(INSTALL_GTEST OFF)
set(CMAKE_POLICY_DEFAULT_CMP0077 NEW)
add_subdirectory(/usr/src/googletest ${PROJECT_BINARY_DIR}/googletest EXCLUDE_FROM_ALL SYSTEM)
target_compile_options(gtest PRIVATE $<$<BOOL:${Z_SANITIZE}>:-O0>)
