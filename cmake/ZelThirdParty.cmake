# The list of what others wrote and is in our files, comes with them or is linked: third-party.json of the build folder,
# which packages bring and zel-server says (--version --json). The versions are those that the target's own compiler sees;
# what the distribution has mended since shows in the version of its package alone. Include it after ZelInstall.

set(gcc "__GNUC__ __GNUC_MINOR__ __GNUC_PATCHLEVEL__")
set(headers boost/version.hpp CLI/Version.hpp nlohmann/json.hpp xxhash.h fmt/core.h spdlog/version.h sqlite3.h)
if(WIN32)
    list(APPEND headers _mingw.h)
    set(linked "compiled in")
    set(own
        "GCC runtime|gcc-mingw-w64-base|DLLs beside the programs|${gcc}"
        "MinGW-w64 runtime|mingw-w64-common|compiled in, and a DLL beside the programs|__MINGW64_VERSION_MAJOR __MINGW64_VERSION_MINOR __MINGW64_VERSION_BUGFIX")
else()
    list(APPEND headers libxml/xmlversion.h)
    set(linked "library of the system")
    set(own
        "GCC runtime|libstdc++6|${linked}|${gcc}"
        "libxml2|libxml2-dev|${linked}|LIBXML_DOTTED_VERSION")
    if(ZEL_LIBDW_INCLUDE) # looked for in platform/
        list(APPEND headers elfutils/version.h)
        list(APPEND own "elfutils|libdw-dev|${linked}|_ELFUTILS_VERSION")
    endif()
endif()
# Name, package, how it is used, macros.
set(parts ${own}
    "Boost|libboost-dev|compiled in|BOOST_VERSION"
    "CLI11|libcli11-dev|compiled in|CLI11_VERSION"
    "JSON for Modern C++|nlohmann-json3-dev|compiled in|NLOHMANN_JSON_VERSION_MAJOR NLOHMANN_JSON_VERSION_MINOR NLOHMANN_JSON_VERSION_PATCH"
    "SQLite|libsqlite3-dev|${linked}|SQLITE_VERSION"
    "fmt|libfmt-dev|${linked}|FMT_VERSION"
    "spdlog|libspdlog-dev|${linked}|SPDLOG_VER_MAJOR SPDLOG_VER_MINOR SPDLOG_VER_PATCH"
    "xxHash|libxxhash-dev|compiled in|XXH_VERSION_MAJOR XXH_VERSION_MINOR XXH_VERSION_RELEASE")
list(SORT parts)

set(source "")
foreach(header IN LISTS headers)
    string(APPEND source "#include <${header}>\n")
endforeach()
foreach(part IN LISTS parts)
    string(REPLACE "|" ";" part "${part}")
    list(GET part 0 name)
    list(GET part 3 macros)
    string(APPEND source "\n\"zel ${name}\" ${macros} \"end\"\n")
endforeach()
file(WRITE "${PROJECT_BINARY_DIR}/third-party.cpp" "${source}")
set(include_options "-I${zel_header_links}")
foreach(folder IN LISTS LIBXML2_INCLUDE_DIRS zel_sqlite_folder)
    list(APPEND include_options "-I${folder}")
endforeach()
execute_process(COMMAND ${CMAKE_CXX_COMPILER} -std=c++20 -E -P ${include_options} "${PROJECT_BINARY_DIR}/third-party.cpp"
    OUTPUT_VARIABLE seen COMMAND_ERROR_IS_FATAL ANY)
string(REPLACE "\n" " " seen "${seen}")

set(entries "")
foreach(part IN LISTS parts)
    string(REPLACE "|" ";" part "${part}")
    list(GET part 0 name)
    list(GET part 1 package)
    list(GET part 2 use)
    string(REPLACE "+" "\\+" pattern "${name}")
    if(NOT seen MATCHES "\"zel ${pattern}\" ([0-9. \"]+) \"end\"")
        message(FATAL_ERROR "${name}: its version can't be told from its headers")
    endif()
    string(REGEX REPLACE "[ \"]+" "." version "${CMAKE_MATCH_1}")
    string(REGEX REPLACE "^\\.|\\.$" "" version "${version}")
    # Numbers that hold three: 107400, 90100; and elfutils counts behind a zero.
    if(name STREQUAL "elfutils")
        set(version "0.${version}")
    elseif(version MATCHES "^[0-9]+$")
        set(step 100)
        if(name STREQUAL "Boost")
            set(step 1000) # the middle one has three digits
        endif()
        math(EXPR patch "${version} % 100")
        math(EXPR minor "${version} / 100 % ${step}")
        math(EXPR major "${version} / 100 / ${step}")
        set(version "${major}.${minor}.${patch}")
    endif()
    set(package_version "")
    execute_process(COMMAND dpkg-query -W -f "\${Version}" ${package}
        OUTPUT_VARIABLE package_version ERROR_QUIET RESULT_VARIABLE no_package)
    set(origin "")
    if(no_package EQUAL 0 AND package_version)
        if(name STREQUAL "GCC runtime" AND package_version MATCHES "^[0-9.]+")
            set(version "${CMAKE_MATCH_0}") # the cross compiler knows its first number only
        endif()
        set(origin ",\"package\":\"${package} ${package_version}\"")
    endif()
    list(APPEND entries "{\"name\":\"${name}\",\"version\":\"${version}\",\"use\":\"${use}\"${origin}}")
endforeach()
list(JOIN entries ",\n" entries)
set(ZEL_THIRD_PARTY "[\n${entries}\n]\n")
file(CONFIGURE OUTPUT "${PROJECT_BINARY_DIR}/third-party.json" CONTENT "${ZEL_THIRD_PARTY}" @ONLY)
string(REPLACE "\n" "" ZEL_THIRD_PARTY "${ZEL_THIRD_PARTY}")
file(CONFIGURE OUTPUT "${PROJECT_BINARY_DIR}/generated/ThirdPartyList.h" CONTENT
"#pragma once

// One JSON array.
inline constexpr char kThirdParty[] = R\"list(@ZEL_THIRD_PARTY@)list\";
" @ONLY)
# A header that changed changes the list.
foreach(header IN LISTS headers)
    find_file(found "${header}" PATHS "${zel_header_links}" ${ZEL_HOST_INCLUDE_DIRS}
        NO_CACHE NO_DEFAULT_PATH NO_CMAKE_FIND_ROOT_PATH)
    if(found)
        set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS "${found}")
    endif()
    unset(found)
endforeach()

# For who includes "ThirdPartyList.h".
add_library(zel_third_party INTERFACE)
target_include_directories(zel_third_party INTERFACE "${PROJECT_BINARY_DIR}/generated")
install(FILES "${PROJECT_BINARY_DIR}/third-party.json"
    DESTINATION "${CMAKE_INSTALL_DATADIR}/doc/zel-processor" COMPONENT runtime)
