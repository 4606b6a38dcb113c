#pragma once

#include "com/Com.h"

#include <atomic>

/// Gives the objects below a virtual destructor, which the interfaces must not have: it would take a slot of their
/// table.
class CDestroyable {
protected:
    virtual ~CDestroyable() = default;
};

/// Base of a counted object with two chains of interfaces; see CComObject for one. First may be an implementation of
/// its interface, which is then named. Starts with one reference, which MakeComObject hands over. Counting is safe from
/// any thread.
template <class First, class Second, class FirstInterface = First>
class CComObjectPair : public First, public Second, private CDestroyable {
public:
    CComObjectPair(const CComObjectPair&) = delete;
    CComObjectPair& operator=(const CComObjectPair&) = delete;

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override
    {
        if (object == nullptr)
            return E_POINTER;
        *object = nullptr;
        if (iid == ComIid<IUnknown>() || iid == ComIid<FirstInterface>())
            *object = static_cast<FirstInterface*>(this);
        else if (iid == ComIid<Second>())
            *object = static_cast<Second*>(this);
        else
            return E_NOINTERFACE;
        AddRef();
        return S_OK;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return m_nReferences.fetch_add(1, std::memory_order_relaxed) + 1; }
    ULONG STDMETHODCALLTYPE Release() override
    {
        const ULONG left = m_nReferences.fetch_sub(1, std::memory_order_acq_rel) - 1;
        if (left == 0)
            delete this;
        return left;
    }

protected:
    CComObjectPair() = default;
    ~CComObjectPair() override = default;

private:
    std::atomic<ULONG> m_nReferences{1};
};
