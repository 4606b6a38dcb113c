#pragma once

#include "com/ComObject.h"
#include "com/Components.h"

#include <utility>

/// Makes an object and hands out the interface that is asked for; a factory of the component table.
template <class Object>
HRESULT MakeAndQuery(REFIID iid, void** object) noexcept
{
    if (object == nullptr)
        return E_POINTER;
    *object = nullptr;
    return ComGuard([&] { return MakeComObject<Object>()->QueryInterface(iid, object); });
}

/// Keeps a class that lives in this module in the component table for as long as the module is loaded: a static object
/// of the module. When memory is short the class is simply not there.
class CRegisteredClass {
public:
    CRegisteredClass(const CLSID& classId, ComponentFactoryFunction factory) noexcept : m_classId(classId)
    {
        try {
            m_bRegistered = RegisterComponentClass(classId, std::move(factory), {}) == S_OK;
        } catch (...) {
            m_bRegistered = false;
        }
    }
    ~CRegisteredClass()
    {
        if (m_bRegistered)
            static_cast<void>(RevokeComponentClass(m_classId));
    }
    CRegisteredClass(const CRegisteredClass&) = delete;
    CRegisteredClass& operator=(const CRegisteredClass&) = delete;

private:
    CLSID m_classId;
    bool m_bRegistered = false;
};
