#include "platform/Module.h"
#include "tests/support/ChildProcess.h"

#include <gtest/gtest.h>

// Containing faults is a feature of the system: the sanitizers must leave their signals to it. Without effect in
// programs that are built without one; the environment can override it. Beside main, because nothing else makes the
// linker take them from a library.
#define SIGNALS_ARE_OURS "handle_segv=0:handle_sigbus=0:handle_sigfpe=0:handle_sigill=0:handle_abort=0"

// NOLINTBEGIN(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp): the sanitizers gave the names
extern "C" __attribute__((visibility("default"))) const char* __asan_default_options();
extern "C" __attribute__((visibility("default"))) const char* __tsan_default_options();

extern "C" const char* __asan_default_options()
{
    return SIGNALS_ARE_OURS ":allow_user_segv_handler=1";
}

extern "C" const char* __tsan_default_options()
{
    return SIGNALS_ARE_OURS;
}
// NOLINTEND(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp)

int main(int argc, char** argv)
{
    if (const auto exitCode = testsupport::RunAsChild(platform::ProgramArguments(argc, argv)))
        return *exitCode;
    // English whatever the machine speaks, here and in the programs that are started.
    platform::SetEnvironment(L"LANGUAGE", L"en");
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
