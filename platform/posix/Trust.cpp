#include "platform/Trust.h"

#include "platform/Installation.h"
#include "platform/OsError.h"
#include "platform/Path.h"
#include "platform/Text.h"
#include "platform/posix/NativePath.h"
#include "platform/posix/SystemError.h"

#include <array>
#include <cerrno>
#include <climits>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

namespace platform {
namespace {

/// As many links as the system itself follows.
constexpr int kMostLinks = 40;

bool IsTrusted(uid_t user)
{
    return user == 0 || user == geteuid();
}

/// With an access list the bits of the group are the most that any entry of the list allows, whosever it is.
bool HasAccessList(const std::string& path)
{
    return lgetxattr(path.c_str(), "system.posix_acl_access", nullptr, 0) > 0;
}

bool IsWritableByOthers(const std::string& path, const struct stat& status)
{
    if ((status.st_mode & S_IWOTH) != 0)
        return true;
    return (status.st_mode & S_IWGRP) != 0 && (status.st_gid != 0 || HasAccessList(path));
}

std::wstring Unseen(const std::string& path, int error)
{
    return FromUtf8(path) + L" cannot be looked at: " + OsErrorText(posix::PathError(error, path.c_str()));
}

/// One look along a way from the root, each name of it in the folder that the names before led to.
class CWay {
public:
    explicit CWay(const std::string& path) : m_left(path) {}

    std::wstring Distrust()
    {
        std::wstring distrust = Enter("/");
        while (distrust.empty() && !m_left.empty()) {
            const std::string name = TakeName();
            if (name.empty() || name == ".")
                continue;
            // The folder above was looked at on the way here, or holds what was.
            distrust = name == ".." ? GoUp() : Enter(m_folder == "/" ? "/" + name : m_folder + "/" + name);
        }
        if (distrust.empty() && IsWritableByOthers(m_folder, m_status))
            distrust = L"others may write to " + FromUtf8(m_folder); // it has the sticky bit, and nothing below it
        return distrust;
    }

private:
    std::string TakeName()
    {
        const std::size_t end = m_left.find('/');
        std::string name = m_left.substr(0, end);
        m_left.erase(0, end == std::string::npos ? end : end + 1);
        return name;
    }

    std::wstring GoUp()
    {
        const std::size_t end = m_folder.rfind('/');
        const std::string above = end == 0 ? "/" : m_folder.substr(0, end);
        m_folder.clear();
        return Enter(above);
    }

    std::wstring Enter(const std::string& path)
    {
        struct stat status = {};
        if (lstat(path.c_str(), &status) != 0)
            return Unseen(path, errno);
        if (!IsTrusted(status.st_uid))
            return FromUtf8(path) + L" belongs to user " + std::to_wstring(status.st_uid);
        if (S_ISLNK(status.st_mode))
            return Follow(path);
        if (!S_ISDIR(status.st_mode) && !S_ISREG(status.st_mode))
            return FromUtf8(path) + L" is neither a file nor a folder";
        // In a folder with the sticky bit only its owner can take a file away, but anybody can lay one beside it.
        if (!S_ISDIR(status.st_mode) && IsWritableByOthers(m_folder, m_status))
            return L"others may write to " + FromUtf8(m_folder);
        const bool isSticky = S_ISDIR(status.st_mode) && (status.st_mode & S_ISVTX) != 0;
        if (!isSticky && IsWritableByOthers(path, status))
            return L"others may write to " + FromUtf8(path);
        m_folder = path;
        m_status = status;
        return {};
    }

    /// What the link says takes the place of its name; the rest of the way comes behind it.
    std::wstring Follow(const std::string& link)
    {
        std::array<char, PATH_MAX> target = {};
        const ssize_t length = readlink(link.c_str(), target.data(), target.size());
        if (length < 0)
            return Unseen(link, errno);
        if (static_cast<std::size_t>(length) == target.size() || ++m_links > kMostLinks)
            return Unseen(link, ELOOP);
        m_left.insert(0, std::string(target.data(), static_cast<std::size_t>(length)) + "/");
        return target[0] == '/' ? Enter("/") : std::wstring();
    }

    std::string m_left;
    std::string m_folder; ///< where the way has led so far, looked at and without links
    struct stat m_status = {};
    int m_links = 0;
};

} // namespace

std::wstring DistrustOf(const std::wstring& path)
{
    const std::wstring full = AbsolutePath(path);
    if (const eOsError error = posix::CNativePath(full).Check(); !Succeeded(error))
        return full + L" cannot be looked at: " + OsErrorText(error);
    return CWay(NarrowPath(full)).Distrust();
}

eOsError KeepPrivate(const std::wstring& path)
{
    const std::string narrow = NarrowPath(path);
    return chmod(narrow.c_str(), S_IRUSR | S_IWUSR) == 0 ? eOsError_None : posix::PathError(errno, narrow.c_str());
}

eOsError MakePrivateFolder(const std::wstring& path)
{
    const std::string narrow = NarrowPath(path);
    if (mkdir(narrow.c_str(), S_IRWXU) == 0)
        return eOsError_None;
    if (errno != EEXIST)
        return posix::PathError(errno, narrow.c_str());
    return DistrustOf(path).empty() ? eOsError_None : eOsError_AccessDenied;
}

bool IsFileOfThisUser(const std::wstring& path)
{
    struct stat status = {};
    return lstat(NarrowPath(path).c_str(), &status) == 0 && S_ISREG(status.st_mode) && status.st_uid == geteuid();
}

bool IsAdministrator(const FileOwner& owner)
{
    return owner == "0" && geteuid() != 0;
}

std::wstring UserTag()
{
    return std::to_wstring(geteuid());
}

eOsError KeepOthersFromWriting(const std::wstring& path)
{
    const std::string narrow = NarrowPath(path);
    struct stat status = {};
    if (stat(narrow.c_str(), &status) != 0)
        return posix::PathError(errno, narrow.c_str());
    const mode_t mode = status.st_mode & 07777U;
    const mode_t wanted = mode & ~static_cast<mode_t>(S_IWGRP | S_IWOTH);
    if (mode == wanted || chmod(narrow.c_str(), wanted) == 0)
        return eOsError_None;
    // A service may be kept from every call that names this bit, even where it is set already.
    if (errno == EPERM && (mode & S_ISGID) != 0 && chmod(narrow.c_str(), wanted & ~static_cast<mode_t>(S_ISGID)) == 0)
        return eOsError_None;
    return posix::PathError(errno, narrow.c_str());
}

} // namespace platform
