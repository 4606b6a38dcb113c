#include "ProtocolFiles.h"
#include "SourceNames.h"
#include "ZEL_Processor/ZelProcessor.h"
#include "ZEL_Processor/ZelProcessorServer.h"
#include "com/Guid.h"
#include "framework/Services.h"
#include "platform/Os.h"
#include "platform/Path.h"
#include "platform/Text.h"

#include <algorithm>

namespace {

constexpr const wchar_t* kRegisterFunction = L"CZelProcessorServer::RegisterNewClient";
// Identify the reports of a registration.
constexpr long kLineCantCreateDsEvents = 823;
constexpr long kLineNoDsEvents = 831;
constexpr long kLineCantCreateItems = 843;
constexpr long kLineNoItems = 851;
constexpr long kLineCantCreateAnswer = 863;

/// Creates a file with this content; reports a failure under what could not be opened.
bool CreateWithContent(const CString& path, const std::string& content, long line, const wchar_t* what)
{
    const platform::eOsError error =
        Protocol::RetryWhileShared([&] { return platform::WriteWholeFile(path, content); });
    if (!platform::Succeeded(error))
        WQ_ReportErrorNow(SourceNames::kZelProcessorServer, line, CString(kRegisterFunction) + what,
                          platform::OsErrorText(error) + L"\n   " + path);
    return platform::Succeeded(error);
}

bool CheckExists(const CString& path, long line, const wchar_t* text)
{
    if (platform::PathExists(path))
        return true;
    WQ_ReportErrorNow(SourceNames::kZelProcessorServer, line, kRegisterFunction, text + path);
    return false;
}

} // namespace

bool CZelProcessorServer::RegisterNewClient(const CString& requestId)
{
    if (!platform::IsPlainFileName(requestId))
        return false;
    GUID clientId{};
    if (FAILED(CoCreateGuid(&clientId)))
        return false;
    const CString dsEvents = GetDsEventsFileFullPath(clientId);
    const CString items = GetInsertableItemsChangeFile(clientId);
    if (!CreateWithContent(dsEvents, {}, kLineCantCreateDsEvents, L" !dsEventsFile.Open") ||
        !CheckExists(dsEvents, kLineNoDsEvents, L"!CFileTools::FileExists(csDsEventsFile)\n   ") ||
        !CreateWithContent(items, {}, kLineCantCreateItems, L" !dsInsItemsFile.Open") ||
        !CheckExists(items, kLineNoItems, L"!CFileTools::FileExists(csInsertableItemsChangeFile)\n   "))
        return false;
    // In the list before the answer: whoever knows its id already gets what happens from then on.
    const std::lock_guard lock(m_csClients);
    if (!CreateWithContent(m_pProcessor->GetOutputFilePath(requestId), platform::ToUtf8(GuidToText(clientId)),
                           kLineCantCreateAnswer, L" !outputFile.Open"))
        return false;
    m_clients.push_back(clientId);
    return true;
}

bool CZelProcessorServer::UnregisterClient(const GUID& clientId)
{
    const std::lock_guard lock(m_csClients);
    const auto found = std::find_if(m_clients.begin(), m_clients.end(),
                                    [&](const GUID& client) { return IsEqualGUID(client, clientId); });
    if (found == m_clients.end())
        return false;
    m_clients.erase(found);
    const CString dsEvents = GetDsEventsFileFullPath(clientId);
    return platform::Succeeded(
        Protocol::RetryWhileShared([&] { return platform::Files().Remove(dsEvents); }, &m_bRunning));
}
