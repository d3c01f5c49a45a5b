# Releases live side by side: everything but libtis carries the release in its name.
include(CMakePackageConfigHelpers)

set(Z_VERSIONED Z-${PROJECT_VERSION})
set(Z_CMAKE_FOLDER ${CMAKE_INSTALL_LIBDIR}/cmake/${Z_VERSIONED})

install(TARGETS Z tis EXPORT ZTargets LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(FILES ${Z_PUBLIC_HEADERS} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/${Z_VERSIONED}/Z)
install(FILES ${PROJECT_SOURCE_DIR}/src/tis/tis.h
    DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/${Z_VERSIONED}/tis)

install(EXPORT ZTargets NAMESPACE Z:: DESTINATION ${Z_CMAKE_FOLDER})
configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/ZConfig.cmake.in
    ${PROJECT_BINARY_DIR}/ZConfig.cmake INSTALL_DESTINATION ${Z_CMAKE_FOLDER})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/ZConfigVersion.cmake
    COMPATIBILITY ExactVersion)
configure_file(${PROJECT_SOURCE_DIR}/cmake/Z.pc.in ${PROJECT_BINARY_DIR}/${Z_VERSIONED}.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/ZConfig.cmake ${PROJECT_BINARY_DIR}/ZConfigVersion.cmake
    DESTINATION ${Z_CMAKE_FOLDER})
install(FILES ${PROJECT_BINARY_DIR}/${Z_VERSIONED}.pc
    DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

# GDB loads the pretty printers with the library: beside it in the build, from its auto-load folder
# when it is installed.
set(Z_PRINTERS libZ-${PROJECT_VERSION}.so-gdb.py)
configure_file(${PROJECT_SOURCE_DIR}/src/Z/libZ-gdb.py ${PROJECT_BINARY_DIR}/src/Z/${Z_PRINTERS}
    COPYONLY)
install(FILES ${PROJECT_SOURCE_DIR}/src/Z/libZ-gdb.py RENAME ${Z_PRINTERS}
    DESTINATION ${CMAKE_INSTALL_DATADIR}/gdb/auto-load${CMAKE_INSTALL_FULL_LIBDIR})
