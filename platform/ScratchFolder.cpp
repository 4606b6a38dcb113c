#include "platform/ScratchFolder.h"

#include "platform/Module.h"
#include "platform/Os.h"
#include "platform/Path.h"
#include "platform/ReliableWatch.h"
#include "platform/StandardPath.h"
#include "platform/Trust.h"

#include <cstdint>
#include <filesystem>
#include <system_error>
#include <vector>

namespace platform {
namespace {

constexpr const wchar_t* kPrefix = L"zel-task-";
/// In the folder: whoever uses it has this file open.
constexpr const wchar_t* kHeldFile = L".held";
/// Others may fill the directory: so many names are looked at, and so many left folders go at a time.
constexpr std::size_t kMostLooks = 10'000;
constexpr std::size_t kMostLeft = 100;

/// Nobody else can put anything in the way of what goes down into folders.
void RemoveContent(const std::wstring& folder)
{
    static_cast<void>(Files().Visit(folder, [&](const SDirectoryEntry& entry) {
        const std::wstring path = JoinPath(folder, entry.name);
        std::error_code error;
        if (entry.isDirectory)
            std::filesystem::remove_all(StandardPath(path), error);
        else if (entry.name != kHeldFile)
            static_cast<void>(Files().Remove(path));
        return true;
    }));
}

void RemoveScratch(const std::wstring& folder)
{
    RemoveContent(folder);
    std::vector<SDirectoryEntry> left;
    static_cast<void>(Files().List(folder, left));
    // By this file the next process knows it as one that is left: it goes last.
    if (left.size() <= 1)
        static_cast<void>(Files().Remove(JoinPath(folder, kHeldFile)));
    static_cast<void>(Files().RemoveEmptyDirectory(folder));
}

/// One that nobody but this user can have made or filled, and that nobody uses.
bool IsLeft(const std::wstring& folder)
{
    const std::wstring held = JoinPath(folder, kHeldFile);
    std::unique_ptr<IFile> file;
    return NameKind(folder) == eNameKind_Directory && IsFileOfThisUser(held) && DistrustOf(folder).empty() &&
           Succeeded(Files().Open(held, eOpenMode_ReadExclusive, file));
}

bool RemoveLeftFolders()
{
    std::vector<std::wstring> found;
    const std::wstring directory = TemporaryDirectory();
    // Where other machines have their folders, too, their holds need not be seen.
    if (IsChangedFromOutside(directory))
        return true;
    std::size_t looks = 0;
    static_cast<void>(Files().Visit(directory, [&](const SDirectoryEntry& entry) {
        if (entry.isDirectory && entry.name.starts_with(kPrefix))
            found.push_back(JoinPath(directory, entry.name));
        return ++looks < kMostLooks;
    }));
    std::size_t removed = 0;
    for (const std::wstring& folder : found) {
        if (removed < kMostLeft && IsLeft(folder)) {
            RemoveScratch(folder);
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
    for (const std::uint8_t part : NewUniqueId())
        name += std::to_wstring(part);
    m_strPath = JoinPath(TemporaryDirectory(), name);
    m_error = MakePrivateFolder(m_strPath);
    if (Succeeded(m_error))
        m_error = Files().Open(JoinPath(m_strPath, kHeldFile), eOpenMode_WriteExclusive, m_pHeld);
    if (!Succeeded(m_error))
        static_cast<void>(Files().RemoveEmptyDirectory(m_strPath));
}

CScratchFolder::~CScratchFolder()
{
    const bool isOurs = m_pHeld != nullptr;
    m_pHeld.reset();
    if (isOurs)
        RemoveScratch(m_strPath);
}

void CScratchFolder::Empty()
{
    if (m_pHeld)
        RemoveContent(m_strPath);
}

} // namespace platform
