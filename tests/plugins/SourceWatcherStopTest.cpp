#include "tests/plugins/SourceWatcherFixture.h"

using namespace plugintest;

namespace {

using SourceWatcherStop = CSourceWatcherFixture;

} // namespace

TEST_F(SourceWatcherStop, TheStartWaitsForNoDataAndTheStopForNoReading)
{
    // Ten thousand rows of which each takes milliseconds to read.
    m_data.Make(L"box", "CREATE TABLE slow(a, b AS (length(replace(hex(zeroblob(1000000)), '0', 'ab'))));"
                        "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 10000)"
                        "INSERT INTO slow SELECT i FROM n");
    const auto start = std::chrono::steady_clock::now();
    ASSERT_EQ(m_source->Start(m_sink.Get()), S_OK);
    while (!IsBeingRead(m_data.PathOf(L"box")))
        ASSERT_LT(std::chrono::steady_clock::now() - start, CRecordingHost::kPatience);
    EXPECT_EQ(m_source->Stop(), S_OK);
    EXPECT_LT(std::chrono::steady_clock::now() - start, CRecordingHost::kPatience);
    EXPECT_EQ(m_sink->Count(), 0U);
}

TEST_F(SourceWatcherStop, StartAndStopSayWhatTheyFind)
{
    EXPECT_EQ(m_source->Stop(), S_FALSE);
    EXPECT_EQ(m_source->Start(nullptr), E_POINTER);
    EXPECT_EQ(m_source->Start(m_sink.Get()), S_OK);
    EXPECT_EQ(m_source->Start(m_sink.Get()), E_UNEXPECTED);
    EXPECT_EQ(m_source->Stop(), S_OK);
    EXPECT_EQ(m_source->Stop(), S_FALSE);
    EXPECT_EQ(m_sink->AddRef(), 2U) << "the sink is let go";
    m_sink->Release();
}

TEST_F(SourceWatcherStop, WithoutAFolderThereIsNothingToWatch)
{
    const CSavedFolder noFolder(L"");
    EXPECT_EQ(m_source->Start(m_sink.Get()), S_FALSE);
    EXPECT_EQ(m_source->Stop(), S_FALSE);
}

TEST_F(SourceWatcherStop, AFolderThatIsMissingIsLogged)
{
    const CSavedFolder missing(m_data.PathOf(L"missing"));
    EXPECT_EQ(m_source->Start(m_sink.Get()), S_FALSE);
    m_host.ExpectLogLine(L"can't be watched: ");
}

TEST_F(SourceWatcherStop, NothingIsToldAfterStop)
{
    Start();
    m_data.Make(L"box", "DELETE FROM birds WHERE id = 3");
    EXPECT_EQ(Next(), "items removed box/birds 3");
    EXPECT_EQ(m_source->Stop(), S_OK);
    m_data.Make(L"box", "DELETE FROM birds WHERE id = 7");
    const auto later = MakeComObject<CRecordingSink>();
    ASSERT_EQ(m_source->Start(later.Get()), S_OK);
    m_data.Make(L"crate", "CREATE TABLE boats(name TEXT)");
    EXPECT_EQ(later->Next(), "sources crate/boats");
    m_data.Make(L"box", "DELETE FROM birds WHERE id = 9");
    EXPECT_EQ(later->Next(), "items removed box/birds 9");
    EXPECT_EQ(m_sink->Count(), 0U);
}

TEST_F(SourceWatcherStop, StopEndsTheReadingOfAChange)
{
    const std::wstring path = m_data.PathOf(L"box");
    m_data.Make(L"box", "DELETE FROM birds;" + RowsFrom(1, CTableSnapshot::kMaxRows));
    Start();
    m_data.Make(L"box", "UPDATE birds SET name = 'egret' WHERE id = 7");
    const auto end = std::chrono::steady_clock::now() + CRecordingHost::kPatience;
    while (!IsBeingRead(path)) {
        // Found too late: the change has been read and told, so there must be another one.
        if (m_sink->Count() != 0) {
            EXPECT_EQ(Next(), "items changed box/birds 7");
            m_data.Make(L"box", "UPDATE birds SET name = name || 'x' WHERE id = 7");
        }
        ASSERT_LT(std::chrono::steady_clock::now(), end);
    }
    EXPECT_EQ(m_source->Stop(), S_OK);
    EXPECT_EQ(platform::Files().Remove(path), platform::eOsError_None) << "nothing is left open";
}

TEST_F(SourceWatcherStop, StopWaitsForTheCallThatIsUnderWay)
{
    platform::CManualResetEvent inCall;
    platform::CManualResetEvent mayEnd;
    std::atomic<bool> ended = false;
    m_sink->OnTold([&] {
        inCall.Set();
        EXPECT_TRUE(mayEnd.WaitFor(CRecordingHost::kPatience));
        ended = true;
    });
    ASSERT_EQ(m_source->Start(m_sink.Get()), S_OK);
    m_data.Make(L"crate", "CREATE TABLE boats(name TEXT)");
    ASSERT_TRUE(inCall.WaitFor(CRecordingHost::kPatience));
    mayEnd.Set();
    EXPECT_EQ(m_source->Stop(), S_OK);
    EXPECT_TRUE(ended);
    EXPECT_EQ(Next(), "sources crate/boats");
}

TEST_F(SourceWatcherStop, AFactoryThatIsReleasedStopsByItself)
{
    Start();
    m_data.Make(L"box", "DELETE FROM birds WHERE id = 3");
    EXPECT_EQ(Next(), "items removed box/birds 3");
    m_source.Reset();
    EXPECT_EQ(m_sink->AddRef(), 2U) << "the sink is let go";
    m_sink->Release();
}
