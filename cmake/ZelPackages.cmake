# Packages, made by "cpack" in a build folder or by scripts/package: five for Debian, one zip for Windows.

set(CPACK_PACKAGE_NAME zel-processor)
set(CPACK_PACKAGE_VENDOR "ZEL_Processor authors")
set(CPACK_PACKAGE_CONTACT "ZEL_Processor authors <zel-processor@example.org>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "") # or it becomes the first line of every package's own description
set(CPACK_RESOURCE_FILE_LICENSE "${PROJECT_SOURCE_DIR}/LICENSE")
set(CPACK_PACKAGE_DIRECTORY "${PROJECT_BINARY_DIR}/packages")
set(CPACK_VERBATIM_VARIABLES ON)
set(CPACK_COMPONENTS_ALL runtime development tools plugin-datastore plugin-script)
set(CPACK_THREADS 2) # not as many as there are: what comes out depends on it
set(CPACK_ZEL_SOURCE "${PROJECT_SOURCE_DIR}")
set(CPACK_PROJECT_CONFIG_FILE "${CMAKE_CURRENT_LIST_DIR}/ZelPackTime.cmake")
set(CPACK_PRE_BUILD_SCRIPTS "${CMAKE_CURRENT_LIST_DIR}/ZelPackFiles.cmake")
# Crash reports name function and line from the debug information in the files themselves.
set(CPACK_STRIP_FILES OFF)

if(WIN32)
    set(CPACK_GENERATOR ZIP)
    set(CPACK_PACKAGE_FILE_NAME "ZEL_Processor-${PROJECT_VERSION}-win64")
    include(CPack)
    return()
endif()

set(CPACK_GENERATOR DEB)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_COMPRESSION_TYPE xz)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
# What a package needs of the system is read from its files; what it needs of its siblings stands below.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS "${CMAKE_LIBRARY_OUTPUT_DIRECTORY}")

set(zel_debian "${PROJECT_SOURCE_DIR}/packaging/debian")
set(zel_runtime "libzel-processor0 (= ${PROJECT_VERSION})")
macro(zel_debian_package component name section description)
    set(CPACK_DEBIAN_${component}_PACKAGE_NAME ${name})
    set(CPACK_DEBIAN_${component}_PACKAGE_SECTION ${section})
    set(CPACK_DEBIAN_${component}_DESCRIPTION "${description}")
    # Only packages have it: a plain installation has one licence, beside the documentation.
    string(TOLOWER ${component} lower)
    install(FILES "${zel_debian}/copyright" DESTINATION "${CMAKE_INSTALL_DATADIR}/doc/${name}"
        COMPONENT ${lower} EXCLUDE_FROM_ALL)
    if(EXISTS "${zel_debian}/${name}/lintian-overrides")
        install(FILES "${zel_debian}/${name}/lintian-overrides" DESTINATION "${CMAKE_INSTALL_DATADIR}/lintian/overrides"
            RENAME ${name} COMPONENT ${lower} EXCLUDE_FROM_ALL)
    endif()
endmacro()

zel_debian_package(RUNTIME libzel-processor0 libs "request processing by files alone, shared libraries
A client puts a request file into a directory; a server moves it into a queue,
lets a plug-in do the work, and leaves the response in a second directory.
.
This package has the library with both sides, and what it builds on.")
set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_EXTRA "${zel_debian}/shlibs;${zel_debian}/libzel-processor0/triggers")

zel_debian_package(DEVELOPMENT libzel-processor-dev libdevel "request processing by files alone, development files
Headers, CMake package and pkg-config file for applications that send requests,
hosts that serve them, and plug-ins that do the work; with the documentation.")
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "${zel_runtime}")
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SHLIBDEPS OFF)

zel_debian_package(TOOLS zel-tools utils "request processing by files alone, server and client programs
zel-server, which serves requests with plug-ins, as a program and as a service;
zel, which sends requests, follows them and takes their responses; and sample
data with requests for a first try.")
set(CPACK_DEBIAN_TOOLS_PACKAGE_DEPENDS "${zel_runtime}")
# Without them the samples that it brings are of no use.
set(CPACK_DEBIAN_TOOLS_PACKAGE_RECOMMENDS "sqlite3, zel-plugin-datastore")
set(CPACK_DEBIAN_TOOLS_PACKAGE_CONTROL_EXTRA
    "${zel_debian}/zel-tools/conffiles;${zel_debian}/zel-tools/postinst;${zel_debian}/zel-tools/prerm;${zel_debian}/zel-tools/postrm")

zel_debian_package(PLUGIN-DATASTORE zel-plugin-datastore utils "request processing by files alone, SQL plug-in
Serves requests for queries, statistics and properties of SQLite databases.")
set(CPACK_DEBIAN_PLUGIN-DATASTORE_PACKAGE_DEPENDS "${zel_runtime}")
set(CPACK_DEBIAN_PLUGIN-DATASTORE_PACKAGE_ENHANCES "zel-tools")
set(CPACK_DEBIAN_PLUGIN-DATASTORE_PACKAGE_CONTROL_EXTRA "${zel_debian}/zel-plugin-datastore/conffiles")

zel_debian_package(PLUGIN-SCRIPT zel-plugin-script utils "request processing by files alone, programs as tasks
Serves requests by programs in any language: the request on their standard
input, the response on their standard output. Which ones is told in a file.")
# The program that programs of tasks run in.
set(CPACK_DEBIAN_PLUGIN-SCRIPT_PACKAGE_DEPENDS "${zel_runtime}, zel-tools (= ${PROJECT_VERSION})")

include(CPack)
