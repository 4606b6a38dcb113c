#include "apps/zel/FileCopy.h"

#include "platform/Os.h"

#include <vector>

using namespace std::chrono_literals;

namespace {

constexpr std::size_t kChunk = 256 * 1024;
constexpr std::chrono::nanoseconds kRemovePatience = 2s;

std::wstring Reason(const std::wstring& path, const wchar_t* what, platform::eOsError error)
{
    return L"'" + path + L"' cannot be " + what + L": " + platform::OsErrorText(error);
}

bool CopyChunks(platform::IFile& source, const std::wstring& from, platform::IFile& target, const std::wstring& to,
                std::wstring& error)
{
    std::vector<std::byte> buffer(kChunk);
    for (;;) {
        std::size_t read = 0;
        platform::eOsError result = source.Read(buffer, read);
        if (!platform::Succeeded(result)) {
            error = Reason(from, L"read", result);
            return false;
        }
        const bool isEnd = read == 0;
        if (isEnd)
            result = target.Sync();
        else
            result = target.Write(std::span(buffer).first(read));
        if (!platform::Succeeded(result)) {
            error = Reason(to, L"written", result);
            return false;
        }
        if (isEnd)
            return true;
    }
}

} // namespace

bool CopyContent(const std::wstring& from, const std::wstring& to, std::wstring& error)
{
    std::unique_ptr<platform::IFile> source;
    std::unique_ptr<platform::IFile> target;
    if (platform::DirectoryExists(from)) {
        error = L"'" + from + L"' is a directory";
        return false;
    }
    platform::eOsError result = platform::Files().Open(from, platform::eOpenMode_ReadShared, source);
    if (!platform::Succeeded(result)) {
        error = Reason(from, L"read", result);
        return false;
    }
    result = platform::Files().Open(to, platform::eOpenMode_WriteExclusive, target);
    if (!platform::Succeeded(result)) {
        error = Reason(to, L"created", result);
        return false;
    }
    bool isCopied = CopyChunks(*source, from, *target, to, error);
    if (result = target->Close(); isCopied && !platform::Succeeded(result)) {
        error = Reason(to, L"written", result);
        isCopied = false;
    }
    target.reset();
    if (!isCopied)
        static_cast<void>(platform::Files().Remove(to));
    return isCopied;
}

platform::eOsError RemoveWhenFree(const std::wstring& path)
{
    const auto end = platform::Clock().Steady() + kRemovePatience;
    for (;;) {
        const platform::eOsError error = platform::Files().Remove(path);
        if (platform::IsAbsent(error))
            return platform::eOsError_None;
        if (error != platform::eOsError_SharingViolation || platform::Clock().Steady() >= end)
            return error;
        platform::Clock().SleepFor(1ms);
    }
}
