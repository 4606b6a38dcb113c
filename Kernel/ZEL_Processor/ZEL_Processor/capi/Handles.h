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
