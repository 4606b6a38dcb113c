#pragma once

#include "platform/FileSystem.h"
#include "platform/win32/WindowsHeader.h"

namespace platform::win32 {

/// IFileSystem::Open.
[[nodiscard]] eOsError OpenFileForMode(const std::wstring& path, eOpenMode mode, std::unique_ptr<IFile>& file);

/// IFileSystem::GetChangeTime.
[[nodiscard]] eOsError ReadChangeTime(const std::wstring& path, FileTimeNs& time);

[[nodiscard]] FileTimeNs ToNanoseconds(const FILETIME& time);

/// The two calls of the system that read attributes fill these fields in alike.
template <typename Information>
[[nodiscard]] SFileAttributes ToAttributes(const Information& information)
{
    SFileAttributes attributes;
    attributes.isDirectory = (information.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
    attributes.length = (std::uint64_t{information.nFileSizeHigh} << 32) | information.nFileSizeLow;
    attributes.times.created = ToNanoseconds(information.ftCreationTime);
    attributes.times.modified = ToNanoseconds(information.ftLastWriteTime);
    return attributes;
}

} // namespace platform::win32
