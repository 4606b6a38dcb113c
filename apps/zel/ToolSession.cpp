#include "apps/zel/ToolSession.h"

#include "platform/FileSystem.h"
#include "platform/Path.h"

#include "ToolTexts.h"

using namespace std::chrono_literals;

CToolSession::CToolSession(const SToolOptions& options) : m_options(options), m_signals(false)
{
    m_client.Init(options.requestDir, options.outputDir, options.clientDir);
}

CToolSession::~CToolSession() = default;

bool CToolSession::CheckDirectories() const
{
    const auto check = [](const std::wstring& path, const STextCode& missing) {
        if (path.empty() || platform::DirectoryExists(path))
            return true;
        PrintError(L"zel", WQ_ModuleText(missing, {path}));
        return false;
    };
    return check(m_options.requestDir, ToolTexts::IDS_REQUEST_DIR_MISSING) &&
           check(m_options.outputDir, ToolTexts::IDS_OUTPUT_DIR_MISSING) &&
           check(m_options.clientDir, ToolTexts::IDS_CLIENT_DIR_MISSING);
}

std::wstring CToolSession::RequestPath(const std::wstring& name) const
{
    return platform::JoinPath(m_options.requestDir, name);
}

std::wstring CToolSession::QueuePath(const std::wstring& name) const
{
    return platform::JoinPath(platform::JoinPath(m_options.outputDir, L"Queue"), name);
}

std::wstring CToolSession::OutputPath(const std::wstring& name) const
{
    return platform::JoinPath(m_options.outputDir, name);
}

std::wstring CToolSession::StatusPath(const std::wstring& name) const
{
    return OutputPath(name) + L".status";
}

void CToolSession::Print(const SRequestState& state) const
{
    // Nobody has to read it.
    if (m_options.json)
        static_cast<void>(platform::WriteConsoleText(platform::eStream_Output, ToJson(state) + L"\n"));
    else if (!m_options.quiet)
        static_cast<void>(platform::WriteConsoleText(platform::eStream_Output, ToText(state) + L"\n"));
}

eExitCode CToolSession::Fail(const std::wstring& name, const std::wstring& text) const
{
    PrintError(L"zel", text);
    if (m_options.json) {
        SRequestState state;
        state.name = name;
        state.status = eRequestStatus_ClientError;
        state.comment = text;
        Print(state);
    }
    return eExitCode_ClientError;
}

bool CToolSession::IsInterrupted()
{
    platform::eProgramSignal received = platform::eProgramSignal_Stop;
    if (!m_bInterrupted)
        m_bInterrupted = m_signals.WaitFor(0ms, received);
    return m_bInterrupted;
}
