#include "server/Housekeeping.h"

#include "framework/WorkerThread.h"
#include "platform/NameKind.h"
#include "platform/StandardPath.h"
#include "platform/Text.h"
#include "tests/library/server/RunFixture.h"
#include "tests/support/Links.h"
#include "tests/support/WaitUntil.h"

#include <filesystem>
#include <set>

using namespace std::chrono_literals;

namespace {

constexpr std::chrono::hours kKeep = 24h * 3;

class HousekeepingTest : public CRunFixture {
protected:
    HousekeepingTest()
    {
        m_settings.m_options.keep = kKeep;
        m_clock.SetUtcSeconds(platform::Clock().UtcSeconds() + std::chrono::seconds(kKeep).count() + 60);
    }
    [[nodiscard]] std::wstring Out(const std::wstring& name) const { return In(m_outputDir, name); }
    void WriteStatus(const std::wstring& name, eZelProcRequestStatus status) const
    {
        Write(Out(name + L".status"), platform::ToUtf16Le(std::to_wstring(status) + L"\r\n"));
    }
    void WriteAnswer(const std::wstring& name) const
    {
        Write(Out(name));
        WriteStatus(name, eRequestStatus_Done);
    }
    /// As if it had been written some minutes ago, by the clock of the test.
    void Renew(const std::wstring& name) const
    {
        const std::filesystem::path path = platform::StandardPath(Out(name));
        std::filesystem::last_write_time(path, std::filesystem::last_write_time(path) + 10min);
    }
    [[nodiscard]] std::set<std::wstring> Left() const
    {
        const std::vector<std::wstring> names = FilesIn(m_outputDir);
        return {names.begin(), names.end()};
    }

    CHousekeeping m_housekeeping{m_settings, m_requests, m_bRunning};
};

TEST_F(HousekeepingTest, RemovesWhatNobodyTookAndNothingElse)
{
    for (const wchar_t* name : {L"done.drq", L"DONE.XML", L"young.drq", L"known.drq", L"half.drq", L"newstatus.drq"})
        WriteAnswer(name);
    WriteStatus(L"failed.drq", eRequestStatus_ServerError);
    WriteStatus(L"canceled.drq", eRequestStatus_Canceled);
    WriteStatus(L"c.command", eRequestStatus_Done);
    Write(Out(L"alone.drq"));
    WriteStatus(L"half.drq", eRequestStatus_PreparingResponse);
    WriteStatus(L"paused.drq", eRequestStatus_Paused);
    Write(Out(L"broken.drq.status"), "?");
    for (const wchar_t* name : {L"notes.txt", L"notes.txt.status", L".status", L"DsEvents_{1}", L"DsEvents_{1}.lock"})
        Write(Out(name));
    for (const wchar_t* name : {L"young.drq", L"young.drq.status", L"newstatus.drq.status"})
        Renew(name);
    Queue(L"known.drq");
    ASSERT_TRUE(platform::Succeeded(platform::Files().MakeDirectory(Out(L"folder.drq"))));
    const platform::CScopedOs os(nullptr, &m_clock);
    m_housekeeping.Find();
    m_housekeeping.RemoveSome();
    const std::set<std::wstring> expected{
        L"young.drq",         L"young.drq.status", L"known.drq",         L"known.drq.status",
        L"half.drq",          L"half.drq.status",  L"newstatus.drq",     L"newstatus.drq.status",
        L"paused.drq.status", L"notes.txt",        L"broken.drq.status", L"notes.txt.status",
        L".status",           L"DsEvents_{1}",     L"DsEvents_{1}.lock"};
    EXPECT_EQ(Left(), expected);
    EXPECT_TRUE(platform::DirectoryExists(Out(L"folder.drq")));
    EXPECT_EQ(m_housekeeping.TellRemoved(), 8U);
    m_host.ExpectLogLine(L"Removed because nobody took them: 8 responses and statuses");
    EXPECT_EQ(m_housekeeping.TellRemoved(), 0U);
}

TEST_F(HousekeepingTest, ALinkIsLeftAndNotFollowed)
{
    const std::wstring elsewhere = m_dir / L"elsewhere.drq";
    Write(elsewhere);
    if (!testsupport::MakeLink(elsewhere, Out(L"link.drq")))
        GTEST_SKIP() << "MakeLink: this user may make no links here";
    const platform::CScopedOs os(nullptr, &m_clock);
    m_housekeeping.Find();
    m_housekeeping.RemoveSome();
    EXPECT_EQ(m_housekeeping.TellRemoved(), 0U);
    EXPECT_TRUE(platform::PathExists(elsewhere));
    EXPECT_EQ(platform::NameKind(Out(L"link.drq")), platform::eNameKind_Link);
}

TEST_F(HousekeepingTest, ANameThatIsUsedAgainMeanwhileIsLeftAlone)
{
    for (const wchar_t* name : {L"queued.drq", L"over.drq", L"held.drq"})
        WriteAnswer(name);
    std::unique_ptr<platform::IFile> reader;
    ASSERT_TRUE(
        platform::Succeeded(platform::Files().Open(Out(L"held.drq"), platform::eOpenMode_ReadExclusive, reader)));
    const platform::CScopedOs os(nullptr, &m_clock);
    m_housekeeping.Find();
    Queue(L"queued.drq");
    Renew(L"over.drq.status");
    m_housekeeping.RemoveSome();
    EXPECT_EQ(m_housekeeping.TellRemoved(), 0U);
    EXPECT_EQ(Left().size(), 6U) << "who takes a response has its status, too";
}

TEST_F(HousekeepingTest, ATurnRemovesAFew)
{
    constexpr std::size_t kCount = CHousekeeping::kRemovedInATurn + 1;
    for (std::size_t number = 0; number < kCount; ++number)
        WriteStatus(std::to_wstring(number) + L".drq", eRequestStatus_Done);
    const platform::CScopedOs os(nullptr, &m_clock);
    m_housekeeping.Find();
    m_housekeeping.RemoveSome();
    EXPECT_EQ(Left().size(), 1U);
    m_housekeeping.RemoveSome();
    EXPECT_TRUE(Left().empty());
    EXPECT_EQ(m_housekeeping.TellRemoved(), kCount);
    m_host.ExpectLogLine(L"Removed because nobody took them: ");
}

TEST_F(HousekeepingTest, ItsThreadFindsMoreThanItKeepsAndEndsWhenItIsTold)
{
    constexpr std::size_t kCount = CHousekeeping::kMostFound + 100;
    for (std::size_t number = 0; number < kCount; ++number)
        WriteStatus(std::to_wstring(number) + L".drq", eRequestStatus_Done);
    const platform::CScopedOs os(nullptr, &m_clock);
    m_housekeeping.Start();
    EXPECT_TRUE(testsupport::WaitUntil([&] {
        m_housekeeping.RemoveSome();
        return Left().empty();
    }));
    m_host.ExpectLogLine(L"Removed because nobody took them: " + std::to_wstring(kCount));
    m_housekeeping.Stop();
    WriteStatus(L"late.drq", eRequestStatus_Done);
    m_housekeeping.RemoveSome();
    EXPECT_FALSE(Left().empty());
}

TEST_F(HousekeepingTest, AStopEndsAThreadThatNobodyRemovesFor)
{
    for (std::size_t number = 0; number < CHousekeeping::kMostFound + 10; ++number)
        WriteStatus(std::to_wstring(number) + L".drq", eRequestStatus_Done);
    const platform::CScopedOs os(nullptr, &m_clock);
    m_housekeeping.Start();
    m_housekeeping.Stop();
    EXPECT_EQ(Left().size(), CHousekeeping::kMostFound + 10);
}

TEST_F(HousekeepingTest, AHostThatKeepsAllHasNoThread)
{
    m_settings.m_options.keep = 0s;
    WriteStatus(L"a.drq", eRequestStatus_Done);
    const unsigned threads = CWQ_Thread::RunningCount();
    m_housekeeping.Start();
    EXPECT_EQ(CWQ_Thread::RunningCount(), threads);
}

} // namespace
