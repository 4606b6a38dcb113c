#pragma once

#include "framework/DefaultHost.h"
#include "framework/Host.h"
#include "framework/Services.h"
#include "platform/Text.h"

#include <algorithm>
#include <atomic>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

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

/// Has a Host installed before those that were there, while there are users.
template <class Host>
class Installation {
public:
    Installation() = default;
    ~Installation() { uninstall(); }
    Installation(const Installation&) = delete;
    Installation& operator=(const Installation&) = delete;

    void use()
    {
        const std::lock_guard lock(m_mutex);
        if (m_users == 0)
            install();
        ++m_users;
    }
    void release()
    {
        const std::lock_guard lock(m_mutex);
        if (--m_users == 0)
            uninstall();
    }

private:
    [[nodiscard]] static bool isOnTop(const Host& host) { return &WQ_Host() == &static_cast<const IWQ_Host&>(host); }
    void install()
    {
        const auto top = std::find_if(m_hosts.begin(), m_hosts.end(), [](const auto& host) { return isOnTop(*host); });
        if (top != m_hosts.end()) {
            m_current = top->get();
            return;
        }
        // One that was left below others is not put before them, too: they may hand on to it.
        if (m_free == nullptr)
            m_free = m_hosts.emplace_back(std::make_unique<Host>()).get();
        m_current = std::exchange(m_free, nullptr);
        m_current->setPrevious(SetWQ_Host(m_current));
    }
    /// Stays where another host was put before it meanwhile, which may hand on to it. None is destroyed: a thread may
    /// be in it.
    void uninstall()
    {
        if (m_current == nullptr || !isOnTop(*m_current))
            return;
        SetWQ_Host(m_current->previous());
        m_free = m_current;
    }

    std::mutex m_mutex;
    int m_users = 0;
    std::vector<std::unique_ptr<Host>> m_hosts;
    Host* m_current = nullptr;
    Host* m_free = nullptr; ///< surely not installed
};

/// The services of the process, which were there before, but for reports and boxes of a thread in such a call.
class ReportingHost final : public CWQ_DefaultHost {
public:
    void setPrevious(IWQ_Host* host) { m_previous = host; }
    [[nodiscard]] IWQ_Host* previous() const { return m_previous; }

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

private:
    std::atomic<IWQ_Host*> m_previous = nullptr;
};

/// Has the host installed for as long as it lives.
class ReportingUse {
public:
    ReportingUse() { installation().use(); }
    ~ReportingUse() { installation().release(); }
    ReportingUse(const ReportingUse&) = delete;
    ReportingUse& operator=(const ReportingUse&) = delete;

private:
    static Installation<ReportingHost>& installation()
    {
        static Installation<ReportingHost> installed;
        return installed;
    }
};

} // namespace zel::detail
