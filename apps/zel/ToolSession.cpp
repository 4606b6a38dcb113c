#include "apps/zel/ToolSession.h"

#include "ZEL_Processor/ZelProtocolNames.h"
#include "platform/Os.h"
#include "platform/Path.h"

#include "ToolTexts.h"

#include <algorithm>

using namespace std::chrono_literals;

CToolSession::CToolSession(const SToolOptions& options) : m_options(options), m_signals(platform::eSignalSet_Tool)
{
    SetTimeout(kForever);
    m_client.Init(options.requestDir, options.outputDir, options.clientDir);
    SetUp(m_client);
}

CToolSession::~CToolSession() = default;

bool CToolSession::CheckDirectories() const
{
    // Who may not look at what lies there would take it for missing.
    const auto mayLookAt = [](const std::wstring& path, const std::wstring& shown) {
        platform::SFileAttributes attributes;
        const platform::eOsError error = platform::Files().GetAttributes(path, attributes);
        if (error == platform::eOsError_AccessDenied)
            PrintError(L"zel", ShownText(ToolTexts::IDS_DIR_UNREADABLE, {shown, platform::OsErrorText(error)}));
        return error != platform::eOsError_AccessDenied;
    };
    const auto check = [&](const std::wstring& path, const STextCode& missing) {
        if (path.empty() || platform::DirectoryExists(path))
            return true;
        if (mayLookAt(path, path))
            PrintUsageError(L"zel",
                            ShownText(platform::PathExists(path) ? ToolTexts::IDS_IS_NO_DIRECTORY : missing, {path}));
        return false;
    };
    return check(m_options.requestDir, ToolTexts::IDS_REQUEST_DIR_MISSING) &&
           check(m_options.outputDir, ToolTexts::IDS_OUTPUT_DIR_MISSING) &&
           check(m_options.clientDir, ToolTexts::IDS_CLIENT_DIR_MISSING) &&
           mayLookAt(QueuePath({}), m_options.outputDir);
}

std::wstring CToolSession::RequestPath(const std::wstring& name) const
{
    return platform::JoinPath(m_options.requestDir, name);
}

std::wstring CToolSession::QueuePath(const std::wstring& name) const
{
    return platform::JoinPath(platform::JoinPath(m_options.outputDir, ZelProtocol::kQueueDirectory), name);
}

std::wstring CToolSession::OutputPath(const std::wstring& name) const
{
    return platform::JoinPath(m_options.outputDir, name);
}

std::wstring CToolSession::StatusPath(const std::wstring& name) const
{
    return OutputPath(name) + ZelProtocol::kStatusExtension;
}

void CToolSession::Print(const SRequestState& state) const
{
    // Nobody has to read it.
    if (m_options.json)
        static_cast<void>(platform::WriteConsoleText(platform::eStream_Output, ToJson(state) + L"\n"));
    else if (!m_options.quiet)
        static_cast<void>(platform::WriteConsoleText(
            m_bOutputTaken ? platform::eStream_Error : platform::eStream_Output, ToText(state) + L"\n"));
}

void CToolSession::PrintEnd(const SRequestState& state) const
{
    if (m_options.quiet && !m_options.json && ExitCodeOf(state.status) != eExitCode_Done)
        PrintError(L"zel", ToText(state));
    else
        Print(state);
}

eExitCode CToolSession::Fail(const std::wstring& name, const std::wstring& text) const
{
    PrintError(L"zel", text);
    PrintFailure(name, text);
    return HasGivenUp() ? m_gaveUp : eExitCode_ClientError;
}

eExitCode CToolSession::FailWithHint(const std::wstring& name, const std::wstring& text) const
{
    PrintUsageError(L"zel", text);
    PrintFailure(name, text);
    return eExitCode_ClientError;
}

void CToolSession::PrintFailure(const std::wstring& name, const std::wstring& text) const
{
    if (!m_options.json)
        return;
    SRequestState state;
    state.name = name;
    state.status = eRequestStatus_ClientError;
    state.comment = text;
    Print(state);
}

void CToolSession::SetTimeout(std::chrono::milliseconds timeout)
{
    m_end = platform::Clock().Steady() + timeout;
    ForgetGivenUp(); // that the time before was over
}

std::chrono::milliseconds CToolSession::Left() const
{
    return std::max(std::chrono::ceil<std::chrono::milliseconds>(m_end - platform::Clock().Steady()), 0ms);
}

void CToolSession::SetUp(CZelProcessorClient& client)
{
    // A mask that keeps others out of the user's files would keep the server out of what is sent to it.
    client.SetAllowReading(true);
    client.SetGoOn([this] { return GoOn(); });
    client.SetCommandTimeout(m_options.serverTimeout);
    client.SetCheckedWatch(true, m_options.poll);
}

bool CToolSession::GoOn()
{
    if (!IsInterrupted() && Left() == 0ms)
        m_gaveUp = eExitCode_Timeout;
    return !HasGivenUp();
}

std::optional<SRequestState> CToolSession::Look(CZelProcessorClient& client, const std::wstring& name, eExitCode& code)
{
    ForgetGivenUp();
    const SRequestState state = ReadState(client, name);
    if (!HasGivenUp() || state.status != eRequestStatus_NotIntialized)
        return state;
    code = Fail(name, ShownText(ToolTexts::IDS_IN_USE, {StatusPath(name)}));
    return std::nullopt;
}

bool CToolSession::IsInterrupted()
{
    platform::eProgramSignal received = platform::eProgramSignal_Stop;
    if (!m_bInterrupted)
        m_bInterrupted = m_signals.WaitFor(0ms, received);
    if (m_bInterrupted)
        m_gaveUp = eExitCode_Interrupted;
    return m_bInterrupted;
}
