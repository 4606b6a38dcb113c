#include "ZelProcessorRequestStatusFile.h"

#include "HandOver.h"
#include "HeldFile.h"
#include "StatusFileText.h"
#include "framework/Log.h"
#include "framework/Services.h"
#include "platform/Os.h"
#include "platform/Text.h"
#include "reports/ReportLines.h"
#include "reports/SourceNames.h"

#include <array>
#include <utility>

namespace {

/// A longer status file is not ours: comments are messages, not data.
constexpr std::size_t kMaxStatusBytes = std::size_t{16} << 20;

constexpr std::chrono::milliseconds kPatienceAfterTheEnd{500};

/// Closes the file at the end of a call, however that ends, a fault excepted.
class CScopedClose {
public:
    explicit CScopedClose(std::unique_ptr<platform::IFile>& file) : m_pFile(file) {}
    ~CScopedClose() { m_pFile.reset(); }
    CScopedClose(const CScopedClose&) = delete;
    CScopedClose& operator=(const CScopedClose&) = delete;

private:
    std::unique_ptr<platform::IFile>& m_pFile;
};

/// Empty when it can't be read.
CString ReadAll(platform::IFile& file)
{
    std::string bytes;
    std::array<std::byte, 4096> buffer = {};
    for (;;) {
        std::size_t read = 0;
        if (!platform::Succeeded(file.Read(buffer, read)) || bytes.size() + read > kMaxStatusBytes)
            return {};
        if (read == 0)
            return platform::FromUtf16Le(bytes);
        bytes.append(reinterpret_cast<const char*>(buffer.data()), read);
    }
}

void Log(Brel::Log::eLogLevel level, const CString& text)
{
    Brel::Log::Write(*Brel::Log::Get(kLoggerName), level, ZEL_SOURCE_LOCATION, text);
}

} // namespace

CZelProcessorRequestStatusFile::CZelProcessorRequestStatusFile(CString loggerName, CString statusFilePath,
                                                               const std::atomic<bool>* pGoOn)
    : m_strLoggerName(std::move(loggerName)), m_strStatusFilePath(std::move(statusFilePath)), m_pGoOn(pGoOn)
{}

CZelProcessorRequestStatusFile::~CZelProcessorRequestStatusFile() = default;

bool CZelProcessorRequestStatusFile::WriteStatus(eZelProcRequestStatus status)
{
    return WriteText(StatusFileText::StatusLine(status));
}

bool CZelProcessorRequestStatusFile::WriteStatusAndPercent(eZelProcRequestStatus status, std::int32_t percent)
{
    return WriteText(StatusFileText::StatusLine(status) +
                     StatusFileText::KeyLine(StatusFileText::kProgressPercent, std::to_wstring(percent)));
}

bool CZelProcessorRequestStatusFile::HasPatience()
{
    if (m_pTurns)
        ++*m_pTurns;
    const std::chrono::nanoseconds now = platform::Clock().Steady();
    if (m_waitStart == std::chrono::nanoseconds::zero())
        m_waitStart = now;
    if (m_patience != std::chrono::nanoseconds::zero() && m_waited + now - m_waitStart >= m_patience)
        return false;
    if (!m_pGoOn || *m_pGoOn)
        return true;
    if (m_patienceEnd == std::chrono::nanoseconds::zero())
        m_patienceEnd = now + kPatienceAfterTheEnd;
    return now < m_patienceEnd;
}

platform::eOsError CZelProcessorRequestStatusFile::OpenWhenFree(platform::eOpenMode mode,
                                                                const std::function<bool()>& goOn)
{
    // What a fault in a task ended in the middle of a call is open still, and would be waited for without end.
    m_pOpened.reset();
    m_waitStart = {};
    const platform::eOsError error = Protocol::RetryWhileShared(
        [&] { return platform::Files().Open(m_strStatusFilePath, mode, m_pOpened); },
        HeldFile::WithWarning(m_strStatusFilePath, [&] { return HasPatience() && (!goOn || goOn()); }));
    if (m_waitStart != std::chrono::nanoseconds::zero())
        m_waited += platform::Clock().Steady() - m_waitStart;
    return error;
}

void CZelProcessorRequestStatusFile::TellUnopened()
{
    if (m_writeError == platform::eOsError_SharingViolation && m_patience != std::chrono::nanoseconds::zero()) {
        // The status is not lost, so nobody has to answer for it.
        if (!std::exchange(m_isHeldTold, true))
            Log(Brel::Log::eLogLevel_Warning,
                HeldFile::Describe(m_strStatusFilePath) + L"; the request goes on without its status");
        return;
    }
    if (TellOnce())
        return;
    const CString what = FormatText(L"Unable to create/open status file: %s", {m_strStatusFilePath});
    Log(Brel::Log::eLogLevel_Warning, what + L": " + platform::OsErrorText(m_writeError));
    WQ_MessageBox(what, eMessageStyle_Error);
}

/// False when each failure is to be told.
bool CZelProcessorRequestStatusFile::TellOnce()
{
    if (m_isToldOnce && !std::exchange(m_isFailureTold, true))
        Log(Brel::Log::eLogLevel_Error, L"The status file '" + m_strStatusFilePath + L"' cannot be written: " +
                                            platform::OsErrorText(m_writeError));
    return m_isToldOnce;
}

void CZelProcessorRequestStatusFile::TellWritten()
{
    if (std::exchange(m_isFailureTold, false))
        Log(Brel::Log::eLogLevel_Info, L"The status file '" + m_strStatusFilePath + L"' is written again");
}

bool CZelProcessorRequestStatusFile::WriteText(const CString& text)
{
    // Before the file is open, for as little as possible happens while it is.
    const std::string bytes = platform::ToUtf16Le(text);
    const CScopedClose close(m_pOpened);
    m_writeError = OpenWhenFree(platform::eOpenMode_WriteExclusive);
    m_unwritten.clear();
    if (!platform::Succeeded(m_writeError)) {
        m_unwritten = bytes;
        TellUnopened();
        return false;
    }
    m_writeError = WriteAndClose(bytes);
    if (platform::Succeeded(m_writeError)) {
        TellWritten();
        return true;
    }
    m_unwritten = bytes;
    if (TellOnce())
        return false;
    WQ_ReportErrorNow(
        SourceNames::kZelProcessor, ReportLines::kStatusNotWritten, L"CZelProcessorRequestStatusFile::WriteText",
        L"Unable to write status file: " + m_strStatusFilePath + L"\n" + platform::OsErrorText(m_writeError));
    return false;
}

platform::eOsError CZelProcessorRequestStatusFile::WriteAndClose(const std::string& bytes)
{
    const platform::eOsError written = m_pOpened->Write(std::as_bytes(std::span(bytes)));
    const platform::eOsError closed = m_pOpened->Close();
    return platform::Succeeded(written) ? closed : written;
}

bool CZelProcessorRequestStatusFile::CanNotOpen() const
{
    WQ_MessageBox(
        FormatText(L"CZelProcessorClient::GetStatus : opening of the file '%s' failed", {m_strStatusFilePath}),
        eMessageStyle_Error);
    return false;
}

bool CZelProcessorRequestStatusFile::ReadText(CString& text)
{
    const CScopedClose close(m_pOpened);
    if (!platform::Succeeded(OpenWhenFree(platform::eOpenMode_ReadExclusive)))
        return CanNotOpen();
    text = ReadAll(*m_pOpened);
    return true;
}

bool CZelProcessorRequestStatusFile::ReadStatus(eZelProcRequestStatus& status)
{
    status = eRequestStatus_ClientError;
    CString text;
    std::int32_t number = 0;
    if (!ReadText(text) || !StatusFileText::FindStatus(text, number))
        return false;
    status = static_cast<eZelProcRequestStatus>(number);
    return true;
}

bool CZelProcessorRequestStatusFile::ReadProgressPercent(std::int32_t& percent)
{
    percent = -1;
    CString text;
    CString value;
    if (!ReadText(text) || !StatusFileText::FindKey(text, StatusFileText::kProgressPercent, value))
        return false;
    percent = StatusFileText::ToNumber(value);
    return true;
}

bool CZelProcessorRequestStatusFile::ReadProgressComment(CString& comment)
{
    comment.clear();
    CString text;
    return ReadText(text) && StatusFileText::FindKey(text, StatusFileText::kProgressComment, comment);
}

CZelProcessorRequestStatusFile::eReadResult CZelProcessorRequestStatusFile::ReadContent(
    SContent& content, const std::function<bool()>& goOn)
{
    const CScopedClose close(m_pOpened);
    const platform::eOsError error = OpenWhenFree(platform::eOpenMode_ReadExclusive, goOn);
    content.error = error;
    if (platform::IsAbsent(error))
        return eRead_Absent;
    if (error == platform::eOsError_SharingViolation)
        return eRead_Stopped;
    if (!platform::Succeeded(error)) {
        CanNotOpen();
        return eRead_CanNotOpen;
    }
    const CString text = ReadAll(*m_pOpened);
    platform::SFileAttributes attributes;
    if (!platform::Succeeded(m_pOpened->GetAttributes(attributes)))
        attributes = {};
    m_pOpened.reset(); // nobody waits for what is done with it now
    std::int32_t number = 0;
    if (!StatusFileText::FindStatus(text, number))
        return eRead_NoStatus;
    content.status = static_cast<eZelProcRequestStatus>(number);
    CString percent;
    content.hasPercent = StatusFileText::FindKey(text, StatusFileText::kProgressPercent, percent);
    if (content.hasPercent)
        content.percent = StatusFileText::ToNumber(percent);
    content.hasComment = StatusFileText::FindKey(text, StatusFileText::kProgressComment, content.comment);
    content.times = attributes.times;
    content.hasTimes = attributes.times.modified != 0;
    return eRead_Ok;
}
