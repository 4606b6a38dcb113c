#include "RecordFolder.h"
#include "platform/Installation.h"
#include "platform/Os.h"
#include "platform/Path.h"

#include <memory>
#include <span>

namespace {

/// A longer one is not ours.
constexpr std::size_t kMaxBytes = 1024;

/// The content, then the name: one without the other is a record that was never made.
platform::eOsError WriteSynced(const CString& path, const std::string& bytes)
{
    std::unique_ptr<platform::IFile> file;
    platform::eOsError error = platform::Files().Open(path, platform::eOpenMode_WriteExclusive, file);
    if (platform::Succeeded(error))
        error = file->Write(std::as_bytes(std::span(bytes)));
    if (platform::Succeeded(error))
        error = file->Sync();
    if (platform::Succeeded(error))
        error = file->Close();
    return platform::Succeeded(error) ? platform::SyncDirectory(platform::DirectoryOf(path)) : error;
}

} // namespace

platform::eOsError MakeOwnFolder(const CString& folder)
{
    platform::eOsError error = platform::MakeDirectories(folder);
    if (platform::Succeeded(error))
        error = platform::CheckOwnDirectory(folder);
    // Where this fails it belongs to an administrator, who knows. Through a link it would change another folder.
    if (platform::Succeeded(error))
        static_cast<void>(platform::KeepOthersFromWriting(folder));
    return error;
}

platform::eOsError CRecordFolder::Write(const CString& name, const std::string& bytes) const
{
    const platform::eOsError error = MakeFolder();
    if (!platform::Succeeded(error))
        return error;
    return m_bSynced ? WriteSynced(PathOf(name), bytes) : platform::WriteWholeFile(PathOf(name), bytes);
}

void CRecordFolder::Remove(const CString& name) const
{
    static_cast<void>(platform::Files().Remove(PathOf(name)));
}

platform::eOsError CRecordFolder::Visit(const std::function<void(const CString&, const std::string&)>& visitor) const
{
    const platform::eOsError error = platform::Files().Visit(m_strFolder, [&](const platform::SDirectoryEntry& entry) {
        std::string bytes;
        if (entry.isDirectory)
            return true;
        if (!platform::Succeeded(
                platform::ReadWholeFile(PathOf(entry.name), platform::eOpenMode_ReadExclusive, bytes, kMaxBytes)))
            bytes.clear();
        visitor(entry.name, bytes);
        return true;
    });
    return platform::IsAbsent(error) ? platform::eOsError_None : error;
}

platform::eOsError CRecordFolder::MakeFolder() const
{
    if (platform::DirectoryExists(m_strFolder))
        return platform::eOsError_None;
    const platform::eOsError error = platform::MakeDirectories(m_strFolder);
    return platform::Succeeded(error) && m_bSynced ? platform::SyncDirectory(platform::DirectoryOf(m_strFolder))
                                                   : error;
}

CString CRecordFolder::PathOf(const CString& name) const
{
    return platform::JoinPath(m_strFolder, name);
}
