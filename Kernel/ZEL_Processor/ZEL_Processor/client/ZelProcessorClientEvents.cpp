#include "ClientState.h"
#include "ZELAutomation/ZELAutomationEnvFile.h"
#include "ZEL_Processor/IWQ_CLSIDArray.h"
#include "ZEL_Processor/LockFile.h"
#include "com/ComError.h"
#include "com/CreateInstance.h"
#include "com/Guid.h"
#include "framework/Log.h"
#include "framework/Services.h"
#include "platform/Os.h"
#include "platform/Path.h"
#include "protocol/ChangedGroupsFile.h"
#include "protocol/HandOver.h"
#include "protocol/LockNote.h"
#include "protocol/NotificationFile.h"
#include "protocol/RegistrationAnswer.h"
#include "reports/ReportLines.h"
#include "reports/SourceNames.h"

#include <memory>

namespace {

constexpr const wchar_t* kGroupsFunction = L"CZelProcessorClient::GetChangedInsertableItemsGroups";
constexpr std::chrono::milliseconds kSecondLook{100};
constexpr const wchar_t* kUnableToUnlock = L"Unable to delete .lock file";

bool IsEmpty(const CString& path)
{
    platform::SFileAttributes attributes;
    return platform::Succeeded(platform::Files().GetAttributes(path, attributes)) && attributes.length == 0;
}

/// What the system says of a file that an archive could not be read from; None when it is what lies in it.
platform::eOsError WhyNotOpened(const CString& path)
{
    std::unique_ptr<platform::IFile> file;
    return platform::Files().Open(path, platform::eOpenMode_ReadShared, file);
}

/// Why the lock of a file was not to be had: what the system says by now, or that somebody had it.
void ExplainLock(const CClientState& state, const CString& path)
{
    const CString lockPath = path + Protocol::kLockExtension;
    std::unique_ptr<platform::ILockFile> lock;
    const platform::eOsError error = platform::Files().OpenLockFile(lockPath, {}, lock);
    state.Explain(lockPath, platform::Succeeded(error) ? platform::eOsError_SharingViolation : error);
}

/// The ids of a file. False when the array does not tell all that changed: a null id was met, or the file is no
/// archive.
bool ReadGroups(const CClientState& state, const CString& path, IWQ_CLSIDArray& groups)
{
    ChangedGroupsFile::SContent content;
    if (ChangedGroupsFile::Read(path, content) != ChangedGroupsFile::eRead_Ok)
        return state.Fail(ReportLines::kClientGroupsNotRead, kGroupsFunction,
                          L"Unable to read " + path + L"\n" + content.reason);
    for (const GUID& id : content.ids) {
        if (IsEqualGUID(id, GUID{}))
            return false;
        ThrowIfFailed(groups.Add(&id));
    }
    return true;
}

} // namespace

CClientState::~CClientState()
{
    // Not again after a stop: a server that is gone by now would cost ten seconds.
    if (m_bRegistered)
        static_cast<void>(StopListeningDsEvents());
}

bool CClientState::ListenDsEvents()
{
    constexpr const wchar_t* kFunction = L"CZelProcessorClient::ListenDsEvents";
    const CString name = L"RegisterClient__" + CZelProcessorClient::GetUniqueString();
    const eZelProcRequestStatus status = SendCommand(name, eCommandType_RegisterClient);
    if (status != eRequestStatus_Done) {
        // Why has been explained.
        WQ_ReportErrorNow(SourceNames::kZelProcessorClient, ReportLines::kNotRegistered, kFunction,
                          FormatText(L"SendCommand(eCommandType_RegisterClient) != eRequestStatus_Done, "
                                     L"statusSendCommand=%s\n  %s",
                                     {EnumToName(status, GetRequestStatusNames()), name}));
        return false;
    }
    if (!ReceiveClientId(name))
        return false;
    if (!platform::PathExists(m_paths.DsEvents(m_clientID)))
        return Fail(ReportLines::kEventsFileMissing, kFunction,
                    L"DS events file not exists !\n  " + m_paths.DsEvents(m_clientID));
    if (m_bPresence)
        ShowPresence();
    if (m_watcher.Start(m_paths.m_strOutputDir, m_watchOptions))
        return true;
    if (platform::Succeeded(m_watcher.WatchError()))
        Explain(m_paths.m_strOutputDir + L": the thread that looks at its changes did not start in time");
    else
        Explain(m_paths.m_strOutputDir, m_watcher.WatchError());
    return false;
}

bool CClientState::ReceiveClientId(const CString& registrationName)
{
    constexpr const wchar_t* kFunction = L"CZelProcessorClient::ListenDsEvents";
    const CString path = platform::JoinPath(m_strClientDir, registrationName);
    if (!ReceiveOutput(registrationName, path)) {
        WQ_ReportErrorNow(SourceNames::kZelProcessorClient, ReportLines::kAnswerNotReceived, kFunction,
                          L"!ReceiveOutput\n  " + path);
        return false;
    }
    GUID id{};
    if (!platform::Succeeded(RegistrationAnswer::Read(path, id)))
        return Fail(ReportLines::kAnswerNotOpened, kFunction, L"Unable to opend output file for reading !\n  " + path);
    static_cast<void>(platform::Files().Remove(path));
    if (IsEqualGUID(id, GUID{}))
        return Fail(ReportLines::kAnswerWithoutId, kFunction, L"m_clientID == GUID_NULL");
    m_clientID = id;
    m_bRegistered = true;
    return true;
}

/// Without the file the client is one of those that the server keeps until they unregister.
void CClientState::ShowPresence()
{
    m_pPresence.reset();
    const CString path = m_paths.Presence(m_clientID);
    const platform::eOsError error = Protocol::RetryForASecond(
        [&] { return platform::Files().OpenLockFile(path, Protocol::LockNote(), m_pPresence); });
    if (!platform::Succeeded(error))
        Brel::Log::Write(*Brel::Log::Get(kLoggerName), Brel::Log::eLogLevel_Warning, ZEL_SOURCE_LOCATION,
                         path + L": " + platform::OsErrorText(error) +
                             L"; should this process die, its registration stays");
}

bool CClientState::StopListeningDsEvents()
{
    if (IsEqualGUID(m_clientID, GUID{}))
        return false;
    if (SendCommand(GuidToText(m_clientID), eCommandType_UnregisterClient) != eRequestStatus_Done)
        return false;
    m_bRegistered = false;
    m_bLost = false;
    m_pPresence.reset();
    m_watcher.Stop();
    return true;
}

bool CClientState::IsNewDsEvent() const
{
    return (m_watcher.IsChanged() && IsRegistrationLost()) || m_bLost || HasNews(m_paths.DsEvents(m_clientID));
}

bool CClientState::IsRegistrationLost() const
{
    return m_bRegistersAgain && m_bRegistered && !platform::PathExists(m_paths.DsEvents(m_clientID));
}

/// Nobody knows what changed since the server lost the registration.
bool CClientState::RegisterAgain(std::vector<CComPtr<IWQ_DsEventsData>>& events)
{
    const GUID lost = m_clientID;
    m_bLost = true; // until it works: nothing else may change in the directory
    if (!ListenDsEvents())
        return false;
    m_bLost = false;
    // A server that did not lose it would go on writing for it. Another one knows no such client, and says nothing.
    static_cast<void>(SendCommand(GuidToText(lost), eCommandType_UnregisterClient));
    events = {CreateInstanceZEL<IWQ_DsEventsData>(kClsidDsEventsData)};
    ThrowIfFailed(events.front()->PutKind(eDsEventKind_Reload));
    return true;
}

bool CClientState::IsInsertableItemsUpdated() const
{
    return HasNews(m_paths.InsertableItems(m_clientID));
}

bool CClientState::IsLockResultsChanged() const
{
    return HasNews(m_paths.LockResults(m_clientID));
}

bool CClientState::HasNews(const CString& path) const
{
    return m_watcher.IsChanged() && !path.empty() && NotificationFile::HasContent(path);
}

bool CClientState::GetDsEvents(std::vector<CComPtr<IWQ_DsEventsData>>& events)
{
    constexpr const wchar_t* kFunction = L"CZelProcessorClient::GetDsEvents";
    events.clear();
    if (IsRegistrationLost()) {
        // A server that makes the file anew, as private files are, takes no longer.
        platform::Clock().SleepFor(kSecondLook);
        if (IsRegistrationLost())
            return RegisterAgain(events);
    }
    m_bLost = false;
    const CString path = m_paths.DsEvents(m_clientID);
    std::vector<CComPtr<IWQ_DsEventsData>> read;
    CLockFile lock(path);
    if (!path.empty() && !lock.Lock(true)) {
        Fail(ReportLines::kClientEventsNotLocked, kFunction,
             L"Unable to read ds events file because is locked still on server side !");
        ExplainLock(*this, path);
        return false;
    }
    if (path.empty() || !CZELEnvFileDsEventsFile::ReadDsEventsFile(path, read)) {
        constexpr const wchar_t* kText = L"CZELEnvFileDsEventsFile::ReadDsEventsFile failed";
        const platform::eOsError error = path.empty() ? platform::eOsError_None : WhyNotOpened(path);
        return platform::Succeeded(error) ? Fail(ReportLines::kClientEventsNotRead, kFunction, kText, path)
                                          : Fail(ReportLines::kClientEventsNotRead, kFunction, kText, path, error);
    }
    if (const platform::eOsError error = NotificationFile::Empty(path); !platform::Succeeded(error))
        return Fail(ReportLines::kClientEventsNotEmptied, kFunction, L"DeleteDsEventsFileContent failed", path, error);
    if (!lock.Unlock())
        Fail(ReportLines::kClientEventsNotUnlocked, kFunction, L"Unable to delete ds events lock file !");
    events.swap(read);
    return true;
}

bool CClientState::GetChangedInsertableItemsGroups(IWQ_CLSIDArray** groups)
{
    if (!groups)
        return false;
    const CString path = m_paths.InsertableItems(m_clientID);
    if (!platform::PathExists(path)) {
        Explain(path, platform::eOsError_FileNotFound);
        WQ_MessageBox(FormatText(L"Response file %s does not exist", {path}), eMessageStyle_Error);
        return false;
    }
    CLockFile lock(path);
    if (!lock.Lock(false)) {
        ExplainLock(*this, path);
        return false;
    }
    CComPtr<IWQ_CLSIDArray> all;
    ThrowIfFailed(CreateWQ_CLSIDArray(ComIid<IWQ_CLSIDArray>(), all.PutVoid()));
    // Empty as at the registration: no archive, and nothing changed.
    const bool isEmpty = IsEmpty(path);
    if (!isEmpty && !ReadGroups(*this, path, *all))
        all.Reset();
    const platform::eOsError emptied = isEmpty ? platform::eOsError_None : NotificationFile::Empty(path);
    if (!platform::Succeeded(emptied))
        // The name as it has always been reported: without the two colons.
        return Fail(ReportLines::kClientGroupsNotEmptied, L"CZelProcessorClientGetChangedInsertableItemsGroups",
                    L"Unable to clear bsInsertableItemsGroupFile", path, emptied);
    if (!lock.Unlock())
        Fail(ReportLines::kClientGroupsNotUnlocked, kGroupsFunction, kUnableToUnlock);
    *groups = all.Detach();
    return true;
}

bool CClientState::ResetLockResultsChanged()
{
    constexpr const wchar_t* kFunction = L"CZelProcessorClient::ResetLockResultsChanged";
    const CString path = m_paths.LockResults(m_clientID);
    if (!platform::PathExists(path)) {
        Explain(path, platform::eOsError_FileNotFound);
        WQ_MessageBox(FormatText(L"Response file %s does not exist", {path}), eMessageStyle_Error);
        return false;
    }
    CLockFile lock(path);
    if (!lock.Lock(false)) {
        ExplainLock(*this, path);
        return false;
    }
    if (const platform::eOsError error = NotificationFile::Empty(path); !platform::Succeeded(error))
        return Fail(ReportLines::kClientLockResultsNotEmptied, kFunction, L"Unable to clear LockResultsChangeFile",
                    path, error);
    if (!lock.Unlock())
        Fail(ReportLines::kClientLockResultsNotUnlocked, kFunction, kUnableToUnlock);
    return true;
}
