#pragma once

#include "platform/FileSystem.h"

namespace platform {

/// While an object of this class lives on a thread, each file that the thread creates or rewrites through this layer is
/// private to the owner and the process's user, as MakePrivate has it, before anybody can see it. One of the name that
/// was not is replaced, so that who has it open does not read on. Lock files are not concerned. Nests; an empty owner
/// is as if there was none.
class ZEL_FRAMEWORK_API CPrivateFiles {
public:
    explicit CPrivateFiles(FileOwner owner);
    ~CPrivateFiles();
    CPrivateFiles(const CPrivateFiles&) = delete;
    CPrivateFiles& operator=(const CPrivateFiles&) = delete;

    /// The owner that counts on this thread; null for none.
    [[nodiscard]] static const FileOwner* Current();

    /// For a jump over objects of this kind, which ends none of them: the innermost one of this thread before it, to be
    /// put back behind it.
    [[nodiscard]] static const CPrivateFiles* Innermost();
    static void ReturnTo(const CPrivateFiles* object);

private:
    const FileOwner m_owner;
    const CPrivateFiles* const m_pOuter;
};

/// Makes the files that this process creates in other ways private to its user. For programs, at their start.
ZEL_FRAMEWORK_API void KeepNewFilesPrivate();

} // namespace platform
