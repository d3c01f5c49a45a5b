# A tree of another release: this one's with the suffix _5_1 (and the version 5.1) renamed
# throughout, so that a program can hold both. Z_RELEASE=5.2 builds that tree instead; its sources
# are written to release-5.2/ in the build folder and follow this tree.
function(z_rename_release release)
    set(copy ${CMAKE_BINARY_DIR}/release-${release})
    execute_process(
        COMMAND sh ${CMAKE_SOURCE_DIR}/cmake/rename_release.sh ${release} ${copy}
        WORKING_DIRECTORY ${CMAKE_SOURCE_DIR}
        OUTPUT_VARIABLE sources OUTPUT_STRIP_TRAILING_WHITESPACE
        COMMAND_ERROR_IS_FATAL ANY
    )
    string(REPLACE "\n" ";" sources "${sources}")
    set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${sources})
    add_subdirectory(${copy} tree)
endfunction()
