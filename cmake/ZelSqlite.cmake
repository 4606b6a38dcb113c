# SQLite for targets that have no system copy (the Windows cross build), as the library sqlite3_amalgamation: compiled
# from the source package that the build machine's own SQLite was made of, so that both targets have the same.

set(ZEL_SQLITE_SOURCE_DIR "" CACHE PATH "Folder with sqlite3.c and sqlite3.h; empty: fetched by scripts/fetch-source")

set(zel_sqlite_folder "${ZEL_SQLITE_SOURCE_DIR}")
if(NOT zel_sqlite_folder)
    execute_process(COMMAND "${PROJECT_SOURCE_DIR}/scripts/fetch-source" sqlite3 RESULT_VARIABLE zel_fetched)
    if(NOT zel_fetched EQUAL 0)
        message(FATAL_ERROR "There is no source of SQLite, for the reason above. "
            "A folder with sqlite3.c and sqlite3.h can be given: -DZEL_SQLITE_SOURCE_DIR=FOLDER")
    endif()
    set(zel_sqlite_folder "${PROJECT_SOURCE_DIR}/build/sources/sqlite3/amalgamation")
endif()
foreach(file IN ITEMS sqlite3.c sqlite3.h)
    if(NOT EXISTS "${zel_sqlite_folder}/${file}")
        message(FATAL_ERROR "There is no ${file} in ${zel_sqlite_folder} (ZEL_SQLITE_SOURCE_DIR)")
    endif()
endforeach()
# What was removed is fetched again, and what the machine got anew is followed.
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS "${zel_sqlite_folder}/sqlite3.c")
if(ZEL_SQLITE_NATIVE_HEADER)
    set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS "${ZEL_SQLITE_NATIVE_HEADER}")
endif()

zel_sqlite_version("${zel_sqlite_folder}/sqlite3.h" zel_version)
message(STATUS "SQLite ${zel_version} from ${zel_sqlite_folder}")
if(ZEL_SQLITE_NATIVE_VERSION AND NOT zel_version STREQUAL ZEL_SQLITE_NATIVE_VERSION)
    message(WARNING "SQLite is ${zel_version} for Windows, but ${ZEL_SQLITE_NATIVE_VERSION} on this machine: statements "
        "and texts of errors can differ between the targets. Give a folder with ${ZEL_SQLITE_NATIVE_VERSION}, or none.")
endif()

add_library(sqlite3_amalgamation STATIC EXCLUDE_FROM_ALL "${zel_sqlite_folder}/sqlite3.c")

# SYSTEM: our warning flags do not apply to a header that is not ours to change.
target_include_directories(sqlite3_amalgamation SYSTEM PUBLIC "${zel_sqlite_folder}")

target_compile_definitions(sqlite3_amalgamation PRIVATE
    SQLITE_THREADSAFE=1             # serialized: connections may be used from any thread
    SQLITE_OMIT_LOAD_EXTENSION      # SQL that comes in from outside must not be able to load code
    # What Debian's package switches on and SQL can see, so that a statement gives there and here the same.
    # Defaults of connections (foreign keys, double-quoted strings, synchronous) stay as SQLite has them.
    SQLITE_ALLOW_ROWID_IN_VIEW
    SQLITE_ENABLE_COLUMN_METADATA
    SQLITE_ENABLE_DBSTAT_VTAB
    SQLITE_ENABLE_FTS3
    SQLITE_ENABLE_FTS3_PARENTHESIS
    SQLITE_ENABLE_FTS4
    SQLITE_ENABLE_FTS5
    SQLITE_ENABLE_MATH_FUNCTIONS
    SQLITE_ENABLE_RTREE
    SQLITE_ENABLE_STMTVTAB
    SQLITE_ENABLE_UPDATE_DELETE_LIMIT
    SQLITE_LIKE_DOESNT_MATCH_BLOBS
    SQLITE_MAX_SCHEMA_RETRY=25
    SQLITE_MAX_VARIABLE_NUMBER=250000
    SQLITE_SOUNDEX)

# Warnings are off because the file is not ours: a warning here could not be acted upon.
target_compile_options(sqlite3_amalgamation PRIVATE -w)

# Beside tests it is built in half the time; what is shipped is as fast as the compiler makes it.
if(ZEL_BUILD_TESTS)
    target_compile_options(sqlite3_amalgamation PRIVATE $<$<CONFIG:Release>:-O1>)
endif()

# Linked into plug-in modules, whose exports must not include a second set of sqlite3_* names.
set_target_properties(sqlite3_amalgamation PROPERTIES
    POSITION_INDEPENDENT_CODE ON
    UNITY_BUILD OFF
    C_VISIBILITY_PRESET hidden
    C_CLANG_TIDY ""
    LINKER_LANGUAGE C)
