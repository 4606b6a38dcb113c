#include "platform/Module.h"
#include "platform/Path.h"
#include "platform/Text.h"

#include <cstdlib>
#include <pwd.h>
#include <unistd.h>
#include <vector>

namespace platform {
namespace {

constexpr wchar_t kConfigFolder[] = L"zel-processor";

/// From the variable, or from the user data base for a service that has no such variable.
std::wstring HomeDirectory()
{
    if (std::wstring home = Environment(L"HOME"); !home.empty())
        return home;
    std::vector<char> buffer(16 * 1024);
    passwd entry = {};
    passwd* found = nullptr;
    if (getpwuid_r(geteuid(), &entry, buffer.data(), buffer.size(), &found) != 0 || found == nullptr)
        return {};
    return FromUtf8(entry.pw_dir);
}

std::wstring WithoutSeparatorAtEnd(std::wstring path)
{
    while (path.size() > 1 && IsPathSeparator(path.back()))
        path.pop_back();
    return path;
}

} // namespace

std::wstring Environment(const wchar_t* name)
{
    const char* const value = std::getenv(ToUtf8(name).c_str());
    return value != nullptr ? FromUtf8(value) : std::wstring();
}

void SetEnvironment(const wchar_t* name, const std::wstring& value)
{
    if (value.empty())
        unsetenv(ToUtf8(name).c_str());
    else
        setenv(ToUtf8(name).c_str(), ToUtf8(value).c_str(), 1);
}

wchar_t PathListSeparator()
{
    return L':';
}

std::wstring TemporaryDirectory()
{
    const std::wstring directory = WithoutSeparatorAtEnd(Environment(L"TMPDIR"));
    return directory.empty() ? std::wstring(L"/tmp") : directory;
}

std::wstring SystemConfigDirectory()
{
    return JoinPath(L"/etc", kConfigFolder);
}

std::wstring UserConfigDirectory()
{
    std::wstring base = WithoutSeparatorAtEnd(Environment(L"XDG_CONFIG_HOME"));
    if (base.empty() || !IsPathSeparator(base.front())) { // a relative one is to be ignored
        base = HomeDirectory();
        if (base.empty())
            return {};
        base = JoinPath(WithoutSeparatorAtEnd(std::move(base)), L".config");
    }
    return JoinPath(base, kConfigFolder);
}

} // namespace platform
