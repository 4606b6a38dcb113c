#include "framework/module/RegistryCathegory.h"

#include "com/Components.h"

CMOX_RegistryCathegoryItem::CMOX_RegistryCathegoryItem(const CLSID& clsid) : m_clsid(clsid) {}

bool CMOX_RegistryCathegory::Enumerate(const GUID& category)
{
    std::vector<CLSID> classes;
    EnumerateCategory(category, classes);
    for (const CLSID& clsid : classes)
        m_items.emplace_back(clsid);
    return !classes.empty();
}

void CMOX_RegistryCathegory::Clear()
{
    m_items.clear();
}
