#include "apps/zel/RunTaskCommand.h"

#include "ZEL_Processor/ZelRequestWatch.h"
#include "apps/common/ExitGuard.h"
#include "apps/zel/FileCopy.h"
#include "apps/zel/ProgressView.h"
#include "apps/zel/Receiver.h"
#include "apps/zel/Sender.h"
#include "apps/zel/TaskFault.h"
#include "apps/zel/TaskInterrupt.h"
#include "com/XmlLimits.h"
#include "platform/Os.h"
#include "platform/Path.h"
#include "platform/StrayFaults.h"
#include "platform/Text.h"

#include "CommonTexts.h"

#include <CLI/CLI.hpp>
#include <optional>

namespace {

constexpr std::uint32_t kMostRuns = 1'000'000;

} // namespace

void CRunTaskCommand::Define(CLI::App& app)
{
    app.add_option("MODULE", m_module, HelpText(ToolTexts::IDS_HELP_RUN_TASK_MODULE))->type_name("")->required();
    app.add_option("REQUEST", m_request, HelpText(ToolTexts::IDS_HELP_RUN_TASK_REQUEST))->type_name("")->required();
    app.add_option("-o,--output", m_output, HelpText(ToolTexts::IDS_HELP_RUN_TASK_OUTPUT))->type_name("FILE");
    app.add_option("--repeat", m_nRepeat, HelpText(ToolTexts::IDS_HELP_RUN_TASK_REPEAT))
        ->type_name("N")
        ->check(CLI::Validator(CLI::Range(1U, kMostRuns)).description(""));
    app.add_flag(platform::ToUtf8(kUncontainedOption), m_bUncontained,
                 HelpText(ToolTexts::IDS_HELP_RUN_TASK_NO_CONTAIN));
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
    const std::wstring module = platform::FromUtf8(m_module);
    if (platform::DirectoryExists(module))
        error = ShownText(ToolTexts::IDS_IS_A_DIRECTORY, {module});
    else
        static_cast<void>(harness.LoadModule(module, error));
    if (!error.empty() || !CReceiver::TryTarget(Target(), error)) {
        PrintUsageError(L"zel", OneLine(error));
        return eExitCode_ClientError;
    }
    if (!ReadRequest(interrupt))
        return interrupt.IsCanceled() ? eExitCode_Interrupted : eExitCode_ClientError;
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
        if (std::wstring error; !CReceiver::CopyTo(interrupt, run.responsePath, Target(), error)) {
            PrintError(L"zel", error);
            return interrupt.IsCanceled() ? eExitCode_Interrupted : eExitCode_ClientError;
        }
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
    const auto body = [&] {
        run = m_input ? harness.RunText(*m_input) : harness.RunFile(platform::FromUtf8(m_request));
    };
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
    if (run.status == eRequestStatus_ClientError) {
        const std::wstring noFile = WhyNoFile(platform::FromUtf8(m_request));
        PrintUsageError(L"zel", noFile.empty() ? OneLine(run.comment) : noFile);
    } else if (run.status != eRequestStatus_Done)
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

bool CRunTaskCommand::ReadRequest(IPatience& patience)
{
    if (platform::FromUtf8(m_request) != kStandardStream)
        return true;
    std::wstring error;
    std::string text;
    if (ReadAllInput(patience, XmlLimitsOfThread().bytes, text, error)) {
        m_input = std::move(text);
        return true;
    }
    PrintError(L"zel", error);
    return false;
}

std::wstring CRunTaskCommand::Target() const
{
    return m_output.empty() ? std::wstring(kStandardStream) : platform::FromUtf8(m_output);
}

SRequestState CRunTaskCommand::StateOf(const SZelTaskRun& run) const
{
    SRequestState state;
    state.name =
        m_input ? WQ_ModuleText(ToolTexts::IDS_STANDARD_INPUT) : platform::FileNameOf(platform::FromUtf8(m_request));
    state.status = run.status;
    if (run.percent >= 0)
        state.percent = run.percent;
    state.comment = run.comment;
    return state;
}
