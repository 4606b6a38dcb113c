#pragma once

#include "capi/Interface.h"

#include "ZEL_Processor/zel/detail/Reports.h"
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
        CInstalled() { Installed().use(); }
        ~CInstalled() { Installed().release(); }
        CInstalled(const CInstalled&) = delete;
        CInstalled& operator=(const CInstalled&) = delete;
    };

    /// Null ends the telling: when it returns no callback runs any more, but one of the calling thread.
    static void SetCallbacks(const zel_server_options* options);

    void setPrevious(IWQ_Host* host) { m_pPrevious = host; }
    [[nodiscard]] IWQ_Host* previous() const { return m_pPrevious; }

    void ReportError(const SWQ_ErrorReport& report) override;
    int ShowMessage(const std::wstring& text, unsigned style, unsigned flags) override;
    int AskMessage(const std::wstring& text, unsigned style, int defaultAnswer, unsigned flags) override;
    std::wstring GetText(unsigned id, const char* codeName) override;
    std::shared_ptr<spdlog::logger> GetLogger(const std::string& name) override;
    int GenerateErrorReport(const SMOXCrashRecord& record) override;

private:
    /// The callbacks of a server, which stay for as long as this lives.
    class CUse;

    /// Of the server, if there is one.
    struct SCallbacks {
        platform::CMutex cs;
        platform::CCondition changed;
        const zel_server_options* pOptions ZEL_GUARDED_BY(cs) = nullptr;
        unsigned nUses ZEL_GUARDED_BY(cs) = 0;
    };

    [[nodiscard]] static SCallbacks& Callbacks();
    [[nodiscard]] static zel::detail::Installation<CServerServices>& Installed();

    std::atomic<IWQ_Host*> m_pPrevious = nullptr;
};
