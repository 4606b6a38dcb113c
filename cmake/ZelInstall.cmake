# What "cmake --install" lays out, and find_package(ZEL_Processor) and pkg-config for those who link the library.
# Components: runtime (the libraries), development, tools (the programs), plugin-datastore, plugin-script.
# Include it last.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

# Headers: what applications and plug-ins include as <ZEL_Processor/...>, and the few of the lower layers that those
# reach, in a folder of their own so that their names ("com/Com.h") meet nobody else's.
set(zel_include "${CMAKE_INSTALL_INCLUDEDIR}")
set(zel_base_include "${zel_include}/ZEL_Processor/base")
if(WIN32)
    set(zel_plugin_folder "${CMAKE_INSTALL_BINDIR}/plugins") # as in a build folder: beside the DLLs that they load
else()
    set(zel_plugin_folder "${CMAKE_INSTALL_LIBDIR}/zel-processor/plugins")
endif()
if(TARGET zel-server)
    # The server finds the plug-ins that come with it by where it lies itself.
    file(RELATIVE_PATH way "/prefix/${CMAKE_INSTALL_BINDIR}" "/prefix/${zel_plugin_folder}")
    target_compile_definitions(zel-server PRIVATE "ZEL_PLUGINS_FROM_PROGRAMS=L\"${way}\"")
endif()

# Every header that one of the given ones reaches, found by reading their includes; paths below the source folder.
function(zel_header_closure result)
    set(open ${ARGN})
    set(closed "")
    while(open)
        list(POP_FRONT open header)
        if(header IN_LIST closed)
            continue()
        endif()
        list(APPEND closed "${header}")
        # A changed include changes what is installed.
        set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS "${PROJECT_SOURCE_DIR}/${header}")
        file(STRINGS "${PROJECT_SOURCE_DIR}/${header}" lines REGEX "^[ \t]*#[ \t]*include[ \t]+\"")
        foreach(line IN LISTS lines)
            string(REGEX REPLACE "^[^\"]*\"([^\"]+)\".*" "\\1" name "${line}")
            if(EXISTS "${PROJECT_SOURCE_DIR}/inc/${name}")
                list(APPEND open "inc/${name}")
            elseif(EXISTS "${PROJECT_SOURCE_DIR}/${name}")
                list(APPEND open "${name}")
            else()
                message(FATAL_ERROR "${header} includes \"${name}\", which is neither below inc/ nor below the source folder")
            endif()
        endforeach()
    endwhile()
    list(SORT closed)
    set(${result} "${closed}" PARENT_SCOPE)
endfunction()

set(zel_public_list "${CMAKE_CURRENT_LIST_DIR}/PublicHeaders.txt")
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS "${zel_public_list}")
file(STRINGS "${zel_public_list}" zel_public_headers REGEX "^[^#]")
list(TRANSFORM zel_public_headers PREPEND "inc/" REGEX "^ZEL")
zel_header_closure(zel_headers ${zel_public_headers})
if(WIN32)
    list(FILTER zel_headers EXCLUDE REGEX "/posix/")
else()
    list(FILTER zel_headers EXCLUDE REGEX "/win32/")
endif()
foreach(header IN LISTS zel_headers)
    if(header MATCHES "^inc/(.*)/")
        install(FILES "${PROJECT_SOURCE_DIR}/${header}" DESTINATION "${zel_include}/${CMAKE_MATCH_1}" COMPONENT development)
    else()
        cmake_path(GET header PARENT_PATH folder)
        install(FILES "${PROJECT_SOURCE_DIR}/${header}" DESTINATION "${zel_base_include}/${folder}" COMPONENT development)
    endif()
endforeach()

# What is installed finds its libraries by where it lies itself, so an installation can be moved as a whole.
function(zel_install_run_path target folder)
    if(WIN32)
        return()
    endif()
    file(RELATIVE_PATH up "/prefix/${folder}" "/prefix/${CMAKE_INSTALL_LIBDIR}")
    string(REGEX REPLACE "/$" "" up "${up}")
    if(up STREQUAL "")
        set(path "$ORIGIN")
    else()
        set(path "$ORIGIN/${up}")
    endif()
    set_target_properties(${target} PROPERTIES INSTALL_RPATH "${path}")
endfunction()

foreach(target IN ITEMS ZEL_Framework ZEL_Processor)
    target_include_directories(${target} INTERFACE
        "$<INSTALL_INTERFACE:${zel_include};${zel_base_include}>")
    target_compile_features(${target} INTERFACE cxx_std_20)
    zel_install_run_path(${target} "${CMAKE_INSTALL_LIBDIR}")
endforeach()
install(TARGETS ZEL_Framework ZEL_Processor EXPORT ZEL_ProcessorTargets
    RUNTIME DESTINATION "${CMAKE_INSTALL_BINDIR}" COMPONENT runtime
    LIBRARY DESTINATION "${CMAKE_INSTALL_LIBDIR}" COMPONENT runtime NAMELINK_COMPONENT development
    ARCHIVE DESTINATION "${CMAKE_INSTALL_LIBDIR}" COMPONENT development)
if(MINGW)
    install(FILES ${zel_mingw_runtime} DESTINATION "${CMAKE_INSTALL_BINDIR}" COMPONENT runtime)
    get_property(zel_c_definition GLOBAL PROPERTY ZEL_C_DEFINITION)
    get_property(zel_c_library GLOBAL PROPERTY ZEL_C_LIBRARY)
    install(FILES ${zel_c_definition} ${zel_c_library} DESTINATION "${CMAKE_INSTALL_LIBDIR}" COMPONENT development)
endif()

set(zel_cmake_folder "${CMAKE_INSTALL_LIBDIR}/cmake/ZEL_Processor")
install(EXPORT ZEL_ProcessorTargets NAMESPACE ZEL_Processor:: DESTINATION "${zel_cmake_folder}" COMPONENT development)
configure_package_config_file(
    "${CMAKE_CURRENT_LIST_DIR}/ZEL_ProcessorConfig.cmake.in" "${PROJECT_BINARY_DIR}/install/ZEL_ProcessorConfig.cmake"
    INSTALL_DESTINATION "${zel_cmake_folder}")
# Before 1.0 each minor version may change the interface.
write_basic_package_version_file("${PROJECT_BINARY_DIR}/install/ZEL_ProcessorConfigVersion.cmake"
    COMPATIBILITY SameMinorVersion)
install(FILES
    "${PROJECT_BINARY_DIR}/install/ZEL_ProcessorConfig.cmake"
    "${PROJECT_BINARY_DIR}/install/ZEL_ProcessorConfigVersion.cmake"
    "${PROJECT_SOURCE_DIR}/cmake/ZelAddPlugin.cmake"
    DESTINATION "${zel_cmake_folder}" COMPONENT development)

file(RELATIVE_PATH zel_pc_prefix "/prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/prefix")
string(REGEX REPLACE "/$" "" zel_pc_prefix "${zel_pc_prefix}")
set(zel_pc_system "")
if(WIN32)
    set(zel_pc_system " -lole32 -loleaut32 -luuid")
endif()
configure_file("${CMAKE_CURRENT_LIST_DIR}/zel_processor.pc.in" "${PROJECT_BINARY_DIR}/install/zel_processor.pc" @ONLY)
install(FILES "${PROJECT_BINARY_DIR}/install/zel_processor.pc"
    DESTINATION "${CMAKE_INSTALL_LIBDIR}/pkgconfig" COMPONENT development)

# What has to be built before it can be installed, and nothing else.
add_custom_target(installed DEPENDS ZEL_Processor zel_datastore zel_script)
foreach(program IN ITEMS zel zel-server zel-regsvr zel-task-host)
    if(TARGET ${program})
        add_dependencies(installed ${program})
        zel_install_run_path(${program} "${CMAKE_INSTALL_BINDIR}")
        install(TARGETS ${program} RUNTIME DESTINATION "${CMAKE_INSTALL_BINDIR}" COMPONENT tools)
    endif()
endforeach()

# The manifest that the build put beside the module names it without a folder.
foreach(plugin IN ITEMS datastore script)
    zel_install_run_path(zel_${plugin} "${zel_plugin_folder}")
    install(TARGETS zel_${plugin}
        RUNTIME DESTINATION "${zel_plugin_folder}" COMPONENT plugin-${plugin}
        LIBRARY DESTINATION "${zel_plugin_folder}" COMPONENT plugin-${plugin})
    install(FILES "$<TARGET_FILE_DIR:zel_${plugin}>/zel_${plugin}.component"
        DESTINATION "${zel_plugin_folder}" COMPONENT plugin-${plugin})
endforeach()

foreach(page IN ITEMS README.md CHANGELOG.md CONTRIBUTING.md SECURITY.md LICENSE)
    install(FILES "${PROJECT_SOURCE_DIR}/${page}" DESTINATION "${CMAKE_INSTALL_DATADIR}/doc/zel-processor"
        COMPONENT development)
endforeach()
install(DIRECTORY "${PROJECT_SOURCE_DIR}/docs/" DESTINATION "${CMAKE_INSTALL_DATADIR}/doc/zel-processor/docs"
    COMPONENT development FILES_MATCHING PATTERN "*.md" PATTERN "*.png" PATTERN man EXCLUDE)
install(DIRECTORY "${PROJECT_SOURCE_DIR}/examples/" DESTINATION "${CMAKE_INSTALL_DATADIR}/doc/zel-processor/examples"
    COMPONENT development)

# Code of others that becomes part of our files, or comes with them: their licences want to be told.
set(zel_notices libboost-dev libcli11-dev libfmt-dev libspdlog-dev libxxhash-dev nlohmann-json3-dev)
if(WIN32)
    list(APPEND zel_notices gcc-mingw-w64-base libsqlite3-dev mingw-w64-common)
endif()
foreach(package IN LISTS zel_notices)
    set(notice "/usr/share/doc/${package}/copyright")
    if(EXISTS "${notice}")
        install(FILES "${notice}" DESTINATION "${CMAKE_INSTALL_DATADIR}/doc/zel-processor/notices" RENAME "${package}.txt"
            COMPONENT runtime)
    else()
        message(STATUS "The licence of ${package} is not in ${notice}: it will not be installed")
    endif()
endforeach()

foreach(section IN ITEMS 1 8)
    file(GLOB pages CONFIGURE_DEPENDS "${PROJECT_SOURCE_DIR}/docs/man/*.${section}")
    install(FILES ${pages} DESTINATION "${CMAKE_INSTALL_MANDIR}/man${section}" COMPONENT tools)
endforeach()

if(NOT WIN32)
    install(FILES "${PROJECT_SOURCE_DIR}/packaging/completion/zel.bash"
        DESTINATION "${CMAKE_INSTALL_DATADIR}/bash-completion/completions" RENAME zel COMPONENT tools)
    install(FILES "${PROJECT_SOURCE_DIR}/packaging/completion/_zel"
        DESTINATION "${CMAKE_INSTALL_DATADIR}/zsh/site-functions" COMPONENT tools)
    install(FILES "${PROJECT_SOURCE_DIR}/packaging/completion/zel.fish"
        DESTINATION "${CMAKE_INSTALL_DATADIR}/fish/vendor_completions.d" COMPONENT tools)

    # For a first request: data, and what makes databases of it.
    install(FILES
        "${PROJECT_SOURCE_DIR}/samples/README.md"
        "${PROJECT_SOURCE_DIR}/samples/birdstrikes.csv"
        "${PROJECT_SOURCE_DIR}/samples/demo.drq"
        "${PROJECT_SOURCE_DIR}/samples/earthquakes.json"
        "${PROJECT_SOURCE_DIR}/samples/statistics.drq"
        DESTINATION "${CMAKE_INSTALL_DATADIR}/zel-processor/samples" COMPONENT tools)
    install(PROGRAMS "${PROJECT_SOURCE_DIR}/scripts/load-samples"
        DESTINATION "${CMAKE_INSTALL_DATADIR}/zel-processor/scripts" COMPONENT tools)

    # The completions for one program serve its siblings: bash and fish look for a file of the program's own name.
    foreach(program IN ITEMS zel-server zel-regsvr)
        install(CODE "
            foreach(link IN ITEMS bash-completion/completions/${program} fish/vendor_completions.d/${program}.fish)
                string(REPLACE \"${program}\" zel target \"\${link}\")
                cmake_path(GET target FILENAME target)
                set(path \"\$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_DATADIR}/\${link}\")
                file(CREATE_LINK \"\${target}\" \"\${path}\" SYMBOLIC)
            endforeach()"
            COMPONENT tools)
    endforeach()

    # What names full paths is written when it is installed: only then is the prefix known for good.
    foreach(component IN ITEMS tools plugin-datastore)
        install(CODE "
            set(zel_component ${component})
            set(zel_source \"${PROJECT_SOURCE_DIR}\")
            set(zel_binary \"${PROJECT_BINARY_DIR}/install\")
            set(zel_bin \"${CMAKE_INSTALL_BINDIR}\")
            set(zel_plugin_folder \"${zel_plugin_folder}\")
            set(zel_manifest \"$<TARGET_FILE_DIR:zel_datastore>/zel_datastore.component\")
            include(\"${CMAKE_CURRENT_LIST_DIR}/ZelInstallSystem.cmake\")"
            COMPONENT ${component})
    endforeach()
endif()
