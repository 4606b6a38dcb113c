#include "capi/ServerServices.h"

#include "capi/Clients.h"

/// Not while a lock is held: what is called may report, and ask for texts.
class CServerServices::CUse {
public:
    explicit CUse(CServerServices& services) : m_services(services)
    {
        const platform::CMutexLock lock(m_services.m_cs);
        m_pOptions = m_services.m_pOptions;
        ++m_services.m_nUses;
        ++Depth();
    }
    ~CUse()
    {
        --Depth();
        const platform::CMutexLock lock(m_services.m_cs);
        --m_services.m_nUses;
        m_services.m_changed.NotifyAll();
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
    CServerServices& m_services;
    const zel_server_options* m_pOptions = nullptr;
};

CServerServices& CServerServices::Instance()
{
    static auto* const services = new CServerServices; // others may hand on to it to the end of the process
    return *services;
}

void CServerServices::Use()
{
    const platform::CMutexLock lock(m_cs);
    if (m_nUsers++ == 0 && !IsOnTop())
        m_pPrevious = SetWQ_Host(this);
}

void CServerServices::Release()
{
    const platform::CMutexLock lock(m_cs);
    if (--m_nUsers == 0 && IsOnTop()) // else it stays, for who lies above may hand on to it
        SetWQ_Host(m_pPrevious);
}

void CServerServices::SetCallbacks(const zel_server_options* options)
{
    CServerServices& services = Instance();
    platform::CMutexLock lock(services.m_cs);
    services.m_pOptions = options;
    services.m_changed.Wait(lock,
                            [&services]() ZEL_REQUIRES(services.m_cs) { return services.m_nUses == CUse::Depth(); });
}

void CServerServices::ReportError(const SWQ_ErrorReport& report)
{
    const CUse use(*this);
    if (use.Options() == nullptr || use.Options()->report == nullptr) {
        if (IWQ_Host* const previous = Previous())
            previous->ReportError(report);
        else
            CWQ_DefaultHost::ReportError(report);
        return;
    }
    const std::string source = SafeText(report.sourceFile);
    const std::string function = SafeText(report.function);
    const std::string message = SafeText(report.message);
    const zel_report told{sizeof told,      static_cast<std::int32_t>(report.sourceLine),
                          report.time,      source.c_str(),
                          function.c_str(), message.c_str()};
    const CInCallback inside;
    use.Options()->report(use.Options()->context, &told);
}

int CServerServices::ShowMessage(const std::wstring& text, unsigned style, unsigned flags)
{
    const CUse use(*this);
    if (use.Options() == nullptr || use.Options()->message == nullptr) {
        IWQ_Host* const previous = Previous();
        return previous ? previous->ShowMessage(text, style, flags) : CWQ_DefaultHost::ShowMessage(text, style, flags);
    }
    const std::string narrow = SafeText(text);
    const zel_message message{sizeof message, 0, style, ZEL_ANSWER_OK, narrow.c_str()};
    const CInCallback inside;
    return use.Options()->message(use.Options()->context, &message);
}

int CServerServices::AskMessage(const std::wstring& text, unsigned style, int defaultAnswer, unsigned flags)
{
    const CUse use(*this);
    if (use.Options() == nullptr || use.Options()->message == nullptr) {
        IWQ_Host* const previous = Previous();
        return previous ? previous->AskMessage(text, style, defaultAnswer, flags)
                        : CWQ_DefaultHost::AskMessage(text, style, defaultAnswer, flags);
    }
    const std::string narrow = SafeText(text);
    const zel_message message{sizeof message, 1, style, defaultAnswer, narrow.c_str()};
    const CInCallback inside;
    return use.Options()->message(use.Options()->context, &message);
}

std::wstring CServerServices::GetText(unsigned id, const char* codeName)
{
    IWQ_Host* const previous = Previous();
    return previous ? previous->GetText(id, codeName) : CWQ_DefaultHost::GetText(id, codeName);
}

std::shared_ptr<spdlog::logger> CServerServices::GetLogger(const std::string& name)
{
    IWQ_Host* const previous = Previous();
    return previous ? previous->GetLogger(name) : CWQ_DefaultHost::GetLogger(name);
}

int CServerServices::GenerateErrorReport(const SMOXCrashRecord& record)
{
    IWQ_Host* const previous = Previous();
    return previous ? previous->GenerateErrorReport(record) : CWQ_DefaultHost::GenerateErrorReport(record);
}
