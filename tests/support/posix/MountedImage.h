#pragma once

#include "platform/FileSystem.h"
#include "platform/Path.h"
#include "tests/support/Accounts.h"
#include "tests/support/TemporaryDirectory.h"

#include <fcntl.h>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

namespace testsupport {

/// A file system of its own, in a file, mounted for the life of the object: of what mkfs.KIND makes.
class CMountedImage {
public:
    explicit CMountedImage(const std::wstring& kind)
    {
        const std::wstring image = m_directory / L"image";
        if (geteuid() != 0)
            m_strWhyNot = "geteuid: only root mounts";
        else if (!platform::PathExists(L"/sbin/mkfs." + kind))
            m_strWhyNot = "mkfs: no program for such file systems is installed";
        else if (!MakeEmpty(image) || !Succeeds({L"/sbin/mkfs." + kind, {L"-q", image}}) ||
                 mkdir(platform::NarrowPath(Path()).c_str(), 0777) != 0 ||
                 !Succeeds({L"/bin/mount", {L"-t", kind, L"-o", L"loop", image, Path()}}))
            m_strWhyNot = "mount: this machine mounts no such file system";
    }
    ~CMountedImage()
    {
        if (IsMounted())
            static_cast<void>(Succeeds({L"/bin/umount", {L"-l", Path()}}));
    }
    CMountedImage(const CMountedImage&) = delete;
    CMountedImage& operator=(const CMountedImage&) = delete;

    [[nodiscard]] bool IsMounted() const { return m_strWhyNot.empty(); }
    [[nodiscard]] const std::string& WhyNot() const { return m_strWhyNot; }
    [[nodiscard]] std::wstring Path() const { return m_directory / L"mount"; }

private:
    /// With room for what each of them wants at least; it takes no more than what is written.
    static bool MakeEmpty(const std::wstring& image)
    {
        constexpr off_t size = off_t{400} << 20;
        const int file = open(platform::NarrowPath(image).c_str(), O_CREAT | O_EXCL | O_WRONLY | O_CLOEXEC, 0600);
        const bool isMade = file >= 0 && ftruncate(file, size) == 0;
        return (file < 0 || close(file) == 0) && isMade;
    }

    const CTemporaryDirectory m_directory;
    std::string m_strWhyNot;
};

} // namespace testsupport
