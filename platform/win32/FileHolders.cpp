#include "platform/FileHolders.h"

#include "platform/win32/WindowsHeader.h"

#include <algorithm>
#include <array>
#include <restartmanager.h>

// The Restart Manager of the system knows who uses a file, in every session that this user may look into. It is asked
// for where it is; a path beyond the classic limit it does not take.

namespace platform {
namespace win32 {
namespace {

constexpr UINT kMaxHolders = 5;

/// The module of the Restart Manager, loaded at the first question; null where there is none.
template <typename Function>
Function ManagerFunction(const char* name)
{
    static const HMODULE s_module = LoadLibraryExW(L"rstrtmgr.dll", nullptr, LOAD_LIBRARY_SEARCH_SYSTEM32);
    return s_module == nullptr ? nullptr : reinterpret_cast<Function>(GetProcAddress(s_module, name));
}

/// A session of the Restart Manager with one file. Not copied: its end is the session's.
class CSession {
public:
    explicit CSession(const std::wstring& path)
    {
        const auto start = ManagerFunction<decltype(&RmStartSession)>("RmStartSession");
        const auto add = ManagerFunction<decltype(&RmRegisterResources)>("RmRegisterResources");
        std::array<WCHAR, CCH_RM_SESSION_KEY + 1> key{};
        const WCHAR* name = path.c_str();
        m_isOpen = start != nullptr && add != nullptr && start(&m_session, 0, key.data()) == ERROR_SUCCESS;
        m_hasFile = m_isOpen && add(m_session, 1, &name, 0, nullptr, 0, nullptr) == ERROR_SUCCESS;
    }
    ~CSession()
    {
        const auto end = ManagerFunction<decltype(&RmEndSession)>("RmEndSession");
        if (m_isOpen && end != nullptr)
            end(m_session);
    }
    CSession(const CSession&) = delete;
    CSession& operator=(const CSession&) = delete;

    /// How many it told of.
    UINT Holders(std::array<RM_PROCESS_INFO, kMaxHolders>& holders) const
    {
        const auto list = ManagerFunction<decltype(&RmGetList)>("RmGetList");
        UINT needed = 0;
        UINT count = kMaxHolders;
        DWORD reasons = 0;
        if (!m_hasFile || list == nullptr)
            return 0;
        // "More data" is told with what there is room for, or with nothing.
        const DWORD error = list(m_session, &needed, &count, holders.data(), &reasons);
        return error == ERROR_SUCCESS || error == ERROR_MORE_DATA ? std::min(count, kMaxHolders) : 0;
    }

private:
    DWORD m_session = 0;
    bool m_isOpen = false;
    bool m_hasFile = false;
};

std::wstring NameOf(const RM_PROCESS_INFO& holder)
{
    std::wstring name = holder.strAppName;
    std::ranges::replace_if(
        name, [](wchar_t letter) { return letter < L' '; }, L'?');
    return name;
}

} // namespace
} // namespace win32

std::wstring FileHolders(const std::wstring& path)
{
    const win32::CSession session(path);
    std::array<RM_PROCESS_INFO, win32::kMaxHolders> holders{};
    const UINT count = session.Holders(holders);
    std::wstring text;
    for (UINT index = 0; index < count; ++index) {
        const std::wstring name = win32::NameOf(holders[index]);
        text += (text.empty() ? L"process " : L", process ") + std::to_wstring(holders[index].Process.dwProcessId);
        text += name.empty() ? L"" : L" (" + name + L")";
    }
    return text;
}

} // namespace platform
