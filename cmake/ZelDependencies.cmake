# What comes from elsewhere, each as one interface target, so that no other file needs to know how a target gets it:
#   zel::fmt zel::spdlog zel::cli11 zel::json zel::gtest     everywhere
#   zel::boost zel::xxhash                                   everywhere, as headers alone
#   zel::sqlite                                              elsewhere than on Windows: the system's; there: ZelSqlite
#   zel::libxml2                                             elsewhere than on Windows, which has a DOM of its own
#   zel::benchmark                                           native, where it is installed

find_package(Threads REQUIRED)

set(ZEL_HOST_INCLUDE_DIRS /usr/include /usr/local/include CACHE STRING
    "Where the build machine has its header-only libraries")
set(ZEL_GOOGLETEST_DIR /usr/src/googletest CACHE PATH "Sources of GoogleTest")

# Header-only libraries come from the build machine through a folder of links. Its whole include folder must never be
# visible to a cross compiler: it holds the C library of another system.
set(zel_header_links "${CMAKE_BINARY_DIR}/header-only")
file(MAKE_DIRECTORY "${zel_header_links}")
function(zel_link_headers folder probe)
    find_path(ZEL_${folder}_INCLUDE_DIR "${folder}/${probe}" PATHS ${ZEL_HOST_INCLUDE_DIRS}
        NO_DEFAULT_PATH NO_CMAKE_FIND_ROOT_PATH REQUIRED)
    mark_as_advanced(ZEL_${folder}_INCLUDE_DIR)
    file(CREATE_LINK "${ZEL_${folder}_INCLUDE_DIR}/${folder}" "${zel_header_links}/${folder}" SYMBOLIC)
endfunction()

function(zel_header_only target folder probe)
    zel_link_headers(${folder} ${probe})
    add_library(zel_${target} INTERFACE)
    add_library(zel::${target} ALIAS zel_${target})
    target_include_directories(zel_${target} SYSTEM INTERFACE "${zel_header_links}")
endfunction()

zel_header_only(cli11 CLI CLI.hpp)
zel_header_only(json nlohmann json.hpp)
zel_header_only(boost boost version.hpp)

# One header that lies in no folder of its own.
find_path(ZEL_xxhash_INCLUDE_DIR xxhash.h PATHS ${ZEL_HOST_INCLUDE_DIRS}
    NO_DEFAULT_PATH NO_CMAKE_FIND_ROOT_PATH REQUIRED)
mark_as_advanced(ZEL_xxhash_INCLUDE_DIR)
file(CREATE_LINK "${ZEL_xxhash_INCLUDE_DIR}/xxhash.h" "${zel_header_links}/xxhash.h" SYMBOLIC)
add_library(zel_xxhash INTERFACE)
add_library(zel::xxhash ALIAS zel_xxhash)
target_include_directories(zel_xxhash SYSTEM INTERFACE "${zel_header_links}")
target_compile_definitions(zel_xxhash INTERFACE XXH_INLINE_ALL)

# Compiled formatting and logging where the build machine's libraries are for the target. A sanitizer must see
# inside them (a lock taken in code that it did not instrument is a false report), so there they are headers too.
if(CMAKE_CROSSCOMPILING OR ZEL_SANITIZE)
    zel_header_only(fmt fmt format.h)
    zel_header_only(spdlog spdlog spdlog.h)
    target_compile_definitions(zel_fmt INTERFACE FMT_HEADER_ONLY)
    target_compile_definitions(zel_spdlog INTERFACE SPDLOG_FMT_EXTERNAL)
    target_link_libraries(zel_spdlog INTERFACE zel_fmt Threads::Threads)
else()
    find_package(fmt REQUIRED)
    find_package(spdlog REQUIRED)
    add_library(zel_fmt INTERFACE)
    add_library(zel_spdlog INTERFACE)
    add_library(zel::fmt ALIAS zel_fmt)
    add_library(zel::spdlog ALIAS zel_spdlog)
    target_link_libraries(zel_fmt INTERFACE fmt::fmt)
    target_link_libraries(zel_spdlog INTERFACE spdlog::spdlog zel_fmt)
endif()

if(NOT WIN32)
    find_package(LibXml2 REQUIRED)
    add_library(zel_libxml2 INTERFACE)
    add_library(zel::libxml2 ALIAS zel_libxml2)
    target_link_libraries(zel_libxml2 INTERFACE LibXml2::LibXml2)
endif()

function(zel_sqlite_version header result)
    set(version "")
    if(EXISTS "${header}")
        file(STRINGS "${header}" version REGEX "^#define SQLITE_VERSION[ \t]+\"")
        string(REGEX REPLACE ".*\"([^\"]+)\".*" "\\1" version "${version}")
    endif()
    set(${result} "${version}" PARENT_SCOPE)
endfunction()

add_library(zel_sqlite INTERFACE)
add_library(zel::sqlite ALIAS zel_sqlite)
find_file(ZEL_SQLITE_NATIVE_HEADER sqlite3.h PATHS ${ZEL_HOST_INCLUDE_DIRS} NO_DEFAULT_PATH NO_CMAKE_FIND_ROOT_PATH)
mark_as_advanced(ZEL_SQLITE_NATIVE_HEADER)
zel_sqlite_version("${ZEL_SQLITE_NATIVE_HEADER}" ZEL_SQLITE_NATIVE_VERSION) # empty where there is none
if(NOT WIN32)
    find_package(SQLite3 REQUIRED)
    target_link_libraries(zel_sqlite INTERFACE SQLite::SQLite3)
else()
    include(ZelSqlite)
    target_link_libraries(zel_sqlite INTERFACE sqlite3_amalgamation)
endif()

if(NOT CMAKE_CROSSCOMPILING)
    find_package(benchmark QUIET)
    if(benchmark_FOUND)
        add_library(zel_benchmark INTERFACE)
        add_library(zel::benchmark ALIAS zel_benchmark)
        target_link_libraries(zel_benchmark INTERFACE benchmark::benchmark)
    endif()
endif()

# GoogleTest is built here from its collecting source, with our options: the sanitizers see it, and the
# cross compiler gets it in the same way.
if(ZEL_BUILD_TESTS)
    if(NOT EXISTS "${ZEL_GOOGLETEST_DIR}/googletest/src/gtest-all.cc")
        message(FATAL_ERROR "No GoogleTest sources in ${ZEL_GOOGLETEST_DIR}; set ZEL_GOOGLETEST_DIR or ZEL_BUILD_TESTS=OFF")
    endif()
    add_library(zel_gtest STATIC EXCLUDE_FROM_ALL "${ZEL_GOOGLETEST_DIR}/googletest/src/gtest-all.cc")
    add_library(zel::gtest ALIAS zel_gtest)
    target_include_directories(zel_gtest SYSTEM PUBLIC "${ZEL_GOOGLETEST_DIR}/googletest/include")
    target_include_directories(zel_gtest PRIVATE "${ZEL_GOOGLETEST_DIR}/googletest")
    target_link_libraries(zel_gtest PUBLIC Threads::Threads)
    target_compile_options(zel_gtest PRIVATE -O0 -fno-sanitize=undefined)
endif()
