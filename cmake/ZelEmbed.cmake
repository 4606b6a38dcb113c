# zel_embed_file(TARGET target FILE file NAMESPACE Name)
#   The bytes of the file in the target: "Name.h" has them as Name::kBytes.
function(zel_embed_file)
    cmake_parse_arguments(PARSE_ARGV 0 arg "" "TARGET;FILE;NAMESPACE" "")
    set(script "${PROJECT_SOURCE_DIR}/cmake/EmbedFile.cmake")
    set(file "${CMAKE_CURRENT_SOURCE_DIR}/${arg_FILE}")
    set(output "${CMAKE_CURRENT_BINARY_DIR}/${arg_NAMESPACE}.h")
    add_custom_command(
        OUTPUT "${output}"
        COMMAND ${CMAKE_COMMAND} -DFILE=${file} -DNAMESPACE=${arg_NAMESPACE} -DOUTPUT=${output} -P "${script}"
        DEPENDS "${file}" "${script}"
        COMMENT "Embedding ${arg_FILE}"
        VERBATIM)
    if(NOT TARGET zel_generated) # for who looks at sources without building them
        add_custom_target(zel_generated)
    endif()
    add_custom_target(${arg_TARGET}_${arg_NAMESPACE} DEPENDS "${output}")
    add_dependencies(zel_generated ${arg_TARGET}_${arg_NAMESPACE})
    add_dependencies(${arg_TARGET} ${arg_TARGET}_${arg_NAMESPACE})
    target_include_directories(${arg_TARGET} PRIVATE "${CMAKE_CURRENT_BINARY_DIR}")
endfunction()
