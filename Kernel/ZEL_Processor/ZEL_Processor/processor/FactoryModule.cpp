#include "FactoryModule.h"

#include "ZEL_Processor/IWQ_ZELProcessorFactory.h"
#include "com/ComError.h"
#include "com/ComponentModule.h"
#include "com/Components.h"
#include "com/Guid.h"
#include "com/ModuleClasses.h"
#include "platform/Mutex.h"
#include "platform/NeverDestroyed.h"
#include "platform/Path.h"
#include "platform/Text.h"

#include <algorithm>

namespace {

/// What a plug-in leaves behind may still be called, and a checker of leaks wants the names of its functions.
void KeepLoaded(std::unique_ptr<platform::IModule> module)
{
    struct SKept {
        platform::CMutex mutex;
        std::vector<std::unique_ptr<platform::IModule>> modules ZEL_GUARDED_BY(mutex);
    };
    static CNeverDestroyed<SKept> kept;
    const platform::CMutexLock lock(kept.Get().mutex);
    kept.Get().modules.push_back(std::move(module));
}

/// The classes of a manifest that are factories, and its module.
bool FromManifest(const CString& path, CString& modulePath, std::vector<CLSID>& classes, CString& error)
{
    SComponentManifest manifest;
    if (!ReadComponentManifest(path, manifest, error))
        return false;
    modulePath = manifest.modulePath;
    for (const SComponentClass& component : manifest.classes) {
        if (std::ranges::find(component.categories, CATID_ZELProcessorFactory) != component.categories.end())
            classes.push_back(component.id);
    }
    return true;
}

/// The classes that the module itself tells.
std::vector<CLSID> ClassesOf(platform::IModule& module)
{
    std::vector<CLSID> ids;
    const auto tell = reinterpret_cast<std::uint32_t (*)(const SModuleClass**)>(module.Symbol(kModuleClassesFunction));
    const SModuleClass* classes = nullptr;
    const std::uint32_t count = tell != nullptr ? tell(&classes) : 0;
    for (std::uint32_t i = 0; i < count; ++i)
        ids.push_back(classes[i].id);
    return ids;
}

HRESULT MakeFactory(const SComponentModule& loaded, REFCLSID id, CComPtr<IWQ_ZELProcessorFactory>& factory)
{
    CComPtr<IClassFactory> maker;
    const HRESULT found = loaded.getClassObject(id, ComIid<IClassFactory>(), maker.PutVoid());
    return FAILED(found) ? found : maker->CreateInstance(nullptr, ComIid<IWQ_ZELProcessorFactory>(), factory.PutVoid());
}

} // namespace

bool CFactoryModule::Load(const CString& path, CZelProcessorFactories& factories, CString& error)
{
    CString modulePath = platform::AbsolutePath(path);
    std::vector<CLSID> classes;
    const bool isManifest = path.ends_with(L".component");
    if (isManifest && !FromManifest(modulePath, modulePath, classes, error))
        return false;
    SComponentModule loaded;
    if (FAILED(LoadComponentModule(modulePath, loaded, error)))
        return false;
    m_count = reinterpret_cast<std::uint32_t (*)()>(loaded.module->Symbol(kModuleObjectsFunction));
    if (!isManifest)
        classes = ClassesOf(*loaded.module);
    std::size_t added = 0;
    for (const CLSID& id : classes) {
        CComPtr<IWQ_ZELProcessorFactory> factory;
        const HRESULT made = MakeFactory(loaded, id, factory);
        if (SUCCEEDED(made)) {
            factories.Add(*factory.Get());
            ++added;
        } else if (made != E_NOINTERFACE) { // a class that is no factory is none of ours
            error += modulePath + L": " + GuidToText(id) + L": " + platform::FromUtf8(CComError(made).what());
        }
    }
    KeepLoaded(std::move(loaded.module));
    if (!error.empty())
        return false;
    if (added == 0)
        error =
            modulePath + (classes.empty() && !isManifest ? L": the module does not tell its classes; name its manifest"
                                                         : L": no class of it is a factory of requests");
    return added != 0;
}

std::optional<std::int64_t> CFactoryModule::Objects() const
{
    return m_count != nullptr ? std::optional<std::int64_t>(m_count()) : std::nullopt;
}
