#pragma once

#include "com/Com.h"
#include "com/ComError.h"

#include <cstddef>
#include <utility>

/// Owner of one reference to a COM object. Not safe for use by two threads at once; copies are independent.
template <class Interface>
class CComPtr {
public:
    CComPtr() noexcept = default;
    CComPtr(std::nullptr_t) noexcept {}
    /// Adds a reference of its own. For an interface that already carries one, see Attach.
    CComPtr(Interface* object) noexcept : m_pObject(object) { AddRefObject(); }
    CComPtr(const CComPtr& other) noexcept : m_pObject(other.m_pObject) { AddRefObject(); }
    CComPtr(CComPtr&& other) noexcept : m_pObject(other.Detach()) {}
    ~CComPtr() { Reset(); }

    CComPtr& operator=(const CComPtr& other) noexcept
    {
        CComPtr(other).Swap(*this);
        return *this;
    }
    CComPtr& operator=(CComPtr&& other) noexcept
    {
        CComPtr(std::move(other)).Swap(*this);
        return *this;
    }
    CComPtr& operator=(Interface* object) noexcept
    {
        CComPtr(object).Swap(*this);
        return *this;
    }
    CComPtr& operator=(std::nullptr_t) noexcept
    {
        Reset();
        return *this;
    }

    [[nodiscard]] Interface* Get() const noexcept { return m_pObject; }
    explicit operator bool() const noexcept { return m_pObject != nullptr; }

    /// Throws CComError(E_POINTER) when there is no object.
    Interface* operator->() const
    {
        if (m_pObject == nullptr)
            throw CComError(E_POINTER);
        return m_pObject;
    }
    Interface& operator*() const { return *operator->(); }

    /// Empties this and gives the address, for a call that hands an interface out.
    [[nodiscard]] Interface** Put() noexcept
    {
        Reset();
        return &m_pObject;
    }
    /// The same for calls that take the address of a void pointer (QueryInterface, CreateInstance).
    [[nodiscard]] void** PutVoid() noexcept
    {
        // A void** onto an Interface* is what COM itself prescribes.
        return reinterpret_cast<void**>(Put());
    }

    /// Takes over a reference that the object already carries.
    void Attach(Interface* object) noexcept
    {
        Reset();
        m_pObject = object;
    }
    /// Hands the reference to the caller.
    [[nodiscard]] Interface* Detach() noexcept { return std::exchange(m_pObject, nullptr); }

    void Reset() noexcept
    {
        if (Interface* object = Detach())
            object->Release();
    }
    void Swap(CComPtr& other) noexcept { std::swap(m_pObject, other.m_pObject); }

    /// Another interface of the same object; empty when it has none or there is no object. The interface needs
    /// ZEL_DECLARE_IID.
    template <class Other>
    [[nodiscard]] CComPtr<Other> QueryTo() const noexcept
    {
        CComPtr<Other> result;
        if (m_pObject == nullptr)
            return result;
        void* object = nullptr;
        if (SUCCEEDED(m_pObject->QueryInterface(ComIid<Other>(), &object)))
            result.Attach(static_cast<Other*>(object));
        return result;
    }
    /// The same with the reason of a failure; E_POINTER when there is no object.
    template <class Other>
    HRESULT QueryTo(Other** other) const noexcept
    {
        if (other == nullptr)
            return E_POINTER;
        *other = nullptr;
        if (m_pObject == nullptr)
            return E_POINTER;
        void* object = nullptr;
        const HRESULT result = m_pObject->QueryInterface(ComIid<Other>(), &object);
        if (SUCCEEDED(result))
            *other = static_cast<Other*>(object);
        return result;
    }
    /// Hands a further reference out. E_POINTER for a null target; null is handed out when there is no object.
    HRESULT CopyTo(Interface** target) const noexcept
    {
        if (target == nullptr)
            return E_POINTER;
        *target = CComPtr(*this).Detach();
        return S_OK;
    }

    friend bool operator==(const CComPtr& left, const CComPtr& right) noexcept
    {
        return left.m_pObject == right.m_pObject;
    }
    friend bool operator==(const CComPtr& left, std::nullptr_t) noexcept { return left.m_pObject == nullptr; }

private:
    void AddRefObject() noexcept
    {
        if (m_pObject != nullptr)
            m_pObject->AddRef();
    }

    Interface* m_pObject = nullptr;
};

/// An interface as CComPtr that takes over the reference it carries.
template <class Interface>
[[nodiscard]] CComPtr<Interface> AttachComPtr(Interface* object) noexcept
{
    CComPtr<Interface> result;
    result.Attach(object);
    return result;
}
