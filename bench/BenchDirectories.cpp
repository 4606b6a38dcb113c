#include "bench/BenchDirectories.h"

#include "bench/BenchError.h"
#include "platform/Os.h"
#include "platform/Path.h"

#include <filesystem>
#include <type_traits>

namespace {

/// A path for the standard library, which keeps bytes on one system and wide text on the other.
std::filesystem::path StandardPath(const std::wstring& path)
{
    if constexpr (std::is_same_v<std::filesystem::path::value_type, wchar_t>)
        return std::filesystem::path(path);
    else
        return std::filesystem::path(platform::NarrowPath(path));
}

} // namespace

SBenchDirectories::SBenchDirectories(const std::wstring& rootDir)
    : root(rootDir),
      request(platform::JoinPath(root, L"requests")),
      output(platform::JoinPath(root, L"output")),
      queue(platform::JoinPath(output, L"Queue")),
      client(platform::JoinPath(root, L"client")),
      target(platform::JoinPath(root, L"target"))
{}

void SBenchDirectories::Create() const
{
    for (const std::wstring& directory : {root, request, output, queue, client, target}) {
        const platform::eOsError error = platform::Files().MakeDirectory(directory);
        if (error != platform::eOsError_AlreadyExists && error != platform::eOsError_FileExists)
            Check(error, L"make the directory " + directory);
    }
}

void RemoveTree(const std::wstring& directory)
{
    std::filesystem::remove_all(StandardPath(directory));
}

void BareRename(const std::wstring& from, const std::wstring& to)
{
    std::filesystem::rename(StandardPath(from), StandardPath(to));
}

void BareRemove(const std::wstring& path)
{
    std::filesystem::remove(StandardPath(path));
}

bool BareExists(const std::wstring& path)
{
    return std::filesystem::exists(StandardPath(path));
}
