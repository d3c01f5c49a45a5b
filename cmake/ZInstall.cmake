# Releases live side by side: everything but libtis carries the release in its name.
include(CMakePackageConfigHelpers)

set(Z_VERSIONED Z-${PROJECT_VERSION})
set(Z_CMAKE_FOLDER ${CMAKE_INSTALL_LIBDIR}/cmake/${Z_VERSIONED})

install(TARGETS Z tis EXPORT ZTargets LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(FILES ${Z_PUBLIC_HEADERS} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/${Z_VERSIONED}/Z
    COMPONENT headers)
install(FILES ${PROJECT_SOURCE_DIR}/src/tis/tis.h
    DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/${Z_VERSIONED}/tis COMPONENT headers)

install(EXPORT ZTargets NAMESPACE Z:: DESTINATION ${Z_CMAKE_FOLDER})
configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/ZConfig.cmake.in
    ${PROJECT_BINARY_DIR}/ZConfig.cmake INSTALL_DESTINATION ${Z_CMAKE_FOLDER})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/ZConfigVersion.cmake
    COMPATIBILITY ExactVersion)
cmake_path(RELATIVE_PATH CMAKE_INSTALL_PREFIX
    BASE_DIRECTORY ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig OUTPUT_VARIABLE Z_TO_PREFIX)
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

# Manual pages. A page of functions is installed under the first of the names in its section NAME;
# a page for each other name leads to it.
file(GLOB pages CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/docs/man/*.[135])
if(NOT Z_BUILD_TOOL)
    list(FILTER pages EXCLUDE REGEX "\\.1$")
endif()
foreach(page IN LISTS pages)
    set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${page})
    cmake_path(GET page EXTENSION LAST_ONLY section)
    string(SUBSTRING ${section} 1 -1 section)
    set(man ${CMAKE_INSTALL_MANDIR}/man${section})
    file(STRINGS ${page} names REGEX "^\\.(Sh|Nm)( |$)")
    string(REGEX REPLACE ";\\.Sh .*" "" names "${names}")
    string(REGEX REPLACE "\\.(Sh NAME;|Nm )| ," "" names "${names}")
    list(POP_FRONT names chief)
    install(FILES ${page} RENAME ${chief}.${section} DESTINATION ${man})
    foreach(name IN LISTS names)
        file(CONFIGURE OUTPUT ${PROJECT_BINARY_DIR}/man/${name}.${section}
            CONTENT ".so man${section}/${chief}.${section}\n" @ONLY)
        install(FILES ${PROJECT_BINARY_DIR}/man/${name}.${section} DESTINATION ${man})
    endforeach()
endforeach()
