#pragma once

#include "platform/Process.h"
#include "platform/ScratchFolder.h"
#include "plugins/script/ScriptConfiguration.h"

#include <ZEL_Processor/ZelProcessorContext.h>
#include <ZEL_Processor/ZelProcessorProgress.h>

#include <string>

/// One run of a task's program, in a process that ends with all that it starts: when the program has ended, when the
/// request is cancelled, and with this process. The program works in an empty folder of its own.
class CScriptRun {
public:
    explicit CScriptRun(SScriptTask task) : m_task(std::move(task)) {}

    enum eEnd { eEnd_Done, eEnd_Canceled, eEnd_Failed };
    /// The request as UTF-8 is the program's standard input. Failed comes with a sentence.
    [[nodiscard]] eEnd Run(const std::string& request, CZelProcessorContext& context, CZelProcessorProgress& progress,
                           CString& error);
    /// After Done, until this object ends.
    [[nodiscard]] CString ResponsePath() const;

private:
    [[nodiscard]] bool Start(const std::string& request, platform::CProcess& host, CString& error) const;
    [[nodiscard]] eEnd Follow(platform::CProcess& host, CZelProcessorContext& context, CZelProcessorProgress& progress,
                              CString& error) const;
    /// What may grow while the program runs. False when it may no more.
    [[nodiscard]] bool IsWithinLimits(std::uint64_t responseLength, CString& error) const;
    [[nodiscard]] eEnd Conclude(int exitCode, CString& error) const;
    [[nodiscard]] CString ErrorPath() const;
    /// The end of what the program wrote to its standard error.
    [[nodiscard]] CString LastErrors() const;
    /// A reason without its full stop, as a sentence that ends with them.
    [[nodiscard]] CString WithErrors(const CString& reason) const;
    /// Where nobody else is told of them.
    void LogErrors() const;

    const SScriptTask m_task;
    const platform::CScratchFolder m_folder;
};
