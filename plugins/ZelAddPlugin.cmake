# zel_add_plugin(NAME name FOLDER folder CLASS_ID {guid} CLASS_NAME name SOURCES a.cpp ... [LIBS target ...])
#   A component module in bin/<folder>, with the manifest that makes its factory known beside it.
include_guard(GLOBAL)

function(zel_add_plugin)
    cmake_parse_arguments(PARSE_ARGV 0 arg "" "NAME;FOLDER;CLASS_ID;CLASS_NAME" "SOURCES;LIBS")
    if(NOT arg_NAME OR NOT arg_FOLDER OR NOT arg_CLASS_ID OR NOT arg_SOURCES OR arg_UNPARSED_ARGUMENTS)
        message(FATAL_ERROR "zel_add_plugin needs NAME, FOLDER, CLASS_ID and SOURCES; not understood: "
            "'${arg_UNPARSED_ARGUMENTS}'")
    endif()

    # Every factory of the request processor is in this category. Set in here: a guarded include reaches one folder only.
    set(category "{80D84198-37D5-4BB3-B254-91460E9F8FFC}")
    set(folder "${CMAKE_RUNTIME_OUTPUT_DIRECTORY}/${arg_FOLDER}")
    add_library(${arg_NAME} MODULE ${arg_SOURCES})
    set_target_properties(${arg_NAME} PROPERTIES
        PREFIX ""
        LIBRARY_OUTPUT_DIRECTORY "${folder}"
        RUNTIME_OUTPUT_DIRECTORY "${folder}")
    target_include_directories(${arg_NAME} PRIVATE "${PROJECT_SOURCE_DIR}" "${PROJECT_SOURCE_DIR}/inc")
    target_link_libraries(${arg_NAME} PRIVATE ZEL_Processor ZEL_Framework ${arg_LIBS})

    file(GENERATE OUTPUT "${folder}/${arg_NAME}.component" CONTENT
"<component>
  <module>$<TARGET_FILE_NAME:${arg_NAME}></module>
  <class id=\"${arg_CLASS_ID}\" name=\"${arg_CLASS_NAME}\">
    <category id=\"${category}\"/>
  </class>
</component>
")
endfunction()
