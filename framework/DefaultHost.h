#pragma once

#include "framework/Host.h"

/// The services of a host that has nothing of its own: a server without a screen, or a tool. A host derives from it to
/// replace single services; what it leaves uses the replaced ones (a report goes to the logger that GetLogger gives).
///
/// Reports and boxes become lines of the logger "ZelProcessor", which writes to standard error and, where configured
/// (framework/LogOptions.h), to a file.
class ZEL_FRAMEWORK_API CWQ_DefaultHost : public IWQ_Host {
public:
    CWQ_DefaultHost();
    virtual ~CWQ_DefaultHost();
    CWQ_DefaultHost(const CWQ_DefaultHost&) = delete;
    CWQ_DefaultHost& operator=(const CWQ_DefaultHost&) = delete;

    /// One line of level error with function and message; the place is that of the report.
    void ReportError(const SWQ_ErrorReport& report) override;

    /// One line; the level follows the icon in the style. Never waits; always eMessageAnswer_Ok.
    int ShowMessage(const std::wstring& text, unsigned style, unsigned flags) override;
    /// One line with the question and the answer taken. Never waits; always defaultAnswer.
    int AskMessage(const std::wstring& text, unsigned style, int defaultAnswer, unsigned flags) override;

    /// The text in the language of this process (framework/Language.h), or in English where that language has none. An
    /// identifier without a text gives one that names it. The first time that an identifier has no text, none in its
    /// language, or another code name than the given one, a line of level warning tells so.
    std::wstring GetText(unsigned id, const char* codeName) override;

    /// See framework/LogOptions.h.
    std::shared_ptr<spdlog::logger> GetLogger(const std::string& name) override;

    /// Writes a report file into MOXCrashRpt::ReportDirectory() and keeps the newest 50 there. 0 when that failed, with
    /// a line of level error; never throws, and survives a fault of its own.
    int GenerateErrorReport(const SMOXCrashRecord& record) override;
};
