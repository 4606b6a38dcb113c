#include "TaskHostInbox.h"

#include "TaskHostLine.h"
#include "platform/Os.h"
#include "platform/Process.h"

#include <chrono>
#include <utility>

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

std::vector<CString> CTaskHostInbox::WaitForLine()
{
    while (m_bReads.exchange(true))
        m_bReads.wait(true); // for a look, which waits for nothing
    std::vector<CString> words = std::exchange(m_left, {});
    while (words.empty() || TakeNews(words)) {
        if (!Read(words))
            platform::EndProcess(kNobodyLeft);
    }
    m_bReads = words[0] == L"end"; // after which the pipe may be closed
    return words;
}

/// Takes what has come, and waits for nothing. It may be called as often as a task likes.
void CTaskHostInbox::Look()
{
    const std::int64_t now = platform::Clock().Steady().count();
    if (now < m_nNextLook || m_bReads.exchange(true))
        return;
    m_nNextLook = now + std::chrono::nanoseconds(kBetweenLooks).count();
    // A thread that outlasts its request may find the next one, or the answer that its own thread is about to wait for.
    std::vector<CString> words;
    while (m_left.empty() && m_channel.HasInput()) {
        if (!Read(words))
            platform::EndProcess(kNobodyLeft);
        if (!TakeNews(words))
            m_left = std::exchange(words, {});
    }
    m_bReads = false;
    m_bReads.notify_all();
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
    const std::vector<CString> words = WaitForLine();
    if (words.size() == 1 && words[0] == L"end")
        return std::nullopt;
    if (words.size() != 5 || words[0] != L"run" || !NumberOf(words[4]))
        platform::EndProcess(kNobodyLeft);
    m_bCanceled = false; // what was told late is of the request before
    return SRequest{words[1], words[2] == L"1", words[3], *NumberOf(words[4])};
}

platform::eOsError CTaskHostInbox::WaitForRemoval()
{
    const std::vector<CString> words = WaitForLine();
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
