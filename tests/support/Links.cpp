#include "tests/support/Links.h"

#include "platform/Os.h"
#include "platform/Path.h"
#include "platform/Process.h"
#include "platform/StandardPath.h"

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <system_error>

namespace testsupport {
namespace {

/// The standard library for Windows has no links; the command interpreter has.
void MakeLinkByCommand(const std::wstring& target, const std::wstring& link)
{
    platform::CProcess interpreter;
    int exitCode = 0;
    if (interpreter.Start(L"cmd.exe", {L"/c", L"mklink", link, target}) == platform::eOsError_None)
        static_cast<void>(interpreter.Wait(std::chrono::seconds(60), exitCode));
}

} // namespace

bool MakeLink(const std::wstring& target, const std::wstring& link)
{
    std::error_code error;
    std::filesystem::create_symlink(platform::StandardPath(target), platform::StandardPath(link), error);
    if (error == std::errc::function_not_supported)
        MakeLinkByCommand(target, link);
    else if (error)
        return false;
    std::vector<platform::SDirectoryEntry> entries;
    const std::wstring name = platform::FileNameOf(link);
    return platform::SystemFiles().List(platform::DirectoryOf(link), entries) == platform::eOsError_None &&
           std::any_of(entries.begin(), entries.end(), [&](const auto& entry) { return entry.name == name; });
}

} // namespace testsupport
