# The compiler's own libraries, beside the programs. They are shared, not linked in: exceptions and thread-local
# state cross the borders of our libraries, which needs one runtime in a process.

set(zel_mingw_runtime "")
foreach(library IN ITEMS libgcc_s_seh-1.dll libstdc++-6.dll libwinpthread-1.dll)
    execute_process(COMMAND ${CMAKE_CXX_COMPILER} -print-file-name=${library}
        OUTPUT_VARIABLE path OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
    if(NOT IS_ABSOLUTE "${path}" OR NOT EXISTS "${path}")
        message(FATAL_ERROR "${CMAKE_CXX_COMPILER} has no ${library}")
    endif()
    list(APPEND zel_mingw_runtime "${path}")
    file(COPY "${path}" DESTINATION "${CMAKE_RUNTIME_OUTPUT_DIRECTORY}" FOLLOW_SYMLINK_CHAIN)
endforeach()
