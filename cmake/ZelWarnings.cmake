# Warnings of our own sources. Include after everything foreign has been added.

add_compile_options(
    -Wall
    -Wextra
    -Wpedantic
    -Wshadow
    -Wconversion
    -Wsign-conversion
    -Wcast-align
    -Wcast-qual
    -Wformat=2
    -Wundef
    $<$<COMPILE_LANGUAGE:CXX>:-Woverloaded-virtual>
    $<$<COMPILE_LANGUAGE:CXX>:-Wold-style-cast>
    $<$<COMPILE_LANGUAGE:CXX>:-Wextra-semi>)

if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    add_compile_options(
        -Wlogical-op
        -Wduplicated-cond
        -Wduplicated-branches
        $<$<COMPILE_LANGUAGE:CXX>:-Wsuggest-override>)
elseif(CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
    add_compile_options(-Wthread-safety) # what platform/Mutex.h says of locks
endif()

# Not on: -Wnon-virtual-dtor. COM interfaces are counted, never deleted through the interface; a virtual destructor
# would take a slot of their documented table. -Wall has -Wdelete-non-virtual-dtor, which finds the real fault.

if(WIN32)
    # GetProcAddress yields one function type for every function there is.
    add_compile_options($<$<COMPILE_LANGUAGE:CXX>:-Wno-cast-function-type>)
endif()

if(CMAKE_UNITY_BUILD AND CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    # Each source is an included file then, and its own nameless namespace looks like a header's.
    add_compile_options($<$<COMPILE_LANGUAGE:CXX>:-Wno-subobject-linkage>)
endif()

if(ZEL_SANITIZE)
    # With the sanitizers GCC 12 takes members of the standard library's own classes for uninitialised.
    add_compile_options(-Wno-maybe-uninitialized)
endif()

if(ZEL_WERROR)
    add_compile_options(-Werror)
endif()
