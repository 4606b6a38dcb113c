#include "IsolatedRunner.h"

#include "ProcessorState.h"
#include "ZEL_Processor/IWQ_ZELProcessorFactory.h"
#include "ZEL_Processor/ZelProcessorContext.h"
#include "ZEL_Processor/ZelProcessorProgress.h"
#include "com/Components.h"
#include "com/XmlLimits.h"
#include "framework/CrashReport.h"
#include "framework/Language.h"
#include "framework/Log.h"
#include "framework/Services.h"
#include "platform/Module.h"
#include "platform/Os.h"
#include "platform/Path.h"
#include "platform/Sandbox.h"
#include "platform/Text.h"
#include "reports/SourceNames.h"
#include "reports/StringCodes.h"

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <utility>

// What a process of tasks is started with, and how it gets ready.

using namespace std::chrono_literals;

namespace {

/// To load the plug-ins, on a loaded machine.
constexpr std::chrono::milliseconds kStartTime = 1min;

void TellOfStart(Brel::Log::eLogLevel level, const CString& text)
{
    Brel::Log::Write(*Brel::Log::Get(kLoggerName), level, ZEL_SOURCE_LOCATION, text);
}

} // namespace

CString CIsolatedRunner::FindProgram(const SZelIsolation& isolation)
{
    const CString self = platform::ProgramPath();
    const CString extension = platform::EqualsNoCase(platform::ExtensionOf(self), L".exe") ? L".exe" : L"";
    const CString program = !isolation.program.empty()
                                ? isolation.program
                                : platform::JoinPath(platform::DirectoryOf(self), L"zel-task-host" + extension);
    return platform::PathExists(program) ? program : CString();
}

/// What a process of tasks has to know before the first request. The folders of plug-ins in the order of their classes,
/// which decides who serves what; those that the system's registry knows it finds itself.
void CIsolatedRunner::MakeSetup()
{
    std::vector<std::vector<CString>>& lines = m_hostSetup.lines;
    lines = {{L"output", m_setup.outputDir},
             {L"reasons", m_setup.tellReasons ? L"1" : L"0"},
             {L"private", m_setup.privateFiles ? L"1" : L"0"},
             {L"language", WQ_FindLanguage()}};
    std::vector<CString> limits = {L"limits"};
    for (const SXmlLimit& limit : kXmlLimits)
        limits.push_back(std::to_wstring(m_setup.xmlLimits.*limit.value));
    lines.push_back(limits);
    const std::uint64_t half = m_setup.isolation.memoryLimit / 2;
    lines.push_back(
        {L"recycle", std::to_wstring(m_setup.isolation.recycleMemory != 0 ? m_setup.isolation.recycleMemory : half)});
    for (const CString& text : m_setup.leftOut)
        lines.push_back({L"leftout", text});
    std::vector<CString> folders;
    for (const SComponentInfo& component : ListComponents(CATID_ZELProcessorFactory)) {
        const auto& categories = component.categories;
        if (component.modulePath.empty() &&
            std::find(categories.begin(), categories.end(), CATID_ZELProcessorFactory) != categories.end())
            TellOfStart(Brel::Log::eLogLevel_Warning,
                        L"A plug-in that lives in this process serves no isolated request: " + component.name);
        const CString folder = platform::DirectoryOf(component.source);
        if (component.modulePath.empty() || !platform::PathExists(component.source) ||
            std::find(folders.begin(), folders.end(), folder) != folders.end())
            continue;
        folders.push_back(folder);
        lines.push_back({L"folder", folder});
    }
    lines.push_back({L"begin"});
}

/// Before each start, for what is writable must exist: the responses, the reports of crashes, and a folder for
/// temporary files, which is the next process's own.
std::unique_ptr<platform::CScratchFolder> CIsolatedRunner::MakeSandbox()
{
    if (!m_setup.isolation.sandbox)
        return nullptr;
    auto scratch = std::make_unique<platform::CScratchFolder>();
    if (!platform::Succeeded(scratch->Error()))
        TellOfStart(Brel::Log::eLogLevel_Error, L"The folder for temporary files of tasks cannot be made: " +
                                                    scratch->Path() + L": " + platform::OsErrorText(scratch->Error()));
    platform::SSandbox& sandbox = m_hostSetup.containment.sandbox.emplace();
    sandbox.mayUseNetwork = m_setup.isolation.allowNetwork;
    for (const CString& directory : {m_setup.outputDir, MOXCrashRpt::ReportDirectory()}) {
        if (platform::DirectoryExists(directory))
            sandbox.writable.push_back(directory);
    }
    if (platform::Succeeded(scratch->Error()))
        sandbox.scratch.push_back(scratch->Path());
    // The folder of reports would else lie in that of temporary files.
    m_hostSetup.environment = {{L"TMPDIR", scratch->Path()}, {L"ZEL_CRASH_DIR", MOXCrashRpt::ReportDirectory()}};
    return scratch;
}

CString CIsolatedRunner::SandboxText(const SZelIsolation& isolation, bool& isWhole)
{
    const std::optional<platform::SSandboxSupport> support = platform::SandboxSupport();
    return support ? SandboxText(isolation, *support, isWhole) : CString();
}

CString CIsolatedRunner::SandboxText(const SZelIsolation& isolation, const platform::SSandboxSupport& support,
                                     bool& isWhole)
{
    struct SSince {
        int version;
        const wchar_t* without;
    };
    constexpr SSince kRules[] = {{2, L"; files cannot be moved between folders"},
                                 {3, L"; a file can still be cut short anywhere"},
                                 {6, L"; other processes can be sent signals"}};
    CString text = L"Tasks run in a sandbox: no new privileges";
    if (support.refusesCalls)
        text += isolation.allowNetwork ? L"; seccomp, the network allowed" : L"; seccomp, no network";
    if (support.fileRules > 0)
        text += L"; Landlock, version " + std::to_wstring(support.fileRules);
    if (!support.refusesCalls)
        text += L"; without seccomp, which this kernel or the service manager does not give: any call is made";
    isWhole = support.refusesCalls;
    if (support.fileRules <= 0)
        text +=
            L"; without Landlock, which this kernel or the service manager does not give: files are written anywhere";
    for (const auto& [version, without] : kRules) {
        isWhole = isWhole && support.fileRules >= version;
        // Without rules all can be moved, and cut short is said of all that is written.
        if (support.fileRules < version && (support.fileRules > 0 || version == 6))
            text += without;
    }
    return text;
}

void CIsolatedRunner::Prepare()
{
    StartAnother();
}

void CIsolatedRunner::StartAnother()
{
    if (m_pHost && m_pHost->IsRunning()) {
        m_pHost->Retire();
        m_pRetired = std::move(m_pHost);
    }
    m_nRequests = 0;
    if (std::exchange(m_bStarted, true) && m_setup.onRestart)
        m_setup.onRestart();
    m_pHost = std::make_unique<CTaskHostProcess>(m_hostSetup, MakeSandbox());
    if (const platform::eOsError error = m_pHost->Start(); !platform::Succeeded(error))
        TellOfStart(Brel::Log::eLogLevel_Error,
                    m_hostSetup.program + L" cannot be started: " + platform::OsErrorText(error));
    else
        TellOfStart(Brel::Log::eLogLevel_Debug, L"A process for tasks was started");
}

void CIsolatedRunner::Finish()
{
    if (m_pHost)
        m_pHost->Retire();
    m_pRetired.reset();
    m_pHost.reset();
}

bool CIsolatedRunner::GoesOn() const
{
    return m_setup.isRunning && m_setup.context && !m_setup.context->IsCanceled();
}

/// One that ended while nothing was to be run is nobody's failure.
void CIsolatedRunner::GetReady()
{
    m_processor.m_pState->m_bToldDone = false;
    m_processor.m_pState->m_strTaskType.clear();
    m_strLostBy.clear();
    m_strLostReport.clear();
    m_bReady = false;
    if (m_pRetired && !m_pRetired->IsRunning())
        m_pRetired.reset(); // with its temporary files
    const std::chrono::nanoseconds end = platform::Clock().Steady() + kStartTime;
    for (int attempt = 0; attempt < 2 && GoesOn(); ++attempt) {
        if (m_pHost && !m_pHost->IsRunning()) {
            m_pHost->ReadToEnd();
            TellOfStart(Brel::Log::eLogLevel_Warning, L"While nothing ran: " + m_pHost->EndText());
        }
        if (!m_pHost || !m_pHost->IsRunning())
            StartAnother();
        m_bReady =
            m_pHost->IsRunning() && m_pHost->WaitUntilReady(end, [this] { return GoesOn(); }) && m_pHost->IsRunning();
        if (m_bReady || !GoesOn())
            return;
        if (m_pHost->IsRunning())
            m_pHost->Kill(); // it had time enough
        m_strNotReady = m_pHost->EndText();
        m_pHost.reset();
    }
}

/// One that the server's stop has kept from being run waits for the next server.
bool CIsolatedRunner::EndUnready(CZelProcessorProgress* progress, bool& bRetry)
{
    if (!m_setup.context || m_setup.context->IsCanceled()) {
        CZelProcessor::SetStatus(progress, eRequestStatus_Canceled, TextOf(StringCodes::kRequestCanceled));
    } else if (!m_setup.isRunning) {
        bRetry = true;
    } else {
        const CString text = FormatText(TextOf(StringCodes::kTaskProcessNotStarted), {m_strNotReady});
        TellOfStart(Brel::Log::eLogLevel_Error, text);
        CZelProcessor::SetStatus(progress, eRequestStatus_ServerError,
                                 m_setup.tellReasons ? text : TextOf(StringCodes::kExceptionDuringRequest));
    }
    return false;
}
