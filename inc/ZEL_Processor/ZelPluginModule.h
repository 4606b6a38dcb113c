#pragma once

#include "ZEL_Processor/IWQ_ZELProcessorFactory.h"
#include "ZEL_Processor/ZelPluginObject.h"
#include "com/ComError.h"
#include "com/ComponentModule.h"
#include "framework/ComModule.h"

#include <cstdint>
#include <new>
#include <span>
#include <utility>
#include <vector>

/// The table of a module's classes and the entry points through which they are reached.

/// Runs the body of a COM method and turns what it throws into a result: nothing may leave a COM method but that.
template <class Body>
[[nodiscard]] HRESULT ZelComResult(Body&& body) noexcept
{
    try {
        return body();
    } catch (const CComError& error) {
        return error.Code();
    } catch (const std::bad_alloc&) {
        return E_OUTOFMEMORY;
    } catch (...) {
        return E_UNEXPECTED;
    }
}

/// One class of a module. Made by ZelPluginClass.
using SZelPluginClass = SModuleClass;

/// An entry of the table. The class needs a constructor without arguments. The name is for people: lists of plug-ins
/// show it.
template <class Class>
[[nodiscard]] constexpr SZelPluginClass ZelPluginClass(const CLSID& id, const wchar_t* name = L"")
{
    return {id,
            [](REFIID iid, void** object) -> HRESULT {
                return ZelComResult([&] { return ZelMake<Class>()->QueryInterface(iid, object); });
            },
            name};
}

/// What DllRegisterServer and DllUnregisterServer do: every class goes into the category of request processors. The
/// address is any of the module's.
[[nodiscard]] inline HRESULT ZelRegisterServer(std::span<const SZelPluginClass> classes, const void* address,
                                               bool isRegistering) noexcept
{
    return ZelComResult([&] {
        std::vector<SWQ_ClassEntry> entries;
        for (const SZelPluginClass& entry : classes)
            entries.push_back({entry, {CATID_ZELProcessorFactory}, &CWQ_ComModule::UpdateClass});
        CWQ_ComModule module(address, ZelModule());
        module.SetClasses(std::move(entries), {});
        return isRegistering ? module.RegisterServer(false) : module.UnregisterServer(false);
    });
}

/// The module's entry points, its class table and the version of the interfaces that it was built for, once per module,
/// at global scope:
///   ZEL_PLUGIN_MODULE(ZelPluginClass<CMyFactory>(kMyFactoryId, L"My plug-in"))
#define ZEL_PLUGIN_MODULE(...)                                                                                         \
    static constexpr SZelPluginClass kZelPluginClasses[] = {__VA_ARGS__};                                              \
    CZelModule& ZelModule() noexcept                                                                                   \
    {                                                                                                                  \
        static CZelModule module;                                                                                      \
        return module;                                                                                                 \
    }                                                                                                                  \
    ZEL_COM_ENTRY DllGetClassObject(REFCLSID classId, REFIID iid, void** object)                                       \
    {                                                                                                                  \
        return GetModuleClassObject(ZelModule(), kZelPluginClasses, classId, iid, object);                             \
    }                                                                                                                  \
    ZEL_COM_ENTRY DllCanUnloadNow()                                                                                    \
    {                                                                                                                  \
        return ZelModule().IsInUse() ? S_FALSE : S_OK;                                                                 \
    }                                                                                                                  \
    ZEL_COM_ENTRY DllRegisterServer()                                                                                  \
    {                                                                                                                  \
        return ZelRegisterServer(kZelPluginClasses, &kZelPluginClasses, true);                                         \
    }                                                                                                                  \
    ZEL_COM_ENTRY DllUnregisterServer()                                                                                \
    {                                                                                                                  \
        return ZelRegisterServer(kZelPluginClasses, &kZelPluginClasses, false);                                        \
    }                                                                                                                  \
    extern "C" ZEL_EXPORTED std::uint32_t ZelPluginVersion()                                                           \
    {                                                                                                                  \
        return kComponentVersion;                                                                                      \
    }
