#include "TaskHostProcess.h"

#include "HostMessages.h"
#include "framework/CrashReport.h"
#include "framework/Services.h"
#include "platform/LastWords.h"
#include "platform/Os.h"
#include "platform/Path.h"
#include "platform/Text.h"
#include "reports/StringCodes.h"

using namespace std::chrono_literals;

namespace {

/// Between two looks whether the process is still to be waited for.
constexpr std::chrono::milliseconds kReadStep = 50ms;
/// Whoever has closed his output ends, or is made to.
constexpr std::chrono::milliseconds kPatienceWithEnd = 5s;
/// Above it an exit code is that of a signal, as CProcess has it.
constexpr int kSignals = 128;
constexpr int kMostSignals = 64;

} // namespace

CTaskHostProcess::~CTaskHostProcess()
{
    int code = 0;
    if (!m_bEnded && m_bRetired)
        static_cast<void>(m_process.Wait(kPatienceWithEnd, code)); // else it is killed
}

platform::eOsError CTaskHostProcess::Start()
{
    platform::SProcessOptions options;
    options.pipeInput = true;
    options.pipeOutput = true;
    options.longestLine = TaskHostLine::kLongest;
    options.containment = m_setup.containment;
    options.environment = m_setup.environment;
    const platform::eOsError error = m_process.Start(m_setup.program, {}, options);
    m_bEnded = !platform::Succeeded(error);
    for (const std::vector<CString>& line : m_setup.lines) {
        if (m_bEnded || !Send(line))
            break; // reading tells why
    }
    return error;
}

bool CTaskHostProcess::IsRunning()
{
    m_bEnded = m_bEnded || m_process.Wait(0ms, m_nExitCode);
    return !m_bEnded;
}

bool CTaskHostProcess::WaitUntilReady(std::chrono::nanoseconds end, const std::function<bool()>& goesOn)
{
    std::vector<CString> words;
    while (!m_bReady && goesOn() && platform::Clock().Steady() < end) {
        const eRead read = Read(words, kReadStep);
        if (read == eRead_Lost)
            break;
        if (read == eRead_Time)
            continue;
        if (words[0] == L"ready" && words.size() == 2) {
            m_bReady = true;
            m_nId = static_cast<std::uint32_t>(TaskHostLine::NumberOf(words[1]).value_or(0));
            m_strOldReport = FindReport();
        } else {
            TakeIdle(words);
        }
    }
    return m_bReady;
}

void CTaskHostProcess::ReadToEnd()
{
    const std::chrono::nanoseconds end = platform::Clock().Steady() + kPatienceWithEnd;
    std::vector<CString> words;
    while (platform::Clock().Steady() < end && Read(words, kReadStep) == eRead_Line)
        TakeIdle(words);
}

void CTaskHostProcess::TakeIdle(const std::vector<CString>& words)
{
    if (words[0] == L"fault" && words.size() == 3)
        SetFault(words[1], words[2]);
    else
        static_cast<void>(HostMessages::PassOn(words)); // anything else was said too early
}

CTaskHostProcess::eRead CTaskHostProcess::Read(std::vector<CString>& words, std::chrono::milliseconds timeout)
{
    CString line;
    const std::chrono::nanoseconds end = platform::Clock().Steady() + timeout;
    if (!m_process.ReadLine(line, timeout)) {
        // What it has started may keep its output open, and a process without output is of no use.
        if (IsRunning() && platform::Clock().Steady() >= end)
            return eRead_Time;
        if (m_bEnded && m_process.ReadLine(line, 0ms) && TaskHostLine::Split(line, words))
            return eRead_Line; // it came in between
        return Lose();
    }
    if (TaskHostLine::Split(line, words))
        return eRead_Line;
    // A line that was cut off is the last one.
    int code = 0;
    m_bNonsense = line.ends_with(L";") || !m_process.Wait(kPatienceWithEnd, code);
    return Lose();
}

CTaskHostProcess::eRead CTaskHostProcess::Lose()
{
    if (!m_bEnded && !m_bNonsense)
        m_bEnded = m_process.Wait(kPatienceWithEnd, m_nExitCode);
    if (!m_bEnded) {
        m_bNonsense = true;
        Kill();
    }
    return eRead_Lost;
}

bool CTaskHostProcess::Send(const std::vector<CString>& words)
{
    return m_process.WriteLine(TaskHostLine::Join(words));
}

void CTaskHostProcess::Kill()
{
    m_process.Kill();
    if (!m_process.Wait(kPatienceWithEnd, m_nExitCode))
        m_process = {};
    m_bEnded = true;
}

void CTaskHostProcess::Retire()
{
    m_bRetired = Send({L"end"});
}

void CTaskHostProcess::SetFault(const CString& kind, const CString& report)
{
    m_strFault = kind;
    m_strReport = report;
}

CString CTaskHostProcess::EndText() const
{
    CString text;
    if (m_bNonsense)
        text = TextOf(StringCodes::kTaskProcessNonsense);
    else if (!m_strFault.empty())
        text = FormatText(TextOf(StringCodes::kTaskProcessFault), {m_strFault});
    else if (m_nExitCode > kSignals && m_nExitCode <= kSignals + kMostSignals)
        text = FormatText(TextOf(StringCodes::kTaskProcessSignal), {std::to_wstring(m_nExitCode - kSignals)});
    else
        text = FormatText(TextOf(StringCodes::kTaskProcessExit), {std::to_wstring(m_nExitCode)});
    if (m_setup.containment.sandbox && m_nExitCode == platform::kSandboxKilled)
        text += L" " + TextOf(StringCodes::kSandboxKilled);
    if (m_setup.containment.memory != 0)
        text += L" " + FormatText(TextOf(StringCodes::kTaskProcessMemory),
                                  {std::to_wstring(m_setup.containment.memory >> 20U)});
    const CString report = Report();
    return report.empty() ? text : text + L" " + FormatText(TextOf(StringCodes::kTaskProcessReport), {report});
}

CString CTaskHostProcess::Report() const
{
    const CString report = m_strReport.empty() ? FindReport() : m_strReport;
    return report == m_strOldReport ? CString() : report;
}

/// Last words are in a file that nobody has told of: its name ends with the process and a number.
CString CTaskHostProcess::FindReport() const
{
    if (m_nId == 0)
        return {};
    const CString directory = MOXCrashRpt::ReportDirectory();
    std::vector<platform::SDirectoryEntry> entries;
    static_cast<void>(platform::Files().List(directory, entries)); // none where there is no directory
    CString newest;
    for (const platform::SDirectoryEntry& entry : entries) {
        if (entry.name.starts_with(platform::FromUtf8(platform::kReportNamePrefix)) &&
            entry.name.find(L"Z-" + std::to_wstring(m_nId) + L"-") != CString::npos && entry.name.ends_with(L".txt") &&
            entry.name > newest)
            newest = entry.name;
    }
    return newest.empty() ? CString() : platform::JoinPath(directory, newest);
}
