#pragma once

#include "ZEL_Processor/ZelPluginObject.h"
#include "com/ComError.h"

#include <new>
#include <span>

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
struct SZelPluginClass {
    CLSID id;
    HRESULT (*make)(REFIID iid, void** object);
};

/// An entry of the table. The class needs a constructor without arguments.
template <class Class>
[[nodiscard]] constexpr SZelPluginClass ZelPluginClass(const CLSID& id)
{
    return {id, [](REFIID iid, void** object) -> HRESULT {
                return ZelComResult([&] { return ZelMake<Class>()->QueryInterface(iid, object); });
            }};
}

/// The class object of one entry.
class CZelClassFactory : public CZelObject<IClassFactory> {
public:
    explicit CZelClassFactory(const SZelPluginClass& entry) : m_entry(entry) {}

    HRESULT STDMETHODCALLTYPE CreateInstance(IUnknown* outer, REFIID iid, void** object) override
    {
        if (object == nullptr)
            return E_POINTER;
        *object = nullptr;
        return outer != nullptr ? CLASS_E_NOAGGREGATION : m_entry.make(iid, object);
    }
    HRESULT STDMETHODCALLTYPE LockServer(BOOL lock) override
    {
        if (lock != FALSE)
            ZelModule().Add();
        else
            ZelModule().Remove();
        return S_OK;
    }

private:
    const SZelPluginClass& m_entry;
};

/// What DllGetClassObject does.
[[nodiscard]] inline HRESULT ZelGetClassObject(std::span<const SZelPluginClass> classes, REFCLSID classId, REFIID iid,
                                               void** object) noexcept
{
    if (object == nullptr)
        return E_POINTER;
    *object = nullptr;
    for (const SZelPluginClass& entry : classes) {
        if (entry.id == classId)
            return ZelComResult([&] { return ZelMake<CZelClassFactory>(entry)->QueryInterface(iid, object); });
    }
    return CLASS_E_CLASSNOTAVAILABLE;
}

/// The module's entry points and its class table, once per module, at global scope:
///   ZEL_PLUGIN_MODULE(ZelPluginClass<CMyFactory>(kMyFactoryId))
#define ZEL_PLUGIN_MODULE(...)                                                                                         \
    static constexpr SZelPluginClass kZelPluginClasses[] = {__VA_ARGS__};                                              \
    CZelModule& ZelModule() noexcept                                                                                   \
    {                                                                                                                  \
        static CZelModule module;                                                                                      \
        return module;                                                                                                 \
    }                                                                                                                  \
    ZEL_COM_ENTRY DllGetClassObject(REFCLSID classId, REFIID iid, void** object)                                       \
    {                                                                                                                  \
        return ZelGetClassObject(kZelPluginClasses, classId, iid, object);                                             \
    }                                                                                                                  \
    ZEL_COM_ENTRY DllCanUnloadNow()                                                                                    \
    {                                                                                                                  \
        return ZelModule().IsInUse() ? S_FALSE : S_OK;                                                                 \
    }
