#include "apps/common/DirectoryTrial.h"

#include "ZEL_Processor/ZelProcessorClient.h"
#include "platform/FileSystem.h"
#include "platform/Os.h"
#include "platform/Path.h"
#include "platform/StandardPath.h"

#include <chrono>
#include <fstream>
#include <string_view>

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

constexpr std::wstring_view kPrefix = L".zel-server-";
/// None that a server looks at.
constexpr std::wstring_view kExtension = L".tmp";

std::wstring NewNameIn(const std::wstring& directory)
{
    std::wstring name(kPrefix);
    name += CZelProcessorClient::GetUniqueString();
    name += kExtension;
    return platform::JoinPath(directory, name);
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
    const platform::eOsError result = platform::Succeeded(moved) ? removed : moved;
    return result == platform::eOsError_FileNotFound ? platform::eOsError_None : result; // a start has tidied up
}

platform::eOsError TryMove(const std::wstring& from, const std::wstring& to)
{
    const std::wstring made = NewNameIn(from);
    const std::wstring moved = NewNameIn(to);
    const platform::eOsError written = platform::WriteWholeFile(made, {});
    if (!platform::Succeeded(written))
        return written;
    const platform::eOsError result =
        WhileHeld([&] { return platform::Files().Move(made, moved, platform::eMoveFlag_None); });
    const platform::eOsError removed =
        WhileHeld([&] { return platform::Files().Remove(platform::HasMoved(result) ? moved : made); });
    return platform::Succeeded(result) && !platform::IsAbsent(removed) ? removed : result;
}

platform::eOsError TryOpenFile(const std::wstring& directory, bool& isSeen)
{
    const std::wstring made = NewNameIn(directory);
    platform::eOsError written = platform::WriteWholeFile(made, {});
    if (!platform::Succeeded(written))
        return written;
    {
        const std::ofstream stranger(platform::StandardPath(made), std::ios::app);
        isSeen = platform::Files().Move(made, made, platform::eMoveFlag_None) == platform::eOsError_SharingViolation;
    }
    return WhileHeld([&] { return platform::Files().Remove(made); });
}

bool IsTrial(const std::wstring& name)
{
    return name.starts_with(kPrefix) && name.ends_with(kExtension);
}

void RemoveLeftTrials(const std::wstring& directory)
{
    static_cast<void>(platform::Files().Visit(directory, [&directory](const platform::SDirectoryEntry& entry) {
        if (!entry.isDirectory && IsTrial(entry.name))
            static_cast<void>(platform::Files().Remove(platform::JoinPath(directory, entry.name)));
        return true;
    }));
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
