#include "apps/zel-server/ServerDirectories.h"

#include "ZEL_Processor/ZelProtocolNames.h"
#include "apps/common/Directories.h"
#include "apps/common/DirectoryTrial.h"
#include "platform/Installation.h"
#include "platform/NameKind.h"
#include "platform/Os.h"
#include "platform/Path.h"
#include "platform/Text.h"

#include "ServerTexts.h"

#include <algorithm>

namespace {

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

/// make: makes a missing one, or tries whether it could be made.
bool ProvideDirectory(const std::wstring& path, const SDirectoryTexts& texts, bool create,
                      platform::eOsError (*make)(const std::wstring&), std::wstring& error)
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
    const platform::eOsError created = make(path);
    if (!platform::Succeeded(created))
        error = WQ_ModuleText(texts.notCreated, {path, platform::OsErrorText(created)});
    return platform::Succeeded(created);
}

/// What may be wrong with a claim.
struct SClaimTexts {
    const STextCode& inUse;
    const STextCode& inUseBy;
    const STextCode& notClaimed;
};
constexpr SClaimTexts kOutputClaimTexts{ServerTexts::IDS_OUTPUT_DIR_IN_USE, ServerTexts::IDS_OUTPUT_DIR_IN_USE_BY,
                                        ServerTexts::IDS_OUTPUT_DIR_NOT_CLAIMED};
constexpr SClaimTexts kRequestClaimTexts{ServerTexts::IDS_REQUEST_DIR_IN_USE, ServerTexts::IDS_REQUEST_DIR_IN_USE_BY,
                                         ServerTexts::IDS_REQUEST_DIR_NOT_CLAIMED};

/// Whether a directory is no longer there, or something else is in its place. What cannot be looked at is not gone.
bool IsGone(const std::wstring& directory)
{
    platform::SFileAttributes attributes;
    const platform::eOsError looked = platform::Files().GetAttributes(directory, attributes);
    return platform::IsAbsent(looked) || (platform::Succeeded(looked) && !attributes.isDirectory);
}

/// Without what it lies in: where that is gone as well, the directory may have been on another volume.
bool Remake(const std::wstring& path, const STextCode& lost, const std::wstring& outputDir, std::wstring& error)
{
    platform::eOsError made = platform::Files().MakeDirectory(path);
    if (platform::Succeeded(made) || made == platform::eOsError_AlreadyExists)
        made = platform::CheckOwnDirectory(path); // somebody may have been faster
    if (!platform::Succeeded(made))
        error = WQ_ModuleText(lost, {outputDir, platform::OsErrorText(made)});
    return platform::Succeeded(made);
}

/// True for a claim that succeeded. The server that holds it is told by its process; without one when it left no
/// number.
bool HasClaim(platform::eOsError result, const std::wstring& directory, const SClaimTexts& texts, std::wstring& error)
{
    if (platform::Succeeded(result))
        return true;
    const std::wstring process =
        result == platform::eOsError_SharingViolation ? CDirectoryClaim::HolderOf(directory) : std::wstring();
    if (result != platform::eOsError_SharingViolation)
        error = WQ_ModuleText(texts.notClaimed, {directory, platform::OsErrorText(result)});
    else
        error = process.empty() ? WQ_ModuleText(texts.inUse, {directory})
                                : WQ_ModuleText(texts.inUseBy, {process, directory});
    return false;
}

} // namespace

bool CServerDirectories::Prepare(const SServerOptions& options, std::wstring& error,
                                 const std::function<bool()>& mayWait)
{
    const auto hasClaim = [&](CDirectoryClaim& claim, const std::wstring& directory, const SClaimTexts& texts) {
        platform::eOsError taken = claim.Take(directory);
        while (taken == platform::eOsError_SharingViolation && mayWait())
            taken = claim.Take(directory);
        return HasClaim(taken, directory, texts, error);
    };
    m_strRequestDir = options.requestDir;
    m_strOutputDir = options.outputDir;
    return ProvideDirectory(options.requestDir, kRequestTexts, options.createDirs, platform::MakeDirectories, error) &&
           ProvideDirectory(options.outputDir, kOutputTexts, options.createDirs, platform::MakeDirectories, error) &&
           CheckApart(options, error) && CheckOwn(options.outputDir, error) &&
           (options.adopt || CheckNothingForeign(options.outputDir, error)) &&
           hasClaim(m_outputClaim, options.outputDir, kOutputClaimTexts) &&
           (options.shareRequests || options.strict ||
            hasClaim(m_requestClaim, options.requestDir, kRequestClaimTexts));
}

void CServerDirectories::Tidy() const
{
    for (const std::wstring& directory :
         {m_strOutputDir, platform::JoinPath(m_strOutputDir, ZelProtocol::kQueueDirectory)})
        RemoveLeftTrials(directory);
}

bool CServerDirectories::WaitsForOther(const SServerOptions& options)
{
    const bool waits =
        options.takeOver || (options.resume && !options.strict && CDirectoryClaim::IsHolderDraining(options.outputDir));
    return waits && CDirectoryClaim::Ask(options.outputDir) == platform::eOsError_SharingViolation;
}

bool CServerDirectories::Check(const SServerOptions& options, std::wstring& error)
{
    const bool takesOver = WaitsForOther(options);
    return ProvideDirectory(options.requestDir, kRequestTexts, options.createDirs, TryFolder, error) &&
           ProvideDirectory(options.outputDir, kOutputTexts, options.createDirs, TryFolder, error) &&
           CheckApart(options, error) && CheckOwn(options.outputDir, error) &&
           (options.adopt || !platform::DirectoryExists(options.outputDir) ||
            CheckNothingForeign(options.outputDir, error)) &&
           (takesOver || (CheckClaims(options, error) && Try(options, error)));
}

bool CServerDirectories::CheckClaims(const SServerOptions& options, std::wstring& error)
{
    const auto mayClaim = [&error](const std::wstring& directory, const SClaimTexts& texts) {
        return !platform::DirectoryExists(directory) ||
               HasClaim(CDirectoryClaim::Ask(directory), directory, texts, error);
    };
    return mayClaim(options.outputDir, kOutputClaimTexts) &&
           (options.shareRequests || options.strict || mayClaim(options.requestDir, kRequestClaimTexts));
}

eDirectoriesState CServerDirectories::Look(std::wstring& text)
{
    const std::wstring queue = platform::JoinPath(m_strOutputDir, ZelProtocol::kQueueDirectory);
    // Of a request directory that is gone the listener tells.
    const bool isOutputClaimGone = !m_outputClaim.IsThere();
    const bool isClaimGone =
        isOutputClaimGone || (m_requestClaim.IsHeld() && !m_requestClaim.IsThere() && !IsGone(m_strRequestDir));
    const bool isQueueMissing = IsGone(queue);
    if (!isQueueMissing && !isClaimGone)
        return eDirectoriesState_Fine;
    // Last: what it held is gone with it, whenever that was.
    const bool isOutputGone = IsGone(m_strOutputDir);
    const bool isQueueGone = isQueueMissing || isOutputGone;
    if ((isOutputGone && !Remake(m_strOutputDir, ServerTexts::IDS_OUTPUT_DIR_LOST, m_strOutputDir, text)) ||
        (isQueueGone && !Remake(queue, ServerTexts::IDS_QUEUE_LOST, m_strOutputDir, text)) || !RemakeClaims(text))
        return eDirectoriesState_Lost;
    if (isQueueGone)
        static_cast<void>(platform::KeepOthersFromWriting(queue)); // fails for an administrator's, who knows
    if (text.empty())                                              // else why a claim cannot be made again
        text = WQ_ModuleText(isOutputGone  ? ServerTexts::IDS_OUTPUT_DIR_REMADE
                             : isQueueGone ? ServerTexts::IDS_QUEUE_REMADE
                                           : ServerTexts::IDS_CLAIM_REMADE,
                             {isOutputGone || isQueueGone || isOutputClaimGone ? m_strOutputDir : m_strRequestDir});
    return eDirectoriesState_Remade;
}

bool CServerDirectories::RemakeClaims(std::wstring& error)
{
    if (!m_outputClaim.IsThere() &&
        !HasClaim(m_outputClaim.Take(m_strOutputDir), m_strOutputDir, kOutputClaimTexts, error))
        return false;
    // Senders may take away what lies in the request directory, and put something else there: that must not end the
    // server, which goes on without this claim.
    if (m_requestClaim.IsHeld() && !m_requestClaim.IsThere() && !IsGone(m_strRequestDir) &&
        !HasClaim(m_requestClaim.Take(m_strRequestDir), m_strRequestDir, kRequestClaimTexts, error))
        m_requestClaim.End();
    return true;
}

bool CServerDirectories::CheckOwn(const std::wstring& outputDir, std::wstring& error)
{
    for (const std::wstring& folder :
         {platform::JoinPath(outputDir, ZelProtocol::kQueueDirectory), OwnFolder(outputDir)}) {
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
    if (platform::IsSameFile(options.requestDir, platform::JoinPath(options.outputDir, ZelProtocol::kQueueDirectory))) {
        error = WQ_ModuleText(ServerTexts::IDS_REQUEST_DIR_IS_QUEUE, {options.requestDir});
        return false;
    }
    return true;
}

bool CServerDirectories::CheckNothingForeign(const std::wstring& outputDir, std::wstring& error)
{
    if (platform::DirectoryExists(platform::JoinPath(outputDir, ZelProtocol::kQueueDirectory)))
        return true;
    std::vector<platform::SDirectoryEntry> entries;
    if (const platform::eOsError listed = platform::Files().List(outputDir, entries); !platform::Succeeded(listed)) {
        error = WQ_ModuleText(ServerTexts::IDS_OUTPUT_DIR_UNREADABLE, {outputDir, platform::OsErrorText(listed)});
        return false;
    }
    std::erase_if(entries,
                  [](const platform::SDirectoryEntry& entry) { return entry.isDirectory || IsTrial(entry.name); });
    if (entries.empty())
        return true;
    const auto first = std::ranges::min_element(entries, {}, &platform::SDirectoryEntry::name);
    error = WQ_ModuleText(ServerTexts::IDS_OUTPUT_DIR_IS_FOREIGN, {outputDir, first->name});
    return false;
}

bool CServerDirectories::IsCleared(const std::wstring& outputDir, const std::wstring& folder)
{
    // By name as well: what is yet to be created has nothing else.
    const auto isSame = [&](const std::wstring& cleared) {
        return folder == cleared || platform::IsSameFile(folder, cleared);
    };
    return isSame(outputDir) || isSame(platform::JoinPath(outputDir, ZelProtocol::kQueueDirectory));
}

std::wstring CServerDirectories::OwnFolder(const std::wstring& outputDir)
{
    return CDirectoryClaim::OwnFolder(outputDir);
}

bool CServerDirectories::Try(const SServerOptions& options, std::wstring& error)
{
    if (platform::DirectoryExists(options.requestDir) && !TryRequestDir(options.requestDir, error))
        return false;
    for (const std::wstring& directory :
         {options.outputDir, platform::JoinPath(options.outputDir, ZelProtocol::kQueueDirectory)}) {
        if (!platform::DirectoryExists(directory))
            continue;
        if (const platform::eOsError tried = TryFiles(directory); !platform::Succeeded(tried)) {
            error = WQ_ModuleText(ServerTexts::IDS_FOLDER_NOT_WRITABLE, {directory, platform::OsErrorText(tried)});
            return false;
        }
    }
    if (!options.privateFiles || !platform::DirectoryExists(options.outputDir))
        return true;
    const platform::eOsError result = platform::Files().CanMakePrivate(options.outputDir);
    if (!platform::Succeeded(result))
        error =
            WQ_ModuleText(ServerTexts::IDS_OUTPUT_DIR_NOT_PRIVATE, {options.outputDir, platform::OsErrorText(result)});
    return platform::Succeeded(result);
}

bool CServerDirectories::TryRequestDir(const std::wstring& requestDir, std::wstring& error)
{
    std::unique_ptr<platform::IDirectoryWatch> watch;
    const platform::eOsError watched = platform::Files().Watch(requestDir, platform::eWatchFilter_FileName, watch);
    if (platform::Succeeded(watched))
        return Touch(requestDir, error);
    error = WQ_ModuleText(ServerTexts::IDS_REQUEST_DIR_NOT_WATCHED, {requestDir, platform::OsErrorText(watched)});
    return false;
}

bool CServerDirectories::Touch(const std::wstring& requestDir, std::wstring& error)
{
    const platform::eOsError result = TryFiles(requestDir);
    if (!platform::Succeeded(result))
        error = WQ_ModuleText(ServerTexts::IDS_REQUEST_DIR_NOT_WRITABLE, {requestDir, platform::OsErrorText(result)});
    return platform::Succeeded(result);
}
