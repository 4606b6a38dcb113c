# What makes a fault harder to use for an attacker, in everything that is built here, foreign sources included. Held by
# tests/scripts/HardeningTest.sh on the installed files; what it costs: docs/decisions/0027-hardened-builds.md.
#
# Not with the sanitizers, which look at the same places with more care.

option(ZEL_HARDENING "Checks of stack, buffers and jumps, and memory that cannot be written and run" ON)
if(NOT ZEL_HARDENING OR ZEL_SANITIZE OR ZEL_FUZZ)
    return()
endif()

# The checked functions of the C library need an optimiser; without one GCC warns, and checks nothing.
set(zel_optimised "$<CONFIG:Release,RelWithDebInfo,MinSizeRel>")
add_compile_options(-fstack-protector-strong)

if(MINGW)
    # The headers know no third level. The runtime of the checks is linked in: each module then has a secret of its own,
    # and there is no further DLL to carry along. It has to come after all objects.
    add_compile_options("$<${zel_optimised}:SHELL:-U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=2>")
    foreach(language IN ITEMS C CXX)
        string(APPEND CMAKE_${language}_STANDARD_LIBRARIES " -l:libssp.a")
    endforeach()
    # The linker's own defaults of today, said so that no other linker changes them.
    add_link_options(-Wl,--dynamicbase,--nxcompat,--high-entropy-va)
    # Not here: -fstack-clash-protection, for the compiler touches each page of a large frame on Windows anyway, and
    # -fcf-protection, whose marks only Linux asks for: the linker cannot set the flag that Windows wants.
else()
    include(CheckPIESupported)
    check_pie_supported()
    add_compile_options("$<${zel_optimised}:SHELL:-U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=3>" -fstack-clash-protection)
    if(CMAKE_SYSTEM_PROCESSOR MATCHES "^(x86_64|AMD64|i.86)$")
        add_compile_options(-fcf-protection) # of these processors only
    endif()
    add_link_options(-Wl,-z,relro,-z,now,-z,noexecstack)
endif()
