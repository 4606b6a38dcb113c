#pragma once

#include "com/ComCounted.h"
#include "com/ComError.h"
#include "com/ComPtr.h"

#include <new>
#include <utility>

/// Runs the body of a COM method and turns what it throws into a result: CComError into its own, missing memory into
/// E_OUTOFMEMORY, anything else into E_UNEXPECTED.
template <class Body>
HRESULT ComGuard(Body&& body) noexcept
{
    try {
        return std::forward<Body>(body)();
    } catch (const CComError& error) {
        return error.Code();
    } catch (const std::bad_alloc&) {
        return E_OUTOFMEMORY;
    } catch (...) {
        return E_UNEXPECTED;
    }
}

/// Base of a counted object with one chain of interfaces: the most derived one, and those it derives from, IUnknown
/// aside. MakeComObject hands over its first reference.
template <class Interface, class... Bases>
class CComObject : public CComCounted<Interface> {
public:
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override
    {
        if (object == nullptr)
            return E_POINTER;
        if (iid == ComIid<IUnknown>() || iid == ComIid<Interface>() || (... || (iid == ComIid<Bases>()))) {
            *object = static_cast<Interface*>(this);
            this->AddRef();
            return S_OK;
        }
        *object = nullptr;
        return E_NOINTERFACE;
    }
};

/// Makes a counted object. Throws std::bad_alloc and what its constructor throws.
template <class Object, class... Arguments>
[[nodiscard]] CComPtr<Object> MakeComObject(Arguments&&... arguments)
{
    CComPtr<Object> result;
    result.Attach(new Object(std::forward<Arguments>(arguments)...));
    return result;
}
