#include "ClientState.h"
#include "ZEL_Processor/ZelRequestWatch.h"
#include "framework/Services.h"
#include "platform/Os.h"
#include "platform/Text.h"
#include "protocol/HandOver.h"
#include "protocol/ZelProcessorRequestStatusFile.h"
#include "reports/ReportLines.h"
#include "reports/SourceNames.h"
#include "reports/StringCodes.h"

#include <chrono>
#include <memory>

using namespace std::chrono_literals;

namespace {

constexpr std::int64_t kNsPerSecond = 1'000'000'000;

CTime ToTime(platform::FileTimeNs time)
{
    // Rounded down before 1970 too, as a file system rounds.
    const std::int64_t seconds = time / kNsPerSecond;
    return CTime(time % kNsPerSecond < 0 ? seconds - 1 : seconds);
}

/// A request travels from the request directory over the queue to its status file, while the places are looked at the
/// other way round: one that moves at the wrong moment is seen in none of them. It can do so once on each of its two
/// steps.
constexpr int kLooksBeforeNotRequested = 3;
/// A look in which the system failed to tell whether a file is there is none; where it always fails, this is the end.
constexpr int kMostLooks = 6;
/// Between two looks at a status that is being written.
constexpr auto kNap = 10ms;

} // namespace

eZelProcRequestStatus CClientState::GetStatus(const CString& requestPath, CAdditionalRequestStatus* additional)
{
    const eZelProcRequestStatus status = LookForStatus(requestPath, additional, m_goOn);
    return UnreadablePatience() != 0ms ? UnlessUnwritten(status, requestPath, additional) : status;
}

eZelProcRequestStatus CClientState::UnlessUnwritten(eZelProcRequestStatus status, const CString& requestPath,
                                                    CAdditionalRequestStatus* additional) const
{
    platform::SFileAttributes attributes;
    if (status != eRequestStatus_ClientError ||
        !platform::Succeeded(platform::Files().GetAttributes(m_paths.Status(requestPath), attributes)) ||
        attributes.length != 0 ||
        (!platform::PathExists(m_paths.InQueue(requestPath)) &&
         !platform::PathExists(m_paths.InRequestDir(requestPath))))
        return status;
    const CWQ_SetResource resource(kResourceModule);
    return SetRequestStatus(additional, TextOf(StringCodes::kWaitingInQueue), eRequestStatus_Waiting);
}

eZelProcRequestStatus CClientState::LookForStatus(const CString& requestPath, CAdditionalRequestStatus* additional,
                                                  const std::function<bool()>& goOn)
{
    const CWQ_SetResource resource(kResourceModule);
    if (additional)
        additional->Clear();
    const CString statusPath = m_paths.Status(requestPath);
    int certain = 0;
    for (int look = 0; certain < kLooksBeforeNotRequested && look < kMostLooks; ++look) {
        bool isCertain = true;
        const auto isThere = [&](const CString& path) {
            platform::SFileAttributes attributes;
            const platform::eOsError error = platform::Files().GetAttributes(path, attributes);
            isCertain = isCertain && (platform::Succeeded(error) || platform::IsAbsent(error));
            return platform::Succeeded(error);
        };
        eZelProcRequestStatus status = eRequestStatus_NotIntialized;
        if (isThere(statusPath) && ReadStatusFile(statusPath, additional, goOn, status))
            return status;
        if (isThere(m_paths.InQueue(requestPath)))
            return SetRequestStatus(additional, TextOf(StringCodes::kWaitingInQueue), eRequestStatus_Waiting);
        if (isThere(m_paths.InRequestDir(requestPath)))
            return SetRequestStatus(additional, TextOf(StringCodes::kWaitingToReceive), eRequestStatus_Waiting);
        certain += isCertain ? 1 : 0;
    }
    return SetRequestStatus(additional, TextOf(StringCodes::kNotRequested), eRequestStatus_NotRequested);
}

/// A writer on another machine may hold no lock that is seen here, and then half of what he writes is read; and the
/// system may remember for a second that the file is empty.
std::chrono::milliseconds CClientState::UnreadablePatience() const
{
    return m_watchOptions.isChecked || m_watchOptions.poll != 0ms ? 2000ms : 0ms;
}

bool CClientState::ReadStatusFile(const CString& path, CAdditionalRequestStatus* additional,
                                  const std::function<bool()>& goOn, eZelProcRequestStatus& status)
{
    CZelProcessorRequestStatusFile file(platform::FromUtf8(kLoggerName), path);
    CZelProcessorRequestStatusFile::SContent content;
    auto read = file.ReadContent(content, goOn);
    const std::chrono::nanoseconds end = platform::Clock().Steady() + UnreadablePatience();
    while (read == CZelProcessorRequestStatusFile::eRead_NoStatus && platform::Clock().Steady() < end &&
           (!goOn || goOn())) {
        platform::Clock().SleepFor(kNap);
        read = file.ReadContent(content, goOn);
    }
    switch (read) {
    case CZelProcessorRequestStatusFile::eRead_CanNotOpen:
        Explain(path, content.error);
        status = SetRequestStatus(additional, TextOf(StringCodes::kUnableOpenStatusFile), eRequestStatus_ClientError);
        return true;
    case CZelProcessorRequestStatusFile::eRead_NoStatus:
        Explain(path + L": " + TextOf(StringCodes::kUnableReadStatus));
        status = SetRequestStatus(additional, TextOf(StringCodes::kUnableReadStatus), eRequestStatus_ClientError);
        return true;
    case CZelProcessorRequestStatusFile::eRead_Absent: return false;
    case CZelProcessorRequestStatusFile::eRead_Stopped: return true;
    case CZelProcessorRequestStatusFile::eRead_Ok: break;
    }
    status = content.status;
    if (additional) {
        additional->SetStatus(content.status);
        if (content.hasPercent)
            additional->SetProgress(content.percent);
        if (content.hasComment)
            additional->SetProgressComment(content.comment);
        if (content.hasTimes)
            additional->SetTimes(ToTime(content.times.created), ToTime(content.times.modified));
    }
    return true;
}

eZelProcRequestStatus CClientState::SetRequestStatus(CAdditionalRequestStatus* additional, const CString& text,
                                                     eZelProcRequestStatus status)
{
    if (additional) {
        additional->SetProgressComment(text);
        additional->SetStatus(status);
    }
    return status;
}

bool CClientState::IsStatusFileChanged(const CString& requestPath, std::int64_t snapshotHash)
{
    constexpr const wchar_t* kFunction = L"CZelProcessorClient::IsStatusFileChanged";
    const CString path = m_paths.Status(requestPath);
    if (!platform::PathExists(path))
        return true;
    std::unique_ptr<platform::IFile> file;
    const platform::eOsError error = platform::Files().Open(path, platform::eOpenMode_ReadShared, file);
    if (error == platform::eOsError_SharingViolation || platform::IsAbsent(error))
        return true; // it is being written, or went just now
    if (!platform::Succeeded(error))
        return Fail(ReportLines::kStatusNotOpened, kFunction, L"Can't open-read status file.", path, error);
    platform::SFileAttributes attributes;
    if (!platform::Succeeded(file->GetAttributes(attributes))) {
        return Fail(ReportLines::kStatusWithoutTimes, kFunction, L"Status file has no status.", path);
    }
    return ToTime(attributes.times.modified).GetTime() != snapshotHash;
}

bool CClientState::ReceiveOutput(const CString& requestPath, const CString& targetPath)
{
    const CString outputPath = m_paths.Output(requestPath);
    if (!platform::PathExists(outputPath)) {
        Explain(outputPath, platform::eOsError_FileNotFound);
        WQ_MessageBox(FormatText(L"Response file %s does not exist", {outputPath}), eMessageStyle_Error);
        return false;
    }
    const platform::eOsError moved = Protocol::MoveWhenFree(outputPath, targetPath, MoveFlags(), m_goOn);
    if (!platform::HasMoved(moved)) {
        const CWQ_SetResource resource(kResourceModule);
        Explain(
            FormatText(TextOf(StringCodes::kCannotBeMoved), {outputPath, targetPath, platform::OsErrorText(moved)}));
        WQ_MessageBox(FormatText(L"CZelProcessorClient::ReceiveOutput : moving of the file '%s' to '%s' failed",
                                 {outputPath, targetPath}),
                      eMessageStyle_Error);
        return false;
    }
    Protocol::RemoveFileWhenFree(m_paths.Status(requestPath));
    return true;
}

eZelProcRequestStatus CClientState::ForgetRequest(const CString& requestPath)
{
    const eZelProcRequestStatus status = GetStatus(requestPath, nullptr);
    if (!CZelRequestWatch::IsFinal(status) || status == eRequestStatus_ClientError)
        return status;
    // The status last: without it the name looks free to others.
    for (const CString& path : {m_paths.Output(requestPath), m_paths.Status(requestPath)}) {
        const platform::eOsError error = Protocol::RetryForASecond([&path] { return platform::Files().Remove(path); });
        if (platform::Succeeded(error) || platform::IsAbsent(error))
            continue;
        Report(ReportLines::kNotForgotten, L"CZelProcessorClient::ForgetRequest",
               L"Can't delete file.\n  " + path + L"\n  " + platform::OsErrorText(error));
        Explain(path, error);
        return eRequestStatus_ClientError;
    }
    return status;
}
