#pragma once

#include "framework/module/AtlSupport.h"
#include "platform/Mutex.h"

#include <vector>

/// The services of a host that has nothing special: it keeps lists, writes through com/Registration.h, and agrees to
/// unload a module when no thread of the framework runs.
class ZEL_FRAMEWORK_API CWQ_DefaultAtlSupport : public IWQ_AtlSupport {
public:
    CWQ_DefaultAtlSupport();
    virtual ~CWQ_DefaultAtlSupport();
    CWQ_DefaultAtlSupport(const CWQ_DefaultAtlSupport&) = delete;
    CWQ_DefaultAtlSupport& operator=(const CWQ_DefaultAtlSupport&) = delete;

    HRESULT RegisterAtlModule(CWQ_ComModule& module) override;
    HRESULT UnregisterAtlModule(CWQ_ComModule& module) override;
    HRESULT RegisterComClass(CWQ_ComModule& module, const SWQ_ClassEntry& entry) override;
    HRESULT UnregisterComClass(CWQ_ComModule& module, const SWQ_ClassEntry& entry) override;
    HRESULT RegisterTypeLibrary(CWQ_ComModule& module) override;
    HRESULT UnregisterTypeLibrary(CWQ_ComModule& module) override;
    HRESULT RegisterComModule(CWQ_ComModule& module) override;
    HRESULT UnregisterComModule(CWQ_ComModule& module) override;
    HRESULT RegisterStringCodeModule(IWQ_StringCodeModule& module) override;
    HRESULT UnregisterStringCodeModule(IWQ_StringCodeModule& module) override;
    std::wstring ResolveStringCode(const std::wstring& code) override;
    bool SetUseWinRegistry(bool use) override;
    bool IsWinRegistryUsed() override;
    bool CanUnload(const CWQ_ComModule& module) override;

    /// The modules of this process, in the order in which they came.
    [[nodiscard]] std::vector<const CWQ_ComModule*> AtlModules();
    /// Those that serve their classes.
    [[nodiscard]] std::vector<const CWQ_ComModule*> ComModules();

private:
    platform::CMutex m_mutex;
    std::vector<const CWQ_ComModule*> m_atlModules ZEL_GUARDED_BY(m_mutex);
    std::vector<const CWQ_ComModule*> m_comModules ZEL_GUARDED_BY(m_mutex);
    std::vector<IWQ_StringCodeModule*> m_stringCodes ZEL_GUARDED_BY(m_mutex);
    bool m_bUseWinRegistry ZEL_GUARDED_BY(m_mutex) = false;
};
