#include "platform/posix/Move.h"

#include "platform/DeferredSync.h"
#include "platform/FileSystem.h"
#include "platform/Text.h"
#include "platform/posix/DirectorySync.h"
#include "platform/posix/File.h"
#include "platform/posix/HeldFile.h"
#include "platform/posix/Renames.h"
#include "platform/posix/SystemError.h"

#include <cstdio>
#include <fcntl.h>
#include <string_view>
#include <sys/stat.h>
#include <unistd.h>

namespace platform::posix {
namespace {

/// Opens what the sync of a new name needs, before the move: what fails later can't be taken back.
eOsError OpenParentForSync(const CNativePath& to, CDescriptor& directory)
{
    directory.Reset(open(to.Parent().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    // A directory that is missing is told by the move. One that may not be read is a drop box: see SyncNewName.
    const bool isToBeTold = !directory && errno != EACCES && errno != ENOENT && errno != ENOTDIR;
    return isToBeTold ? LastOsError() : eOsError_None;
}

/// Leaves the sync of a new name to the thread's CDeferredDirectorySync. Off again for a drop box, which can't be
/// opened for it: that is synced with the move.
eOsError PutOffSync(const CNativePath& to, bool& isPutOff)
{
    const auto error = CDeferredDirectorySync::Add(FromUtf8(to.Parent()));
    isPutOff = error != eOsError_AccessDenied;
    // A directory that is missing is told by the move.
    return isPutOff && !IsAbsent(error) && error != eOsError_NotADirectory ? error : eOsError_None;
}

/// Makes the new name of a moved file durable. The file is let go before the wait for the device: who is told of the
/// new name would find it held.
eOsError SyncNewName(const CDescriptor& directory, CHeldFile& moved)
{
    if (directory) {
        moved.Reset(CDescriptor());
        return Succeeded(SyncDirectoryOf(directory)) ? eOsError_None : eOsError_NotDurable;
    }
    // A drop box: one may put files in, but not look at it. The move changed the file's status, so the sync of that
    // brings the file system's journal to the device, and the new name with it.
    return moved && fsync(moved.Get()) == 0 ? eOsError_None : eOsError_NotDurable;
}

/// A target that is open is not replaced: access is denied, as it is on Windows.
eOsError HoldTarget(const CNativePath& to, CHeldFile& held)
{
    const auto error = HoldFile(to, held);
    if (IsAbsent(error)) {
        return eOsError_None;
    }
    return error == eOsError_SharingViolation ? eOsError_AccessDenied : error;
}

std::string_view LastName(std::string_view path)
{
    return path.substr(path.rfind('/') + 1);
}

/// True when both paths name the same entry of a directory; two names of one file are two entries.
bool IsSameEntry(const CNativePath& from, const CNativePath& to)
{
    struct stat directory = {};
    return LastName(from.c_str()) == LastName(to.c_str()) && stat(from.Parent().c_str(), &directory) == 0 &&
           StillNames(to.Parent().c_str(), directory);
}

eOsError MoveHeld(const CNativePath& from, const CNativePath& to, bool replace)
{
    // Nearly always there is nothing to replace, and then no target to hold.
    const int error = RenameNoReplace(from.c_str(), to.c_str());
    if (error == EEXIST && IsSameEntry(from, to)) {
        return eOsError_None;
    }
    if (error != EEXIST || !replace) {
        return error == 0 ? eOsError_None : PathError(error, to.c_str());
    }
    CHeldFile target;
    if (const auto held = HoldTarget(to, target); held != eOsError_None) {
        return held;
    }
    return rename(from.c_str(), to.c_str()) == 0 ? eOsError_None : PathError(errno, to.c_str());
}

} // namespace

eOsError MovePath(const CNativePath& source, const CNativePath& target, unsigned flags)
{
    CHeldFile held;
    if (const auto error = HoldFile(source, held); error != eOsError_None) {
        return error;
    }
    const bool writeThrough = (flags & eMoveFlag_WriteThrough) != 0;
    bool isPutOff = writeThrough && CDeferredDirectorySync::IsActive();
    if (const auto error = isPutOff ? PutOffSync(target, isPutOff) : eOsError_None; error != eOsError_None) {
        return error;
    }
    const bool syncNow = writeThrough && !isPutOff;
    // The data first: a name must never be on the device before what it names.
    if (syncNow && held && fdatasync(held.Get()) != 0) {
        return LastOsError();
    }
    CDescriptor directory;
    if (const auto error = syncNow ? OpenParentForSync(target, directory) : eOsError_None; error != eOsError_None) {
        return error;
    }
    const auto moved = MoveHeld(source, target, (flags & eMoveFlag_ReplaceExisting) != 0);
    return moved == eOsError_None && syncNow ? SyncNewName(directory, held) : moved;
}

} // namespace platform::posix
