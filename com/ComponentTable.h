#pragma once

#include "com/ComPtr.h"
#include "com/ComponentModule.h"
#include "com/Components.h"
#include "platform/Mutex.h"

#include <map>
#include <string>
#include <vector>

/// One class of the table: in a module, or, when there is a factory, in this process.
struct STableEntry {
    SComponentInfo info;
    CComPtr<IClassFactory> factory;
};

/// The table behind com/Components.h. Foreign code (modules, factories) is never called with the lock held: it may come
/// back to the table.
class CComponentTable {
public:
    [[nodiscard]] static CComponentTable& Instance();

    /// False when another module or this process has the id; true as well when the same module has it already, and when
    /// this process serves the class that a module offers: it is the same class, nearer.
    bool Add(STableEntry entry);
    bool Find(REFCLSID classId, STableEntry& entry);
    bool Contains(REFCLSID classId);
    bool Revoke(REFCLSID classId);
    void AppendCategory(const GUID& category, std::vector<CLSID>& classes);
    void AppendAll(std::vector<SComponentInfo>& components);
    /// The module's entry point, which it loads when that has not happened yet; null with the reason when there is
    /// none.
    decltype(SComponentModule::getClassObject) EntryPoint(const std::wstring& path, HRESULT& result,
                                                          std::wstring& reason);

private:
    STableEntry* FindLocked(REFCLSID classId) ZEL_REQUIRES(m_mutex);

    platform::CMutex m_mutex;
    std::vector<STableEntry> m_entries ZEL_GUARDED_BY(m_mutex);
    std::map<std::wstring, SComponentModule> m_modules ZEL_GUARDED_BY(m_mutex);
};
