#include "ScratchFolder.h"

#include "platform/Module.h"
#include "platform/Os.h"
#include "platform/Path.h"
#include "platform/ReliableWatch.h"
#include "platform/Trust.h"

#include <cstdint>
#include <vector>

namespace {

constexpr const wchar_t* kPrefix = L"zel-task-";
/// In the folder: whoever uses it has this file open.
constexpr const wchar_t* kHeldFile = L".held";
/// Others may fill the directory: so many names are looked at, and so many left folders go at a time.
constexpr std::size_t kMostLooks = 10'000;
constexpr std::size_t kMostLeft = 100;

void RemoveFilesOf(const std::wstring& folder)
{
    static_cast<void>(platform::Files().Visit(folder, [&](const platform::SDirectoryEntry& entry) {
        if (entry.name != kHeldFile)
            static_cast<void>(platform::Files().Remove(platform::JoinPath(folder, entry.name)));
        return true;
    }));
}

void RemoveFolder(const std::wstring& folder)
{
    RemoveFilesOf(folder);
    std::vector<platform::SDirectoryEntry> left;
    static_cast<void>(platform::Files().List(folder, left));
    // By this file the next process knows it as one that is left: it goes last.
    if (left.size() <= 1)
        static_cast<void>(platform::Files().Remove(platform::JoinPath(folder, kHeldFile)));
    static_cast<void>(platform::Files().RemoveEmptyDirectory(folder));
}

/// One that nobody but this user can have made or filled, and that nobody uses.
bool IsLeft(const std::wstring& folder)
{
    const std::wstring held = platform::JoinPath(folder, kHeldFile);
    std::unique_ptr<platform::IFile> file;
    return platform::NameKind(folder) == platform::eNameKind_Directory && platform::IsFileOfThisUser(held) &&
           platform::DistrustOf(folder).empty() &&
           platform::Succeeded(platform::Files().Open(held, platform::eOpenMode_ReadExclusive, file));
}

bool RemoveLeftFolders()
{
    std::vector<std::wstring> found;
    const std::wstring directory = platform::TemporaryDirectory();
    // Where other machines have their folders, too, their holds need not be seen.
    if (platform::IsChangedFromOutside(directory))
        return true;
    std::size_t looks = 0;
    static_cast<void>(platform::Files().Visit(directory, [&](const platform::SDirectoryEntry& entry) {
        if (entry.isDirectory && entry.name.starts_with(kPrefix))
            found.push_back(platform::JoinPath(directory, entry.name));
        return ++looks < kMostLooks;
    }));
    std::size_t removed = 0;
    for (const std::wstring& folder : found) {
        if (removed < kMostLeft && IsLeft(folder)) {
            RemoveFolder(folder);
            ++removed;
        }
    }
    return true;
}

} // namespace

CScratchFolder::CScratchFolder()
{
    [[maybe_unused]] static const bool isDone = RemoveLeftFolders();
    std::wstring name = kPrefix;
    for (const std::uint8_t part : platform::NewUniqueId())
        name += std::to_wstring(part);
    m_strPath = platform::JoinPath(platform::TemporaryDirectory(), name);
    m_error = platform::MakePrivateFolder(m_strPath);
    if (platform::Succeeded(m_error))
        m_error = platform::Files().Open(platform::JoinPath(m_strPath, kHeldFile), platform::eOpenMode_WriteExclusive,
                                         m_pHeld);
    if (!platform::Succeeded(m_error))
        static_cast<void>(platform::Files().RemoveEmptyDirectory(m_strPath));
}

CScratchFolder::~CScratchFolder()
{
    const bool isOurs = m_pHeld != nullptr;
    m_pHeld.reset();
    if (isOurs)
        RemoveFolder(m_strPath);
}

void CScratchFolder::Empty()
{
    if (m_pHeld)
        RemoveFilesOf(m_strPath);
}
