#pragma once

#include "com/Com.h"

#include <atomic>

/// Counts the references of an object: base of a class that implements these interfaces, or derives from
/// implementations of them. Starts with one reference; the last one's release deletes it. Safe from any thread.
template <class... Parents>
class CComCounted : public Parents... {
public:
    CComCounted(const CComCounted&) = delete;
    CComCounted& operator=(const CComCounted&) = delete;

    ULONG STDMETHODCALLTYPE AddRef() override { return m_nReferences.fetch_add(1, std::memory_order_relaxed) + 1; }
    ULONG STDMETHODCALLTYPE Release() override
    {
        const ULONG left = m_nReferences.fetch_sub(1, std::memory_order_acq_rel) - 1;
        if (left == 0)
            delete this;
        return left;
    }

protected:
    CComCounted() = default;
    /// Here, because in an interface it would take a slot of the table.
    virtual ~CComCounted() = default;

private:
    std::atomic<ULONG> m_nReferences{1};
};
