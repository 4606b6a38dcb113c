#pragma once

#include "com/Com.h"
#include "platform/Export.h"

#include <vector>

/// One component of a category.
class ZEL_FRAMEWORK_API CMOX_RegistryCathegoryItem {
public:
    explicit CMOX_RegistryCathegoryItem(const CLSID& clsid);
    [[nodiscard]] const CLSID& GetClsid() const { return m_clsid; }

private:
    CLSID m_clsid;
};

/// The components of one category in the order of enumeration: components of folders first, by folder and name, then on
/// Windows those that the system knows. Not safe for use by two threads at once.
class ZEL_FRAMEWORK_API CMOX_RegistryCathegory {
public:
    /// Appends the items of a category. False when it has none.
    bool Enumerate(const GUID& category);
    void Clear();
    [[nodiscard]] bool IsEmpty() const { return m_items.empty(); }
    [[nodiscard]] const std::vector<CMOX_RegistryCathegoryItem>& GetItems() const { return m_items; }

private:
    std::vector<CMOX_RegistryCathegoryItem> m_items;
};
