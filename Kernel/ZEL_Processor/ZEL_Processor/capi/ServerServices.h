#pragma once

#include "capi/Interface.h"
#include "framework/DefaultHost.h"
#include "platform/Mutex.h"

#include <atomic>
#include <memory>
#include <string>

/// The services of the process while the C interface is in use: those that were there before, but for what a server's
/// callbacks take. Installed with the first client or server, below what clients install.
class CServerServices final : public CWQ_DefaultHost {
public:
    /// Has them installed for as long as it lives: made before a client installs what is its own, which lies above.
    class CInstalled {
    public:
        CInstalled() { Instance().Use(); }
        ~CInstalled() { Instance().Release(); }
        CInstalled(const CInstalled&) = delete;
        CInstalled& operator=(const CInstalled&) = delete;
    };

    /// Null ends the telling: when it returns no callback runs any more, but one of the calling thread.
    static void SetCallbacks(const zel_server_options* options);

    void ReportError(const SWQ_ErrorReport& report) override;
    int ShowMessage(const std::wstring& text, unsigned style, unsigned flags) override;
    int AskMessage(const std::wstring& text, unsigned style, int defaultAnswer, unsigned flags) override;
    std::wstring GetText(unsigned id, const char* codeName) override;
    std::shared_ptr<spdlog::logger> GetLogger(const std::string& name) override;
    int GenerateErrorReport(const SMOXCrashRecord& record) override;

private:
    /// The callbacks of a server, which stay for as long as this lives.
    class CUse;

    CServerServices() = default;
    static CServerServices& Instance();
    void Use();
    void Release();
    [[nodiscard]] bool IsOnTop() { return &WQ_Host() == static_cast<IWQ_Host*>(this); }
    [[nodiscard]] IWQ_Host* Previous() const { return m_pPrevious.load(); }

    std::atomic<IWQ_Host*> m_pPrevious = nullptr;
    platform::CMutex m_cs;
    platform::CCondition m_changed;
    unsigned m_nUsers ZEL_GUARDED_BY(m_cs) = 0;
    const zel_server_options* m_pOptions ZEL_GUARDED_BY(m_cs) = nullptr;
    unsigned m_nUses ZEL_GUARDED_BY(m_cs) = 0;
};
