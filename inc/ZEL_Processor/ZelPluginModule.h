#pragma once

#include "ZEL_Processor/IWQ_ZELProcessorFactory.h"
#include "ZEL_Processor/ZelPluginObject.h"
#include "com/ComError.h"
#include "com/ComponentModule.h"
#include "framework/ComModule.h"

#include <cstdint>
#include <iterator>
#include <new>
#include <span>
#include <string_view>
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

/// A class id from its text, "{XXXXXXXX-XXXX-XXXX-XXXX-XXXXXXXXXXXX}"; what is none does not compile.
[[nodiscard]] consteval CLSID ZelClassId(std::string_view text)
{
    if (text.size() != 38 || text[0] != '{' || text[9] != '-' || text[14] != '-' || text[19] != '-' ||
        text[24] != '-' || text[37] != '}')
        throw "not a class id";
    const auto number = [text](std::size_t at, std::size_t digits) {
        std::uint32_t value = 0;
        for (const char digit : text.substr(at, digits)) {
            const char small = digit >= 'A' && digit <= 'F' ? static_cast<char>(digit - 'A' + 'a') : digit;
            if ((small < '0' || small > '9') && (small < 'a' || small > 'f'))
                throw "not a hexadecimal digit";
            value = value * 16 + static_cast<std::uint32_t>(small <= '9' ? small - '0' : small - 'a' + 10);
        }
        return value;
    };
    CLSID id{};
    id.Data1 = number(1, 8);
    id.Data2 = static_cast<std::uint16_t>(number(10, 4));
    id.Data3 = static_cast<std::uint16_t>(number(15, 4));
    constexpr std::size_t kPlaces[] = {20, 22, 25, 27, 29, 31, 33, 35};
    for (std::size_t i = 0; i < std::size(kPlaces); ++i)
        id.Data4[i] = static_cast<std::uint8_t>(number(kPlaces[i], 2));
    return id;
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
    }                                                                                                                  \
    extern "C" ZEL_EXPORTED std::uint32_t ZelPluginClasses(const SZelPluginClass** classes)                            \
    {                                                                                                                  \
        *classes = kZelPluginClasses;                                                                                  \
        return static_cast<std::uint32_t>(std::size(kZelPluginClasses));                                               \
    }                                                                                                                  \
    extern "C" ZEL_EXPORTED std::uint32_t ZelPluginObjects()                                                           \
    {                                                                                                                  \
        return static_cast<std::uint32_t>(ZelModule().Count());                                                        \
    }

/// The same for the one factory of a module that zel_add_plugin builds, which tells the class id and the name: so they
/// stand in one place.
#define ZEL_PLUGIN_FACTORY(factory)                                                                                    \
    ZEL_PLUGIN_MODULE(ZelPluginClass<factory>(ZelClassId(ZEL_PLUGIN_CLASS_ID), L"" ZEL_PLUGIN_CLASS_NAME))
