#pragma once

#include "platform/FileSystem.h"
#include "platform/Os.h"
#include "tests/support/ManualClock.h"
#include "tests/support/RecordingHost.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <string>

/// A file that somebody holds, and a clock that stands still.
class CHeldFileFixture : public testing::Test {
protected:
    [[nodiscard]] static std::unique_ptr<platform::IFile> Hold(const std::wstring& path)
    {
        std::unique_ptr<platform::IFile> file;
        EXPECT_EQ(platform::WriteWholeFile(path, ""), platform::eOsError_None);
        EXPECT_EQ(platform::Files().Open(path, platform::eOpenMode_ReadExclusive, file), platform::eOsError_None);
        return file;
    }
    [[nodiscard]] static std::string Read(const std::wstring& path)
    {
        std::string bytes;
        EXPECT_EQ(platform::ReadWholeFile(path, platform::eOpenMode_ReadShared, bytes, 1000), platform::eOsError_None);
        return bytes;
    }

    CRecordingHost m_host;
    testsupport::CTemporaryDirectory m_dir;
    testsupport::CManualClock m_clock{std::chrono::nanoseconds(0)};
    platform::CScopedOs m_os{nullptr, &m_clock};
    const std::wstring m_path = m_dir / L"x.drq";
};
