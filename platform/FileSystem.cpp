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

/// Appends the rest of the file. The length told at the open is a guess only: a stranger may write meanwhile.
eOsError ReadToEnd(IFile& file, std::string& bytes, std::size_t expected, std::size_t maxBytes)
{
    constexpr std::size_t kStep = 4096;
    std::size_t used = 0;
    for (;;) {
        // One byte more than expected, so that the end shows in the same read that brings the last byte.
        const std::size_t wanted = used < expected ? expected - used + 1 : kStep;
        bytes.resize(used + std::min(wanted, maxBytes - used + 1));
        std::size_t read = 0;
        const auto error = file.Read(std::as_writable_bytes(std::span(bytes).subspan(used)), read);
        used += error == eOsError_None ? read : 0;
        const bool atEnd = error != eOsError_None || used < bytes.size();
        if (used > maxBytes) {
            bytes.clear();
            return eOsError_NotSupported;
        }
        if (atEnd && (read == 0 || error != eOsError_None || used >= expected)) {
            bytes.resize(error == eOsError_None ? used : 0);
            return error;
        }
    }
}

} // namespace

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

eOsError ReadWholeFile(const std::wstring& path, eOpenMode mode, std::string& bytes, std::size_t maxBytes)
{
    bytes.clear();
    if (mode == eOpenMode_WriteExclusive) {
        return eOsError_InvalidParameter;
    }
    std::unique_ptr<IFile> file;
    if (const auto error = Files().Open(path, mode, file); error != eOsError_None) {
        return error;
    }
    SFileAttributes attributes;
    if (const auto error = file->GetAttributes(attributes); error != eOsError_None) {
        return error;
    }
    if (attributes.length > maxBytes) {
        return eOsError_NotSupported;
    }
    return ReadToEnd(*file, bytes, static_cast<std::size_t>(attributes.length), maxBytes);
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
