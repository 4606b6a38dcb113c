#pragma once

#include "ZEL_Processor/ZelProcessorClient.h"
#include "apps/common/ExitCodes.h"
#include "apps/common/RequestState.h"
#include "apps/common/ShownText.h"
#include "apps/zel/Patience.h"
#include "apps/zel/ToolHost.h"
#include "apps/zel/ToolOptions.h"
#include "platform/Process.h"

#include <chrono>
#include <optional>
#include <string>

/// One run of the tool: the client, the directories, and how to speak to the user. On the main thread.
class CToolSession final : public IPatience {
public:
    explicit CToolSession(const SToolOptions& options);
    ~CToolSession();

    /// False, after a message, when a directory is not there.
    [[nodiscard]] bool CheckDirectories() const;

    [[nodiscard]] const SToolOptions& Options() const { return m_options; }
    [[nodiscard]] CZelProcessorClient& Client() { return m_client; }
    [[nodiscard]] CToolHost& Host() { return m_host; }

    /// Where the files of a request lie, by its name.
    [[nodiscard]] std::wstring RequestPath(const std::wstring& name) const;
    [[nodiscard]] std::wstring QueuePath(const std::wstring& name) const;
    [[nodiscard]] std::wstring OutputPath(const std::wstring& name) const;
    [[nodiscard]] std::wstring StatusPath(const std::wstring& name) const;

    /// The line, or the JSON object, of one request on standard output.
    void Print(const SRequestState& state) const;
    /// The same where it is what became of a request: with --quiet a failure goes to standard error, for what is told
    /// here may be gone afterwards.
    void PrintEnd(const SRequestState& state) const;
    /// Standard output takes a response: the line of Print goes to standard error from now on.
    void SetOutputTaken() { m_bOutputTaken = true; }
    [[nodiscard]] bool IsOutputTaken() const { return m_bOutputTaken; }
    /// A failure of the tool itself: the text on standard error, and the request as a client error where JSON is
    /// wanted. Gives the exit code: of a client error, or of why a wait was ended.
    [[nodiscard]] eExitCode Fail(const std::wstring& name, const std::wstring& text) const;
    /// The same for a mistake in the arguments that the system found, with the line that names the help.
    [[nodiscard]] eExitCode FailWithHint(const std::wstring& name, const std::wstring& text) const;

    /// How soon Ctrl-C is noticed. The waiting itself sleeps on notifications, and ends at once when there is one.
    static constexpr std::chrono::milliseconds kInterruptLatency{250};

    [[nodiscard]] bool IsInterrupted() override;

    /// The time that is given for all that follows, from now; kForever unless it is called.
    void SetTimeout(std::chrono::milliseconds timeout);
    [[nodiscard]] std::chrono::milliseconds Left() const;

    /// Lets a client of this session stop waiting for files that others have open, when the tool is to stop or the time
    /// is over.
    void SetUp(CZelProcessorClient& client);
    /// True when a wait for such a file was ended since the last ForgetGivenUp; Fail gives the code of that then.
    [[nodiscard]] bool HasGivenUp() const override { return m_gaveUp != eExitCode_Done; }
    void ForgetGivenUp() { m_gaveUp = eExitCode_Done; }

    /// The state of a request. Empty after a message, with the exit code, when somebody has its status open and it was
    /// not waited for any longer.
    [[nodiscard]] std::optional<SRequestState> Look(CZelProcessorClient& client, const std::wstring& name,
                                                    eExitCode& code);

    [[nodiscard]] bool GoOn() override;

private:
    void PrintFailure(const std::wstring& name, const std::wstring& text) const;

    const SToolOptions m_options;
    platform::CProgramSignals m_signals;
    CToolHost m_host;
    CZelProcessorClient m_client;
    bool m_bInterrupted = false;
    bool m_bOutputTaken = false;
    eExitCode m_gaveUp = eExitCode_Done;
    std::chrono::nanoseconds m_end;
};

/// The exit code of several requests: that of the first one that is not 0.
[[nodiscard]] inline eExitCode FirstFailure(eExitCode sofar, eExitCode next)
{
    return sofar == eExitCode_Done ? next : sofar;
}
