#include "QueueHold.h"
#include "RecordFolder.h"
#include "RequestQueue.h"
#include "ServerSettings.h"
#include "framework/Log.h"
#include "framework/Services.h"
#include "platform/Installation.h"
#include "platform/Os.h"
#include "platform/Path.h"
#include "reports/SourceNames.h"

namespace {

void Tell(Brel::Log::eLogLevel level, const wchar_t* text)
{
    Brel::Log::Write(*Brel::Log::Get(kLoggerName), level, ZEL_SOURCE_LOCATION, text);
}

} // namespace

void CQueueHold::TakeOver()
{
    bool isHeld = m_settings.m_options.operatorCommands &&
                  platform::PathExists(m_settings.m_paths.InOwnFolder(Protocol::kHeldFile));
    // Whoever may create names in the output directory could have put the folder there.
    if (isHeld && !platform::Succeeded(platform::CheckOwnDirectory(m_settings.m_paths.InOwnFolder({})))) {
        isHeld = false;
        Tell(Brel::Log::eLogLevel_Warning,
             L"The queue is not held, although there is a file that says so: its folder is "
             L"not this server's own");
    }
    m_requests.SetHeld(isHeld);
    if (isHeld)
        Tell(Brel::Log::eLogLevel_Warning, L"The queue is held since an earlier server: nothing is started until it is "
                                           L"released");
}

platform::eOsError CQueueHold::Hold()
{
    const CString path = m_settings.m_paths.InOwnFolder(Protocol::kHeldFile);
    if (platform::PathExists(path)) {
        m_requests.SetHeld(true);
        return platform::eOsError_None;
    }
    const CString folder = m_settings.m_paths.InOwnFolder({});
    platform::eOsError error = MakeOwnFolder(folder);
    if (platform::Succeeded(error))
        error = CRecordFolder(folder, m_settings.m_options.syncing).Write(Protocol::kHeldFile, {});
    if (!platform::Succeeded(error)) {
        static_cast<void>(platform::Files().Remove(path)); // who is told that nothing is held must find it so later
        return error;
    }
    m_requests.SetHeld(true);
    Tell(Brel::Log::eLogLevel_Info, L"The queue is held: nothing is started until it is released");
    return error;
}

platform::eOsError CQueueHold::Release()
{
    const platform::eOsError error = platform::Files().Remove(m_settings.m_paths.InOwnFolder(Protocol::kHeldFile));
    if (platform::IsAbsent(error)) {
        m_requests.SetHeld(false);
        return platform::eOsError_None;
    }
    if (!platform::Succeeded(error))
        return error;
    m_requests.SetHeld(false);
    Tell(Brel::Log::eLogLevel_Info, L"The queue is released");
    if (m_settings.m_options.syncing &&
        !platform::Succeeded(platform::SyncDirectory(m_settings.m_paths.InOwnFolder({}))))
        Tell(Brel::Log::eLogLevel_Warning, L"After a power cut the queue may be held again");
    return platform::eOsError_None;
}
