#include "plugins/common/PluginOs.h"

#include "platform/FileSystem.h"
#include "platform/Os.h"

namespace {
constexpr std::size_t kMaxTextBytes = 1024 * 1024;
}

void SleepFor(std::chrono::milliseconds duration)
{
    platform::SystemClock().SleepFor(duration);
}

std::chrono::milliseconds ElapsedTime()
{
    return std::chrono::duration_cast<std::chrono::milliseconds>(platform::SystemClock().Steady());
}

bool FileExists(const std::wstring& path)
{
    return platform::PathExists(path);
}

bool CreateEmptyFile(const std::wstring& path)
{
    return WriteTextFile(path, "");
}

bool CreateNumberedFile(const std::wstring& path)
{
    platform::eOsError error = platform::eOsError_AlreadyExists;
    for (unsigned number = 1; error == platform::eOsError_AlreadyExists; ++number) {
        std::unique_ptr<platform::IFile> file;
        error =
            platform::Files().Open(path + L'.' + std::to_wstring(number), platform::eOpenMode_CreateExclusive, file);
    }
    return platform::Succeeded(error);
}

std::string ReadTextFile(const std::wstring& path)
{
    std::string text;
    if (!platform::Succeeded(platform::ReadWholeFile(path, platform::eOpenMode_ReadShared, text, kMaxTextBytes)))
        text.clear();
    return text;
}

bool WriteTextFile(const std::wstring& path, const std::string& text)
{
    return platform::Succeeded(platform::WriteWholeFile(path, text));
}
