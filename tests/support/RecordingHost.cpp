#include "tests/support/RecordingHost.h"

#include "platform/Text.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <ostream>
#include <utility>

namespace {

bool Contains(const std::wstring& text, const std::wstring& part)
{
    return text.find(part) != std::wstring::npos;
}

auto LineHas(const std::wstring& part)
{
    return [part](const testsupport::SLogLine& line) { return Contains(line.text, part); };
}

template <class List, class Predicate>
auto Find(List& list, const Predicate& fits)
{
    return std::find_if(list.begin(), list.end(), fits);
}

template <class Entry>
void FailForEach(const std::vector<Entry>& entries)
{
    for (const Entry& entry : entries)
        ADD_FAILURE() << "Not expected by the test: " << testing::PrintToString(entry);
}

} // namespace

void PrintTo(const SWQ_ErrorReport& report, std::ostream* stream)
{
    *stream << "report " << platform::ToUtf8(report.sourceFile) << ":" << report.sourceLine << " "
            << platform::ToUtf8(report.function) << ": " << platform::ToUtf8(report.message);
}

void PrintTo(const SRecordedBox& box, std::ostream* stream)
{
    *stream << (box.isQuestion ? "question" : "box") << " of style " << box.style << ": " << platform::ToUtf8(box.text);
}

void testsupport::PrintTo(const SLogLine& line, std::ostream* stream)
{
    *stream << "line of level " << static_cast<int>(line.level) << " of " << line.logger << ": "
            << platform::ToUtf8(line.text);
}

template <class Entry>
std::vector<Entry> CRecordingHost::Take(std::vector<Entry> CRecordingHost::*list)
{
    const platform::CMutexLock guard(m_mutex);
    return std::exchange(this->*list, {});
}

template <class Entry>
void CRecordingHost::Record(std::vector<Entry> CRecordingHost::*list, const Entry& entry)
{
    const platform::CMutexLock guard(m_mutex);
    (this->*list).push_back(entry);
    m_changed.NotifyAll();
}

template <class Condition>
bool CRecordingHost::WaitUntil(const Condition& condition, Milliseconds timeout)
{
    platform::CMutexLock lock(m_mutex);
    return m_changed.WaitFor(lock, timeout, condition);
}

template <class Entry, class Predicate>
bool CRecordingHost::TakeOne(std::vector<Entry> CRecordingHost::*member, const Predicate& fits, Milliseconds timeout)
{
    std::vector<Entry>& list = this->*member;
    platform::CMutexLock lock(m_mutex);
    if (!m_changed.WaitFor(lock, timeout, [&] { return Find(list, fits) != list.end(); }))
        return false;
    list.erase(Find(list, fits));
    return true;
}

std::vector<SWQ_ErrorReport> CRecordingHost::TakeReports()
{
    return Take(&CRecordingHost::m_reports);
}

std::vector<SRecordedBox> CRecordingHost::TakeBoxes()
{
    return Take(&CRecordingHost::m_boxes);
}

std::vector<testsupport::SLogLine> CRecordingHost::TakeLogLines()
{
    return Take(&CRecordingHost::m_lines);
}

std::vector<platform::SFaultRecord> CRecordingHost::TakeCrashReports()
{
    return Take(&CRecordingHost::m_crashes);
}

CRecordingHost::CRecordingHost()
{
    {
        const platform::CMutexLock guard(m_pLink->mutex);
        m_pLink->host = this;
    }
    m_pPrevious = SetWQ_Host(this);
}

CRecordingHost::~CRecordingHost()
{
    SetWQ_Host(m_pPrevious);
    {
        const platform::CMutexLock guard(m_pLink->mutex);
        m_pLink->host = nullptr;
    }
    FailForEach(TakeReports());
    FailForEach(TakeBoxes());
    if (!AcceptsWarnings())
        FailForEach(TakeWarnings());
}

bool CRecordingHost::WaitForReports(std::size_t count, Milliseconds timeout)
{
    return WaitUntil([&]() ZEL_REQUIRES(m_mutex) { return m_reports.size() >= count; }, timeout);
}

bool CRecordingHost::WaitForBoxes(std::size_t count, Milliseconds timeout)
{
    return WaitUntil([&]() ZEL_REQUIRES(m_mutex) { return m_boxes.size() >= count; }, timeout);
}

bool CRecordingHost::WaitForLogLine(const std::wstring& part, Milliseconds timeout)
{
    return WaitUntil([&]() ZEL_REQUIRES(m_mutex) { return Find(m_lines, LineHas(part)) != m_lines.end(); }, timeout);
}

void CRecordingHost::ExpectReport(long line, const std::wstring& messagePart, Milliseconds timeout)
{
    const auto fits = [&](const SWQ_ErrorReport& report) {
        return report.sourceLine == line && Contains(report.message, messagePart);
    };
    if (!TakeOne(&CRecordingHost::m_reports, fits, timeout))
        ADD_FAILURE() << "No report of line " << line << " with: " << platform::ToUtf8(messagePart);
}

void CRecordingHost::ExpectBox(const std::wstring& textPart, Milliseconds timeout)
{
    if (!TakeOne(
            &CRecordingHost::m_boxes, [&](const SRecordedBox& box) { return Contains(box.text, textPart); }, timeout))
        ADD_FAILURE() << "No box with: " << platform::ToUtf8(textPart);
}

void CRecordingHost::ExpectLogLine(const std::wstring& textPart, Milliseconds timeout)
{
    if (!TakeOne(&CRecordingHost::m_lines, LineHas(textPart), timeout))
        ADD_FAILURE() << "No log line with: " << platform::ToUtf8(textPart);
}

void CRecordingHost::AnswerQuestions(int answer)
{
    const platform::CMutexLock guard(m_mutex);
    m_answer = answer;
}

void CRecordingHost::WriteCrashReports()
{
    const platform::CMutexLock guard(m_mutex);
    m_bWriteCrashReports = true;
}

void CRecordingHost::AcceptWarnings()
{
    const platform::CMutexLock guard(m_mutex);
    m_bAcceptWarnings = true;
}

void CRecordingHost::ReportError(const SWQ_ErrorReport& report)
{
    Record(&CRecordingHost::m_reports, report);
}

int CRecordingHost::ShowMessage(const std::wstring& text, unsigned style, unsigned /*flags*/)
{
    Record(&CRecordingHost::m_boxes, SRecordedBox{text, style, false, eMessageAnswer_Ok});
    return eMessageAnswer_Ok;
}

int CRecordingHost::AskMessage(const std::wstring& text, unsigned style, int defaultAnswer, unsigned /*flags*/)
{
    const int answer = Answer().value_or(defaultAnswer);
    Record(&CRecordingHost::m_boxes, SRecordedBox{text, style, true, answer});
    return answer;
}

std::shared_ptr<Brel::Log::Logger> CRecordingHost::GetLogger(const std::string& name)
{
    const platform::CMutexLock guard(m_mutex);
    std::shared_ptr<Brel::Log::Logger>& logger = m_loggers[name];
    if (logger == nullptr)
        logger = testsupport::MakeCallbackLogger(name, Brel::Log::eLogLevel_Trace,
                                                 [link = m_pLink](const testsupport::SLogLine& line) {
                                                     const platform::CMutexLock lock(link->mutex);
                                                     if (link->host != nullptr)
                                                         link->host->Record(&CRecordingHost::m_lines, line);
                                                 });
    return logger;
}

int CRecordingHost::GenerateErrorReport(const SMOXCrashRecord& record)
{
    Record(&CRecordingHost::m_crashes,
           record.exceptionPointers != nullptr ? *record.exceptionPointers : platform::SFaultRecord{});
    return WritesCrashReports() ? CWQ_DefaultHost::GenerateErrorReport(record) : 1;
}

std::optional<int> CRecordingHost::Answer()
{
    const platform::CMutexLock guard(m_mutex);
    return m_answer;
}

bool CRecordingHost::WritesCrashReports()
{
    const platform::CMutexLock guard(m_mutex);
    return m_bWriteCrashReports;
}

bool CRecordingHost::AcceptsWarnings()
{
    const platform::CMutexLock guard(m_mutex);
    return m_bAcceptWarnings;
}

std::vector<testsupport::SLogLine> CRecordingHost::TakeWarnings()
{
    std::vector<testsupport::SLogLine> lines = TakeLogLines();
    std::erase_if(lines, [](const auto& line) { return line.level < Brel::Log::eLogLevel_Warning; });
    return lines;
}
