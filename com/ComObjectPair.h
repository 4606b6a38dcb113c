#pragma once

#include "com/ComCounted.h"

/// Base of a counted object with two chains of interfaces; see CComObject for one. First may be an implementation of
/// its interface, which is then named. Starts with one reference, which MakeComObject hands over. Counting is safe from
/// any thread.
template <class First, class Second, class FirstInterface = First>
class CComObjectPair : public CComCounted<First, Second> {
public:
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
        this->AddRef();
        return S_OK;
    }
};
