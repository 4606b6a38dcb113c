#include "IsolatedRunner.h"

#include "HostMessages.h"
#include "ProcessorState.h"
#include "ZEL_Processor/ZelProcessorContext.h"
#include "ZEL_Processor/ZelProcessorProgress.h"
#include "framework/Log.h"
#include "framework/Services.h"
#include "platform/Os.h"
#include "platform/PrivateFiles.h"
#include "platform/Seconds.h"
#include "platform/Text.h"
#include "protocol/HandOver.h"
#include "protocol/ProtocolPaths.h"
#include "reports/SourceNames.h"
#include "reports/StringCodes.h"

#include <algorithm>
#include <iterator>
#include <stdexcept>
#include <string_view>
#include <utility>

using namespace std::chrono_literals;
using TaskHostLine::NumberOf;

namespace {

/// A cancel is noticed that much later than in this process.
constexpr std::chrono::milliseconds kStep = 10ms;
/// In the host's own unit, of which the largest number fits into no finer one.
constexpr std::chrono::milliseconds kLongestGrace = 1h;
/// What a task reports.
constexpr std::wstring_view kReports[] = {L"status", L"comment", L"range", L"position", L"step", L"stepit"};

void Log(Brel::Log::eLogLevel level, const CString& text)
{
    Brel::Log::Write(*Brel::Log::Get(kLoggerName), level, ZEL_SOURCE_LOCATION, text);
}

} // namespace

struct CIsolatedRunner::SRun {
    const CString& path;
    CZelProcessorProgress& progress;
    std::chrono::nanoseconds killAt{}; ///< once it was told that it is cancelled
    bool isToldCancel = false;
    bool isToldClosing = false;
    bool isKilled = false;
    bool mayHaveResponse = false;
    bool isSaved = false;     ///< its response
    bool isTakenAway = false; ///< after that, its file
    bool isDone = false;
    bool isRetry = false;
    bool hasEnded = false;
    bool hasLeft = false;     ///< processes
    bool hasGrown = false;    ///< its process
    CString refusedCall = {}; ///< by the sandbox
};

CIsolatedRunner::CIsolatedRunner(CZelProcessor& processor, SIsolatedRunnerSetup setup)
    : m_processor(processor), m_setup(std::move(setup))
{
    m_processor.m_pState->m_pEventGate = m_setup.eventGate;
    m_hostSetup.program = FindProgram(m_setup.isolation);
    m_hostSetup.containment = {m_setup.isolation.memoryLimit, m_setup.isolation.nice};
    MakeSetup();
}

CIsolatedRunner::~CIsolatedRunner()
{
    if (m_pHost)
        m_pHost->Retire();
}

bool CIsolatedRunner::CanProceedQueue() const
{
    return m_processor.CanProceedQueue();
}

void CIsolatedRunner::ProceedQueue(bool proceed)
{
    m_processor.ProceedQueue(proceed);
}

bool CIsolatedRunner::HasToldDone() const
{
    return m_processor.HasToldDone();
}

CString CIsolatedRunner::TaskType() const
{
    return m_processor.m_pState->m_strTaskType;
}

bool CIsolatedRunner::ProcessRequest(const CString& requestPath, CZelProcessorProgress* progress, bool bForce,
                                     bool& bRetry)
{
    bRetry = false;
    if (!std::exchange(m_bReady, false))
        return EndUnready(progress, bRetry);
    SRun run{requestPath, *progress};
    const platform::FileOwner* const owner = platform::CPrivateFiles::Current();
    m_bInRun = true;
    m_pHost->Send({L"run", requestPath, bForce ? L"1" : L"0", owner ? platform::FromUtf8(*owner) : CString(),
                   TaskHostLine::TextOf(HostMessages::LowestLevel())});
    ++m_nRequests;
    std::vector<CString> words;
    while (!run.hasEnded) {
        if (!TellCancel(run))
            return EndKilled(run);
        const CTaskHostProcess::eRead read = m_pHost->Read(words, kStep);
        if (read == CTaskHostProcess::eRead_Lost || (read == CTaskHostProcess::eRead_Line && !Understand(words, run)))
            return EndLost(run);
    }
    return Conclude(run, bRetry);
}

/// False when it has been killed, for it has not ended within the grace.
bool CIsolatedRunner::TellCancel(SRun& run)
{
    CZelProcessorContext* const context = m_setup.context;
    if (context && !run.isToldClosing && context->IsClosing())
        run.isToldClosing = m_pHost->Send({L"closing"});
    const bool isCanceled = !context || context->IsCanceled();
    const std::chrono::nanoseconds now = platform::Clock().Steady();
    if (isCanceled && !run.isToldCancel) {
        run.isToldCancel = true;
        run.killAt = now + std::clamp(m_setup.grace, 0ms, kLongestGrace);
        m_pHost->Send({L"cancel"});
    }
    if (!run.isToldCancel || now < run.killAt)
        return true;
    m_pHost->Kill();
    return false;
}

bool CIsolatedRunner::Understand(const std::vector<CString>& words, SRun& run)
{
    const CString& what = words[0];
    const std::size_t count = words.size();
    const auto number = [&](std::size_t index) { return count > index ? NumberOf(words[index]) : std::nullopt; };
    if (run.isDone && std::ranges::find(kReports, what) != std::end(kReports))
        return true; // the status is its sender's now
    if (what == L"status" && count == 3 && number(1) >= eRequestStatus_ServerError && number(1) < eRequestStatus_Last)
        SetStatus(words, run);
    else if (what == L"comment" && count == 2)
        run.progress.SetComment(words[1].c_str());
    else if (what == L"range" && number(1) && number(2))
        run.progress.SetRange(static_cast<std::uint64_t>(*number(1)), static_cast<std::uint64_t>(*number(2)));
    else if (what == L"position" && number(1))
        run.progress.SetPos(static_cast<std::uint64_t>(*number(1)));
    else if (what == L"step" && number(1))
        run.progress.SetStep(static_cast<std::int32_t>(*number(1)));
    else if (what == L"stepit" && count == 1)
        run.progress.StepIt();
    else if (what == L"task" && count == 2) {
        m_processor.m_pState->m_strTaskType = words[1];
        if (m_onTask)
            m_onTask(words[1]);
    } else if (what == L"remove" && count == 1)
        TakeAway(run);
    else if (what == L"refused" && count == 2)
        TakeRefusal(words[1], run);
    else if (what == L"fault" && count == 3)
        m_pHost->SetFault(words[1], words[2]);
    else if (what == L"end" && number(1) && number(2) && number(3) && count == 4) {
        run.hasEnded = true;
        run.isRetry = *number(1) == 1;
        run.hasLeft = *number(2) == 1;
        run.hasGrown = *number(3) == 1;
    } else if (!HostMessages::PassOn(words)) {
        m_pHost->SetNonsense();
        return false;
    }
    return true;
}

void CIsolatedRunner::SetStatus(const std::vector<CString>& words, SRun& run)
{
    const auto status = static_cast<eZelProcRequestStatus>(NumberOf(words[1]).value_or(eRequestStatus_ServerError));
    run.mayHaveResponse = run.mayHaveResponse || status == eRequestStatus_PreparingResponse;
    if (status == eRequestStatus_Done && run.isSaved)
        TellDone(run, words[2]);
    else
        run.progress.SetStatusAndComment(
            status, (status == eRequestStatus_ServerError ? words[2] + RefusalText(run) : words[2]).c_str());
}

/// The first one of a run; what comes after it may be what a task does without the call.
void CIsolatedRunner::TakeRefusal(const CString& call, SRun& run)
{
    Log(Brel::Log::eLogLevel_Warning, run.path + L": the sandbox has refused its task the system call " + call);
    if (run.refusedCall.empty())
        run.refusedCall = call;
}

/// To stand behind the reason of a failure.
CString CIsolatedRunner::RefusalText(const SRun& run) const
{
    return run.refusedCall.empty() || !m_setup.tellReasons
               ? CString()
               : L"\n" + FormatText(TextOf(StringCodes::kSandboxRefused), {run.refusedCall});
}

/// The last step of a request, before its sender is told: who asks has saved the response.
void CIsolatedRunner::TakeAway(SRun& run)
{
    if (run.isTakenAway) {
        // Somebody may have sent another one by this name meanwhile.
        m_pHost->Send({L"removed", TaskHostLine::TextOf(platform::eOsError_None)});
        return;
    }
    const platform::eOsError error =
        m_setup.removeRequest ? m_setup.removeRequest(run.path) : platform::Files().Remove(run.path);
    run.isSaved = true;
    run.isTakenAway = platform::Succeeded(error);
    m_pHost->Send({L"removed", TaskHostLine::TextOf(error)});
    if (run.isTakenAway) // nothing is missing: its sender need not wait until the process has put all away
        TellDone(run, TextOf(StringCodes::kDone));
}

void CIsolatedRunner::TellDone(SRun& run, const CString& text) const
{
    if (std::exchange(run.isDone, true))
        return;
    run.progress.SetStatusAndComment(eRequestStatus_Done, text.c_str());
    m_processor.m_pState->TellDone();
}

void CIsolatedRunner::EndRun()
{
    m_processor.m_pState->LeaveEvent();
    if (!std::exchange(m_bInRun, false))
        return;
    // Something has left the run, of the host it may be: what the process still says of it nobody is to take for the
    // next one.
    m_pHost->Kill();
    StartAnother();
}

bool CIsolatedRunner::Conclude(const SRun& run, bool& bRetry)
{
    bRetry = run.isRetry && !run.isDone;
    if (run.hasLeft)
        Log(Brel::Log::eLogLevel_Warning, run.path + L": its task has left processes behind, which are ended");
    if (run.hasLeft)
        m_pHost->Kill();
    if (run.hasGrown)
        Log(Brel::Log::eLogLevel_Info, L"The process of the tasks has grown and is replaced");
    if (run.hasLeft || run.hasGrown || (m_setup.isolation.recycle != 0 && m_nRequests >= m_setup.isolation.recycle))
        StartAnother();
    m_bInRun = false;
    return run.isDone;
}

/// It was cancelled, by somebody or by its limit, and did not see it.
bool CIsolatedRunner::EndKilled(SRun& run)
{
    const CString seconds = SecondsText(std::clamp(m_setup.grace, 0ms, kLongestGrace));
    Log(Brel::Log::eLogLevel_Warning,
        run.path + L": its process was ended, for it still ran " + seconds + L" seconds after it was cancelled");
    StartAnother();
    m_bInRun = false;
    if (run.isDone || run.isTakenAway) {
        TellDone(run, TextOf(StringCodes::kDone));
        return true;
    }
    RemoveResponse(run);
    if (m_setup.isEndedByLimit && m_setup.isEndedByLimit())
        CZelProcessor::SetStatus(&run.progress, eRequestStatus_ServerError,
                                 m_setup.tellReasons ? FormatText(TextOf(StringCodes::kTaskProcessKilled), {seconds})
                                                     : TextOf(StringCodes::kCanNotObtainData));
    else
        CZelProcessor::SetStatus(&run.progress, eRequestStatus_Canceled, TextOf(StringCodes::kRequestCanceled));
    return false;
}

/// A request whose response is saved and whose file is gone is done, whatever becomes of the process that did it.
bool CIsolatedRunner::EndLost(SRun& run)
{
    if (m_pHost->IsRunning())
        m_pHost->Kill();
    const CString reason = m_pHost->EndText() + RefusalText(run);
    m_strLostReport = m_pHost->Report();
    Log(Brel::Log::eLogLevel_Error, run.path + L": " + reason);
    StartAnother();
    m_bInRun = false;
    if (run.isTakenAway) {
        TellDone(run, TextOf(StringCodes::kDone));
        return true;
    }
    m_strLostBy = reason;
    RemoveResponse(run);
    throw std::runtime_error(platform::ToUtf8(reason));
}

/// Of one that may have been half written.
void CIsolatedRunner::RemoveResponse(const SRun& run) const
{
    if (run.mayHaveResponse)
        static_cast<void>(Protocol::RemoveFileWhenFree(m_processor.GetOutputFilePath(run.path)));
}
