#pragma once

#include "com/ComCounted.h"
#include "com/ComPtr.h"
#include "com/ModuleClasses.h"

#include <tuple>
#include <utility>

/// Objects of a plug-in module: reference counted, several interfaces each, and counted for DllCanUnloadNow.

/// What keeps a module loaded: its living objects and the locks on its class objects. Safe from any thread.
using CZelModule = CModuleUses;

/// The one of this module, made by ZEL_PLUGIN_MODULE (ZelPluginModule.h). Deliberately no inline function: an inline
/// one could be shared by all modules of a process, and none of them would ever count as unused.
[[nodiscard]] CZelModule& ZelModule() noexcept;

/// Implemented by every object of the kit; lets a module know its own objects behind the interfaces that it is handed.
struct IZelPluginObject : public IUnknown {
    /// The module that made the object; for comparison only.
    [[nodiscard]] virtual const CZelModule* STDMETHODCALLTYPE MadeBy() noexcept = 0;
};
ZEL_DECLARE_IID(IZelPluginObject, 0x8B32695B, 0x5EA5, 0x45C8, 0x86, 0x5F, 0x67, 0xAE, 0x1D, 0x0B, 0x59, 0x37);

/// Base of a class that implements these interfaces, each of them declared with ZEL_DECLARE_IID. The first one is the
/// object's identity. Made by ZelMake, ends with its last reference; counting is safe from any thread.
template <class... Interfaces>
class CZelObject : public CComCounted<Interfaces..., IZelPluginObject> {
public:
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override
    {
        if (object == nullptr)
            return E_POINTER;
        *object = nullptr;
        static_cast<void>((TryInterface<Interfaces>(iid, object) || ...) ||
                          TryInterface<IZelPluginObject>(iid, object) || TryIdentity(iid, object));
        if (*object == nullptr)
            return E_NOINTERFACE;
        this->AddRef();
        return S_OK;
    }
    [[nodiscard]] const CZelModule* STDMETHODCALLTYPE MadeBy() noexcept override { return &ZelModule(); }

protected:
    CZelObject() noexcept { ZelModule().Add(); }
    ~CZelObject() override { ZelModule().Remove(); }

private:
    template <class Interface>
    bool TryInterface(REFIID iid, void** object) noexcept
    {
        if (!(iid == ComIid<Interface>()))
            return false;
        *object = static_cast<Interface*>(this);
        return true;
    }
    bool TryIdentity(REFIID iid, void** object) noexcept
    {
        using First = std::tuple_element_t<0, std::tuple<Interfaces...>>;
        if (!(iid == ComIid<IUnknown>()))
            return false;
        *object = static_cast<IUnknown*>(static_cast<First*>(this));
        return true;
    }
};

/// A new object of a class of the kit. Throws what its constructor throws.
template <class Class, class... Arguments>
[[nodiscard]] CComPtr<Class> ZelMake(Arguments&&... arguments)
{
    return AttachComPtr(new Class(std::forward<Arguments>(arguments)...));
}

/// The object of this module behind an interface; empty when there is none, when another module made it or it is of
/// another class.
template <class Class>
[[nodiscard]] CComPtr<Class> ZelOwn(IUnknown* object)
{
    const auto kit = CComPtr<IUnknown>(object).QueryTo<IZelPluginObject>();
    // The class is only looked at when this module made the object: another one may come from another compiler.
    if (!kit || kit->MadeBy() != &ZelModule())
        return {};
    return CComPtr<Class>(dynamic_cast<Class*>(kit.Get()));
}
