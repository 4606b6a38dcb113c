#pragma once

#include "framework/ComModule.h"
#include "framework/module/DefaultAtlSupport.h"
#include "platform/Text.h"

#include <string>
#include <utility>
#include <vector>

namespace testsupport {

/// The module services of the process while it lives: notes every call, and fails the one it is told to. Nothing is
/// written anywhere. For one thread.
class CRecordingAtlSupport : public CWQ_DefaultAtlSupport {
public:
    CRecordingAtlSupport() : m_pPrevious(SetWQ_AtlSupport(this)) {}
    ~CRecordingAtlSupport() override { SetWQ_AtlSupport(m_pPrevious); }

    /// The calls so far, each noted as "name" or "name(argument)"; taken is taken.
    [[nodiscard]] std::vector<std::string> TakeCalls() { return std::exchange(m_calls, {}); }
    /// Notes a call of somebody else, in between.
    HRESULT Note(const std::string& call)
    {
        m_calls.push_back(call);
        return call == m_failing ? m_failure : S_OK;
    }
    void FailAt(const std::string& call, HRESULT failure)
    {
        m_failing = call;
        m_failure = failure;
    }
    void SetUnloadable(bool unloadable) { m_bUnloadable = unloadable; }
    /// Whatever is switched, classes go into manifests: the registry of the machine is not a test's to change.
    void KeepToManifests() { m_bManifestsOnly = true; }

    HRESULT RegisterAtlModule(CWQ_ComModule&) override { return Note("RegisterAtlModule"); }
    HRESULT UnregisterAtlModule(CWQ_ComModule&) override { return Note("UnregisterAtlModule"); }
    HRESULT RegisterComClass(CWQ_ComModule&, const SWQ_ClassEntry& entry) override
    {
        return Note("RegisterComClass(" + NameOf(entry) + ")");
    }
    HRESULT UnregisterComClass(CWQ_ComModule&, const SWQ_ClassEntry& entry) override
    {
        return Note("UnregisterComClass(" + NameOf(entry) + ")");
    }
    HRESULT RegisterTypeLibrary(CWQ_ComModule&) override { return Note("RegisterTypeLibrary"); }
    HRESULT UnregisterTypeLibrary(CWQ_ComModule&) override { return Note("UnregisterTypeLibrary"); }
    HRESULT RegisterComModule(CWQ_ComModule&) override { return Note("RegisterComModule"); }
    HRESULT UnregisterComModule(CWQ_ComModule&) override { return Note("UnregisterComModule"); }
    HRESULT RegisterStringCodeModule(IWQ_StringCodeModule& module) override
    {
        return Note("RegisterStringCodeModule(" + platform::ToUtf8(module.Prefix()) + ")");
    }
    HRESULT UnregisterStringCodeModule(IWQ_StringCodeModule& module) override
    {
        return Note("UnregisterStringCodeModule(" + platform::ToUtf8(module.Prefix()) + ")");
    }
    bool SetUseWinRegistry(bool use) override
    {
        static_cast<void>(Note(use ? "SetUseWinRegistry(true)" : "SetUseWinRegistry(false)"));
        return CWQ_DefaultAtlSupport::SetUseWinRegistry(use);
    }
    bool IsWinRegistryUsed() override { return !m_bManifestsOnly && CWQ_DefaultAtlSupport::IsWinRegistryUsed(); }
    bool CanUnload(const CWQ_ComModule&) override { return m_bUnloadable; }

    [[nodiscard]] static std::string NameOf(const SWQ_ClassEntry& entry) { return platform::ToUtf8(entry.object.name); }

private:
    std::vector<std::string> m_calls;
    std::string m_failing;
    HRESULT m_failure = E_FAIL;
    bool m_bUnloadable = true;
    bool m_bManifestsOnly = false;
    IWQ_AtlSupport* m_pPrevious;
};

} // namespace testsupport
