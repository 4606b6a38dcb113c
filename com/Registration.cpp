#include "com/Registration.h"

#include "com/ComError.h"
#include "com/SystemRuntime.h"
#include "platform/Module.h"
#include "platform/Mutex.h"
#include "platform/Path.h"

#include <atomic>
#include <memory>

namespace {

std::atomic<eRegistrationScope> g_scope = eRegistrationScope_System;

struct SRegistrationFault {
    platform::CMutex mutex;
    std::wstring text ZEL_GUARDED_BY(mutex);
};

SRegistrationFault& LastFault()
{
    static SRegistrationFault& fault = *std::make_unique<SRegistrationFault>().release();
    return fault;
}

} // namespace

std::wstring RegistrationFolder(eRegistrationScope scope)
{
    std::wstring folder;
    if (scope == eRegistrationScope_User) {
        folder = platform::UserConfigDirectory();
    } else {
        folder = platform::Environment(L"ZEL_CONFIG_DIR");
        if (folder.empty())
            folder = platform::SystemConfigDirectory();
    }
    return folder.empty() ? folder : platform::JoinPath(platform::AbsolutePath(folder), L"components");
}

CRegistrationScope::CRegistrationScope(eRegistrationScope scope) : m_previous(g_scope)
{
    ThrowIfFailed(com_system::SetRegistrationScope(scope));
    g_scope = scope;
}

CRegistrationScope::~CRegistrationScope()
{
    static_cast<void>(com_system::SetRegistrationScope(m_previous));
    g_scope = m_previous;
}

eRegistrationScope CRegistrationScope::Current()
{
    return g_scope;
}

std::wstring RegistrationError()
{
    const platform::CMutexLock lock(LastFault().mutex);
    return LastFault().text;
}

void SetRegistrationError(const std::wstring& text)
{
    const platform::CMutexLock lock(LastFault().mutex);
    LastFault().text = text;
}
