#include "ClientState.h"
#include "ZELAutomation/ZELAutomationEnvFile.h"
#include "ZEL_Processor/IWQ_CLSIDArray.h"
#include "ZEL_Processor/LockFile.h"
#include "com/ComError.h"
#include "com/Guid.h"
#include "framework/Exceptions.h"
#include "framework/Log.h"
#include "framework/Services.h"
#include "framework/WorkerThread.h"
#include "framework/XMLArchive.h"
#include "platform/Os.h"
#include "platform/Path.h"
#include "platform/Text.h"
#include "platform/Thread.h"
#include "processor/ThreadCom.h"
#include "protocol/ProtocolFiles.h"
#include "reports/SourceNames.h"

#include <chrono>

using namespace std::chrono_literals;

namespace {

constexpr auto kWatchTimeout = 1000ms;
constexpr auto kThreadStartTimeout = 5000ms;
constexpr auto kThreadEndTimeout = 5000ms;
/// Its lock file is made and removed only to wake the watch thread.
constexpr const wchar_t* kStopName = L"ThreadListenFileWatchStop";
constexpr const wchar_t* kGroup = L"Group";
constexpr const wchar_t* kRevision = L"RevisionID";
constexpr const wchar_t* kGroupsFunction = L"CZelProcessorClient::GetChangedInsertableItemsGroups";
constexpr const wchar_t* kUnableToUnlock = L"Unable to delete .lock file";

// Identify the reports of this source.
constexpr long kLineListen = 520;
constexpr long kLineWatch = 600;
constexpr long kLineEvents = 680;
constexpr long kLineGroups = 740;
constexpr long kLineLockResults = 800;

/// False, so that a failure can be returned with its report.
bool Fail(long line, const wchar_t* function, const CString& text)
{
    WQ_ReportErrorNow(SourceNames::kZelProcessorClient, line, function, text);
    return false;
}

bool Truncate(const CString& path)
{
    // Under the file's lock, which the server waits for.
    return platform::Succeeded(Protocol::RetryForASecond([&] { return platform::WriteWholeFile(path, {}); }));
}

bool IsEmpty(const CString& path)
{
    platform::SFileAttributes attributes;
    return platform::Succeeded(platform::Files().GetAttributes(path, attributes)) && attributes.length == 0;
}

/// Adds an id; false for the null id, after which nothing counts.
bool AddGroup(IWQ_CLSIDArray& groups, const GUID& id)
{
    if (IsEqualGUID(id, GUID{}))
        return false;
    ThrowIfFailed(groups.Add(&id));
    return true;
}

/// Reads the ids of a file: attributes of "Group" elements side by side, or elements in one "Group". False when the
/// array does not tell all that changed: a null id was met, or the file is no archive.
bool ReadGroups(const CString& path, IWQ_CLSIDArray& groups)
{
    CWQ_XMLArchive archive;
    if (!archive.Open(path, CWQ_XMLArchive::eDirection_Load))
        return Fail(kLineGroups + 2, kGroupsFunction, L"Unable to read " + path + L"\n" + archive.GetErrorText());
    if (!archive.EnterElement(kGroup))
        return true;
    if (archive.EnterElement(kRevision)) {
        do {
            GUID id{};
            archive.GetText(id);
            if (!AddGroup(groups, id))
                return false;
        } while (archive.NextSibling(kRevision));
        return true;
    }
    do {
        GUID id{};
        archive.GetAttribute(kRevision, id);
        if (!AddGroup(groups, id))
            return false;
    } while (archive.NextSibling(kGroup));
    return true;
}

} // namespace

CClientState::~CClientState()
{
    // Not again after a stop: a server that is gone by now would cost ten seconds.
    if (m_bRegistered)
        static_cast<void>(StopListeningDsEvents());
    EndWatchThread(); // also when the server did not answer
}

bool CClientState::ListenDsEvents()
{
    constexpr const wchar_t* kFunction = L"CZelProcessorClient::ListenDsEvents";
    const CString name = L"RegisterClient__" + CZelProcessorClient::GetUniqueString();
    const eZelProcRequestStatus status = SendCommand(name, eCommandType_RegisterClient);
    if (status != eRequestStatus_Done)
        return Fail(kLineListen, kFunction,
                    FormatText(L"SendCommand(eCommandType_RegisterClient) != eRequestStatus_Done, "
                               L"statusSendCommand=%s\n  %s",
                               {EnumToName(status, GetRequestStatusNames()), name}));
    if (!ReceiveClientId(name))
        return false;
    if (!platform::PathExists(GetDsEventsFileFullPath()))
        return Fail(kLineListen + 4, kFunction, L"DS events file not exists !\n  " + GetDsEventsFileFullPath());
    return StartWatchThread();
}

bool CClientState::ReceiveClientId(const CString& registrationName)
{
    constexpr const wchar_t* kFunction = L"CZelProcessorClient::ListenDsEvents";
    const CString path = platform::JoinPath(m_strClientDir, registrationName);
    if (!ReceiveOutput(registrationName, path))
        return Fail(kLineListen + 1, kFunction, L"!ReceiveOutput\n  " + path);
    GUID id{};
    if (!platform::Succeeded(Protocol::ReadRegistrationAnswer(path, id)))
        return Fail(kLineListen + 2, kFunction, L"Unable to opend output file for reading !\n  " + path);
    static_cast<void>(platform::Files().Remove(path));
    if (IsEqualGUID(id, GUID{}))
        return Fail(kLineListen + 3, kFunction, L"m_clientID == GUID_NULL");
    m_clientID = id;
    m_bRegistered = true;
    return true;
}

bool CClientState::StartWatchThread()
{
    {
        const std::lock_guard lock(m_cs);
        // One that ended, because it could not watch, hears nothing.
        if (m_pThreadListenFileWatch && !m_pThreadListenFileWatch->WaitFor(0ms))
            return true;
        // Set here, not by the thread: a stop that comes before the thread runs must not be undone by it.
        m_bListening = true;
        m_bWatching = false;
        m_evStarted->Reset();
        m_pThreadListenFileWatch = AfxBeginThread(&CClientState::FileWatchThread, this);
        if (!m_pThreadListenFileWatch)
            return false;
    }
    // Who looks and resets before the directory is watched would miss what changes between the look and the watch.
    return m_evStarted->WaitFor(kThreadStartTimeout) && m_bWatching;
}

unsigned CClientState::FileWatchThread(void* client)
{
    platform::SetCurrentThreadName("ZelProcessorClient::FileWatchThread");
    const CThreadCom com;
    return static_cast<CClientState*>(client)->ListenFileWatch() ? 0 : 1;
}

bool CClientState::ListenFileWatch()
{
    constexpr const wchar_t* kFunction = L"CZelProcessorClient::Listen()";
    std::unique_ptr<platform::IDirectoryWatch> watch;
    if (const platform::eOsError error =
            platform::Files().Watch(m_strOutputDir, platform::eWatchFilter_FileNameAndLastWrite, watch);
        !platform::Succeeded(error)) {
        Fail(kLineWatch, kFunction, L"FindFirstChangeNotification failed.\n" + platform::OsErrorText(error));
        m_evStarted->Set();
        AfxThrowNotSupportedException();
    }
    Brel::Log::Write(*Brel::Log::Get(kLoggerName), Brel::Log::eLogLevel_Debug, ZEL_SOURCE_LOCATION,
                     L"CZelProcessorClient::Listen() started");
    // What changed before the watch was made counts, too: the registration is older.
    SetOutputDirChange();
    m_bWatching = true;
    m_evStarted->Set();
    while (m_bListening && !CWQ_Thread::IsQuitPostedToCurrent()) {
        // While a change is known, further ones tell nothing new: without this, each file that the server writes for
        // one of fifty clients would wake all of them. They wait in the watch until somebody has looked.
        if (!m_evLooked->WaitFor(kWatchTimeout) || watch->Wait(kWatchTimeout) == platform::eWaitResult_Timeout)
            continue;
        const platform::eOsError error = watch->Rearm();
        if (platform::Succeeded(error)) {
            SetOutputDirChange();
        } else {
            Fail(kLineWatch + 1, kFunction, L"FindNextChangeNotification failed.\n" + platform::OsErrorText(error));
            platform::Clock().SleepFor(kWatchTimeout); // the next wait would not wait
        }
    }
    return true;
}

bool CClientState::StopListeningDsEvents()
{
    if (IsEqualGUID(m_clientID, GUID{}))
        return false;
    if (SendCommand(GuidToText(m_clientID), eCommandType_UnregisterClient) != eRequestStatus_Done)
        return false;
    m_bRegistered = false;
    EndWatchThread();
    return true;
}

void CClientState::EndWatchThread()
{
    if (!m_pThreadListenFileWatch)
        return;
    {
        const std::lock_guard lock(m_cs);
        m_bListening = false;
        m_evLooked->Set();
    }
    {
        CLockFile wake(platform::JoinPath(m_strOutputDir, kStopName));
        wake.Lock(true);
        wake.Unlock();
    }
    if (!m_pThreadListenFileWatch->WaitFor(kThreadEndTimeout)) {
        WQ_MessageBox(L"Something went wrong with m_pThreadListenFileWatch thread!", eMessageStyle_Error);
        m_pThreadListenFileWatch->PostQuit();
    }
    m_pThreadListenFileWatch.reset();
    const std::lock_guard lock(m_cs);
    m_bOutputDirChange = false;
}

bool CClientState::IsOutputDirChange() const
{
    return m_bOutputDirChange;
}

void CClientState::SetOutputDirChange()
{
    const std::lock_guard lock(m_cs);
    m_bOutputDirChange = true;
    if (m_bListening)
        m_evLooked->Reset();
}

void CClientState::ResetOutputDirChange()
{
    if (!m_bOutputDirChange)
        return;
    const std::lock_guard lock(m_cs);
    m_bOutputDirChange = false;
    m_evLooked->Set();
}

bool CClientState::IsNewDsEvent() const
{
    return HasNews(GetDsEventsFileFullPath());
}

bool CClientState::IsInsertableItemsUpdated() const
{
    return HasNews(GetInsertableItemsChangeFile());
}

bool CClientState::IsLockResultsChanged() const
{
    return HasNews(GetLockResultsChangeFile());
}

bool CClientState::HasNews(const CString& path) const
{
    platform::SFileAttributes attributes;
    return m_bOutputDirChange && !path.empty() &&
           platform::Succeeded(platform::Files().GetAttributes(path, attributes)) && attributes.length != 0;
}

bool CClientState::GetDsEvents(std::vector<CComPtr<IWQ_DsEventsData>>& events)
{
    constexpr const wchar_t* kFunction = L"CZelProcessorClient::GetDsEvents";
    events.clear();
    const CString path = GetDsEventsFileFullPath();
    std::vector<CComPtr<IWQ_DsEventsData>> read;
    CLockFile lock(path);
    if (!path.empty() && !lock.Lock(true))
        return Fail(kLineEvents, kFunction, L"Unable to read ds events file because is locked still on server side !");
    if (path.empty() || !CZELEnvFileDsEventsFile::ReadDsEventsFile(path, read))
        return Fail(kLineEvents + 1, kFunction, L"CZELEnvFileDsEventsFile::ReadDsEventsFile failed");
    if (!DeleteDsEventsFileContent())
        return Fail(kLineEvents + 2, kFunction, L"DeleteDsEventsFileContent failed");
    if (!lock.Unlock())
        Fail(kLineEvents + 3, kFunction, L"Unable to delete ds events lock file !");
    events.swap(read);
    return true;
}

bool CClientState::DeleteDsEventsFileContent()
{
    return Truncate(GetDsEventsFileFullPath());
}

bool CClientState::GetChangedInsertableItemsGroups(IWQ_CLSIDArray** groups)
{
    if (!groups)
        return false;
    const CString path = GetInsertableItemsChangeFile();
    if (!platform::PathExists(path)) {
        WQ_MessageBox(FormatText(L"Response file %s does not exist", {path}), eMessageStyle_Error);
        return false;
    }
    CLockFile lock(path);
    if (!lock.Lock(false))
        return false;
    CComPtr<IWQ_CLSIDArray> all;
    ThrowIfFailed(CreateWQ_CLSIDArray(ComIid<IWQ_CLSIDArray>(), all.PutVoid()));
    // Empty as at the registration: no archive, and nothing changed.
    const bool isEmpty = IsEmpty(path);
    if (!isEmpty && !ReadGroups(path, *all))
        all.Reset();
    if (!isEmpty && !Truncate(path))
        // The name as it has always been reported: without the two colons.
        return Fail(kLineGroups, L"CZelProcessorClientGetChangedInsertableItemsGroups",
                    L"Unable to clear bsInsertableItemsGroupFile");
    if (!lock.Unlock())
        Fail(kLineGroups + 1, kGroupsFunction, kUnableToUnlock);
    *groups = all.Detach();
    return true;
}

bool CClientState::ResetLockResultsChanged()
{
    constexpr const wchar_t* kFunction = L"CZelProcessorClient::ResetLockResultsChanged";
    const CString path = GetLockResultsChangeFile();
    if (!platform::PathExists(path)) {
        WQ_MessageBox(FormatText(L"Response file %s does not exist", {path}), eMessageStyle_Error);
        return false;
    }
    CLockFile lock(path);
    if (!lock.Lock(false))
        return false;
    if (!Truncate(path))
        return Fail(kLineLockResults, kFunction, L"Unable to clear LockResultsChangeFile");
    if (!lock.Unlock())
        Fail(kLineLockResults + 1, kFunction, kUnableToUnlock);
    return true;
}

CString CClientState::GetPerClientPath(const wchar_t* prefix) const
{
    return IsEqualGUID(m_clientID, GUID{}) ? CString() : GetOutputFilePath(prefix + GuidToText(m_clientID));
}

CString CClientState::GetDsEventsFileFullPath() const
{
    return GetPerClientPath(Protocol::kDsEventsPrefix);
}

CString CClientState::GetInsertableItemsChangeFile() const
{
    return GetPerClientPath(Protocol::kInsertableItemsPrefix);
}

CString CClientState::GetLockResultsChangeFile() const
{
    return GetPerClientPath(Protocol::kLockResultsPrefix);
}
