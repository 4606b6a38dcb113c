# Switches, and the code generation options of everything that is built here, foreign sources included.

option(ZEL_WERROR "Warnings are errors (on in the presets, off for others who build this)" OFF)
option(ZEL_BUILD_TESTS "Build the tests" ON)
set(ZEL_TEST_FOLDERS "" CACHE STRING "The folders of tests/ to build; empty for all")
option(ZEL_FUZZ "Build the fuzz programs of fuzz/; needs clang" OFF)
set(ZEL_SANITIZE "" CACHE STRING "Sanitizers to build with, as -fsanitize= takes them")

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_C_VISIBILITY_PRESET hidden)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)

# One folder for programs and shared libraries: Windows finds a program's libraries beside it, and a build
# folder then looks like an installation. Elsewhere the run path is relative for the same reason.
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY "${CMAKE_BINARY_DIR}/bin")
set(CMAKE_LIBRARY_OUTPUT_DIRECTORY "${CMAKE_BINARY_DIR}/bin")
set(CMAKE_ARCHIVE_OUTPUT_DIRECTORY "${CMAKE_BINARY_DIR}/lib")
set(CMAKE_BUILD_RPATH_USE_ORIGIN ON)

add_compile_definitions(ZEL_VERSION="${PROJECT_VERSION}")

# This code waits for files: more than -O2 buys build time and nothing else.
set(CMAKE_C_FLAGS_RELEASE "-O2 -DNDEBUG")
set(CMAKE_CXX_FLAGS_RELEASE "-O2 -DNDEBUG")

# Crash reports are symbolised from our own debug information and walk the stack by frame pointers, so every
# build type has both. Of the debug information they read functions and lines; the rest is for debuggers, and dear to
# build with the sanitizers and to link for Windows.
if(WIN32 OR ZEL_SANITIZE)
    set(ZEL_DEBUG_INFO -g1 CACHE STRING "How much debug information, as the compiler takes it")
else()
    set(ZEL_DEBUG_INFO -g CACHE STRING "How much debug information, as the compiler takes it")
endif()
add_compile_options(${ZEL_DEBUG_INFO} -fno-omit-frame-pointer)
# What lines are looked up by; GCC writes it unasked.
add_compile_options($<$<COMPILE_LANG_AND_ID:CXX,Clang>:-gdwarf-aranges>)
add_compile_definitions($<$<CONFIG:Debug>:_GLIBCXX_ASSERTIONS>)

# No file knows the folder that it was built in, so two builds of one commit give the same bytes; the names of sources in
# reports are those of the tree. A debugger finds them when it is started in the tree.
add_compile_options("-ffile-prefix-map=${PROJECT_SOURCE_DIR}/=" "-ffile-prefix-map=${PROJECT_BINARY_DIR}=build")

if(WIN32)
    set(CMAKE_SHARED_LIBRARY_PREFIX "")
    set(CMAKE_SHARED_MODULE_PREFIX "")
    add_compile_definitions(UNICODE _UNICODE NOMINMAX WINVER=0x0A00 _WIN32_WINNT=0x0A00)
    add_link_options(-Wl,--no-insert-timestamp)
    # Template-heavy objects have more sections than the classic object format can count.
    add_compile_options(-Wa,-mbig-obj)
elseif(NOT ZEL_FUZZ) # clang leaves the runtime of its sanitizers to the program
    # An unresolved symbol is an error when the library is linked, as it is on Windows, not when it is loaded.
    add_link_options($<$<IN_LIST:$<TARGET_PROPERTY:TYPE>,SHARED_LIBRARY$<SEMICOLON>MODULE_LIBRARY>:-Wl,-z,defs>)
endif()

if(ZEL_SANITIZE)
    add_compile_options(-fsanitize=${ZEL_SANITIZE} -fno-sanitize-recover=all -Og)
    add_link_options(-fsanitize=${ZEL_SANITIZE})
endif()

if(ZEL_FUZZ)
    add_compile_options(-fsanitize=fuzzer-no-link,address,undefined -fno-sanitize-recover=all -O1)
    add_link_options(-fsanitize=address,undefined)
endif()
