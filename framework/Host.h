#pragma once

#include "platform/Export.h"

#include <cstdint>
#include <memory>
#include <string>

namespace spdlog {
class logger;
}

/// One error report, as every part of the system gives it.
struct SWQ_ErrorReport {
    std::int64_t time = 0;   ///< seconds since 1970-01-01 UTC
    std::wstring sourceFile; ///< path of the reporting source inside the project, without its extension
    long sourceLine = 0;     ///< a constant of the report: it identifies the report, not today's position in the file
    std::wstring function;   ///< class, two colons and function, sometimes followed by the failed step
    std::wstring message;
};

struct SMOXCrashRecord;

/// What a host application provides. The default host is real: reports and boxes go to the log and to standard error,
/// texts come from the English resource, crash reports are written to files. A host installs its own with SetWQ_Host;
/// it may derive from CWQ_DefaultHost (framework/DefaultHost.h) and replace single services. Every function may be
/// called from any thread, also from several at once, and must not throw.
class IWQ_Host {
public:
    virtual void ReportError(const SWQ_ErrorReport& report) = 0;

    /// A message to the operator. Must return: a modal box without a screen would hang the server. Returns the id of
    /// the button.
    virtual int ShowMessage(const std::wstring& text, unsigned style, unsigned flags) = 0;
    /// A question to the operator, answered with defaultAnswer when nobody is there to answer.
    virtual int AskMessage(const std::wstring& text, unsigned style, int defaultAnswer, unsigned flags) = 0;

    /// The localised text of a numeric identifier; codeName is its name, or null where a text is fetched by number
    /// alone.
    virtual std::wstring GetText(unsigned id, const char* codeName) = 0;

    /// The logger of this name; never null. The same object for the same name.
    virtual std::shared_ptr<spdlog::logger> GetLogger(const std::string& name) = 0;

    /// Writes a crash report. Returns 1 for success. Runs on the thread that had the fault, after its stack was left.
    virtual int GenerateErrorReport(const SMOXCrashRecord& record) = 0;

protected:
    ~IWQ_Host() = default;
};

/// The host services in force.
[[nodiscard]] ZEL_FRAMEWORK_API IWQ_Host& WQ_Host();

/// Installs other services for the whole process, null for the default ones; returns what was installed before (null
/// for the default). The object is not owned and must outlive its use: install before a server runs, remove after it
/// stopped.
ZEL_FRAMEWORK_API IWQ_Host* SetWQ_Host(IWQ_Host* host);
