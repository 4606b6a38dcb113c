#include "protocol/HeldFile.h"

#include "platform/Os.h"
#include "server/LeftStatuses.h"
#include "tests/support/FaultyFiles.h"
#include "tests/support/ManualClock.h"
#include "tests/support/RecordingHost.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

namespace {

using namespace std::chrono_literals;

class HeldFileTest : public testing::Test {
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
    testsupport::CManualClock m_clock{0ns};
    platform::CScopedOs m_os{nullptr, &m_clock};
    const std::wstring m_path = m_dir / L"x.drq";
};

TEST_F(HeldFileTest, AWaitOfHalfAMinuteIsToldOnceWithTheFilesName)
{
    bool goesOn = true;
    const Protocol::GoOn wait = HeldFile::WithWarning(m_path, [&] { return goesOn; });
    EXPECT_TRUE(wait());
    m_clock.Advance(29s);
    EXPECT_TRUE(wait());
    EXPECT_TRUE(m_host.TakeLogLines().empty());
    m_clock.Advance(1s);
    EXPECT_TRUE(wait());
    m_host.ExpectLogLine(L"'" + m_path + L"' is kept open by ");
    m_clock.Advance(100s);
    EXPECT_TRUE(wait());
    goesOn = false;
    EXPECT_FALSE(wait());
}

TEST_F(HeldFileTest, AFileThatIsPassedOverForHalfAMinuteIsToldOnceWithItsName)
{
    HeldFile::CPassedOver passedOver;
    const auto look = [&](const std::wstring& path) {
        passedOver.Meet(path);
        passedOver.EndLook();
    };
    look(m_path);
    m_clock.Advance(29s);
    look(m_path);
    EXPECT_TRUE(m_host.TakeLogLines().empty());
    m_clock.Advance(1s);
    look(m_path);
    m_host.ExpectLogLine(L"'" + m_path + L"' is kept open by ");
    m_clock.Advance(100s);
    look(m_path);
    look(m_dir / L"another");
    look(m_path);
    EXPECT_TRUE(m_host.TakeLogLines().empty()) << "one that was let go in between is held anew";
    m_clock.Advance(30s);
    look(m_path);
    m_host.ExpectLogLine(L"'" + m_path + L"' is kept open by ");
}

TEST_F(HeldFileTest, AStatusThatWasLeftIsWrittenWhenItsFileIsFree)
{
    CLeftStatuses left;
    const std::wstring other = m_dir / L"other";
    std::unique_ptr<platform::IFile> stranger = Hold(m_path);
    left.Leave(m_path, "first");
    left.Leave(m_path, "last");
    left.Leave(other, "free");
    left.TryAgain();
    EXPECT_EQ(Read(other), "free");
    EXPECT_FALSE(left.IsEmpty());
    stranger.reset();
    left.TryAgain();
    EXPECT_EQ(Read(m_path), "") << "only once a second";
    m_clock.Advance(1s);
    left.TryAgain();
    EXPECT_EQ(Read(m_path), "last");
    EXPECT_TRUE(left.IsEmpty());
}

TEST_F(HeldFileTest, AStatusThatWasLeftIsForWhomItWouldHaveBeen)
{
    std::vector<std::pair<std::wstring, platform::FileOwner>> opened;
    testsupport::CFaultyFiles files;
    files.OnCall([&](const testsupport::SFileCall& call) {
        const platform::FileOwner* const owner = platform::CPrivateFiles::Current();
        if (call.call == testsupport::eFileCall_Open)
            opened.emplace_back(call.path, owner ? *owner : platform::FileOwner());
    });
    // It would ask the system to give the files to somebody who does not exist.
    files.FailAlways(testsupport::eFileCall_Open, platform::eOsError_SharingViolation);
    const platform::CScopedOs os(&files, &m_clock);
    CLeftStatuses left;
    {
        const platform::CPrivateFiles his("his");
        left.Leave(m_path, "his");
    }
    left.Leave(m_dir / L"any", "anybody's");
    left.TryAgain();
    EXPECT_EQ(opened,
              (std::vector<std::pair<std::wstring, platform::FileOwner>>{{m_path, "his"}, {m_dir / L"any", ""}}));
    EXPECT_EQ(platform::CPrivateFiles::Current(), nullptr);
}

TEST_F(HeldFileTest, AStatusThatIsForgottenIsNotWritten)
{
    CLeftStatuses left;
    left.Leave(m_path, "old");
    left.Forget(m_path);
    left.TryAgain();
    EXPECT_FALSE(platform::PathExists(m_path));
}

TEST_F(HeldFileTest, WhatIsLeftIsBounded)
{
    CLeftStatuses left;
    const auto path = [&](std::size_t number) { return m_dir / std::to_wstring(number); };
    for (std::size_t number = 0; number < CLeftStatuses::kMost; ++number)
        left.Leave(path(number), "x");
    left.Leave(m_dir / L"one more", "x");
    m_host.ExpectLogLine(L"this one is given up: " + path(0));
    left.Leave(m_dir / L"long", std::string(CLeftStatuses::kMaxBytes + 1, 'x'));
    m_host.ExpectLogLine(L"A status is too long to wait for its file and is lost: " + (m_dir / L"long"));
    left.Leave(m_dir / L"longest", std::string(CLeftStatuses::kMaxBytes, 'x'));
    m_host.ExpectLogLine(L"this one is given up: " + path(1));
    left.TryAgain();
    EXPECT_FALSE(platform::PathExists(path(1)));
    EXPECT_TRUE(platform::PathExists(path(2)));
    EXPECT_TRUE(platform::PathExists(m_dir / L"longest"));
}

} // namespace
