#pragma once

#include "bench/BenchError.h"
#include "platform/Os.h"
#include "platform/Text.h"

#include <memory>
#include <string>

/// Status files without the library: one exclusive open, one write or read, one close, of bytes like the library's.
namespace BareStatus {

constexpr unsigned kDone = 13;

inline std::string Text(unsigned status, unsigned percent, const std::wstring& comment)
{
    std::wstring text = std::to_wstring(status) + L"\r\nProgressPerc=" + std::to_wstring(percent) + L"\r\n";
    if (!comment.empty())
        text += L"ProgressComment=" + comment + L"\r\n";
    return platform::ToUtf16Le(text);
}

/// Opens a status file, again and again while the other side has it. False when it is not there.
inline bool Open(const std::wstring& path, platform::eOpenMode mode, std::unique_ptr<platform::IFile>& file)
{
    platform::eOsError error = platform::Files().Open(path, mode, file);
    while (error == platform::eOsError_SharingViolation) {
        platform::Clock().YieldThread();
        error = platform::Files().Open(path, mode, file);
    }
    if (!platform::IsAbsent(error))
        Check(error, L"open " + path);
    return platform::Succeeded(error);
}

inline void Write(const std::wstring& path, const std::string& bytes)
{
    std::unique_ptr<platform::IFile> file;
    if (!Open(path, platform::eOpenMode_WriteExclusive, file))
        Fail(L"cannot create " + path);
    Check(file->Write(std::as_bytes(std::span(bytes))), L"write " + path);
    Check(file->Close(), L"close " + path);
}

inline bool Read(const std::wstring& path, std::string& bytes)
{
    std::unique_ptr<platform::IFile> file;
    if (!Open(path, platform::eOpenMode_ReadExclusive, file))
        return false;
    bytes.resize(1024);
    std::size_t read = 0;
    Check(file->Read(std::as_writable_bytes(std::span(bytes)), read), L"read " + path);
    bytes.resize(read);
    return true;
}

inline bool IsDone(const std::string& bytes)
{
    return bytes.starts_with(platform::ToUtf16Le(std::to_wstring(kDone) + L"\r\n"));
}

} // namespace BareStatus
