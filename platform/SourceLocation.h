#pragma once

namespace platform {

/// Where a line was written. std::source_location in all but name: one of our compilers does not have that yet.
struct SSourceLocation {
    const char* file = "";
    int line = 0;
    const char* function = "";
};

} // namespace platform

/// The place where this stands, with the full signature of the function around it.
#define ZEL_SOURCE_LOCATION                                                                                            \
    platform::SSourceLocation                                                                                          \
    {                                                                                                                  \
        __FILE__, __LINE__, __PRETTY_FUNCTION__                                                                        \
    }
