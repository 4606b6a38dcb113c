#include "framework/DsEventsData.h"

#include "com/ComObject.h"
#include "com/Guid.h"

#include <limits>
#include <map>
#include <set>
#include <vector>

namespace {

constexpr std::size_t kMaxCount = static_cast<std::size_t>(std::numeric_limits<LONG>::max());

/// Whether there is something at a place that a caller named.
template <class Value>
bool Has(const std::vector<Value>& values, LONG index)
{
    return index >= 0 && static_cast<std::size_t>(index) < values.size();
}

template <class Value>
HRESULT HandOutCount(const std::vector<Value>& values, LONG* count)
{
    if (count == nullptr)
        return E_POINTER;
    *count = static_cast<LONG>(values.size());
    return S_OK;
}

/// What stands at a place, or an empty value and S_FALSE.
template <class Value>
HRESULT HandOutAt(const std::vector<Value>& values, LONG index, Value* target)
{
    if (target == nullptr)
        return E_POINTER;
    const bool has = Has(values, index);
    *target = has ? values[static_cast<std::size_t>(index)] : Value{};
    return has ? S_OK : S_FALSE;
}

class CDsItems final : public CComObject<IWQ_DsItems> {
public:
    HRESULT STDMETHODCALLTYPE GetCount(LONG* count) override { return HandOutCount(m_items, count); }
    HRESULT STDMETHODCALLTYPE GetItem(LONG index, LONG* item) override { return HandOutAt(m_items, index, item); }
    HRESULT STDMETHODCALLTYPE Add(LONG item) override
    {
        return ComGuard([&] {
            if (m_items.size() >= kMaxCount)
                return E_OUTOFMEMORY;
            m_items.push_back(item);
            return S_OK;
        });
    }

private:
    std::vector<LONG> m_items;
};

class CDsList final : public CComObject<IWQ_DsList> {
public:
    HRESULT STDMETHODCALLTYPE GetKeyCount(LONG* count) override { return HandOutCount(m_entries, count); }
    HRESULT STDMETHODCALLTYPE GetKey(LONG index, GUID* key) override
    {
        if (key == nullptr)
            return E_POINTER;
        const bool has = Has(m_entries, index);
        *key = has ? m_entries[static_cast<std::size_t>(index)].key : GUID{};
        return has ? S_OK : S_FALSE;
    }
    HRESULT STDMETHODCALLTYPE GetItemsAt(LONG index, IWQ_DsItems** items) override
    {
        if (items == nullptr)
            return E_POINTER;
        *items = nullptr;
        return Has(m_entries, index) ? m_entries[static_cast<std::size_t>(index)].items.CopyTo(items) : S_FALSE;
    }
    HRESULT STDMETHODCALLTYPE Find(const GUID* key, IWQ_DsItems** items) override
    {
        if (key == nullptr || items == nullptr)
            return E_POINTER;
        *items = nullptr;
        const auto found = m_places.find(*key);
        return found == m_places.end() ? S_FALSE : m_entries[found->second].items.CopyTo(items);
    }
    HRESULT STDMETHODCALLTYPE Put(const GUID* key, IWQ_DsItems* items) override
    {
        if (key == nullptr || items == nullptr)
            return E_POINTER;
        return ComGuard([&] {
            if (m_places.contains(*key))
                return S_FALSE;
            Append(*key, items);
            return S_OK;
        });
    }
    HRESULT STDMETHODCALLTYPE AddItem(const GUID* key, LONG item) override
    {
        if (key == nullptr)
            return E_POINTER;
        return ComGuard([&] {
            const auto found = m_places.find(*key);
            if (found != m_places.end())
                return m_entries[found->second].items->Add(item);
            const CComPtr<IWQ_DsItems> items = MakeDsItems();
            const HRESULT added = items->Add(item);
            if (SUCCEEDED(added))
                Append(*key, items.Get());
            return added;
        });
    }

private:
    void Append(const GUID& key, IWQ_DsItems* items)
    {
        if (m_entries.size() >= kMaxCount)
            throw CComError(E_OUTOFMEMORY);
        m_entries.push_back({key, CComPtr<IWQ_DsItems>(items)});
        try {
            m_places.emplace(key, m_entries.size() - 1);
        } catch (...) {
            m_entries.pop_back(); // or the two would disagree
            throw;
        }
    }

    struct SEntry {
        GUID key = {};
        CComPtr<IWQ_DsItems> items;
    };

    std::vector<SEntry> m_entries;
    std::map<GUID, std::size_t, SGuidLess> m_places;
};

class CDsGuidSet final : public CComObject<IWQ_DsGuidSet> {
public:
    HRESULT STDMETHODCALLTYPE GetCount(LONG* count) override { return HandOutCount(m_values, count); }
    HRESULT STDMETHODCALLTYPE GetAt(LONG index, GUID* value) override { return HandOutAt(m_values, index, value); }
    HRESULT STDMETHODCALLTYPE Contains(const GUID* value) override
    {
        if (value == nullptr)
            return E_POINTER;
        return m_known.contains(*value) ? S_OK : S_FALSE;
    }
    HRESULT STDMETHODCALLTYPE Add(const GUID* value) override
    {
        if (value == nullptr)
            return E_POINTER;
        return ComGuard([&] {
            if (m_values.size() >= kMaxCount)
                return E_OUTOFMEMORY;
            if (m_known.contains(*value))
                return S_FALSE;
            m_values.push_back(*value);
            try {
                m_known.insert(*value);
            } catch (...) {
                m_values.pop_back();
                throw;
            }
            return S_OK;
        });
    }

private:
    std::vector<GUID> m_values;
    std::set<GUID, SGuidLess> m_known;
};

template <class Interface, class Object>
CComPtr<Interface> Make()
{
    return AttachComPtr<Interface>(MakeComObject<Object>().Detach());
}

} // namespace

CComPtr<IWQ_DsItems> MakeDsItems()
{
    return Make<IWQ_DsItems, CDsItems>();
}

CComPtr<IWQ_DsList> MakeDsList()
{
    return Make<IWQ_DsList, CDsList>();
}

CComPtr<IWQ_DsGuidSet> MakeDsGuidSet()
{
    return Make<IWQ_DsGuidSet, CDsGuidSet>();
}
