#include "platform/FileSystem.h"

#include "platform/Os.h"
#include "platform/Path.h"

#include <algorithm>

namespace platform {
namespace {

/// Without the separators at its end, but "/" stays what it is.
std::wstring WithoutTrailingSeparators(const std::wstring& path)
{
    std::size_t length = path.size();
    while (length > 1 && IsPathSeparator(path[length - 1]) && path[length - 2] != L':') {
        --length;
    }
    return path.substr(0, length);
}

/// Whether the file is longer by its own account. One that is all holes costs its maker nothing.
bool IsLonger(IFile& file, std::size_t maxBytes)
{
    SFileAttributes attributes;
    return Succeeded(file.GetAttributes(attributes)) && attributes.length > maxBytes;
}

/// Reads until the end shows. Asking a short file for its length first would cost more than the one read that finds
/// nothing.
eOsError ReadToEnd(IFile& file, std::string& bytes, std::size_t maxBytes)
{
    constexpr std::size_t kFirst = 4096; // most files of the protocol are shorter
    // One byte more than allowed tells a file that is too long.
    const std::size_t limit = maxBytes < bytes.max_size() ? maxBytes + 1 : maxBytes;
    std::size_t used = 0;
    for (;;) {
        if (used == kFirst && IsLonger(file, maxBytes))
            return eOsError_NotSupported;
        if (used == bytes.size())
            bytes.resize(std::min(std::max(used * 2, kFirst), limit));
        std::size_t read = 0;
        const auto error = file.Read(std::as_writable_bytes(std::span(bytes).subspan(used)), read);
        if (error != eOsError_None)
            return error;
        if (read == 0)
            break;
        used += read;
        if (used > maxBytes)
            return eOsError_NotSupported;
    }
    bytes.resize(used);
    return eOsError_None;
}

} // namespace

eOsError IFileSystem::List(const std::wstring& directory, std::vector<SDirectoryEntry>& entries)
{
    entries.clear();
    return Visit(directory, [&](const SDirectoryEntry& entry) {
        entries.push_back(entry);
        return true;
    });
}

bool PathExists(const std::wstring& path)
{
    SFileAttributes attributes;
    return Files().GetAttributes(path, attributes) == eOsError_None;
}

bool DirectoryExists(const std::wstring& path)
{
    SFileAttributes attributes;
    return Files().GetAttributes(WithoutTrailingSeparators(path), attributes) == eOsError_None &&
           attributes.isDirectory;
}

eOsError SyncDirectory(const std::wstring& directory)
{
    std::unique_ptr<IDirectorySync> sync;
    const auto error = Files().OpenForSync(directory, sync);
    return error != eOsError_None ? error : sync->Sync();
}

eOsError ReadWholeFile(const std::wstring& path, eOpenMode mode, std::string& bytes, std::size_t maxBytes)
{
    bytes.clear();
    if (mode != eOpenMode_ReadExclusive && mode != eOpenMode_ReadShared) {
        return eOsError_InvalidParameter;
    }
    std::unique_ptr<IFile> file;
    if (const auto error = Files().Open(path, mode, file); error != eOsError_None) {
        return error;
    }
    const auto error = ReadToEnd(*file, bytes, maxBytes);
    if (error != eOsError_None)
        bytes.clear();
    return error;
}

eOsError WriteWholeFile(const std::wstring& path, const std::string& bytes)
{
    std::unique_ptr<IFile> file;
    if (const auto error = Files().Open(path, eOpenMode_WriteExclusive, file); error != eOsError_None) {
        return error;
    }
    const auto written = bytes.empty() ? eOsError_None : file->Write(std::as_bytes(std::span(bytes)));
    const auto closed = file->Close();
    return written != eOsError_None ? written : closed;
}

} // namespace platform
