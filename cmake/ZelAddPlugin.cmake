# zel_add_plugin(NAME name CLASS_ID {guid} [CLASS_NAME name] [THREADING model] [FOLDER folder] SOURCES a.cpp ... [LIBS target ...])
#   A component module, with the manifest that makes its factory known beside it, in the folder or else in the current
#   build folder. The class id stands nowhere else: the source has ZEL_PLUGIN_FACTORY(CMyFactory). Also for projects that found the installed package.
include_guard(GLOBAL)

function(zel_add_plugin)
    cmake_parse_arguments(PARSE_ARGV 0 arg "" "NAME;FOLDER;CLASS_ID;CLASS_NAME;THREADING" "SOURCES;LIBS")
    if(NOT arg_NAME OR NOT arg_CLASS_ID OR NOT arg_SOURCES OR arg_UNPARSED_ARGUMENTS)
        message(FATAL_ERROR "zel_add_plugin needs NAME, CLASS_ID and SOURCES; not understood: '${arg_UNPARSED_ARGUMENTS}'")
    endif()
    if(NOT arg_FOLDER)
        set(arg_FOLDER "${CMAKE_CURRENT_BINARY_DIR}")
    endif()

    # Apartment, Both or Free: several threads at once may use objects of it, each its own. Else it serves one request at
    # a time.
    set(threading "")
    if(arg_THREADING)
        set(threading " threadingModel=\"${arg_THREADING}\"")
    endif()

    # Every factory of the request processor is in this category. Set in here: a guarded include reaches one folder only.
    set(category "{80D84198-37D5-4BB3-B254-91460E9F8FFC}")
    add_library(${arg_NAME} MODULE ${arg_SOURCES})
    # Hidden: two modules that both show a class of the same name would share it.
    set_target_properties(${arg_NAME} PROPERTIES
        PREFIX ""
        CXX_VISIBILITY_PRESET hidden
        VISIBILITY_INLINES_HIDDEN ON
        LIBRARY_OUTPUT_DIRECTORY "${arg_FOLDER}"
        RUNTIME_OUTPUT_DIRECTORY "${arg_FOLDER}")
    target_link_libraries(${arg_NAME} PRIVATE ZEL_Processor::ZEL_Processor ${arg_LIBS})
    # For ZEL_PLUGIN_FACTORY: what the manifest and the module say is the same.
    target_compile_definitions(${arg_NAME} PRIVATE
        "ZEL_PLUGIN_CLASS_ID=\"${arg_CLASS_ID}\"" "ZEL_PLUGIN_CLASS_NAME=\"${arg_CLASS_NAME}\"")

    # Beside the module only together with it: a server that reads the folder before, or after a link that failed and
    # took the module away, would complain of what is missing.
    set(manifest "${CMAKE_CURRENT_BINARY_DIR}/manifests/${arg_NAME}.component")
    set_property(TARGET ${arg_NAME} APPEND PROPERTY LINK_DEPENDS "${manifest}")
    add_custom_command(TARGET ${arg_NAME} PRE_LINK
        COMMAND ${CMAKE_COMMAND} -E rm -f "${arg_FOLDER}/${arg_NAME}.component" VERBATIM)
    add_custom_command(TARGET ${arg_NAME} POST_BUILD
        COMMAND ${CMAKE_COMMAND} -E copy "${manifest}" "${arg_FOLDER}/${arg_NAME}.component"
        BYPRODUCTS "${arg_FOLDER}/${arg_NAME}.component" VERBATIM)
    file(GENERATE OUTPUT "${manifest}" CONTENT
"<component>
  <module>$<TARGET_FILE_NAME:${arg_NAME}></module>
  <class id=\"${arg_CLASS_ID}\" name=\"${arg_CLASS_NAME}\"${threading}>
    <category id=\"${category}\"/>
  </class>
</component>
")
endfunction()
