#include "platform/AccountName.h"

#include "platform/win32/WindowsHeader.h"

#include <array>
#include <sddl.h>

namespace platform {

std::wstring AccountName(const FileOwner& owner)
{
    std::string bytes = owner;
    if (bytes.empty() || !IsValidSid(bytes.data())) {
        return {};
    }
    std::array<wchar_t, 256> name{};
    std::array<wchar_t, 256> domain{};
    auto nameLength = static_cast<DWORD>(name.size());
    auto domainLength = static_cast<DWORD>(domain.size());
    SID_NAME_USE use{};
    if (LookupAccountSidW(nullptr, bytes.data(), name.data(), &nameLength, domain.data(), &domainLength, &use)) {
        return name.data();
    }
    wchar_t* number = nullptr;
    if (!ConvertSidToStringSidW(bytes.data(), &number)) {
        return {};
    }
    std::wstring text = number;
    LocalFree(number);
    return text;
}

} // namespace platform
