#include "apps/zel/RunTaskCommand.h"

#include "ZEL_Processor/ZelRequestWatch.h"
#include "apps/common/ExitGuard.h"
#include "apps/zel/ProgressView.h"
#include "apps/zel/TaskFault.h"
#include "apps/zel/TaskInterrupt.h"
#include "platform/Os.h"
#include "platform/Path.h"
#include "platform/StrayFaults.h"
#include "platform/Text.h"

#include "CommonTexts.h"

#include <CLI/CLI.hpp>
#include <optional>

namespace {

constexpr std::uint32_t kMostRuns = 1'000'000;
constexpr std::size_t kResponsePiece = 65536;

/// Calls the sink with all of a file, in pieces. False with the reason.
template <class Sink>
bool ReadInPieces(const std::wstring& path, const Sink& sink, std::wstring& error)
{
    std::unique_ptr<platform::IFile> file;
    platform::eOsError result = platform::Files().Open(path, platform::eOpenMode_ReadShared, file);
    std::vector<std::byte> buffer(kResponsePiece);
    std::size_t read = 1;
    while (platform::Succeeded(result) && read > 0) {
        result = file->Read(buffer, read);
        if (platform::Succeeded(result) && read > 0)
            result = sink(std::span<const std::byte>(buffer).first(read));
    }
    if (!platform::Succeeded(result))
        error = platform::OsErrorText(result);
    return platform::Succeeded(result);
}

/// To standard output, in whole lines as far as it has lines: a console takes characters, and a piece may end in one.
class CConsoleSink {
public:
    ~CConsoleSink() { static_cast<void>(Write(m_rest)); }
    [[nodiscard]] platform::eOsError Add(std::span<const std::byte> piece)
    {
        m_rest.append(reinterpret_cast<const char*>(piece.data()), piece.size());
        const std::size_t lineEnd = m_rest.rfind('\n');
        const std::size_t whole = lineEnd == std::string::npos ? m_rest.size() : lineEnd + 1;
        const bool isWritten = Write(m_rest.substr(0, whole));
        m_rest.erase(0, whole);
        return isWritten ? platform::eOsError_None : platform::eOsError_BrokenPipe;
    }

private:
    static bool Write(const std::string& bytes)
    {
        return bytes.empty() || platform::WriteConsoleText(platform::eStream_Output, platform::FromUtf8(bytes));
    }

    std::string m_rest;
};

} // namespace

void CRunTaskCommand::Define(CLI::App& app)
{
    app.add_option("MODULE", m_module, HelpText(ToolTexts::IDS_HELP_RUN_TASK_MODULE))->type_name("")->required();
    app.add_option("REQUEST", m_request, HelpText(ToolTexts::IDS_HELP_RUN_TASK_REQUEST))->type_name("")->required();
    app.add_option("-o,--output", m_output, HelpText(ToolTexts::IDS_HELP_RUN_TASK_OUTPUT))->type_name("FILE");
    app.add_option("--repeat", m_nRepeat, HelpText(ToolTexts::IDS_HELP_RUN_TASK_REPEAT))
        ->type_name("N")
        ->check(CLI::Validator(CLI::Range(1U, kMostRuns)).description(""));
    app.add_flag("--no-contain", m_bUncontained, HelpText(ToolTexts::IDS_HELP_RUN_TASK_NO_CONTAIN));
    app.add_flag("-q,--quiet", m_bQuiet, HelpText(ToolTexts::IDS_HELP_RUN_TASK_QUIET));
}

bool CRunTaskCommand::Check()
{
    for (const auto& [value, name] : {std::pair(&m_module, L"MODULE"), std::pair(&m_request, L"REQUEST")}) {
        if (value->empty()) {
            PrintUsageError(L"zel", WQ_ModuleText(CommonTexts::IDS_OPTION_MISSING, {name}));
            return false;
        }
    }
    return true;
}

int CRunTaskCommand::Run()
{
    const CToolHost host;
    CTaskInterrupt interrupt;
    CZelTaskHarness harness;
    std::wstring error;
    if (!harness.LoadModule(platform::FromUtf8(m_module), error)) {
        PrintUsageError(L"zel", OneLine(error));
        return eExitCode_ClientError;
    }
    harness.SetContext(&interrupt);
    std::optional<platform::CStrayFaults> strayFaults;
    std::optional<CExitGuard> exitGuard;
    if (!m_bUncontained) {
        strayFaults.emplace(&TellStrayFault, kTaskReportTime);
        exitGuard.emplace(&TellStrayFault, kTaskReportTime, eExitCode_ServerError);
    }
    return RunAll(harness, interrupt);
}

eExitCode CRunTaskCommand::RunAll(CZelTaskHarness& harness, CTaskInterrupt& interrupt)
{
    const std::uint32_t wanted = std::max(m_nRepeat, 1U);
    std::int64_t left = 0;
    for (std::uint32_t done = 1; done <= wanted; ++done) {
        SZelTaskRun run;
        const eExitCode code = RunOnce(harness, done == 1 && !m_bQuiet, run);
        left += run.objectsLeft.value_or(0);
        if (code == eExitCode_Done && done < wanted && !interrupt.IsCanceled())
            continue;
        if (interrupt.IsCanceled())
            return eExitCode_Interrupted;
        if (code != eExitCode_Done)
            return code;
        if (!GiveResponse(run))
            return eExitCode_ClientError;
        return run.objectsLeft ? TellObjects(left, done) : eExitCode_Done;
    }
    return eExitCode_Done;
}

eExitCode CRunTaskCommand::RunOnce(CZelTaskHarness& harness, bool isShown, SZelTaskRun& run) const
{
    std::optional<CProgressView> view;
    if (isShown)
        view.emplace();
    harness.SetOnProgress([&](const SZelTaskRun& now) {
        if (view && !CZelRequestWatch::IsFinal(now.status))
            view->Show(StateOf(now));
    });
    const auto body = [&] { run = harness.RunFile(platform::FromUtf8(m_request)); };
    std::wstring fault;
    if (m_bUncontained)
        body();
    else if (!RunTaskContained(body, fault)) {
        view.reset();
        PrintError(L"zel", fault);
        return eExitCode_ServerError;
    }
    view.reset();
    return TellEnd(run);
}

eExitCode CRunTaskCommand::TellEnd(const SZelTaskRun& run) const
{
    const SRequestState state = StateOf(run);
    if (run.isPutOff) {
        PrintError(L"zel", ShownText(ToolTexts::IDS_TASK_PUT_OFF, {state.name}));
        return eExitCode_ServerError;
    }
    if (run.status == eRequestStatus_ClientError)
        PrintUsageError(L"zel", OneLine(run.comment));
    else if (run.status != eRequestStatus_Done)
        PrintError(L"zel", ToText(state));
    return ExitCodeOf(run.status);
}

eExitCode CRunTaskCommand::TellObjects(std::int64_t left, std::uint32_t runs) const
{
    if (left != 0 || (m_nRepeat != 0 && !m_bQuiet))
        PrintError(L"zel", ShownText(ToolTexts::IDS_OBJECTS_LEFT,
                                     {platform::FromUtf8(m_module), std::to_wstring(left), std::to_wstring(runs)}));
    return left == 0 ? eExitCode_Done : eExitCode_ServerError;
}

bool CRunTaskCommand::GiveResponse(const SZelTaskRun& run) const
{
    std::wstring error;
    const std::wstring target = platform::FromUtf8(m_output);
    bool isGiven = false;
    if (target.empty()) {
        CConsoleSink sink;
        isGiven = ReadInPieces(
            run.responsePath, [&](std::span<const std::byte> piece) { return sink.Add(piece); }, error);
    } else {
        std::unique_ptr<platform::IFile> file;
        platform::eOsError result = platform::Files().Open(target, platform::eOpenMode_WriteExclusive, file);
        if (!platform::Succeeded(result))
            error = platform::OsErrorText(result);
        isGiven = error.empty() &&
                  ReadInPieces(
                      run.responsePath, [&](std::span<const std::byte> piece) { return file->Write(piece); }, error);
        if (isGiven && !platform::Succeeded(result = file->Close()))
            error = platform::OsErrorText(result);
    }
    if (!error.empty())
        PrintError(L"zel", ShownText(ToolTexts::IDS_CANNOT_BE_WRITTEN, {target.empty() ? L"-" : target, error}));
    return isGiven && error.empty();
}

SRequestState CRunTaskCommand::StateOf(const SZelTaskRun& run) const
{
    SRequestState state;
    state.name = platform::FileNameOf(platform::FromUtf8(m_request));
    state.status = run.status;
    if (run.percent >= 0)
        state.percent = run.percent;
    state.comment = run.comment;
    return state;
}
