#include "TaskHostInbox.h"

#include "TaskHostLine.h"
#include "platform/Process.h"

#include <utility>

using TaskHostLine::NumberOf;

namespace {

constexpr int kNobodyLeft = 1;

} // namespace

CTaskHostInbox::~CTaskHostInbox()
{
    static_cast<void>(m_thread.Join());
}

bool CTaskHostInbox::Read(std::vector<CString>& words) const
{
    CString line;
    return m_channel.ReadLine(line, TaskHostLine::kLongest) && TaskHostLine::Split(line, words);
}

bool CTaskHostInbox::Start()
{
    return m_thread.Start([this] {
        platform::SetCurrentThreadName("zel-task-host::Inbox");
        ReadAll();
        return 0U;
    });
}

void CTaskHostInbox::ReadAll()
{
    std::vector<CString> words;
    do {
        if (!Read(words) || !Take(words))
            platform::EndProcess(kNobodyLeft);
    } while (words[0] != L"end");
}

bool CTaskHostInbox::Take(const std::vector<CString>& words)
{
    const CString& what = words[0];
    const platform::CMutexLock lock(m_mutex);
    if (what == L"run" && words.size() == 5 && NumberOf(words[4])) {
        m_bCanceled = false;
        m_request = {words[1], words[2] == L"1", words[3], *NumberOf(words[4])};
    } else if (what == L"removed" && words.size() == 2 && NumberOf(words[1])) {
        m_removal = static_cast<platform::eOsError>(*NumberOf(words[1]));
    } else if (what == L"cancel") {
        m_bCanceled = true;
    } else if (what == L"closing") {
        m_bClosing = true;
    } else if (what == L"end") {
        m_bEnd = true;
    } else {
        return false;
    }
    m_changed.NotifyAll();
    return true;
}

std::optional<CTaskHostInbox::SRequest> CTaskHostInbox::WaitForRequest()
{
    platform::CMutexLock lock(m_mutex);
    m_changed.Wait(lock, [this]() ZEL_REQUIRES(m_mutex) { return m_bEnd || m_request.has_value(); });
    return std::exchange(m_request, std::nullopt);
}

platform::eOsError CTaskHostInbox::WaitForRemoval()
{
    platform::CMutexLock lock(m_mutex);
    m_changed.Wait(lock, [this]() ZEL_REQUIRES(m_mutex) { return m_removal.has_value(); });
    return *std::exchange(m_removal, std::nullopt);
}

HRESULT CTaskHostInbox::GetHostService(REFIID, void** service)
{
    if (service == nullptr)
        return E_POINTER;
    *service = nullptr;
    return E_NOINTERFACE;
}
