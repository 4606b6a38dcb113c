# Run by cpack before it packs: the time that everything in the packages gets, unless the caller named one in
# SOURCE_DATE_EPOCH. It is that of the commit, so that one commit gives the same packages whenever they are made; without
# git that of the newest entry of the changelog.
if(NOT DEFINED ENV{SOURCE_DATE_EPOCH})
    execute_process(COMMAND git -C "${CPACK_ZEL_SOURCE}" log -1 --format=%ct
        OUTPUT_VARIABLE time OUTPUT_STRIP_TRAILING_WHITESPACE ERROR_QUIET)
    if(NOT time MATCHES "^[0-9]+$")
        file(STRINGS "${CPACK_ZEL_SOURCE}/packaging/debian/changelog" date REGEX "^ -- .*>  " LIMIT_COUNT 1)
        string(REGEX REPLACE ".*>  " "" date "${date}")
        execute_process(COMMAND date -d "${date}" +%s
            OUTPUT_VARIABLE time OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
    endif()
    set(ENV{SOURCE_DATE_EPOCH} "${time}")
endif()
set(ENV{TZ} UTC) # a zip has local times
