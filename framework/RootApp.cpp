#include "framework/RootApp.h"

#include "framework/Language.h"
#include "platform/Mutex.h"
#include "platform/NeverDestroyed.h"
#include "platform/Text.h"

#include <atomic>
#include <utility>
#include <vector>

namespace {

std::atomic<CWQ_RootApp*> g_installedRootApp{nullptr};

CWQ_RootApp& DefaultRootApp()
{
    static CNeverDestroyed<CWQ_RootApp> app;
    return app.Get();
}

struct SStringCodeResource {
    platform::CMutex mutex;
    SWQ_LangRC resource ZEL_GUARDED_BY(mutex);
};

SStringCodeResource& StringCodeResource()
{
    static CNeverDestroyed<SStringCodeResource> resource;
    return resource.Get();
}

} // namespace

CWQ_RootApp::CWQ_RootApp() = default;
CWQ_RootApp::~CWQ_RootApp() = default;

void CWQ_RootApp::SetModuleState(const SWQ_ModuleState& state)
{
    m_state = state;
}

bool CWQ_RootApp::InitInstance()
{
    return true;
}

int CWQ_RootApp::ExitInstance()
{
    m_pAtlModule = nullptr;
    return 0;
}

SWQ_LangRC CWQ_RootApp::FindLangRC(const std::string& moduleName)
{
    return {moduleName, platform::ToUtf8(WQ_FindLanguage())};
}

void CWQ_RootApp::SetAtlModule(CWQ_ComModule* module)
{
    m_pAtlModule = module;
}

CWQ_RootApp& WQ_RootApp()
{
    CWQ_RootApp* const app = g_installedRootApp.load(std::memory_order_acquire);
    return app != nullptr ? *app : DefaultRootApp();
}

CWQ_RootApp* SetWQ_RootApp(CWQ_RootApp* app)
{
    return g_installedRootApp.exchange(app, std::memory_order_acq_rel);
}

struct CWQ_HelpSupportApp::SState {
    platform::CMutex mutex;
    std::vector<std::function<void()>> instances ZEL_GUARDED_BY(mutex);
};

CWQ_HelpSupportApp::CWQ_HelpSupportApp() : m_pState(std::make_unique<SState>()) {}
CWQ_HelpSupportApp::~CWQ_HelpSupportApp() = default;

void CWQ_HelpSupportApp::AddGlobalInstance(std::function<void()> release)
{
    const platform::CMutexLock guard(m_pState->mutex);
    m_pState->instances.push_back(std::move(release));
}

void CWQ_HelpSupportApp::OnFreeGlobalInstances()
{
    std::vector<std::function<void()>> instances;
    {
        const platform::CMutexLock guard(m_pState->mutex);
        instances.swap(m_pState->instances);
    }
    while (!instances.empty()) {
        instances.back()();
        instances.pop_back();
    }
}

SWQ_LangRC WQ_StringCodeResource()
{
    const platform::CMutexLock guard(StringCodeResource().mutex);
    return StringCodeResource().resource;
}

void SetWQ_StringCodeResource(const SWQ_LangRC& resource)
{
    WQ_SetLanguage(platform::FromUtf8(resource.language));
    const platform::CMutexLock guard(StringCodeResource().mutex);
    StringCodeResource().resource = resource;
}
