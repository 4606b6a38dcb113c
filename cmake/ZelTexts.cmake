# zel_add_texts(NAME target MODULE module NAMESPACE Name)
#   The texts of resources/<module>.<language>.txt, in all languages of ZEL_LANGUAGES, as a library to link. They become
#   part of the program: it must be able to tell what is wrong even when files are missing. "Name.h" has the module's
#   texts, Name::kModule, and a constant STextCode for each code name of the English file: Name::IDS_DONE.
#
# A new language: copy the files resources/*.en.txt, translate them, add it here.
set(ZEL_LANGUAGES en de fr)

function(zel_add_texts)
    cmake_parse_arguments(PARSE_ARGV 0 arg "" "NAME;MODULE;NAMESPACE" "")
    set(script "${PROJECT_SOURCE_DIR}/cmake/EmbedTexts.cmake")
    set(folder "${CMAKE_CURRENT_SOURCE_DIR}/resources")
    set(output "${CMAKE_CURRENT_BINARY_DIR}/${arg_NAMESPACE}")
    list(TRANSFORM ZEL_LANGUAGES REPLACE "(.+)" "${folder}/${arg_MODULE}.\\1.txt" OUTPUT_VARIABLE files)
    list(JOIN ZEL_LANGUAGES "," languages)
    add_custom_command(
        OUTPUT "${output}.cpp" "${output}.h"
        COMMAND ${CMAKE_COMMAND}
            -DMODULE=${arg_MODULE}
            -DNAMESPACE=${arg_NAMESPACE}
            -DLANGUAGES=${languages}
            -DFOLDER=${folder}
            -DOUTPUT=${output}
            -P "${script}"
        DEPENDS ${files} "${script}"
        COMMENT "Embedding the texts of ${arg_MODULE}"
        VERBATIM)
    # For who looks at sources without building them.
    if(NOT TARGET zel_generated)
        add_custom_target(zel_generated)
    endif()
    add_custom_target(${arg_NAME}_generated DEPENDS "${output}.cpp" "${output}.h")
    add_dependencies(zel_generated ${arg_NAME}_generated)
    add_library(${arg_NAME} STATIC "${output}.cpp" "${output}.h")
    add_dependencies(${arg_NAME} ${arg_NAME}_generated)
    target_include_directories(${arg_NAME} PUBLIC "${PROJECT_SOURCE_DIR}" "${CMAKE_CURRENT_BINARY_DIR}")
endfunction()
