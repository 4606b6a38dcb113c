#pragma once

#include "framework/CrashReport.h"
#include "framework/DefaultHost.h"
#include "framework/Services.h"
#include "platform/Mutex.h"
#include "tests/support/CallbackLogger.h"

#include <chrono>
#include <iosfwd>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

/// One message or question that was shown.
struct SRecordedBox {
    std::wstring text;
    unsigned style = 0;
    bool isQuestion = false;
    int answer = 0; ///< what the caller got
};

void PrintTo(const SWQ_ErrorReport& report, std::ostream* stream);
void PrintTo(const SRecordedBox& box, std::ostream* stream);

namespace testsupport {
void PrintTo(const SLogLine& line, std::ostream* stream);
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
public:
    using Milliseconds = std::chrono::milliseconds;
    /// Long enough for a loaded machine; reached only by a test that fails.
    static constexpr Milliseconds kPatience{20000};

    CRecordingHost();
    ~CRecordingHost() override;

    // What was recorded so far. Taken is taken: the second call gives only what came since.

    [[nodiscard]] std::vector<SWQ_ErrorReport> TakeReports();
    [[nodiscard]] std::vector<SRecordedBox> TakeBoxes();
    /// Log lines of all levels.
    [[nodiscard]] std::vector<testsupport::SLogLine> TakeLogLines();
    /// Records of the crash reports that were asked for. They need not be taken: the question before each is a box.
    [[nodiscard]] std::vector<platform::SFaultRecord> TakeCrashReports();

    // The end of a wait is false when the time is over.

    [[nodiscard]] bool WaitForReports(std::size_t count, Milliseconds timeout = kPatience);
    [[nodiscard]] bool WaitForBoxes(std::size_t count, Milliseconds timeout = kPatience);
    [[nodiscard]] bool WaitForLogLine(const std::wstring& part, Milliseconds timeout = kPatience);

    // Waits for one entry and takes it out, the first that fits; a test failure when none comes in time.

    void ExpectReport(long line, const std::wstring& messagePart, Milliseconds timeout = kPatience);
    void ExpectBox(const std::wstring& textPart, Milliseconds timeout = kPatience);
    void ExpectLogLine(const std::wstring& textPart, Milliseconds timeout = kPatience);

    // How the services behave.

    /// The answer to questions from now on, instead of the default answer of each.
    void AnswerQuestions(int answer);
    /// Crash reports go to files as in a real host. Without it they are only recorded, and succeed.
    void WriteCrashReports();
    /// Log lines from level warning up need not be taken.
    void AcceptWarnings();

    // The services.

    void ReportError(const SWQ_ErrorReport& report) override;
    int ShowMessage(const std::wstring& text, unsigned style, unsigned flags) override;
    int AskMessage(const std::wstring& text, unsigned style, int defaultAnswer, unsigned flags) override;
    std::shared_ptr<Brel::Log::Logger> GetLogger(const std::string& name) override;
    int GenerateErrorReport(const SMOXCrashRecord& record) override;

private:
    /// The way from the loggers to the host: whoever still holds a logger after the host's end writes to nobody.
    struct SLink {
        platform::CMutex mutex;
        CRecordingHost* host ZEL_GUARDED_BY(mutex) = nullptr;
    };

    [[nodiscard]] std::optional<int> Answer();
    [[nodiscard]] bool WritesCrashReports();
    [[nodiscard]] bool AcceptsWarnings();
    [[nodiscard]] std::vector<testsupport::SLogLine> TakeWarnings();

    // The lists come as members, for they are touched with the lock held alone.

    template <class Entry>
    std::vector<Entry> Take(std::vector<Entry> CRecordingHost::*list);
    template <class Entry>
    void Record(std::vector<Entry> CRecordingHost::*list, const Entry& entry);
    template <class Condition>
    bool WaitUntil(const Condition& condition, Milliseconds timeout);
    template <class Entry, class Predicate>
    bool TakeOne(std::vector<Entry> CRecordingHost::*member, const Predicate& fits, Milliseconds timeout);

    const std::shared_ptr<SLink> m_pLink = std::make_shared<SLink>();
    platform::CMutex m_mutex;
    platform::CCondition m_changed;
    std::vector<SWQ_ErrorReport> m_reports ZEL_GUARDED_BY(m_mutex);
    std::vector<SRecordedBox> m_boxes ZEL_GUARDED_BY(m_mutex);
    std::vector<testsupport::SLogLine> m_lines ZEL_GUARDED_BY(m_mutex);
    std::vector<platform::SFaultRecord> m_crashes ZEL_GUARDED_BY(m_mutex);
    std::map<std::string, std::shared_ptr<Brel::Log::Logger>> m_loggers ZEL_GUARDED_BY(m_mutex);
    std::optional<int> m_answer ZEL_GUARDED_BY(m_mutex);
    bool m_bWriteCrashReports ZEL_GUARDED_BY(m_mutex) = false;
    bool m_bAcceptWarnings ZEL_GUARDED_BY(m_mutex) = false;

    IWQ_Host* m_pPrevious = nullptr;
};
