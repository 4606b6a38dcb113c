#pragma once

#include "framework/DefaultHost.h"
#include "framework/Services.h"
#include "platform/Text.h"

#include <atomic>
#include <memory>
#include <mutex>
#include <string>

/// What the library reports while it works for a call of zel becomes the reason of that call, and goes nowhere else. No
/// part of what zel promises.
namespace zel::detail {

/// Collects what is reported on this thread for as long as the object lives. On the stack only.
class Reports {
public:
    Reports() : m_outer(current()) { current() = this; }
    ~Reports() { current() = m_outer; }
    Reports(const Reports&) = delete;
    Reports& operator=(const Reports&) = delete;

    /// Everything that was said, UTF-8, in one line.
    [[nodiscard]] const std::string& text() const { return m_text; }
    /// The same behind words of the caller's own.
    [[nodiscard]] std::string behind(std::string words) const { return m_text.empty() ? words : words + ": " + m_text; }

    void add(const std::wstring& message)
    {
        if (m_text.size() > kMaxText)
            return;
        if (!m_text.empty())
            m_text += "; ";
        for (const char character : platform::ToUtf8(message)) {
            const bool isBreak = character == '\n' || character == '\r';
            if (!isBreak || (!m_text.empty() && m_text.back() != ' '))
                m_text += isBreak ? ' ' : character;
        }
    }
    /// Of this thread; null outside a call.
    [[nodiscard]] static Reports*& current()
    {
        static thread_local Reports* reports = nullptr;
        return reports;
    }

private:
    static constexpr std::size_t kMaxText = 4096;

    Reports* m_outer;
    std::string m_text;
};

/// The services of the process, which were there before, but for reports and boxes of a thread in such a call.
class ReportingHost final : public CWQ_DefaultHost {
public:
    static ReportingHost& instance()
    {
        static ReportingHost host;
        return host;
    }
    virtual ~ReportingHost() { uninstall(); }

    void ReportError(const SWQ_ErrorReport& report) override
    {
        if (Reports* const reports = Reports::current())
            reports->add(report.message);
        else if (IWQ_Host* const host = m_previous.load())
            host->ReportError(report);
        else
            CWQ_DefaultHost::ReportError(report);
    }
    int ShowMessage(const std::wstring& text, unsigned style, unsigned flags) override
    {
        if (Reports* const reports = Reports::current()) {
            reports->add(text);
            return eMessageAnswer_Ok;
        }
        IWQ_Host* const host = m_previous.load();
        return host ? host->ShowMessage(text, style, flags) : CWQ_DefaultHost::ShowMessage(text, style, flags);
    }
    int AskMessage(const std::wstring& text, unsigned style, int defaultAnswer, unsigned flags) override
    {
        IWQ_Host* const host = m_previous.load();
        return host ? host->AskMessage(text, style, defaultAnswer, flags)
                    : CWQ_DefaultHost::AskMessage(text, style, defaultAnswer, flags);
    }
    std::wstring GetText(unsigned id, const char* codeName) override
    {
        IWQ_Host* const host = m_previous.load();
        return host ? host->GetText(id, codeName) : CWQ_DefaultHost::GetText(id, codeName);
    }
    std::shared_ptr<spdlog::logger> GetLogger(const std::string& name) override
    {
        IWQ_Host* const host = m_previous.load();
        return host ? host->GetLogger(name) : CWQ_DefaultHost::GetLogger(name);
    }
    int GenerateErrorReport(const SMOXCrashRecord& record) override
    {
        IWQ_Host* const host = m_previous.load();
        return host ? host->GenerateErrorReport(record) : CWQ_DefaultHost::GenerateErrorReport(record);
    }

    void use()
    {
        const std::lock_guard lock(m_mutex);
        if (m_users++ == 0 && !isInstalled())
            m_previous = SetWQ_Host(this);
    }
    void release()
    {
        const std::lock_guard lock(m_mutex);
        if (--m_users == 0)
            uninstall();
    }

private:
    ReportingHost() = default;

    [[nodiscard]] bool isInstalled() { return &WQ_Host() == static_cast<IWQ_Host*>(this); }
    /// Stays where another host was put before it meanwhile, which may hand on to it.
    void uninstall()
    {
        if (isInstalled())
            SetWQ_Host(m_previous);
    }

    std::atomic<IWQ_Host*> m_previous = nullptr;
    std::mutex m_mutex;
    int m_users = 0;
};

/// Has the host installed for as long as it lives.
class ReportingUse {
public:
    ReportingUse() { ReportingHost::instance().use(); }
    ~ReportingUse() { ReportingHost::instance().release(); }
    ReportingUse(const ReportingUse&) = delete;
    ReportingUse& operator=(const ReportingUse&) = delete;
};

} // namespace zel::detail
