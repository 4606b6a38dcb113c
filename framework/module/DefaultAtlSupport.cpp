#include "framework/module/DefaultAtlSupport.h"

#include "com/ComObject.h"
#include "com/Registration.h"
#include "framework/ComModule.h"
#include "framework/WorkerThread.h"
#include "platform/NeverDestroyed.h"

#include <algorithm>
#include <atomic>
#include <memory>
#include <utility>

namespace {

std::atomic<IWQ_AtlSupport*> g_installedSupport{nullptr};

CWQ_DefaultAtlSupport& DefaultSupport()
{
    static CNeverDestroyed<CWQ_DefaultAtlSupport> support;
    return support.Get();
}

template <class Item>
HRESULT AddOnce(std::vector<Item>& list, Item item)
{
    if (std::ranges::find(list, item) != list.end())
        return S_FALSE;
    list.push_back(item);
    return S_OK;
}

template <class Item>
HRESULT TakeOut(std::vector<Item>& list, Item item)
{
    return std::erase(list, item) == 0 ? S_FALSE : S_OK;
}

} // namespace

CWQ_DefaultAtlSupport::CWQ_DefaultAtlSupport() = default;
CWQ_DefaultAtlSupport::~CWQ_DefaultAtlSupport() = default;

HRESULT CWQ_DefaultAtlSupport::RegisterAtlModule(CWQ_ComModule& module)
{
    return ComGuard([&] {
        const platform::CMutexLock guard(m_mutex);
        return AddOnce<const CWQ_ComModule*>(m_atlModules, &module);
    });
}

HRESULT CWQ_DefaultAtlSupport::UnregisterAtlModule(CWQ_ComModule& module)
{
    const platform::CMutexLock guard(m_mutex);
    return TakeOut<const CWQ_ComModule*>(m_atlModules, &module);
}

HRESULT CWQ_DefaultAtlSupport::RegisterComClass(CWQ_ComModule& module, const SWQ_ClassEntry& entry)
{
    if (entry.categories.empty())
        return S_OK;
    return WQ_ComponentRegistry().WriteCategories(module.Path(), entry.object.id, entry.categories);
}

HRESULT CWQ_DefaultAtlSupport::UnregisterComClass(CWQ_ComModule& module, const SWQ_ClassEntry& entry)
{
    return WQ_ComponentRegistry().RemoveCategories(module.Path(), entry.object.id, entry.categories);
}

HRESULT CWQ_DefaultAtlSupport::RegisterTypeLibrary(CWQ_ComModule& module)
{
    return WQ_ComponentRegistry().WriteTypeLibrary(module.Path(), module.TypeLibrary());
}

HRESULT CWQ_DefaultAtlSupport::UnregisterTypeLibrary(CWQ_ComModule& module)
{
    return WQ_ComponentRegistry().RemoveTypeLibrary(module.Path(), module.TypeLibrary());
}

HRESULT CWQ_DefaultAtlSupport::RegisterComModule(CWQ_ComModule& module)
{
    return ComGuard([&] {
        const platform::CMutexLock guard(m_mutex);
        return AddOnce<const CWQ_ComModule*>(m_comModules, &module);
    });
}

HRESULT CWQ_DefaultAtlSupport::UnregisterComModule(CWQ_ComModule& module)
{
    const platform::CMutexLock guard(m_mutex);
    return TakeOut<const CWQ_ComModule*>(m_comModules, &module);
}

HRESULT CWQ_DefaultAtlSupport::RegisterStringCodeModule(IWQ_StringCodeModule& module)
{
    return ComGuard([&] {
        const platform::CMutexLock guard(m_mutex);
        return AddOnce(m_stringCodes, &module);
    });
}

HRESULT CWQ_DefaultAtlSupport::UnregisterStringCodeModule(IWQ_StringCodeModule& module)
{
    const platform::CMutexLock guard(m_mutex);
    return TakeOut(m_stringCodes, &module);
}

std::wstring CWQ_DefaultAtlSupport::ResolveStringCode(const std::wstring& code)
{
    std::vector<IWQ_StringCodeModule*> modules;
    {
        const platform::CMutexLock guard(m_mutex);
        modules = m_stringCodes;
    }
    for (IWQ_StringCodeModule* const module : modules) {
        const std::wstring prefix = module->Prefix();
        if (code.starts_with(prefix))
            return module->Text(code.substr(prefix.size()));
    }
    return {};
}

bool CWQ_DefaultAtlSupport::SetUseWinRegistry(bool use)
{
    const platform::CMutexLock guard(m_mutex);
    return std::exchange(m_bUseWinRegistry, use);
}

bool CWQ_DefaultAtlSupport::IsWinRegistryUsed()
{
    const platform::CMutexLock guard(m_mutex);
    return m_bUseWinRegistry;
}

bool CWQ_DefaultAtlSupport::CanUnload(const CWQ_ComModule&)
{
    return CWQ_Thread::RunningCount() == 0;
}

std::vector<const CWQ_ComModule*> CWQ_DefaultAtlSupport::AtlModules()
{
    const platform::CMutexLock guard(m_mutex);
    return m_atlModules;
}

std::vector<const CWQ_ComModule*> CWQ_DefaultAtlSupport::ComModules()
{
    const platform::CMutexLock guard(m_mutex);
    return m_comModules;
}

IWQ_AtlSupport& WQ_AtlSupport()
{
    IWQ_AtlSupport* const support = g_installedSupport.load(std::memory_order_acquire);
    return support != nullptr ? *support : DefaultSupport();
}

IWQ_AtlSupport* SetWQ_AtlSupport(IWQ_AtlSupport* support)
{
    return g_installedSupport.exchange(support, std::memory_order_acq_rel);
}

IComponentRegistry& WQ_ComponentRegistry()
{
    return WQ_AtlSupport().IsWinRegistryUsed() ? SystemComponentRegistry() : ManifestComponentRegistry();
}

HRESULT ZELAtlRegisterAtlModule(CWQ_ComModule& module)
{
    return WQ_AtlSupport().RegisterAtlModule(module);
}

HRESULT ZELAtlUnregisterAtlModule(CWQ_ComModule& module)
{
    return WQ_AtlSupport().UnregisterAtlModule(module);
}

HRESULT ZELAtlRegisterComModule(CWQ_ComModule& module)
{
    return WQ_AtlSupport().RegisterComModule(module);
}

HRESULT ZELAtlUnregisterComModule(CWQ_ComModule& module)
{
    return WQ_AtlSupport().UnregisterComModule(module);
}

HRESULT ZELAtlRegisterStringCodeModule(IWQ_StringCodeModule& module)
{
    return WQ_AtlSupport().RegisterStringCodeModule(module);
}

HRESULT ZELAtlUnregisterStringCodeModule(IWQ_StringCodeModule& module)
{
    return WQ_AtlSupport().UnregisterStringCodeModule(module);
}

bool SetUseWinRegistry(bool use)
{
    return WQ_AtlSupport().SetUseWinRegistry(use);
}
