# zel_add_tests(NAME name SOURCES a.cpp ... [LIBS target ...] [TIMEOUT seconds] [SERIAL] [APART suites])
#   One GoogleTest program in bin, one CTest entry. The results of its single cases are in test-results/<entry>.json of
#   the build folder after a run; a program that crashed leaves none. SERIAL: nothing else runs beside it. APART: these
#   suites (Suite.*:...) are an entry of their own, <name>_apart, that may run beside the rest.
# zel_check_tests_listed()
#   Ends the configure step with an error when a *Test.cpp below tests/ belongs to no program.

set(ZEL_TEST_RESULTS "${CMAKE_BINARY_DIR}/test-results")
file(MAKE_DIRECTORY "${ZEL_TEST_RESULTS}")

# Sanitized and emulated programs take their time; the limit is there for a test that hangs, not for a slow one.
set(ZEL_TEST_TIMEOUT_FACTOR 1)
if(ZEL_SANITIZE OR CMAKE_CROSSCOMPILING)
    set(ZEL_TEST_TIMEOUT_FACTOR 3)
endif()

set(ZEL_TEST_ENVIRONMENT "")
if(ZEL_SANITIZE MATCHES "address")
    list(APPEND ZEL_TEST_ENVIRONMENT
        "ASAN_OPTIONS=detect_leaks=1:strict_string_checks=1:check_initialization_order=1:allow_user_segv_handler=1"
        "UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1")
elseif(ZEL_SANITIZE MATCHES "thread")
    list(APPEND ZEL_TEST_ENVIRONMENT "TSAN_OPTIONS=halt_on_error=1:second_deadlock_stack=1")
endif()

# The thread sanitizer of GCC 12 expects libraries at addresses that a kernel with much address randomisation does
# not keep to ("unexpected memory mapping"), so its programs run without randomisation where that is permitted.
set(ZEL_TEST_LAUNCHER "")
if(ZEL_SANITIZE MATCHES "thread")
    execute_process(COMMAND setarch -R true RESULT_VARIABLE zel_setarch OUTPUT_QUIET ERROR_QUIET)
    if(zel_setarch EQUAL 0)
        set(ZEL_TEST_LAUNCHER setarch -R)
    endif()
endif()

# What is tested is built as it ships, and as its sanitizers want it; the tests themselves are built fast, with every
# frame on the stack. Checks for undefined behaviour in the many small assertions cost two thirds of their build. The
# warning is that of unity builds, see ZelWarnings.cmake; the checked functions of the C library need an optimiser.
set(ZEL_TEST_OPTIONS -O0 -U_FORTIFY_SOURCE -fno-sanitize=undefined $<$<CXX_COMPILER_ID:GNU>:-Wno-subobject-linkage>)

function(zel_add_tests)
    cmake_parse_arguments(PARSE_ARGV 0 arg "SERIAL" "NAME;TIMEOUT;APART" "SOURCES;LIBS")
    if(NOT arg_NAME OR NOT arg_SOURCES OR arg_UNPARSED_ARGUMENTS)
        message(FATAL_ERROR "zel_add_tests needs NAME and SOURCES; not understood: '${arg_UNPARSED_ARGUMENTS}'")
    endif()
    if(NOT arg_TIMEOUT)
        set(arg_TIMEOUT 1200)
    endif()
    math(EXPR timeout "${arg_TIMEOUT} * ${ZEL_TEST_TIMEOUT_FACTOR}")

    add_executable(${arg_NAME} ${arg_SOURCES})
    target_include_directories(${arg_NAME} PRIVATE "${PROJECT_SOURCE_DIR}" "${PROJECT_SOURCE_DIR}/inc")
    target_link_libraries(${arg_NAME} PRIVATE ${arg_LIBS} zel_test_main)
    target_compile_options(${arg_NAME} PRIVATE ${ZEL_TEST_OPTIONS})

    # In every preset: that each source stands alone is asked of what is tested.
    set_target_properties(${arg_NAME} PROPERTIES UNITY_BUILD ON UNITY_BUILD_BATCH_SIZE 8)

    target_precompile_headers(${arg_NAME} REUSE_FROM zel_test_headers)

    # The result file is an argument, not the environment: a program that the test starts must not overwrite it. Its
    # path is relative because GoogleTest does not take a path without a drive for an absolute one on Windows.
    set(program ${arg_NAME}) # by its name, so that CMake puts the emulator in front of it
    if(ZEL_TEST_LAUNCHER)
        set(program ${ZEL_TEST_LAUNCHER} $<TARGET_FILE:${arg_NAME}>)
    endif()
    set(entries ${arg_NAME})
    set(filter "")
    if(arg_APART)
        set(entries ${arg_NAME}_apart ${arg_NAME})
        set(filter "--gtest_filter=${arg_APART}")
    endif()
    foreach(entry IN LISTS entries)
        add_test(NAME ${entry}
            COMMAND ${program} --gtest_output=json:test-results/${entry}.json ${filter}
            WORKING_DIRECTORY "${CMAKE_BINARY_DIR}")
        string(REPLACE "filter=" "filter=-" filter "${filter}") # the second entry has all but these
        set(environment ${ZEL_TEST_ENVIRONMENT})
        if(CMAKE_CROSSCOMPILING)
            list(APPEND environment "ZEL_WINE_OUTPUT=test-results/${entry}.log")
        endif()
        set_tests_properties(${entry} PROPERTIES TIMEOUT ${timeout} ENVIRONMENT "${environment}")
        if(entry MATCHES "^(apps|race)_tests")
            set_tests_properties(${entry} PROPERTIES COST 100) # they wait a lot: first, and beside each other
        endif()
        if(arg_SERIAL)
            set_tests_properties(${entry} PROPERTIES RUN_SERIAL ON)
        endif()
    endforeach()

    foreach(source IN LISTS arg_SOURCES)
        cmake_path(ABSOLUTE_PATH source NORMALIZE)
        set_property(GLOBAL APPEND PROPERTY ZEL_TEST_SOURCES "${source}")
    endforeach()
    set_property(GLOBAL APPEND PROPERTY ZEL_TEST_NAMES ${entries})
endfunction()

function(zel_check_tests_listed)
    get_property(listed GLOBAL PROPERTY ZEL_TEST_SOURCES)
    # No CONFIGURE_DEPENDS: every build would look at all folders again; scripts/test configures each time anyway.
    file(GLOB_RECURSE present "${PROJECT_SOURCE_DIR}/tests/*Test.cpp")
    # A folder of one system's tests is the business of that system's builds, which all run the same check.
    if(WIN32)
        list(FILTER present EXCLUDE REGEX "/posix/")
    else()
        list(FILTER present EXCLUDE REGEX "/win32/")
    endif()
    list(REMOVE_ITEM present ${listed})
    if(present AND NOT ZEL_TEST_FOLDERS)
        list(JOIN present "\n  " present)
        message(FATAL_ERROR "These test sources belong to no zel_add_tests():\n  ${present}")
    endif()

    # scripts/test compares this with the result files, to find the programs that left none.
    get_property(names GLOBAL PROPERTY ZEL_TEST_NAMES)
    list(JOIN names "\n" names)
    file(WRITE "${ZEL_TEST_RESULTS}/programs.txt" "${names}\n")
endfunction()
