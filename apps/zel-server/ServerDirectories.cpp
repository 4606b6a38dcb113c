#include "apps/zel-server/ServerDirectories.h"

#include "ZEL_Processor/ZelProcessorClient.h"
#include "apps/common/Directories.h"
#include "platform/Os.h"
#include "platform/Path.h"
#include "platform/Text.h"

#include <algorithm>

namespace {

constexpr const wchar_t* kQueueFolder = L"Queue";
/// The claim lies in a folder of its own: the start of a server deletes the files of the output directory, not those of
/// its subfolders. Being inside, it is found by every path that leads to the directory.
constexpr const wchar_t* kOwnFolder = L".zel-server";
constexpr const wchar_t* kClaimFile = L"lock";
/// A file beside the lock, because a held lock file can't be read everywhere.
constexpr const wchar_t* kProcessFile = L"process";
constexpr std::size_t kMaxProcessText = 64;

std::wstring Quoted(const std::wstring& path)
{
    return L"'" + path + L"'";
}

/// " (process 4711)" of the server that holds the claim; empty when it left no number.
std::wstring HolderText(const std::wstring& processFile)
{
    std::string text;
    if (!platform::Succeeded(
            platform::ReadWholeFile(processFile, platform::eOpenMode_ReadShared, text, kMaxProcessText)))
        return {};
    const bool isNumber =
        !text.empty() && std::ranges::all_of(text, [](char digit) { return digit >= '0' && digit <= '9'; });
    return isNumber ? L" (process " + platform::FromUtf8(text) + L")" : std::wstring();
}

} // namespace

CServerDirectories::CServerDirectories() = default;

CServerDirectories::~CServerDirectories()
{
    // Before the claim ends, or it could be the next server's.
    if (m_pClaim)
        static_cast<void>(platform::Files().Remove(m_strProcessFile));
}

bool CServerDirectories::Prepare(const SServerOptions& options, std::wstring& error)
{
    return ProvideDirectory(options.requestDir, L"request", options.createDirs, error) &&
           ProvideDirectory(options.outputDir, L"output", options.createDirs, error) && CheckApart(options, error) &&
           (options.adopt || CheckNothingForeign(options.outputDir, error)) && Claim(options.outputDir, error);
}

bool CServerDirectories::ProvideDirectory(const std::wstring& path, const wchar_t* what, bool create,
                                          std::wstring& error)
{
    const std::wstring name = std::wstring(L"the ") + what + L" directory " + Quoted(path);
    if (platform::DirectoryExists(path))
        return true;
    if (platform::PathExists(path)) {
        error = name + L" is not a directory";
        return false;
    }
    if (!create) {
        error = name + L" does not exist; --create-dirs creates it";
        return false;
    }
    const platform::eOsError created = MakeDirectories(path);
    if (!platform::Succeeded(created))
        error = name + L" cannot be created: " + platform::OsErrorText(created);
    return platform::Succeeded(created);
}

bool CServerDirectories::CheckApart(const SServerOptions& options, std::wstring& error)
{
    if (IsSameDirectory(options.requestDir, options.outputDir)) {
        error = L"the request directory " + Quoted(options.requestDir) + L" and the output directory " +
                Quoted(options.outputDir) + L" are the same directory";
        return false;
    }
    if (IsSameDirectory(options.requestDir, platform::JoinPath(options.outputDir, kQueueFolder))) {
        error = L"the request directory " + Quoted(options.requestDir) +
                L" is the Queue folder of the output directory, whose files are deleted at the start";
        return false;
    }
    return true;
}

bool CServerDirectories::CheckNothingForeign(const std::wstring& outputDir, std::wstring& error)
{
    if (platform::DirectoryExists(platform::JoinPath(outputDir, kQueueFolder)))
        return true;
    std::vector<platform::SDirectoryEntry> entries;
    if (const platform::eOsError listed = platform::Files().List(outputDir, entries); !platform::Succeeded(listed)) {
        error = L"the output directory " + Quoted(outputDir) + L" cannot be read: " + platform::OsErrorText(listed);
        return false;
    }
    std::erase_if(entries, [](const platform::SDirectoryEntry& entry) { return entry.isDirectory; });
    if (entries.empty())
        return true;
    const auto first = std::ranges::min_element(entries, {}, &platform::SDirectoryEntry::name);
    error =
        L"the output directory " + Quoted(outputDir) + L" holds files, the first is " + Quoted(first->name) +
        L", but no folder Queue, so no server has worked there; the start would delete those files. --adopt does so";
    return false;
}

bool CServerDirectories::Claim(const std::wstring& outputDir, std::wstring& error)
{
    const std::wstring folder = OwnFolder(outputDir);
    m_strProcessFile = platform::JoinPath(folder, kProcessFile);
    const std::string process = std::to_string(platform::CurrentProcessId());
    platform::eOsError result = MakeDirectories(folder);
    if (platform::Succeeded(result))
        result = platform::Files().OpenLockFile(platform::JoinPath(folder, kClaimFile), process, m_pClaim);
    if (result == platform::eOsError_SharingViolation) {
        error = L"another server" + HolderText(m_strProcessFile) + L" uses the output directory " + Quoted(outputDir);
        return false;
    }
    if (!platform::Succeeded(result)) {
        error = L"the output directory " + Quoted(outputDir) + L" cannot be claimed: " + platform::OsErrorText(result);
        return false;
    }
    // For people only: the claim stands without it.
    static_cast<void>(platform::WriteWholeFile(m_strProcessFile, process));
    return true;
}

std::wstring CServerDirectories::OwnFolder(const std::wstring& outputDir)
{
    return platform::JoinPath(outputDir, kOwnFolder);
}

bool CServerDirectories::Touch(const std::wstring& requestDir, std::wstring& error)
{
    // The name's extension is none that a server looks at.
    const std::wstring path =
        platform::JoinPath(requestDir, L".zel-server-" + CZelProcessorClient::GetUniqueString() + L".tmp");
    platform::eOsError result = platform::WriteWholeFile(path, {});
    if (platform::Succeeded(result))
        result = platform::Files().Remove(path);
    if (!platform::Succeeded(result))
        error =
            L"the request directory " + Quoted(requestDir) + L" cannot be written: " + platform::OsErrorText(result);
    return platform::Succeeded(result);
}
