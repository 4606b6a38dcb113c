#pragma once

#include "framework/CrashReport.h"
#include "framework/DefaultHost.h"
#include "framework/Services.h"
#include "platform/Text.h"
#include "tests/support/CallbackLogger.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

/// One message or question that was shown.
struct SRecordedBox {
    std::wstring text;
    unsigned style = 0;
    bool isQuestion = false;
    int answer = 0; ///< what the caller got
};

inline void PrintTo(const SWQ_ErrorReport& report, std::ostream* stream)
{
    *stream << "report " << platform::ToUtf8(report.sourceFile) << ":" << report.sourceLine << " "
            << platform::ToUtf8(report.function) << ": " << platform::ToUtf8(report.message);
}

inline void PrintTo(const SRecordedBox& box, std::ostream* stream)
{
    *stream << (box.isQuestion ? "question" : "box") << " of style " << box.style << ": " << platform::ToUtf8(box.text);
}

namespace testsupport {
inline void PrintTo(const SLogLine& line, std::ostream* stream)
{
    *stream << "line of level " << static_cast<int>(line.level) << " of " << line.logger << ": "
            << platform::ToUtf8(line.text);
}
} // namespace testsupport

/// The host services of a test: installed for the life of the object, they keep what they are given instead of showing
/// it. Texts are the real ones. A report, a box or a log line from level warning up that the test has not taken by the
/// end fails it.
///
///   CRecordingHost host;
///   ... something that fails ...
///   host.ExpectReport(312, L"failed");
///   EXPECT_EQ(host.TakeBoxes().size(), 1U);
///
/// Made before the threads that use the services start, destroyed after they ended. Everything is safe from any thread.
class CRecordingHost : public CWQ_DefaultHost {
    /// The way from the loggers to the host: whoever still holds a logger after the host's end writes to nobody.
    struct SLink {
        std::mutex mutex;
        CRecordingHost* host = nullptr;
    };

    static bool Contains(const std::wstring& text, const std::wstring& part)
    {
        return text.find(part) != std::wstring::npos;
    }
    static auto LineHas(const std::wstring& part)
    {
        return [part](const testsupport::SLogLine& line) { return Contains(line.text, part); };
    }

    template <class List, class Predicate>
    static auto Find(List& list, const Predicate& fits)
    {
        return std::find_if(list.begin(), list.end(), fits);
    }

    template <class Entry>
    static void FailForEach(const std::vector<Entry>& entries)
    {
        for (const Entry& entry : entries)
            ADD_FAILURE() << "Not expected by the test: " << testing::PrintToString(entry);
    }

    template <class Function>
    auto WithLock(const Function& function)
    {
        const std::lock_guard guard(m_mutex);
        return function();
    }

    auto KeepLines()
    {
        return [link = m_pLink](const testsupport::SLogLine& line) {
            const std::lock_guard guard(link->mutex);
            if (link->host != nullptr)
                link->host->Record(link->host->m_lines, line);
        };
    }

public:
    using Milliseconds = std::chrono::milliseconds;
    /// Long enough for a loaded machine; reached only by a test that fails.
    static constexpr Milliseconds kPatience{20000};

    CRecordingHost()
    {
        m_pLink->host = this;
        m_pPrevious = SetWQ_Host(this);
    }

    ~CRecordingHost() override
    {
        SetWQ_Host(m_pPrevious);
        {
            const std::lock_guard guard(m_pLink->mutex);
            m_pLink->host = nullptr;
        }
        FailForEach(TakeReports());
        FailForEach(TakeBoxes());
        if (!m_bAcceptWarnings)
            FailForEach(TakeWarnings());
    }

    // What was recorded so far. Taken is taken: the second call gives only what came since.

    [[nodiscard]] std::vector<SWQ_ErrorReport> TakeReports() { return Take(m_reports); }
    [[nodiscard]] std::vector<SRecordedBox> TakeBoxes() { return Take(m_boxes); }
    /// Log lines of all levels.
    [[nodiscard]] std::vector<testsupport::SLogLine> TakeLogLines() { return Take(m_lines); }
    /// Records of the crash reports that were asked for. They need not be taken: the question before each is a box.
    [[nodiscard]] std::vector<platform::SFaultRecord> TakeCrashReports() { return Take(m_crashes); }

    // The end of a wait is false when the time is over.

    [[nodiscard]] bool WaitForReports(std::size_t count, Milliseconds timeout = kPatience)
    {
        return WaitUntil([&] { return m_reports.size() >= count; }, timeout);
    }
    [[nodiscard]] bool WaitForBoxes(std::size_t count, Milliseconds timeout = kPatience)
    {
        return WaitUntil([&] { return m_boxes.size() >= count; }, timeout);
    }
    [[nodiscard]] bool WaitForLogLine(const std::wstring& part, Milliseconds timeout = kPatience)
    {
        return WaitUntil([&] { return Find(m_lines, LineHas(part)) != m_lines.end(); }, timeout);
    }

    // Waits for one entry and takes it out, the first that fits; a test failure when none comes in time.

    void ExpectReport(long line, const std::wstring& messagePart, Milliseconds timeout = kPatience)
    {
        const auto fits = [&](const SWQ_ErrorReport& report) {
            return report.sourceLine == line && Contains(report.message, messagePart);
        };
        if (!TakeOne(m_reports, fits, timeout))
            ADD_FAILURE() << "No report of line " << line << " with: " << platform::ToUtf8(messagePart);
    }
    void ExpectBox(const std::wstring& textPart, Milliseconds timeout = kPatience)
    {
        if (!TakeOne(
                m_boxes, [&](const SRecordedBox& box) { return Contains(box.text, textPart); }, timeout))
            ADD_FAILURE() << "No box with: " << platform::ToUtf8(textPart);
    }
    void ExpectLogLine(const std::wstring& textPart, Milliseconds timeout = kPatience)
    {
        if (!TakeOne(m_lines, LineHas(textPart), timeout))
            ADD_FAILURE() << "No log line with: " << platform::ToUtf8(textPart);
    }

    // How the services behave.

    /// The answer to questions from now on, instead of the default answer of each.
    void AnswerQuestions(int answer)
    {
        const std::lock_guard guard(m_mutex);
        m_answer = answer;
    }
    /// Crash reports go to files as in a real host. Without it they are only recorded, and succeed.
    void WriteCrashReports()
    {
        const std::lock_guard guard(m_mutex);
        m_bWriteCrashReports = true;
    }
    /// Log lines from level warning up need not be taken.
    void AcceptWarnings()
    {
        const std::lock_guard guard(m_mutex);
        m_bAcceptWarnings = true;
    }

    // The services.

    void ReportError(const SWQ_ErrorReport& report) override { Record(m_reports, report); }

    int ShowMessage(const std::wstring& text, unsigned style, unsigned /*flags*/) override
    {
        Record(m_boxes, SRecordedBox{text, style, false, eMessageAnswer_Ok});
        return eMessageAnswer_Ok;
    }

    int AskMessage(const std::wstring& text, unsigned style, int defaultAnswer, unsigned /*flags*/) override
    {
        const int answer = WithLock([&] { return m_answer.value_or(defaultAnswer); });
        Record(m_boxes, SRecordedBox{text, style, true, answer});
        return answer;
    }

    std::shared_ptr<Brel::Log::Logger> GetLogger(const std::string& name) override
    {
        const std::lock_guard guard(m_mutex);
        std::shared_ptr<Brel::Log::Logger>& logger = m_loggers[name];
        if (logger == nullptr)
            logger = testsupport::MakeCallbackLogger(name, Brel::Log::eLogLevel_Trace, KeepLines());
        return logger;
    }

    int GenerateErrorReport(const SMOXCrashRecord& record) override
    {
        Record(m_crashes, record.exceptionPointers != nullptr ? *record.exceptionPointers : platform::SFaultRecord{});
        const bool write = WithLock([this] { return m_bWriteCrashReports; });
        return write ? CWQ_DefaultHost::GenerateErrorReport(record) : 1;
    }

private:
    template <class Entry>
    std::vector<Entry> Take(std::vector<Entry>& list)
    {
        const std::lock_guard guard(m_mutex);
        return std::exchange(list, {});
    }

    template <class Entry>
    void Record(std::vector<Entry>& list, const Entry& entry)
    {
        const std::lock_guard guard(m_mutex);
        list.push_back(entry);
        m_changed.notify_all();
    }

    template <class Condition>
    bool WaitUntil(const Condition& condition, Milliseconds timeout)
    {
        std::unique_lock lock(m_mutex);
        return m_changed.wait_for(lock, timeout, condition);
    }

    template <class Entry, class Predicate>
    bool TakeOne(std::vector<Entry>& list, const Predicate& fits, Milliseconds timeout)
    {
        std::unique_lock lock(m_mutex);
        if (!m_changed.wait_for(lock, timeout, [&] { return Find(list, fits) != list.end(); }))
            return false;
        list.erase(Find(list, fits));
        return true;
    }

    std::vector<testsupport::SLogLine> TakeWarnings()
    {
        std::vector<testsupport::SLogLine> lines = TakeLogLines();
        std::erase_if(lines, [](const auto& line) { return line.level < Brel::Log::eLogLevel_Warning; });
        return lines;
    }

    const std::shared_ptr<SLink> m_pLink = std::make_shared<SLink>();
    std::mutex m_mutex;
    std::condition_variable m_changed;
    // Guarded by m_mutex.
    std::vector<SWQ_ErrorReport> m_reports;
    std::vector<SRecordedBox> m_boxes;
    std::vector<testsupport::SLogLine> m_lines;
    std::vector<platform::SFaultRecord> m_crashes;
    std::map<std::string, std::shared_ptr<Brel::Log::Logger>> m_loggers;
    std::optional<int> m_answer;
    bool m_bWriteCrashReports = false;
    bool m_bAcceptWarnings = false;

    IWQ_Host* m_pPrevious = nullptr;
};
