#include "bench/BenchDirectories.h"

#include "ZEL_Processor/ZelProtocolNames.h"
#include "bench/BenchError.h"
#include "platform/Os.h"
#include "platform/Path.h"
#include "platform/StandardPath.h"

SBenchDirectories::SBenchDirectories(const std::wstring& rootDir)
    : root(rootDir),
      request(platform::JoinPath(root, L"requests")),
      output(platform::JoinPath(root, L"output")),
      queue(platform::JoinPath(output, ZelProtocol::kQueueDirectory)),
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
    std::filesystem::remove_all(platform::StandardPath(directory));
}

void BareRename(const std::wstring& from, const std::wstring& to)
{
    std::filesystem::rename(platform::StandardPath(from), platform::StandardPath(to));
}

void BareRemove(const std::wstring& path)
{
    std::filesystem::remove(platform::StandardPath(path));
}

bool BareExists(const std::wstring& path)
{
    return std::filesystem::exists(platform::StandardPath(path));
}
