#include "apps/zel-server/DirectoryTrial.h"

#include "ZEL_Processor/ZelProcessorClient.h"
#include "platform/FileSystem.h"
#include "platform/Os.h"
#include "platform/Path.h"

#include <chrono>

using namespace std::chrono_literals;

namespace {

/// Who looks at every new file, as scanners and indexers do, has it for a moment.
constexpr int kTries = 20;
constexpr auto kPause = 10ms;

template <class Step>
platform::eOsError WhileHeld(Step step)
{
    platform::eOsError result = step();
    for (int tries = 1; result == platform::eOsError_SharingViolation && tries < kTries; ++tries) {
        platform::Clock().SleepFor(kPause);
        result = step();
    }
    return result;
}

/// The extension is none that a server looks at.
std::wstring NewNameIn(const std::wstring& directory)
{
    return platform::JoinPath(directory, L".zel-server-" + CZelProcessorClient::GetUniqueString() + L".tmp");
}

} // namespace

platform::eOsError TryFiles(const std::wstring& directory)
{
    const std::wstring made = NewNameIn(directory);
    const std::wstring renamed = NewNameIn(directory);
    const platform::eOsError written = platform::WriteWholeFile(made, {});
    if (!platform::Succeeded(written))
        return written;
    const platform::eOsError moved =
        WhileHeld([&] { return platform::Files().Move(made, renamed, platform::eMoveFlag_None); });
    const platform::eOsError removed =
        WhileHeld([&] { return platform::Files().Remove(platform::HasMoved(moved) ? renamed : made); });
    return platform::Succeeded(moved) ? removed : moved;
}

platform::eOsError TryFolder(const std::wstring& directory)
{
    std::wstring parent = directory;
    while (!parent.empty() && !platform::PathExists(parent) && platform::DirectoryOf(parent) != parent)
        parent = platform::DirectoryOf(parent);
    const std::wstring made = NewNameIn(parent);
    const platform::eOsError result = platform::Files().MakeDirectory(made);
    return platform::Succeeded(result) ? WhileHeld([&] { return platform::Files().RemoveEmptyDirectory(made); })
                                       : result;
}
