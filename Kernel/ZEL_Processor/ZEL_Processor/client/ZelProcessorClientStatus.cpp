#include "ClientState.h"
#include "framework/Services.h"
#include "platform/Os.h"
#include "platform/Text.h"
#include "protocol/ProtocolFiles.h"
#include "protocol/ZelProcessorRequestStatusFile.h"
#include "reports/SourceNames.h"
#include "reports/StringCodes.h"

#include <memory>

namespace {

// Identify the reports of this source.
constexpr long kLineCantOpen = 411;
constexpr long kLineNoStatus = 422;

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

} // namespace

eZelProcRequestStatus CClientState::GetStatus(const CString& requestPath, CAdditionalRequestStatus* additional)
{
    return LookForStatus(requestPath, additional, m_goOn);
}

eZelProcRequestStatus CClientState::LookForStatus(const CString& requestPath, CAdditionalRequestStatus* additional,
                                                  const std::function<bool()>& goOn)
{
    const CWQ_SetResource resource(kResourceModule);
    if (additional)
        additional->Clear();
    const CString statusPath = GetStatusFilePath(requestPath);
    for (int look = 0; look < kLooksBeforeNotRequested; ++look) {
        eZelProcRequestStatus status = eRequestStatus_NotIntialized;
        if (platform::PathExists(statusPath) && ReadStatusFile(statusPath, additional, goOn, status))
            return status;
        if (platform::PathExists(GetFileInQueueFullPath(requestPath)))
            return SetRequestStatus(additional, TextOf(StringCodes::kWaitingInQueue), eRequestStatus_Waiting);
        if (platform::PathExists(GetFileInRequestDirFullPath(requestPath)))
            return SetRequestStatus(additional, TextOf(StringCodes::kWaitingToReceive), eRequestStatus_Waiting);
    }
    return SetRequestStatus(additional, TextOf(StringCodes::kNotRequested), eRequestStatus_NotRequested);
}

bool CClientState::ReadStatusFile(const CString& path, CAdditionalRequestStatus* additional,
                                  const std::function<bool()>& goOn, eZelProcRequestStatus& status)
{
    CZelProcessorRequestStatusFile file(platform::FromUtf8(kLoggerName), path);
    CZelProcessorRequestStatusFile::SContent content;
    switch (file.ReadContent(content, goOn)) {
    case CZelProcessorRequestStatusFile::eRead_CanNotOpen:
        status = SetRequestStatus(additional, TextOf(StringCodes::kUnableOpenStatusFile), eRequestStatus_ClientError);
        return true;
    case CZelProcessorRequestStatusFile::eRead_NoStatus:
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
    const CString path = GetStatusFilePath(requestPath);
    if (!platform::PathExists(path))
        return true;
    std::unique_ptr<platform::IFile> file;
    const platform::eOsError error = platform::Files().Open(path, platform::eOpenMode_ReadShared, file);
    if (error == platform::eOsError_SharingViolation || platform::IsAbsent(error))
        return true; // it is being written, or went just now
    if (!platform::Succeeded(error)) {
        WQ_ReportErrorNow(SourceNames::kZelProcessorClient, kLineCantOpen, kFunction, L"Can't open-read status file.");
        return false;
    }
    platform::SFileAttributes attributes;
    if (!platform::Succeeded(file->GetAttributes(attributes))) {
        WQ_ReportErrorNow(SourceNames::kZelProcessorClient, kLineNoStatus, kFunction, L"Status file has no status.");
        return false;
    }
    return ToTime(attributes.times.modified).GetTime() != snapshotHash;
}

bool CClientState::ReceiveOutput(const CString& requestPath, const CString& targetPath)
{
    const CString outputPath = GetOutputFilePath(requestPath);
    if (!platform::PathExists(outputPath)) {
        WQ_MessageBox(FormatText(L"Response file %s does not exist", {outputPath}), eMessageStyle_Error);
        return false;
    }
    if (!Protocol::MoveFileWhenFree(outputPath, targetPath, MoveFlags(), m_goOn)) {
        WQ_MessageBox(FormatText(L"CZelProcessorClient::ReceiveOutput : moving of the file '%s' to '%s' failed",
                                 {outputPath, targetPath}),
                      eMessageStyle_Error);
        return false;
    }
    Protocol::RemoveFileWhenFree(GetStatusFilePath(requestPath));
    return true;
}
