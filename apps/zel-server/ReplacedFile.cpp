#include "apps/zel-server/ReplacedFile.h"

#include "platform/Os.h"

#include <chrono>
#include <memory>
#include <span>

using namespace std::chrono_literals;

namespace {

constexpr int kReplaceTries = 10;
constexpr auto kReplacePause = 5ms;

platform::eOsError WriteNew(const std::wstring& path, const std::string& bytes)
{
    // What a killed server has left, or somebody put there: it is not written to, whatever it leads to.
    static_cast<void>(platform::Files().Remove(path));
    std::unique_ptr<platform::IFile> file;
    if (const auto error = platform::Files().Open(path, platform::eOpenMode_CreateExclusive, file);
        !platform::Succeeded(error))
        return error;
    const platform::eOsError written = file->Write(std::as_bytes(std::span(bytes)));
    const platform::eOsError closed = file->Close();
    return platform::Succeeded(written) ? closed : written;
}

} // namespace

platform::eOsError ReplaceFile(const std::wstring& path, const std::string& bytes)
{
    const std::wstring made = path + L".new";
    platform::eOsError error = WriteNew(made, bytes);
    for (int tries = 0; platform::Succeeded(error) && tries < kReplaceTries; ++tries) {
        const platform::eOsError moved = platform::Files().Move(made, path, platform::eMoveFlag_ReplaceExisting);
        if (platform::HasMoved(moved))
            return platform::eOsError_None;
        if (moved != platform::eOsError_AccessDenied && moved != platform::eOsError_SharingViolation)
            error = moved;
        else if (tries + 1 == kReplaceTries)
            error = moved;
        else
            platform::Clock().SleepFor(kReplacePause);
    }
    static_cast<void>(platform::Files().Remove(made));
    return error;
}
