#include "ProtocolFiles.h"
#include "SourceNames.h"
#include "StringCodes.h"
#include "ZEL_Processor/XMLTools.h"
#include "ZEL_Processor/ZelProcessor.h"
#include "ZEL_Processor/ZelProcessorServer.h"
#include "ZelProcessorProgressStatusFile.h"
#include "com/ComPtr.h"
#include "com/Guid.h"
#include "framework/Services.h"
#include "platform/Os.h"
#include "platform/Path.h"
#include "platform/Text.h"
#include "platform/Thread.h"

#include <chrono>
#include <exception>

using namespace std::chrono_literals;

namespace {

constexpr std::uint32_t kOpenTimeoutMs = 5000;
constexpr auto kOpenRetry = 100ms;
constexpr std::size_t kMaxReason = 520;

} // namespace

bool CZelProcessorServer::ProcessCommand(const CString& path, CZelProcessorProgress* progress)
{
    const CWQ_SetResource resource(kResourceModule);
    const CString queuePath = GetFileInQueueFullPath(path);
    if (!Protocol::MoveFileWhenFree(path, queuePath, MoveFlags(), &m_bRunning)) {
        m_pProcessor->SetStatus(progress, eRequestStatus_ServerError,
                                FormatText(TextOf(StringCodes::kUnableMoveIntoQueue), {path, queuePath}));
        return false;
    }
    CString type;
    CString name;
    if (!WaitUntilReadable(queuePath, progress) || !ReadCommand(queuePath, progress, type, name) ||
        !CarryOutCommand(type, name, progress))
        return false;
    static_cast<void>(platform::Files().Remove(queuePath));
    m_pProcessor->SetStatus(progress, eRequestStatus_Done, TextOf(StringCodes::kDone));
    return true;
}

/// Proves that the writer has let go of the file.
bool CZelProcessorServer::WaitUntilReadable(const CString& queuePath, CZelProcessorProgress* progress)
{
    const auto fail = [&](const CString& cause) {
        m_pProcessor->SetStatus(progress, eRequestStatus_ServerError,
                                FormatText(TextOf(StringCodes::kUnableOpenInQueue), {queuePath}) + cause);
        return false;
    };
    try {
        const std::uint32_t start = platform::Clock().TickCount();
        for (;;) {
            std::unique_ptr<platform::IFile> file;
            const platform::eOsError error = platform::Files().Open(queuePath, platform::eOpenMode_ReadShared, file);
            if (platform::Succeeded(error))
                return true;
            if (!m_bRunning || platform::Clock().TickCount() - start > kOpenTimeoutMs)
                return fail(L"\nCause 1:\n" + platform::OsErrorText(error).substr(0, kMaxReason));
            platform::Clock().SleepFor(kOpenRetry);
        }
    } catch (const std::exception& exception) {
        return fail(L"\nCause 2:\n" + platform::FromUtf8(exception.what()));
    } catch (...) {
        return fail(L"\nCause 2:\n\nUnknown exception");
    }
}

bool CZelProcessorServer::ReadCommand(const CString& queuePath, CZelProcessorProgress* progress, CString& type,
                                      CString& name)
{
    CComPtr<IXMLDOMDocument> document;
    CString reason;
    if (!CXMLTools::CreateXmlDomFromFile(queuePath, document.Put(), reason)) {
        if (!reason.empty())
            reason = L"\n" + reason + L"\n";
        m_pProcessor->SetStatus(progress, eRequestStatus_ServerError,
                                WQ_LoadString(StringCodes::kCantParseCommand) + reason + queuePath);
        return false;
    }
    CComPtr<IXMLDOMNode> command;
    // An empty name names nothing.
    if (CXMLTools::GetNodeByName(document.Get(), L"Command", command.Put()) &&
        CXMLTools::GetAttributeValue(command.Get(), L"Type", type) &&
        CXMLTools::GetNodeValue(command.Get(), L"RequestName", name) && !name.empty())
        return true;
    m_pProcessor->SetStatus(progress, eRequestStatus_ServerError, TextOf(StringCodes::kInvalidCommandFile));
    return false;
}

bool CZelProcessorServer::CarryOutCommand(const CString& type, const CString& name, CZelProcessorProgress* progress)
{
    const auto is = [&type](const wchar_t* word) { return platform::EqualsNoCase(type, word); };
    if (is(L"CancelRequest")) {
        // Whatever runs is meant when the name does not wait: at most one request runs.
        if (RemoveRequestFromQueue(name))
            m_pProcessor->SetStatus(progress, eRequestStatus_Canceled, TextOf(StringCodes::kCanceled));
        else
            CancelRunningRequest();
        return true;
    }
    if (is(L"PauseRequest"))
        return PauseOrUnpauseRequest(name, progress);
    if (is(L"RegisterClient")) {
        RegisterNewClient(name);
        return true;
    }
    if (is(L"UnregisterClient")) {
        GUID clientId{};
        if (GuidFromText(name, clientId))
            UnregisterClient(clientId);
        return true;
    }
    return false;
}

bool CZelProcessorServer::PauseOrUnpauseRequest(const CString& name, CZelProcessorProgress* progress)
{
    if (!platform::IsPlainFileName(name))
        return false;
    const std::lock_guard lock(m_cs);
    std::size_t position = 0;
    if (IsRequestPaused(name, position)) {
        const auto item = m_paused.begin() + static_cast<std::ptrdiff_t>(position);
        // Without the status of the pause the request looks to its client as if it waited, which it does.
        static_cast<void>(Protocol::RetryWhileShared(
            [&] { return platform::Files().Remove(m_pProcessor->GetOutputStatusFilePath(name)); }, &m_bRunning));
        m_queue.push_back(std::move(*item));
        m_paused.erase(item);
        m_evQueue->Set();
        return true;
    }
    if (IsRequestInQueue(name, position)) {
        const auto item = m_queue.begin() + static_cast<std::ptrdiff_t>(position);
        m_paused.push_back(std::move(*item));
        m_queue.erase(item);
    } else {
        const CString path = GetFileInRequestDirFullPath(name);
        const CString target = GetFileInQueueFullPath(name);
        if (!platform::PathExists(path))
            return false;
        if (!Protocol::MoveFileWhenFree(path, target, MoveFlags(), &m_bRunning)) {
            WQ_MessageBox(FormatText(L"CZelProcessorServer::PauseOrUnpauseRequest : moving of the file '%s' to '%s' failed",
                                     {path, target}),
                          eMessageStyle_Error);
            return false;
        }
        m_paused.push_back({target, 0});
    }
    // The command's own status goes on to Done at once; the request's stays for whoever asks for it.
    CZelProcessorProgressStatusFile statusFile(platform::FromUtf8(kLoggerName),
                                               m_pProcessor->GetOutputStatusFilePath(name));
    for (CZelProcessorProgress* status : {progress, static_cast<CZelProcessorProgress*>(&statusFile)})
        m_pProcessor->SetStatus(status, eRequestStatus_Paused, TextOf(StringCodes::kPaused));
    return true;
}
