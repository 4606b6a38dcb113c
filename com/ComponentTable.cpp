#include "com/ComponentTable.h"

#include <algorithm>
#include <memory>
#include <utility>

CComponentTable& CComponentTable::Instance()
{
    // Never destroyed: modules stay loaded to the end, and their code may ask for a class while the process ends.
    static CComponentTable& table = *std::make_unique<CComponentTable>().release();
    return table;
}

bool CComponentTable::Add(STableEntry entry)
{
    const platform::CMutexLock lock(m_mutex);
    STableEntry* const known = FindLocked(entry.info.id);
    if (known == nullptr) {
        m_entries.push_back(std::move(entry));
        return true;
    }
    if (entry.factory || (!known->factory && known->info.modulePath != entry.info.modulePath))
        return false;
    if (known->info.source.empty())
        known->info = std::move(entry.info); // served by this process, and registered as well
    return true;
}

bool CComponentTable::Find(REFCLSID classId, STableEntry& entry)
{
    const platform::CMutexLock lock(m_mutex);
    const STableEntry* known = FindLocked(classId);
    if (known != nullptr)
        entry = *known;
    return known != nullptr;
}

bool CComponentTable::Contains(REFCLSID classId)
{
    const platform::CMutexLock lock(m_mutex);
    return FindLocked(classId) != nullptr;
}

bool CComponentTable::Revoke(REFCLSID classId)
{
    STableEntry revoked; // releases its factory after the lock
    const platform::CMutexLock lock(m_mutex);
    const auto found =
        std::ranges::find_if(m_entries, [&](const STableEntry& entry) { return entry.info.id == classId; });
    if (found == m_entries.end())
        return false;
    revoked = std::move(*found);
    m_entries.erase(found);
    return true;
}

void CComponentTable::AppendCategory(const GUID& category, std::vector<CLSID>& classes)
{
    const platform::CMutexLock lock(m_mutex);
    for (const STableEntry& entry : m_entries) {
        if (std::ranges::find(entry.info.categories, category) != entry.info.categories.end())
            classes.push_back(entry.info.id);
    }
}

void CComponentTable::AppendAll(std::vector<SComponentInfo>& components)
{
    const platform::CMutexLock lock(m_mutex);
    for (const STableEntry& entry : m_entries)
        components.push_back(entry.info);
}

decltype(SComponentModule::getClassObject) CComponentTable::EntryPoint(const std::wstring& path, HRESULT& result,
                                                                       std::wstring& reason)
{
    {
        const platform::CMutexLock lock(m_mutex);
        const auto found = m_modules.find(path);
        if (found != m_modules.end())
            return found->second.getClassObject;
    }
    SComponentModule loaded;
    result = LoadComponentModule(path, loaded, reason);
    if (FAILED(result))
        return nullptr;
    // Another thread may have been faster; the system counts the loads, so the second one is simply given back.
    const platform::CMutexLock lock(m_mutex);
    return m_modules.emplace(path, std::move(loaded)).first->second.getClassObject;
}

STableEntry* CComponentTable::FindLocked(REFCLSID classId)
{
    const auto found = std::find_if(m_entries.begin(), m_entries.end(),
                                    [&](const STableEntry& entry) { return entry.info.id == classId; });
    return found == m_entries.end() ? nullptr : &*found;
}
