#include "platform/posix/Ownership.h"

#include "platform/PrivateFiles.h"
#include "platform/posix/Descriptor.h"
#include "platform/posix/SystemError.h"

#include <array>
#include <charconv>
#include <cstring>
#include <fcntl.h>
#include <sys/xattr.h>
#include <unistd.h>

// Who may read a file for two users: the superuser gives it to the other one, for he may write it all the same. Anybody
// else may not give files away; his files get an access list with the other one in it. Its form is that of the kernel's
// extended attribute, so that no library is needed for one list.

namespace platform::posix {
namespace {

constexpr const char* kAccessList = "system.posix_acl_access";
constexpr mode_t kForOthers = S_IRWXG | S_IRWXO;
constexpr std::uint16_t kReadWrite = 6;
constexpr std::uint16_t kRead = 4;

struct SListEntry {
    std::uint16_t tag;
    std::uint16_t rights;
    std::uint32_t id;
};
enum eTag : std::uint16_t { eTag_Owner = 1, eTag_User = 2, eTag_Group = 4, eTag_Mask = 16, eTag_Other = 32 };

struct SAccessList {
    std::uint32_t version = 2;
    std::array<SListEntry, 5> entries;
    bool operator==(const SAccessList& other) const { return std::memcmp(this, &other, sizeof *this) == 0; }
};
static_assert(sizeof(SAccessList) == 44, "no padding");

/// Owner, one more user, group and others; the mask lets the user have what he is given.
SAccessList ListWith(std::uint32_t user, std::uint16_t rights, mode_t mode)
{
    constexpr std::uint32_t none = ~0U;
    const auto digit = [mode](unsigned shift) { return static_cast<std::uint16_t>((mode >> shift) & 7U); };
    const auto mask = static_cast<std::uint16_t>(digit(3) | rights);
    return {2,
            {{{eTag_Owner, digit(6), none},
              {eTag_User, rights, user},
              {eTag_Group, digit(3), none},
              {eTag_Mask, mask, none},
              {eTag_Other, digit(0), none}}}};
}

SAccessList PrivateList(std::uint32_t user)
{
    return ListWith(user, kReadWrite, S_IRUSR | S_IWUSR);
}

int SetList(int descriptor, const SAccessList& list)
{
    return fsetxattr(descriptor, kAccessList, &list, sizeof list, 0);
}

bool ToUser(const FileOwner& owner, uid_t& user)
{
    const char* const end = owner.data() + owner.size();
    const auto [last, error] = std::from_chars(owner.data(), end, user);
    return error == std::errc() && last == end;
}

/// A directory in which a group may make files is how a server that is not its owner shares it with its clients: the
/// file's group becomes the directory's, and may read. Nothing changes where we are not in that group.
eOsError AllowGroupToRead(int descriptor, const struct stat& file, const struct stat& directory)
{
    constexpr mode_t shared = S_IWGRP | S_IXGRP;
    const bool isReadable = (file.st_mode & S_IRGRP) != 0 && file.st_gid == directory.st_gid;
    if ((directory.st_mode & shared) != shared || isReadable)
        return eOsError_None;
    if (file.st_gid != directory.st_gid && fchown(descriptor, static_cast<uid_t>(-1), directory.st_gid) != 0)
        return errno == EPERM ? eOsError_None : LastOsError();
    // Not what its own group could do beside: the directory's is another one.
    constexpr mode_t kept = S_IRWXU | S_IRWXO;
    return fchmod(descriptor, (file.st_mode & kept) | S_IRGRP) == 0 ? eOsError_None : LastOsError();
}

} // namespace

eOsError OwnerOf(const CNativePath& path, FileOwner& owner)
{
    struct stat status = {};
    if (lstat(path.c_str(), &status) != 0) {
        return PathError(errno, path.c_str());
    }
    owner = std::to_string(status.st_uid);
    return eOsError_None;
}

int SetPrivate(int descriptor, const FileOwner& owner)
{
    uid_t user = 0;
    if (!ToUser(owner, user)) {
        errno = EINVAL;
        return -1;
    }
    // First, so that an access list that the directory hands down to new files gives nobody anything.
    if (fremovexattr(descriptor, kAccessList) != 0 && errno != ENODATA && errno != EOPNOTSUPP) {
        return -1;
    }
    if (fchmod(descriptor, S_IRUSR | S_IWUSR) != 0) {
        return -1;
    }
    if (user == geteuid() || (geteuid() == 0 && fchown(descriptor, user, static_cast<gid_t>(-1)) == 0)) {
        return 0;
    }
    return SetList(descriptor, PrivateList(user));
}

bool IsPrivate(int descriptor, const struct stat& status, const FileOwner& owner)
{
    uid_t user = 0;
    if (!ToUser(owner, user)) {
        return false;
    }
    // With an access list the bits of the group are its mask, so without them nobody in the list may do anything.
    if (status.st_uid == user && (status.st_mode & kForOthers) == 0) {
        return true;
    }
    SAccessList list = {};
    return status.st_uid == geteuid() && fgetxattr(descriptor, kAccessList, &list, sizeof list) == sizeof list &&
           list == PrivateList(user);
}

eOsError MakePathPrivate(const CNativePath& path, const FileOwner& owner)
{
    const CDescriptor descriptor(open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC | O_NOCTTY));
    struct stat status = {};
    if (!descriptor || fstat(descriptor.Get(), &status) != 0) {
        return PathError(errno, path.c_str());
    }
    if (!S_ISREG(status.st_mode)) {
        return eOsError_AccessDenied;
    }
    if (IsPrivate(descriptor.Get(), status, owner)) {
        return eOsError_None;
    }
    // Somebody may have put a second name of another file here, for it to be given away.
    if (status.st_nlink != 1 || status.st_uid != geteuid()) {
        return eOsError_AccessDenied;
    }
    return SetPrivate(descriptor.Get(), owner) == 0 ? eOsError_None : LastOsError();
}

eOsError TryMakingPrivate(const CNativePath& directory)
{
    const std::string name = std::string(directory.c_str()) + "/.zel-private-" + std::to_string(getpid());
    const CDescriptor descriptor(open(name.c_str(), O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600));
    if (!descriptor) {
        return PathError(errno, name.c_str());
    }
    unlink(name.c_str());
    // Any other user: the first of them has a number everywhere, also where only some numbers are mapped.
    const uid_t other = geteuid() == 0 ? 1 : 0;
    return SetPrivate(descriptor.Get(), std::to_string(other)) == 0 ? eOsError_None : LastOsError();
}

eOsError AllowOwnerToRead(const CNativePath& path, const CNativePath& directory)
{
    struct stat receiver = {};
    if (stat(directory.c_str(), &receiver) != 0) {
        return DirectoryError(errno, directory.c_str());
    }
    const CDescriptor descriptor(open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC | O_NOCTTY));
    struct stat status = {};
    if (!descriptor || fstat(descriptor.Get(), &status) != 0) {
        return PathError(errno, path.c_str());
    }
    SAccessList list = {};
    const bool hasList = fgetxattr(descriptor.Get(), kAccessList, &list, sizeof list) >= 0 || errno == ERANGE;
    if (!S_ISREG(status.st_mode) || (status.st_mode & S_IROTH) != 0 || hasList) {
        return eOsError_None;
    }
    // Neither of the two owners says who the server is then.
    if (receiver.st_uid == status.st_uid || receiver.st_uid == 0) {
        return AllowGroupToRead(descriptor.Get(), status, receiver);
    }
    if (SetList(descriptor.Get(), ListWith(receiver.st_uid, kRead, status.st_mode)) == 0) {
        return eOsError_None;
    }
    return errno == EOPNOTSUPP ? AllowGroupToRead(descriptor.Get(), status, receiver) : LastOsError();
}

} // namespace platform::posix

namespace platform {

void KeepNewFilesPrivate()
{
    umask(umask(0777) | posix::kForOthers);
}

} // namespace platform
