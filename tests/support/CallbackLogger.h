#pragma once

#include "framework/Log.h"

#include <functional>
#include <memory>
#include <string>

namespace testsupport {

/// One line as it was written.
struct SLogLine {
    std::string logger;
    Brel::Log::eLogLevel level = Brel::Log::eLogLevel_Info;
    std::string file; ///< as the compiler named it, or as a report did; may be empty
    int line = 0;
    std::string function;
    std::wstring text;    ///< unchanged
    std::wstring request; ///< what the writing thread works on; may be empty
};

/// A logger that hands every line of at least this level to a function, on the writing thread, possibly on several at
/// once. It must not log there itself.
[[nodiscard]] std::shared_ptr<Brel::Log::Logger> MakeCallbackLogger(const std::string& name, Brel::Log::eLogLevel level,
                                                                    std::function<void(const SLogLine&)> callback);

} // namespace testsupport
