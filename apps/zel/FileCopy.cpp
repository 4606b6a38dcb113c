#include "apps/zel/FileCopy.h"

#include "platform/Os.h"

#include "ToolTexts.h"

#include <vector>

using namespace std::chrono_literals;

namespace {

constexpr std::size_t kChunk = 256 * 1024;
constexpr std::chrono::nanoseconds kRemovePatience = 2s;

std::wstring Reason(const STextCode& code, const std::wstring& path, platform::eOsError error)
{
    return WQ_ModuleText(code, {path, platform::OsErrorText(error)});
}

bool CopyChunks(CToolSession& session, platform::IFile& source, const std::wstring& from, platform::IFile& target,
                const std::wstring& to, std::wstring& error)
{
    std::vector<std::byte> buffer(kChunk);
    for (;;) {
        if (session.IsInterrupted()) {
            error = WQ_ModuleText(ToolTexts::IDS_COPY_INTERRUPTED, {from});
            return false;
        }
        std::size_t read = 0;
        platform::eOsError result = source.Read(buffer, read);
        if (!platform::Succeeded(result)) {
            error = Reason(ToolTexts::IDS_CANNOT_BE_READ, from, result);
            return false;
        }
        const bool isEnd = read == 0;
        if (isEnd)
            result = target.Sync();
        else
            result = target.Write(std::span(buffer).first(read));
        if (!platform::Succeeded(result)) {
            error = Reason(ToolTexts::IDS_CANNOT_BE_WRITTEN, to, result);
            return false;
        }
        if (isEnd)
            return true;
    }
}

} // namespace

bool CopyContent(CToolSession& session, const std::wstring& from, const std::wstring& to, std::wstring& error)
{
    std::unique_ptr<platform::IFile> source;
    std::unique_ptr<platform::IFile> target;
    if (platform::DirectoryExists(from)) {
        error = WQ_ModuleText(ToolTexts::IDS_IS_A_DIRECTORY, {from});
        return false;
    }
    platform::eOsError result = platform::Files().Open(from, platform::eOpenMode_ReadShared, source);
    if (!platform::Succeeded(result)) {
        error = Reason(ToolTexts::IDS_CANNOT_BE_READ, from, result);
        return false;
    }
    result = platform::Files().Open(to, platform::eOpenMode_WriteExclusive, target);
    if (!platform::Succeeded(result)) {
        error = Reason(ToolTexts::IDS_CANNOT_BE_CREATED, to, result);
        return false;
    }
    bool isCopied = CopyChunks(session, *source, from, *target, to, error);
    if (result = target->Close(); isCopied && !platform::Succeeded(result)) {
        error = Reason(ToolTexts::IDS_CANNOT_BE_WRITTEN, to, result);
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
