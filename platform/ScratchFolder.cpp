#include "platform/ScratchFolder.h"

#include "platform/Module.h"
#include "platform/Os.h"
#include "platform/Path.h"
#include "platform/ReliableWatch.h"
#include "platform/StandardPath.h"
#include "platform/Trust.h"

#include <cstdint>
#include <filesystem>
#include <string>
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

namespace fs = std::filesystem;

/// Removes what is in a folder of the root, but brings its folders up into the root. True when the folder went with it.
bool RemoveOneLevel(const fs::path& root, const fs::path& folder, std::uint64_t& raised)
{
    std::error_code error;
    fs::permissions(folder, fs::perms::owner_all, fs::perm_options::add, error);
    for (fs::directory_iterator at(folder, error), end; !error && at != end; at.increment(error)) {
        std::error_code ignored;
        if (fs::is_directory(at->symlink_status(ignored))) {
            fs::permissions(at->path(), fs::perms::owner_all, fs::perm_options::add, ignored);
            fs::path up = root / root.filename(); // a name that nothing in it has
            up += std::to_string(raised++);
            fs::rename(at->path(), up, ignored);
        } else {
            fs::remove(at->path(), ignored);
        }
    }
    return fs::remove(folder, error);
}

/// One level at a time, so that no depth takes more than a few descriptors, which are the whole process's. Nobody else
/// can put anything in the way.
void RemoveContent(const std::wstring& folder)
{
    const fs::path root = StandardPath(folder);
    std::uint64_t raised = 0;
    for (bool isLess = true; isLess;) {
        isLess = false;
        std::error_code error;
        for (fs::directory_iterator at(root, error), end; !error && at != end; at.increment(error)) {
            std::error_code ignored;
            if (fs::is_directory(at->symlink_status(ignored)))
                isLess = RemoveOneLevel(root, at->path(), raised) || isLess;
            else if (at->path().filename() != StandardPath(kHeldFile))
                fs::remove(at->path(), ignored);
        }
    }
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
