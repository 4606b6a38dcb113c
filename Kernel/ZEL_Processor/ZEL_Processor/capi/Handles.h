#pragma once

#include "platform/Mutex.h"

#include <cstdint>
#include <map>
#include <memory>
#include <utility>

/// Of all kinds.
[[nodiscard]] std::uintptr_t NextHandleNumber();

/// The objects behind the handles of one kind. A handle is a number that no handle of any kind had before, so a wrong
/// one is found out and never followed; who has found an object keeps it alive while he uses it.
template <class Object, class Handle>
class CHandles {
public:
    [[nodiscard]] Handle* Add(std::shared_ptr<Object> object)
    {
        const std::uintptr_t number = NextHandleNumber();
        const platform::CMutexLock lock(m_cs);
        m_objects.emplace(number, std::move(object));
        return reinterpret_cast<Handle*>(number);
    }
    /// Null when there is none.
    [[nodiscard]] std::shared_ptr<Object> Find(const Handle* handle)
    {
        const platform::CMutexLock lock(m_cs);
        const auto found = m_objects.find(reinterpret_cast<std::uintptr_t>(handle));
        return found == m_objects.end() ? nullptr : found->second;
    }
    [[nodiscard]] std::shared_ptr<Object> Remove(const Handle* handle)
    {
        const platform::CMutexLock lock(m_cs);
        const auto node = m_objects.extract(reinterpret_cast<std::uintptr_t>(handle));
        return node.empty() ? nullptr : std::move(node.mapped());
    }
    /// Never destroyed: what a program leaves open outlives its end.
    [[nodiscard]] static CHandles& All()
    {
        static auto* const all = new CHandles;
        return *all;
    }

private:
    platform::CMutex m_cs;
    std::map<std::uintptr_t, std::shared_ptr<Object>> m_objects ZEL_GUARDED_BY(m_cs);
};

/// A handle in the caller's hands while what it is for begins, which may fail or throw: then it goes again.
template <class Handles, class Handle>
class CNewHandle {
public:
    template <class Object>
    CNewHandle(std::shared_ptr<Object> object, Handle*& out)
        : m_pHandle(Handles::All().Add(std::move(object))), m_pOut(&out)
    {
        out = m_pHandle;
    }
    ~CNewHandle()
    {
        if (m_pOut == nullptr)
            return;
        static_cast<void>(Handles::All().Remove(m_pHandle));
        *m_pOut = nullptr;
    }
    CNewHandle(const CNewHandle&) = delete;
    CNewHandle& operator=(const CNewHandle&) = delete;

    /// The caller's from now on, who may have closed it already.
    void Keep() { m_pOut = nullptr; }

private:
    Handle* const m_pHandle;
    Handle** m_pOut;
};
