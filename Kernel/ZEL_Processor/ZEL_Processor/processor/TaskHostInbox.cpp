#include "TaskHostInbox.h"

#include "TaskHostLine.h"
#include "platform/Os.h"
#include "platform/Process.h"

#include <chrono>

using TaskHostLine::NumberOf;

namespace {

constexpr int kNobodyLeft = 1;
/// Asking costs a call of the system.
constexpr std::chrono::milliseconds kBetweenLooks{1};

} // namespace

bool CTaskHostInbox::Read(std::vector<CString>& words) const
{
    CString line;
    return m_channel.ReadLine(line, TaskHostLine::kLongest) && TaskHostLine::Split(line, words);
}

void CTaskHostInbox::WaitForLine(std::vector<CString>& words)
{
    {
        const platform::CMutexLock lock(m_mutex);
        m_bWaits = true;
    }
    do {
        if (!Read(words))
            platform::EndProcess(kNobodyLeft);
    } while (TakeNews(words));
    const platform::CMutexLock lock(m_mutex);
    m_bWaits = false;
}

/// Takes what has come, and waits for nothing. It may be called as often as a task likes.
void CTaskHostInbox::Look()
{
    const std::int64_t now = platform::Clock().Steady().count();
    if (now < m_nNextLook)
        return;
    const platform::CMutexLock lock(m_mutex);
    m_nNextLook = now + std::chrono::nanoseconds(kBetweenLooks).count();
    std::vector<CString> words;
    while (!m_bWaits && m_channel.HasInput()) {
        if (!Read(words) || !TakeNews(words))
            platform::EndProcess(kNobodyLeft);
    }
}

bool CTaskHostInbox::TakeNews(const std::vector<CString>& words)
{
    if (words.size() != 1 || (words[0] != L"cancel" && words[0] != L"closing"))
        return false;
    (words[0] == L"cancel" ? m_bCanceled : m_bClosing) = true;
    return true;
}

bool CTaskHostInbox::IsCanceled()
{
    Look();
    return m_bCanceled;
}

bool CTaskHostInbox::IsClosing()
{
    Look();
    return m_bClosing;
}

std::optional<CTaskHostInbox::SRequest> CTaskHostInbox::WaitForRequest()
{
    std::vector<CString> words;
    WaitForLine(words);
    if (words.size() == 1 && words[0] == L"end")
        return std::nullopt;
    if (words.size() != 5 || words[0] != L"run" || !NumberOf(words[4]))
        platform::EndProcess(kNobodyLeft);
    m_bCanceled = false; // what was told late is of the request before
    return SRequest{words[1], words[2] == L"1", words[3], *NumberOf(words[4])};
}

platform::eOsError CTaskHostInbox::WaitForRemoval()
{
    std::vector<CString> words;
    WaitForLine(words);
    if (words.size() != 2 || words[0] != L"removed" || !NumberOf(words[1]))
        platform::EndProcess(kNobodyLeft);
    return static_cast<platform::eOsError>(*NumberOf(words[1]));
}

HRESULT CTaskHostInbox::GetHostService(REFIID, void** service)
{
    if (service == nullptr)
        return E_POINTER;
    *service = nullptr;
    return E_NOINTERFACE;
}
