#include "platform/FileSystem.h"

#include "platform/Os.h"
#include "platform/Path.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <sys/mount.h>

namespace platform {
namespace {

/// A volume of 64 KiB in memory, where this process may mount one.
class CSmallVolume {
public:
    CSmallVolume() : m_mounted(mount("tmpfs", NarrowPath(m_directory.Path()).c_str(), "tmpfs", 0, "size=64k") == 0) {}
    ~CSmallVolume()
    {
        if (m_mounted)
            umount2(NarrowPath(m_directory.Path()).c_str(), MNT_DETACH);
    }
    CSmallVolume(const CSmallVolume&) = delete;
    CSmallVolume& operator=(const CSmallVolume&) = delete;

    [[nodiscard]] bool IsMounted() const { return m_mounted; }
    [[nodiscard]] std::wstring operator/(const std::wstring& name) const { return m_directory / name; }

private:
    const testsupport::CTemporaryDirectory m_directory;
    const bool m_mounted;
};

class DiskFullTest : public testing::Test {
protected:
    void SetUp() override
    {
        if (!m_volume.IsMounted())
            GTEST_SKIP() << "CSmallVolume::IsMounted: this process may not mount a volume";
    }

    const CSmallVolume m_volume;
};

TEST_F(DiskFullTest, AWriteThatDoesNotFitFails)
{
    EXPECT_EQ(WriteWholeFile(m_volume / L"file", std::string(100'000, 'x')), eOsError_DiskFull);
    ASSERT_EQ(Files().Remove(m_volume / L"file"), eOsError_None);
    EXPECT_EQ(WriteWholeFile(m_volume / L"file", std::string(10'000, 'x')), eOsError_None);
}

TEST_F(DiskFullTest, WhatFailedHoldsNoMoreThanWasWritten)
{
    ASSERT_EQ(WriteWholeFile(m_volume / L"filler", std::string(60'000, 'f')), eOsError_None);
    std::unique_ptr<IFile> file;
    ASSERT_EQ(Files().Open(m_volume / L"file", eOpenMode_WriteExclusive, file), eOsError_None);
    const std::string bytes(50'000, 'x');
    EXPECT_EQ(file->Write(std::as_bytes(std::span(bytes))), eOsError_DiskFull);
    EXPECT_EQ(file->Close(), eOsError_None);
    SFileAttributes attributes;
    ASSERT_EQ(Files().GetAttributes(m_volume / L"file", attributes), eOsError_None);
    EXPECT_LT(attributes.length, bytes.size());
}

TEST_F(DiskFullTest, AFullVolumeStillMovesAndRemoves)
{
    EXPECT_EQ(WriteWholeFile(m_volume / L"file", std::string(100'000, 'x')), eOsError_DiskFull);
    EXPECT_EQ(Files().Move(m_volume / L"file", m_volume / L"moved", eMoveFlag_WriteThrough), eOsError_None);
    EXPECT_EQ(Files().Remove(m_volume / L"moved"), eOsError_None);
}

TEST_F(DiskFullTest, ALockIsHeldWithoutItsNote)
{
    EXPECT_EQ(WriteWholeFile(m_volume / L"filler", std::string(100'000, 'x')), eOsError_DiskFull);
    std::unique_ptr<ILockFile> lock;
    EXPECT_EQ(Files().OpenLockFile(m_volume / L"file.lock", std::string(5000, 'n'), lock), eOsError_None);
    std::unique_ptr<ILockFile> second;
    EXPECT_EQ(Files().OpenLockFile(m_volume / L"file.lock", "", second), eOsError_SharingViolation);
}

} // namespace
} // namespace platform
