#include "platform/ReliableWatch.h"

#include "platform/Os.h"
#include "tests/support/FaultyFiles.h"
#include "tests/support/ManualClock.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

namespace platform {
namespace {

using namespace std::chrono_literals;
using testsupport::CManualClock;
using testsupport::CTemporaryDirectory;

/// Of a system that loses what it should tell: only wake-ups arrive, and time passes.
class CDeafWatch final : public IDirectoryWatch {
public:
    explicit CDeafWatch(CManualClock& clock, bool tells = false) : m_clock(clock), m_tells(tells) {}

    eWaitResult Wait(std::chrono::milliseconds timeout) override
    {
        if (std::exchange(m_isWoken, false))
            return eWaitResult_Woken;
        if (m_tells)
            return eWaitResult_Changed;
        m_clock.Advance(timeout);
        return eWaitResult_Timeout;
    }
    eOsError Rearm() override
    {
        m_tells = false;
        return eOsError_None;
    }
    void Wake() override { m_isWoken = true; }

private:
    CManualClock& m_clock;
    bool m_tells;
    bool m_isWoken = false;
};

/// The system's files, but for the watches.
class ReliableWatchTest : public testing::Test {
protected:
    CPollingWatch Deaf(eWatchFilter filter = eWatchFilter_FileName,
                       CPollingWatch::eProbe probe = CPollingWatch::eProbe_Listing)
    {
        return {std::make_unique<CDeafWatch>(m_clock), m_directory.Path(), filter, probe, 50ms};
    }
    /// Its first look finds a change whatever happened.
    static void Settle(CPollingWatch& watch)
    {
        ASSERT_EQ(watch.Wait(5s), eWaitResult_Changed);
        ASSERT_EQ(watch.Rearm(), eOsError_None);
    }
    void Write(const wchar_t* name, const char* text = "")
    {
        ASSERT_EQ(WriteWholeFile(m_directory / name, text), eOsError_None);
    }
    /// Looks that a quiet directory gets in this time.
    unsigned Looks(CPollingWatch& watch, std::chrono::milliseconds time)
    {
        const unsigned before = m_files.Count(testsupport::eFileCall_List);
        EXPECT_EQ(watch.Wait(time), eWaitResult_Timeout);
        return m_files.Count(testsupport::eFileCall_List) - before;
    }

    CTemporaryDirectory m_directory;
    CManualClock m_clock{0ns};
    testsupport::CFaultyFiles m_files;
    CScopedOs m_os{&m_files, &m_clock};
};

TEST_F(ReliableWatchTest, WhatIsNotToldIsSeenAndStaysAChangeUntilItIsTaken)
{
    CPollingWatch watch = Deaf();
    Settle(watch);
    EXPECT_EQ(watch.Wait(10s), eWaitResult_Timeout);
    Write(L"file");
    EXPECT_EQ(watch.Wait(1100ms), eWaitResult_Changed);
    EXPECT_EQ(watch.Wait(0ms), eWaitResult_Changed) << "nobody has taken it";
    EXPECT_EQ(watch.Rearm(), eOsError_None);
    EXPECT_EQ(watch.Wait(10s), eWaitResult_Timeout);
    ASSERT_EQ(Files().Remove(m_directory / L"file"), eOsError_None);
    EXPECT_EQ(watch.Wait(1100ms), eWaitResult_Changed);
}

TEST_F(ReliableWatchTest, ANameInPlaceOfAnotherIsAChange)
{
    Write(L"one");
    CPollingWatch watch = Deaf();
    Settle(watch);
    ASSERT_EQ(Files().Move(m_directory / L"one", m_directory / L"two", 0), eOsError_None);
    EXPECT_EQ(watch.Wait(1s), eWaitResult_Changed);
}

TEST_F(ReliableWatchTest, ContentsAreSeenByTheFilterForThemAlone)
{
    Write(L"file", "short");
    CPollingWatch names = Deaf(eWatchFilter_FileName);
    CPollingWatch contents = Deaf(eWatchFilter_FileNameAndLastWrite);
    Settle(names);
    Settle(contents);
    Write(L"file", "longer");
    EXPECT_EQ(names.Wait(2s), eWaitResult_Timeout);
    EXPECT_EQ(contents.Wait(2s), eWaitResult_Changed);
}

TEST_F(ReliableWatchTest, WhatHappenedBetweenRearmAndTheNextWaitIsAChange)
{
    CPollingWatch watch = Deaf();
    Settle(watch);
    EXPECT_EQ(watch.Rearm(), eOsError_None);
    Write(L"file");
    EXPECT_EQ(watch.Wait(1s), eWaitResult_Changed);
}

TEST_F(ReliableWatchTest, TheTimeOfTheDirectoryTellsOfNewNames)
{
    CPollingWatch watch = Deaf(eWatchFilter_FileName, CPollingWatch::eProbe_Time);
    Settle(watch);
    EXPECT_EQ(watch.Wait(10s), eWaitResult_Timeout);
    // The file system's clock moves in ticks; two changes within one look alike.
    SFileAttributes before;
    SFileAttributes after;
    ASSERT_EQ(Files().GetAttributes(m_directory.Path(), before), eOsError_None);
    do {
        Write(L"file");
        ASSERT_EQ(Files().Remove(m_directory / L"file"), eOsError_None);
        ASSERT_EQ(Files().GetAttributes(m_directory.Path(), after), eOsError_None);
    } while (after.times.modified == before.times.modified);
    EXPECT_EQ(watch.Wait(1s), eWaitResult_Changed);
    EXPECT_EQ(m_files.Count(testsupport::eFileCall_List), 0U) << "no listing for that";
}

TEST_F(ReliableWatchTest, LooksSoonAfterAChangeAndOnceASecondInTheEnd)
{
    CPollingWatch watch = Deaf();
    Settle(watch);
    EXPECT_EQ(Looks(watch, 10s), 4U + 9U) << "after 50, 150, 350, 750 ms, and then every second";
    Write(L"file");
    EXPECT_EQ(watch.Wait(1s), eWaitResult_Changed);
    EXPECT_EQ(watch.Rearm(), eOsError_None);
    EXPECT_EQ(Looks(watch, 350ms), 3U) << "quickly again";
}

TEST_F(ReliableWatchTest, ALookThatTakesLongIsMadeTheLessOften)
{
    m_files.OnCall([&](const testsupport::SFileCall& call) {
        if (call.call == testsupport::eFileCall_List)
            m_clock.Advance(1s);
    });
    CPollingWatch watch = Deaf();
    Settle(watch);
    EXPECT_LE(Looks(watch, 100s), 5U) << "a twentieth of the time";
    Write(L"file");
    EXPECT_EQ(watch.Wait(100s), eWaitResult_Changed);
    EXPECT_EQ(watch.Rearm(), eOsError_None);
    EXPECT_EQ(Looks(watch, 15s), 0U) << "although something happened";
}

TEST_F(ReliableWatchTest, WhatIsToldIsPassedOnWithoutALook)
{
    CPollingWatch watch(std::make_unique<CDeafWatch>(m_clock, true), m_directory.Path(), eWatchFilter_FileName,
                        CPollingWatch::eProbe_Listing, 50ms);
    const unsigned before = m_files.Count(testsupport::eFileCall_List);
    EXPECT_EQ(watch.Wait(1s), eWaitResult_Changed);
    EXPECT_EQ(m_files.Count(testsupport::eFileCall_List), before);
    EXPECT_EQ(watch.Rearm(), eOsError_None);
    Settle(watch); // once more by asking
    EXPECT_EQ(watch.Wait(1s), eWaitResult_Timeout);
}

TEST_F(ReliableWatchTest, AQuietDirectoryIsAskedNoMoreOftenThanWanted)
{
    CPollingWatch watch(std::make_unique<CDeafWatch>(m_clock), m_directory.Path(), eWatchFilter_FileName,
                        CPollingWatch::eProbe_Listing, 5s);
    Settle(watch);
    EXPECT_EQ(Looks(watch, 50s), 10U);
    watch.Wake();
    EXPECT_EQ(watch.Wait(std::chrono::milliseconds::max()), eWaitResult_Woken) << "however long";
}

TEST_F(ReliableWatchTest, AWakeUpComesBeforeAChange)
{
    CPollingWatch watch = Deaf();
    Settle(watch);
    Write(L"file");
    EXPECT_EQ(watch.Wait(1s), eWaitResult_Changed);
    watch.Wake();
    EXPECT_EQ(watch.Wait(1s), eWaitResult_Woken);
    EXPECT_EQ(watch.Wait(1s), eWaitResult_Changed);
}

TEST_F(ReliableWatchTest, ADirectoryThatCannotBeListedIsAChange)
{
    CPollingWatch watch = Deaf();
    Settle(watch);
    m_files.FailAlways(testsupport::eFileCall_List, eOsError_PathNotFound);
    EXPECT_EQ(watch.Wait(1s), eWaitResult_Changed);
    EXPECT_EQ(watch.Rearm(), eOsError_None);
    EXPECT_EQ(watch.Wait(1s), eWaitResult_Changed) << "as long as it cannot";
    m_files.StopFailing();
    EXPECT_EQ(watch.Rearm(), eOsError_None);
    EXPECT_EQ(watch.Wait(1s), eWaitResult_Timeout);
}

TEST_F(ReliableWatchTest, OnlyWhoAsksForItGetsMoreThanTheSystemTells)
{
    const auto asks = [&](eWatchFilter filter, const SWatchOptions& options) {
        const CScopedOs os(&m_files, &SystemClock());
        std::unique_ptr<IDirectoryWatch> watch;
        EXPECT_EQ(WatchReliably(m_directory.Path(), filter, options, watch), eOsError_None);
        m_files.ForgetCalls();
        const bool isAsked = watch->Wait(1100ms) == eWaitResult_Changed;
        return std::pair(isAsked, m_files.Count(testsupport::eFileCall_List));
    };
    EXPECT_EQ(asks(eWatchFilter_FileName, {}), std::pair(false, 0U));
    EXPECT_EQ(asks(eWatchFilter_FileName, {.isChecked = true}), std::pair(true, 0U)) << "its time";
    EXPECT_EQ(asks(eWatchFilter_FileNameAndLastWrite, {.isChecked = true}), std::pair(true, 0U));
    EXPECT_EQ(asks(eWatchFilter_FileName, {.poll = 20ms}), std::pair(true, 1U));
    std::unique_ptr<IDirectoryWatch> watch;
    EXPECT_EQ(WatchReliably(m_directory / L"none", eWatchFilter_FileName, {.poll = 20ms}, watch),
              eOsError_PathNotFound);
}

class ProvenWatchTest : public testing::Test {
protected:
    eOsError Watch(const SWatchOptions& options)
    {
        const CScopedOs os(&m_files, nullptr);
        return WatchProven(m_directory.Path(), eWatchFilter_FileName, options, m_pWatch, m_isDeaf);
    }

    CTemporaryDirectory m_directory;
    testsupport::CFaultyFiles m_files;
    std::unique_ptr<IDirectoryWatch> m_pWatch;
    bool m_isDeaf = true;
};

TEST_F(ProvenWatchTest, AFileSystemOfThisMachineTellsItsChanges)
{
    EXPECT_FALSE(IsChangedFromOutside(m_directory.Path()));
    EXPECT_FALSE(IsChangedFromOutside(m_directory / L"none"));
    ASSERT_EQ(Watch({.isChecked = true}), eOsError_None);
    EXPECT_FALSE(m_isDeaf);
    EXPECT_EQ(m_pWatch->Wait(0ms), eWaitResult_Changed) << "what came while it was tried is not forgotten";
    std::vector<SDirectoryEntry> left;
    ASSERT_EQ(Files().List(m_directory.Path(), left), eOsError_None);
    EXPECT_TRUE(left.empty()) << "nothing stays behind";
}

TEST_F(ProvenWatchTest, OneThatTellsNothingIsListed)
{
    m_files.GoDeaf();
    ASSERT_EQ(Watch({.isChecked = true}), eOsError_None);
    EXPECT_TRUE(m_isDeaf);
    EXPECT_EQ(m_pWatch->Wait(30s), eWaitResult_Changed);
    EXPECT_EQ(m_pWatch->Rearm(), eOsError_None);
    ASSERT_EQ(WriteWholeFile(m_directory / L"file", ""), eOsError_None);
    EXPECT_EQ(m_pWatch->Wait(30s), eWaitResult_Changed);
    std::vector<SDirectoryEntry> left;
    ASSERT_EQ(Files().List(m_directory.Path(), left), eOsError_None);
    EXPECT_EQ(left.size(), 1U) << "but for the file";
}

TEST_F(ProvenWatchTest, NoFileIsMadeWhereNothingIsToBeFoundOut)
{
    m_files.GoDeaf();
    for (const SWatchOptions& options : {SWatchOptions{}, SWatchOptions{.isChecked = true, .poll = 20ms}}) {
        ASSERT_EQ(Watch(options), eOsError_None);
        EXPECT_FALSE(m_isDeaf);
    }
    EXPECT_EQ(m_files.Count(testsupport::eFileCall_Open), 0U);
}

TEST_F(ProvenWatchTest, WhereNoFileCanBeMadeTheSystemIsBelieved)
{
    m_files.GoDeaf();
    m_files.FailAlways(testsupport::eFileCall_Open, eOsError_AccessDenied);
    ASSERT_EQ(Watch({.isChecked = true}), eOsError_None);
    EXPECT_FALSE(m_isDeaf);
    m_files.FailAlways(testsupport::eFileCall_Watch, eOsError_TooManyWatches);
    EXPECT_EQ(Watch({.isChecked = true}), eOsError_TooManyWatches);
}

} // namespace
} // namespace platform
