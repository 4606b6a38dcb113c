#include "capi/ServerServices.h"

#include "capi/Clients.h"

/// Not while a lock is held: what is called may report, and ask for texts.
class CServerServices::CUse {
public:
    template <class Callback>
    explicit CUse(Callback zel_server_options::*callback)
    {
        const platform::CMutexLock lock(Callbacks().cs);
        if (Callbacks().pOptions == nullptr || Callbacks().pOptions->*callback == nullptr)
            return;
        m_pOptions = Callbacks().pOptions;
        ++Callbacks().nUses;
        ++Depth();
    }
    ~CUse()
    {
        if (m_pOptions == nullptr)
            return;
        --Depth();
        const platform::CMutexLock lock(Callbacks().cs);
        --Callbacks().nUses;
        Callbacks().changed.NotifyAll();
    }
    CUse(const CUse&) = delete;
    CUse& operator=(const CUse&) = delete;

    [[nodiscard]] const zel_server_options* Options() const { return m_pOptions; }
    /// Of this thread.
    [[nodiscard]] static unsigned& Depth()
    {
        static thread_local unsigned depth = 0;
        return depth;
    }

private:
    const zel_server_options* m_pOptions = nullptr;
};

// Both to the end of the process, for others may hand on to it until then.
CServerServices::SCallbacks& CServerServices::Callbacks()
{
    static auto* const callbacks = new SCallbacks;
    return *callbacks;
}

zel::detail::Installation<CServerServices>& CServerServices::Installed()
{
    static auto* const installed = new zel::detail::Installation<CServerServices>;
    return *installed;
}

void CServerServices::SetCallbacks(const zel_server_options* options)
{
    SCallbacks& callbacks = Callbacks();
    platform::CMutexLock lock(callbacks.cs);
    callbacks.pOptions = options;
    callbacks.changed.Wait(lock,
                           [&callbacks]() ZEL_REQUIRES(callbacks.cs) { return callbacks.nUses == CUse::Depth(); });
}

// Nobody waits for whom something is handed on to: that may be a box which an operator leaves open.
void CServerServices::ReportError(const SWQ_ErrorReport& report)
{
    if (const CUse use(&zel_server_options::report); use.Options() != nullptr) {
        const std::string source = SafeText(report.sourceFile);
        const std::string function = SafeText(report.function);
        const std::string message = SafeText(report.message);
        const zel_report told{sizeof told,      static_cast<std::int32_t>(report.sourceLine),
                              report.time,      source.c_str(),
                              function.c_str(), message.c_str()};
        const CInCallback inside;
        use.Options()->report(use.Options()->context, &told);
        return;
    }
    if (IWQ_Host* const host = previous())
        host->ReportError(report);
    else
        CWQ_DefaultHost::ReportError(report);
}

int CServerServices::ShowMessage(const std::wstring& text, unsigned style, unsigned flags)
{
    if (const CUse use(&zel_server_options::message); use.Options() != nullptr) {
        const std::string narrow = SafeText(text);
        const zel_message message{sizeof message, 0, style, ZEL_ANSWER_OK, narrow.c_str()};
        const CInCallback inside;
        return use.Options()->message(use.Options()->context, &message);
    }
    IWQ_Host* const host = previous();
    return host ? host->ShowMessage(text, style, flags) : CWQ_DefaultHost::ShowMessage(text, style, flags);
}

int CServerServices::AskMessage(const std::wstring& text, unsigned style, int defaultAnswer, unsigned flags)
{
    if (const CUse use(&zel_server_options::message); use.Options() != nullptr) {
        const std::string narrow = SafeText(text);
        const zel_message message{sizeof message, 1, style, defaultAnswer, narrow.c_str()};
        const CInCallback inside;
        return use.Options()->message(use.Options()->context, &message);
    }
    IWQ_Host* const host = previous();
    return host ? host->AskMessage(text, style, defaultAnswer, flags)
                : CWQ_DefaultHost::AskMessage(text, style, defaultAnswer, flags);
}

std::wstring CServerServices::GetText(unsigned id, const char* codeName)
{
    IWQ_Host* const host = previous();
    return host ? host->GetText(id, codeName) : CWQ_DefaultHost::GetText(id, codeName);
}

std::shared_ptr<spdlog::logger> CServerServices::GetLogger(const std::string& name)
{
    IWQ_Host* const host = previous();
    return host ? host->GetLogger(name) : CWQ_DefaultHost::GetLogger(name);
}

int CServerServices::GenerateErrorReport(const SMOXCrashRecord& record)
{
    IWQ_Host* const host = previous();
    return host ? host->GenerateErrorReport(record) : CWQ_DefaultHost::GenerateErrorReport(record);
}
