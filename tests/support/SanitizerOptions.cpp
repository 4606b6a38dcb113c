/// Containing faults is a feature of the system: the address sanitizer must leave their signals to it. Without effect
/// in programs that are built without it, and the environment can override it.
extern "C" __attribute__((visibility("default"))) const char* __asan_default_options();

extern "C" const char* __asan_default_options()
{
    return "handle_segv=0:handle_sigbus=0:handle_sigfpe=0:handle_sigill=0:handle_abort=0:allow_user_segv_handler=1:"
           "use_sigaltstack=0";
}

/// The same for the thread sanitizer.
extern "C" __attribute__((visibility("default"))) const char* __tsan_default_options();

extern "C" const char* __tsan_default_options()
{
    return "handle_segv=0:handle_sigbus=0:handle_sigfpe=0:handle_sigill=0:handle_abort=0:use_sigaltstack=0";
}
