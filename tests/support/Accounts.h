#pragma once

#include "platform/Process.h"
#include "platform/Text.h"

#include <chrono>
#include <string>
#include <vector>

/// Programs under several accounts, where a test may start them: the superuser on a system that has setpriv. The
/// accounts are numbers and need not exist.
namespace testsupport {

constexpr unsigned kServerAccount = 64101;
constexpr unsigned kClientAccount = 64102;
constexpr unsigned kOtherAccount = 64103;
/// All of them are in it.
constexpr unsigned kAccountsGroup = 64110;

struct SCommand {
    std::wstring program;
    std::vector<std::wstring> arguments;
};

/// The command under an account, with a mask for the files that it makes. 0 is the superuser.
[[nodiscard]] inline SCommand AsAccount(unsigned account, const SCommand& command, const std::wstring& mask = L"022")
{
    const std::wstring user = std::to_wstring(account);
    SCommand result{L"/usr/bin/setpriv",
                    {L"--reuid=" + user, L"--regid=" + user, L"--groups=" + std::to_wstring(kAccountsGroup), L"--",
                     L"/bin/sh", L"-c", L"umask " + mask + L"; exec \"$0\" \"$@\"", command.program}};
    result.arguments.insert(result.arguments.end(), command.arguments.begin(), command.arguments.end());
    return result;
}

/// True when the command ran and ended well.
[[nodiscard]] inline bool Succeeds(const SCommand& command)
{
    platform::CProcess process;
    int code = -1;
    return platform::Succeeded(process.Start(command.program, command.arguments)) &&
           process.Wait(std::chrono::seconds(20), code) && code == 0;
}

/// Why a test can't run here.
[[nodiscard]] inline bool HasAccounts()
{
    return Succeeds(AsAccount(kOtherAccount, {L"/bin/true", {}}));
}

/// Gives a directory to an account and to the group of all, as an installation does for the server.
[[nodiscard]] inline bool GiveDirectory(const std::wstring& path, unsigned account)
{
    const std::wstring owner = std::to_wstring(account) + L":" + std::to_wstring(kAccountsGroup);
    return Succeeds({L"/bin/chown", {owner, path}}) && Succeeds({L"/bin/chmod", {L"2770", path}});
}

/// Lets everybody pass through a directory.
[[nodiscard]] inline bool OpenDirectory(const std::wstring& path)
{
    return Succeeds({L"/bin/chmod", {L"0755", path}});
}

} // namespace testsupport
