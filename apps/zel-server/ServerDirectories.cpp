#include "apps/zel-server/ServerDirectories.h"

#include "ZEL_Processor/ZelProcessorClient.h"
#include "apps/common/Directories.h"
#include "platform/Installation.h"
#include "platform/NameKind.h"
#include "platform/Os.h"
#include "platform/Path.h"
#include "platform/Text.h"

#include "ServerTexts.h"

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

/// What may be wrong with one of the directories.
struct SDirectoryTexts {
    const STextCode& isFile;
    const STextCode& missing;
    const STextCode& notCreated;
};
constexpr SDirectoryTexts kRequestTexts{ServerTexts::IDS_REQUEST_DIR_IS_FILE, ServerTexts::IDS_REQUEST_DIR_MISSING,
                                        ServerTexts::IDS_REQUEST_DIR_NOT_CREATED};
constexpr SDirectoryTexts kOutputTexts{ServerTexts::IDS_OUTPUT_DIR_IS_FILE, ServerTexts::IDS_OUTPUT_DIR_MISSING,
                                       ServerTexts::IDS_OUTPUT_DIR_NOT_CREATED};

bool ProvideDirectory(const std::wstring& path, const SDirectoryTexts& texts, bool create, std::wstring& error)
{
    if (platform::DirectoryExists(path))
        return true;
    if (platform::PathExists(path)) {
        error = WQ_ModuleText(texts.isFile, {path});
        return false;
    }
    if (!create) {
        error = WQ_ModuleText(texts.missing, {path});
        return false;
    }
    const platform::eOsError created = platform::MakeDirectories(path);
    if (!platform::Succeeded(created))
        error = WQ_ModuleText(texts.notCreated, {path, platform::OsErrorText(created)});
    return platform::Succeeded(created);
}

/// The server that holds the claim is told by its process; without one when it left no number.
std::wstring ClaimedText(const std::wstring& outputDir, const std::wstring& processFile)
{
    std::string text;
    if (!platform::Succeeded(
            platform::ReadWholeFile(processFile, platform::eOpenMode_ReadShared, text, kMaxProcessText)))
        text.clear();
    const bool isNumber =
        !text.empty() && std::ranges::all_of(text, [](char digit) { return digit >= '0' && digit <= '9'; });
    return isNumber ? WQ_ModuleText(ServerTexts::IDS_OUTPUT_DIR_IN_USE_BY, {platform::FromUtf8(text), outputDir})
                    : WQ_ModuleText(ServerTexts::IDS_OUTPUT_DIR_IN_USE, {outputDir});
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
    return ProvideDirectory(options.requestDir, kRequestTexts, options.createDirs, error) &&
           ProvideDirectory(options.outputDir, kOutputTexts, options.createDirs, error) && CheckApart(options, error) &&
           CheckOwn(options.outputDir, error) && (options.adopt || CheckNothingForeign(options.outputDir, error)) &&
           Claim(options.outputDir, error);
}

bool CServerDirectories::CheckOwn(const std::wstring& outputDir, std::wstring& error)
{
    for (const std::wstring& folder : {platform::JoinPath(outputDir, kQueueFolder), OwnFolder(outputDir)}) {
        const platform::eOsError checked = platform::CheckOwnDirectory(folder);
        if (platform::Succeeded(checked) || platform::IsAbsent(checked))
            continue;
        error = WQ_ModuleText(ServerTexts::IDS_FOLDER_NOT_OWN, {folder, platform::OsErrorText(checked)});
        return false;
    }
    return true;
}

bool CServerDirectories::CheckApart(const SServerOptions& options, std::wstring& error)
{
    if (platform::IsSameFile(options.requestDir, options.outputDir)) {
        error = WQ_ModuleText(ServerTexts::IDS_SAME_DIRECTORY, {options.requestDir, options.outputDir});
        return false;
    }
    if (platform::IsSameFile(options.requestDir, platform::JoinPath(options.outputDir, kQueueFolder))) {
        error = WQ_ModuleText(ServerTexts::IDS_REQUEST_DIR_IS_QUEUE, {options.requestDir});
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
        error = WQ_ModuleText(ServerTexts::IDS_OUTPUT_DIR_UNREADABLE, {outputDir, platform::OsErrorText(listed)});
        return false;
    }
    std::erase_if(entries, [](const platform::SDirectoryEntry& entry) { return entry.isDirectory; });
    if (entries.empty())
        return true;
    const auto first = std::ranges::min_element(entries, {}, &platform::SDirectoryEntry::name);
    error = WQ_ModuleText(ServerTexts::IDS_OUTPUT_DIR_IS_FOREIGN, {outputDir, first->name});
    return false;
}

bool CServerDirectories::Claim(const std::wstring& outputDir, std::wstring& error)
{
    const std::wstring folder = OwnFolder(outputDir);
    m_strProcessFile = platform::JoinPath(folder, kProcessFile);
    const std::string process = std::to_string(platform::CurrentProcessId());
    platform::eOsError result = platform::MakeDirectories(folder);
    if (platform::Succeeded(result))
        result = platform::CheckOwnDirectory(folder); // somebody may have been faster
    if (platform::Succeeded(result))
        static_cast<void>(platform::KeepOthersFromWriting(folder)); // fails for an administrator's, who knows
    if (platform::Succeeded(result))
        result = platform::Files().OpenLockFile(platform::JoinPath(folder, kClaimFile), process, m_pClaim);
    if (result == platform::eOsError_SharingViolation) {
        error = ClaimedText(outputDir, m_strProcessFile);
        return false;
    }
    if (!platform::Succeeded(result)) {
        error = WQ_ModuleText(ServerTexts::IDS_OUTPUT_DIR_NOT_CLAIMED, {outputDir, platform::OsErrorText(result)});
        return false;
    }
    // For people only: the claim stands without it.
    static_cast<void>(platform::WriteWholeFile(m_strProcessFile, process));
    return true;
}

bool CServerDirectories::IsCleared(const std::wstring& outputDir, const std::wstring& folder)
{
    // By name as well: what is yet to be created has nothing else.
    const auto isSame = [&](const std::wstring& cleared) {
        return folder == cleared || platform::IsSameFile(folder, cleared);
    };
    return isSame(outputDir) || isSame(platform::JoinPath(outputDir, kQueueFolder));
}

std::wstring CServerDirectories::OwnFolder(const std::wstring& outputDir)
{
    return platform::JoinPath(outputDir, kOwnFolder);
}

bool CServerDirectories::Try(const std::wstring& requestDir, std::wstring& error)
{
    std::unique_ptr<platform::IDirectoryWatch> watch;
    const platform::eOsError watched = platform::Files().Watch(requestDir, platform::eWatchFilter_FileName, watch);
    if (platform::Succeeded(watched))
        return Touch(requestDir, error);
    error = WQ_ModuleText(ServerTexts::IDS_REQUEST_DIR_NOT_WATCHED, {requestDir, platform::OsErrorText(watched)});
    return false;
}

bool CServerDirectories::TryPrivate(const std::wstring& outputDir, std::wstring& error)
{
    const platform::eOsError result = platform::Files().CanMakePrivate(outputDir);
    if (!platform::Succeeded(result))
        error = WQ_ModuleText(ServerTexts::IDS_OUTPUT_DIR_NOT_PRIVATE, {outputDir, platform::OsErrorText(result)});
    return platform::Succeeded(result);
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
        error = WQ_ModuleText(ServerTexts::IDS_REQUEST_DIR_NOT_WRITABLE, {requestDir, platform::OsErrorText(result)});
    return platform::Succeeded(result);
}
