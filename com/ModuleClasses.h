#pragma once

#include "com/Com.h"
#include "com/ComObject.h"

#include <atomic>
#include <span>

/// What every component module has: a table of its classes, the class objects behind it, and a count of what keeps the
/// module loaded.

/// What keeps a module loaded: its living objects and the locks on its class objects. Safe from any thread.
class CModuleUses {
public:
    void Add() noexcept { m_nUses.fetch_add(1, std::memory_order_relaxed); }
    void Remove() noexcept { m_nUses.fetch_sub(1, std::memory_order_release); }
    [[nodiscard]] bool IsInUse() const noexcept { return Count() != 0; }
    [[nodiscard]] ULONG Count() const noexcept { return m_nUses.load(std::memory_order_acquire); }

private:
    std::atomic<ULONG> m_nUses = 0;
};

/// One use, for as long as the object lives.
class CModuleUse {
public:
    explicit CModuleUse(CModuleUses& uses) noexcept : m_uses(uses) { m_uses.Add(); }
    ~CModuleUse() { m_uses.Remove(); }
    CModuleUse(const CModuleUse&) = delete;
    CModuleUse& operator=(const CModuleUse&) = delete;

private:
    CModuleUses& m_uses;
};

/// One class of a module.
struct SModuleClass {
    CLSID id = {};
    HRESULT (*make)(REFIID iid, void** object) = nullptr;
    const wchar_t* name = L""; ///< for people
};

/// The class object of one class.
class CModuleClassFactory final : public CComObject<IClassFactory> {
public:
    CModuleClassFactory(CModuleUses& uses, const SModuleClass& entry) : m_uses(uses), m_make(entry.make), m_use(uses) {}

    HRESULT STDMETHODCALLTYPE CreateInstance(IUnknown* outer, REFIID iid, void** object) override
    {
        if (object == nullptr)
            return E_POINTER;
        *object = nullptr;
        return outer != nullptr ? CLASS_E_NOAGGREGATION : m_make(iid, object);
    }
    HRESULT STDMETHODCALLTYPE LockServer(BOOL lock) override
    {
        if (lock != FALSE)
            m_uses.Add();
        else
            m_uses.Remove();
        return S_OK;
    }

private:
    CModuleUses& m_uses;
    HRESULT (*const m_make)(REFIID iid, void** object);
    const CModuleUse m_use;
};

/// What DllGetClassObject does: CLASS_E_CLASSNOTAVAILABLE for a class that is not in the table.
[[nodiscard]] inline HRESULT GetModuleClassObject(CModuleUses& uses, std::span<const SModuleClass> classes,
                                                  REFCLSID classId, REFIID iid, void** object) noexcept
{
    if (object == nullptr)
        return E_POINTER;
    *object = nullptr;
    for (const SModuleClass& entry : classes) {
        if (entry.id == classId)
            return ComGuard(
                [&] { return MakeComObject<CModuleClassFactory>(uses, entry)->QueryInterface(iid, object); });
    }
    return CLASS_E_CLASSNOTAVAILABLE;
}
