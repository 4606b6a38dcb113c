#include "server/LeftStatuses.h"

#include "platform/PrivateFiles.h"
#include "platform/Thread.h"
#include "tests/support/FaultyFiles.h"
#include "tests/support/HeldFileFixture.h"

namespace {

using namespace std::chrono_literals;
using LeftStatusesTest = CHeldFileFixture;

} // namespace

TEST_F(LeftStatusesTest, AStatusThatWasLeftIsWrittenWhenItsFileIsFree)
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
    EXPECT_EQ(Read(m_path), "") << "not at once again";
    m_clock.Advance(CLeftStatuses::kShortestPause);
    left.TryAgain();
    EXPECT_EQ(Read(m_path), "last");
    EXPECT_TRUE(left.IsEmpty());
}

TEST_F(LeftStatusesTest, AHeldStatusIsTriedOftenAtFirstAndOnceASecondInTheEnd)
{
    testsupport::CFaultyFiles files;
    files.FailAlways(testsupport::eFileCall_Open, platform::eOsError_SharingViolation);
    const platform::CScopedOs os(&files, &m_clock);
    CLeftStatuses left;
    left.Leave(m_path, "last");
    const std::chrono::nanoseconds start = m_clock.Steady();
    const auto triesUntil = [&](std::chrono::seconds end) {
        for (files.ForgetCalls(); m_clock.Steady() - start < end; m_clock.Advance(left.UntilNextTry())) {
            left.TryAgain();
            EXPECT_GT(left.UntilNextTry(), 0ms);
        }
        return files.Count(testsupport::eFileCall_Open);
    };
    EXPECT_EQ(triesUntil(1s), 10U);
    EXPECT_GE(triesUntil(10s), 20U) << "before its client gives up";
    EXPECT_EQ(triesUntil(1000s), 990U);
}

TEST_F(LeftStatusesTest, WhileOneTriesTheOthersGoOn)
{
    CLeftStatuses left;
    testsupport::CFaultyFiles files;
    int tries = 0;
    files.OnCall([&](const testsupport::SFileCall& call) {
        if (call.call != testsupport::eFileCall_Open || ++tries > 2)
            return;
        m_clock.Advance(1h);
        left.TryAgain();
    });
    files.FailAlways(testsupport::eFileCall_Open, platform::eOsError_SharingViolation);
    const platform::CScopedOs os(&files, &m_clock);
    left.Leave(m_path, "last");
    left.TryAgain();
    EXPECT_EQ(tries, 1);
    m_clock.Advance(1s);
    left.TryAgain();
    EXPECT_EQ(tries, 2) << "the next round";
}

TEST_F(LeftStatusesTest, TheLastTriesGoOnUntilItsFileIsFree)
{
    CLeftStatuses left;
    std::unique_ptr<platform::IFile> stranger = Hold(m_path);
    left.Leave(m_path, "last");
    left.TryAgain();
    const std::chrono::nanoseconds start = m_clock.Steady();
    m_clock.OnWait([&] {
        m_clock.Advance(10ms);
        if (m_clock.Steady() - start > 300ms)
            stranger.reset();
    });
    left.TryToTheLast();
    EXPECT_EQ(Read(m_path), "last");
    EXPECT_TRUE(left.IsEmpty());
    EXPECT_LT(m_clock.Steady() - start, 400ms);
}

TEST_F(LeftStatusesTest, TheLastTriesEndAfterASecond)
{
    CLeftStatuses left;
    const std::unique_ptr<platform::IFile> stranger = Hold(m_path);
    left.Leave(m_path, "last");
    const std::chrono::nanoseconds start = m_clock.Steady();
    m_clock.OnWait([&] { m_clock.Advance(10ms); });
    left.TryToTheLast();
    EXPECT_FALSE(left.IsEmpty());
    EXPECT_GE(m_clock.Steady() - start, 1s);
    EXPECT_LT(m_clock.Steady() - start, 1100ms);
}

TEST_F(LeftStatusesTest, TheLastTryOfWhatFailsForAnotherReasonIsOne)
{
    testsupport::CFaultyFiles files;
    const std::wstring held = m_dir / L"held";
    int tries = 0;
    files.OnCall([&](const testsupport::SFileCall& call) {
        tries += call.call == testsupport::eFileCall_Open && call.path == m_path ? 1 : 0;
    });
    files.FailAlways(testsupport::eFileCall_Open, platform::eOsError_DiskFull, m_path);
    files.FailAlways(testsupport::eFileCall_Open, platform::eOsError_SharingViolation, held);
    const platform::CScopedOs os(&files, &m_clock);
    m_clock.OnWait([&] { m_clock.Advance(10ms); });
    CLeftStatuses left;
    left.Leave(m_path, "last", true);
    left.Leave(held, "last");
    left.TryAgain();
    left.TryToTheLast();
    EXPECT_EQ(tries, 2) << "whenever it would have been due";
    EXPECT_FALSE(left.IsEmpty());
}

TEST_F(LeftStatusesTest, AStatusThatWasLeftIsForWhomItWouldHaveBeen)
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

TEST_F(LeftStatusesTest, AStatusThatIsForgottenIsNotWritten)
{
    CLeftStatuses left;
    left.Leave(m_path, "old");
    left.Forget(m_path);
    left.TryAgain();
    EXPECT_FALSE(platform::PathExists(m_path));
}

TEST_F(LeftStatusesTest, WhoForgetsAStatusWaitsForATryOfItThatIsUnderWay)
{
    CLeftStatuses left;
    left.Leave(m_path, "old");
    platform::CManualResetEvent hasReturned;
    platform::CManualResetEvent mayGoOn; // he waits, or has returned
    m_clock.OnWait([&] { mayGoOn.Set(); });
    platform::CThread other;
    testsupport::CFaultyFiles files;
    files.OnCall([&](const testsupport::SFileCall& call) {
        if (call.call != testsupport::eFileCall_Open)
            return;
        ASSERT_TRUE(other.Start([&] {
            left.Forget(m_path);
            hasReturned.Set();
            mayGoOn.Set();
            return 0U;
        }));
        mayGoOn.Wait();
        EXPECT_FALSE(hasReturned.IsSet()) << "what he writes next the older status would be written over";
    });
    {
        const platform::CScopedOs os(&files, &m_clock);
        left.TryAgain();
    }
    static_cast<void>(other.Join());
    EXPECT_TRUE(left.IsEmpty());
}

TEST_F(LeftStatusesTest, AStatusThatIsInsistedOnIsTriedAfterPausesThatGrowUntilItIsThere)
{
    testsupport::CFaultyFiles files;
    files.FailAlways(testsupport::eFileCall_Write, platform::eOsError_DiskFull);
    const platform::CScopedOs os(&files, &m_clock);
    CLeftStatuses left;
    left.Leave(m_path, "last", true);
    std::vector<std::chrono::seconds> tries;
    for (std::chrono::seconds second{0}; second < 200s; ++second, m_clock.Advance(1s)) {
        files.ForgetCalls();
        left.TryAgain();
        if (files.Count(testsupport::eFileCall_Write) != 0)
            tries.push_back(second);
    }
    EXPECT_EQ(tries, (std::vector<std::chrono::seconds>{0s, 1s, 3s, 7s, 15s, 31s, 63s, 127s, 191s}));
    EXPECT_FALSE(left.IsEmpty());
    files.StopFailing();
    m_clock.Advance(CLeftStatuses::kLongestPause);
    left.TryAgain();
    EXPECT_EQ(Read(m_path), "last");
    EXPECT_TRUE(left.IsEmpty());
}

TEST_F(LeftStatusesTest, AnotherFailureEndsTheTriesOfAStatusThatIsNotInsistedOn)
{
    testsupport::CFaultyFiles files;
    const platform::CScopedOs os(&files, &m_clock);
    CLeftStatuses left;
    left.Leave(m_path, "last");
    files.FailAlways(testsupport::eFileCall_Write, platform::eOsError_DiskFull);
    left.TryAgain();
    EXPECT_TRUE(left.IsEmpty());
    m_host.ExpectLogLine(L"A status that had to wait for its file is lost: " + m_path);
}

TEST_F(LeftStatusesTest, WhatIsLeftIsBounded)
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
