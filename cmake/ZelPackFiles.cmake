# Run by cpack when the files of a package are in place, before they are packed: what only packages want. Manual pages are
# compressed and a changelog is added where Debian asks for it, and everything gets the one time of ZelPackTime.

function(compress file) # beside it, without its name and time in the result
    execute_process(COMMAND gzip -9n "${file}" COMMAND_ERROR_IS_FATAL ANY)
endfunction()

if(CPACK_GENERATOR STREQUAL "DEB")
    file(GLOB pages "${CPACK_TEMPORARY_DIRECTORY}/*/usr/share/man/man*/*.[1-9]")
    file(GLOB copyrights "${CPACK_TEMPORARY_DIRECTORY}/*/usr/share/doc/*/copyright")
    foreach(copyright IN LISTS copyrights)
        cmake_path(REPLACE_FILENAME copyright changelog OUTPUT_VARIABLE changelog)
        file(REMOVE "${changelog}.gz")
        configure_file("${CPACK_ZEL_SOURCE}/packaging/debian/changelog" "${changelog}" COPYONLY)
        list(APPEND pages "${changelog}")
    endforeach()
    foreach(page IN LISTS pages)
        compress("${page}")
    endforeach()
endif()

execute_process(COMMAND find "${CPACK_TEMPORARY_DIRECTORY}" -exec touch -h -d "@$ENV{SOURCE_DATE_EPOCH}" {} +
    COMMAND_ERROR_IS_FATAL ANY)
