#pragma once

#include "com/Com.h"
#include "com/ComError.h"
#include "com/ComPtr.h"

#include <atomic>
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
/// aside. Starts with one reference, which MakeComObject hands over. Counting is safe from any thread.
template <class Interface, class... Bases>
class CComObject : public Interface {
public:
    CComObject(const CComObject&) = delete;
    CComObject& operator=(const CComObject&) = delete;

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override
    {
        if (object == nullptr)
            return E_POINTER;
        if (iid == ComIid<IUnknown>() || iid == ComIid<Interface>() || (... || (iid == ComIid<Bases>()))) {
            *object = static_cast<Interface*>(this);
            AddRef();
            return S_OK;
        }
        *object = nullptr;
        return E_NOINTERFACE;
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
    CComObject() = default;
    virtual ~CComObject() = default;

private:
    std::atomic<ULONG> m_nReferences{1};
};

/// Makes a counted object. Throws std::bad_alloc and what its constructor throws.
template <class Object, class... Arguments>
[[nodiscard]] CComPtr<Object> MakeComObject(Arguments&&... arguments)
{
    CComPtr<Object> result;
    result.Attach(new Object(std::forward<Arguments>(arguments)...));
    return result;
}
