#include "tests/library/client/ClientEventsFixture.h"

#include "ZEL_Processor/LockFile.h"
#include "platform/Text.h"

namespace {

using ClientEvents = CClientEventsFixture;

} // namespace

TEST_F(ClientEvents, AnEventIsNewOnceItIsWrittenAndUntilItIsTaken)
{
    Listen();
    EXPECT_TRUE(m_client.IsOutputDirChange());
    EXPECT_FALSE(m_client.IsNewDsEvent()) << "the file is empty";
    WriteEvents(2);
    EXPECT_TRUE(m_client.IsNewDsEvent());
    std::vector<CComPtr<IWQ_DsEventsData>> events(5);
    EXPECT_TRUE(m_client.GetDsEvents(events));
    EXPECT_EQ(events.size(), 2U);
    EXPECT_EQ(Read(m_client.GetDsEventsFileFullPath()), "");
    EXPECT_FALSE(m_client.IsNewDsEvent());
    EXPECT_FALSE(platform::PathExists(m_client.GetDsEventsFileFullPath() + L".lock"));
}

TEST_F(ClientEvents, AfterAResetTheQueriesTouchNoDiskUntilTheNextChange)
{
    Listen();
    // The thread has made its watch once it raises the flag for a change of ours.
    ASSERT_TRUE(WaitUntil([&] {
        m_client.ResetOutputDirChange();
        Write(In(m_outputDir, L"any"));
        return WaitUntil([&] { return m_client.IsOutputDirChange(); });
    }));
    WriteEvents(1);
    m_pServer->OnChangedLockResults();
    {
        const platform::CScopedOs os(&m_files, nullptr);
        EXPECT_TRUE(WaitUntil([&] {
            m_client.ResetOutputDirChange();
            m_files.ForgetCalls();
            const bool isNews =
                m_client.IsNewDsEvent() || m_client.IsInsertableItemsUpdated() || m_client.IsLockResultsChanged();
            if (m_client.IsOutputDirChange())
                return false; // one that was on its way has raised it again
            EXPECT_FALSE(isNews);
            return true;
        }));
    }
    EXPECT_TRUE(m_files.Calls().empty());
    Write(In(m_outputDir, L"other"));
    EXPECT_TRUE(WaitUntil([&] { return m_client.IsNewDsEvent(); }));
    EXPECT_TRUE(m_client.IsLockResultsChanged());
}

TEST_F(ClientEvents, AFileThatTheServerHoldsForLongIsReportedAndReadTheNextTime)
{
    Listen();
    WriteEvents(1);
    std::vector<CComPtr<IWQ_DsEventsData>> events;
    {
        CLockFile writing(m_client.GetDsEventsFileFullPath());
        ASSERT_TRUE(writing.Lock(false));
        const platform::CScopedOs os(nullptr, &m_clock);
        EXPECT_FALSE(m_client.GetDsEvents(events));
    }
    m_host.ExpectReport(58, L"Timeout expired");
    m_host.ExpectReport(680, L"Unable to read ds events file because is locked still on server side !");
    EXPECT_TRUE(m_client.GetDsEvents(events));
    EXPECT_EQ(events.size(), 1U);
}

TEST_F(ClientEvents, ABrokenEventsFileIsReportedAndKept)
{
    Listen();
    WriteEvents(1);
    const std::string whole = Read(m_client.GetDsEventsFileFullPath());
    Write(m_client.GetDsEventsFileFullPath(), whole.substr(0, whole.size() - 1));
    std::vector<CComPtr<IWQ_DsEventsData>> events;
    EXPECT_FALSE(m_client.GetDsEvents(events));
    m_host.ExpectReport(681, L"CZELEnvFileDsEventsFile::ReadDsEventsFile failed");
    EXPECT_EQ(Read(m_client.GetDsEventsFileFullPath()).size(), whole.size() - 1);
    EXPECT_FALSE(platform::PathExists(m_client.GetDsEventsFileFullPath() + L".lock"));
}

TEST_F(ClientEvents, FilesThatCanNotBeClearedAreReportedAndReadAgain)
{
    Listen();
    WriteEvents(1);
    WriteGroups("<Group RevisionID=\"" + Id(3) + "\"/>");
    m_pServer->OnChangedLockResults();
    std::wstring clearing;
    m_files.OnCall([&](const testsupport::SFileCall& call) {
        if (call.call == testsupport::eFileCall_Open && call.mode == platform::eOpenMode_WriteExclusive &&
            call.path == clearing)
            m_files.FailCall(testsupport::eFileCall_Open, 1, platform::eOsError_AccessDenied, 1, clearing);
    });
    const platform::CScopedOs os(&m_files, nullptr);
    clearing = m_client.GetDsEventsFileFullPath();
    std::vector<CComPtr<IWQ_DsEventsData>> events;
    EXPECT_FALSE(m_client.GetDsEvents(events));
    m_host.ExpectReport(682, L"DeleteDsEventsFileContent failed");
    EXPECT_TRUE(events.empty()) << "they come again";
    clearing = m_client.GetInsertableItemsChangeFile();
    CComPtr<IWQ_CLSIDArray> groups;
    EXPECT_FALSE(m_client.GetChangedInsertableItemsGroups(groups.Put()));
    m_host.ExpectReport(740, L"Unable to clear bsInsertableItemsGroupFile");
    EXPECT_FALSE(groups);
    clearing = m_client.GetLockResultsChangeFile();
    EXPECT_FALSE(m_client.ResetLockResultsChanged());
    m_host.ExpectReport(800, L"Unable to clear LockResultsChangeFile");

    m_files.OnCall({});
    EXPECT_TRUE(m_client.GetDsEvents(events));
    EXPECT_EQ(events.size(), 1U);
    EXPECT_EQ(TakeGroups(), "3 ");
    EXPECT_TRUE(m_client.ResetLockResultsChanged());
}

TEST_F(ClientEvents, AFileThatAStrangerKeepsOpenIsClearedForASecondOnly)
{
    Listen();
    m_pServer->OnChangedLockResults();
    m_files.FailAlways(testsupport::eFileCall_Open, platform::eOsError_SharingViolation, L"LockResultsChange_");
    const platform::CScopedOs os(&m_files, &m_clock);
    const auto start = m_clock.Steady();
    EXPECT_FALSE(m_client.ResetLockResultsChanged());
    EXPECT_LT(m_clock.Steady() - start, std::chrono::seconds(2));
    m_host.ExpectReport(800, L"Unable to clear LockResultsChangeFile");
}

TEST_F(ClientEvents, AnEmptyGroupFileHasNoGroups)
{
    Listen();
    EXPECT_EQ(TakeGroups(), "");
    WriteGroups("<Group RevisionID=\"" + Id(3) + "\"/>");
    EXPECT_FALSE(m_client.GetChangedInsertableItemsGroups(nullptr));
    EXPECT_EQ(TakeGroups(), "3 ") << "nothing was taken for nobody";
}

TEST_F(ClientEvents, GroupsAreReadInBothShapes)
{
    Listen();
    WriteGroups("<Group><RevisionID>" + Id(1) + "</RevisionID><RevisionID>" + Id(2) + "</RevisionID></Group>");
    EXPECT_TRUE(m_client.IsInsertableItemsUpdated());
    EXPECT_EQ(TakeGroups(), "1 2 ");
    WriteGroups("<Group RevisionID=\"" + Id(3) + "\"/><Group RevisionID=\"" + Id(4) + "\"/>");
    EXPECT_EQ(TakeGroups(), "3 4 ");
    EXPECT_FALSE(m_client.IsInsertableItemsUpdated());
}

TEST_F(ClientEvents, ANullIdAmongTheGroupsGivesANullArray)
{
    Listen();
    for (const std::string& groups :
         {"<Group RevisionID=\"" + Id(3) + "\"/><Group RevisionID=\"" + Id(0) + "\"/>", std::string("<Group/>"),
          "<Group><RevisionID>" + Id(1) + "</RevisionID><RevisionID>" + Id(0) + "</RevisionID></Group>"}) {
        WriteGroups(groups);
        EXPECT_EQ(TakeGroups(), "null") << groups;
        EXPECT_EQ(Read(m_client.GetInsertableItemsChangeFile()), "");
    }
}

TEST_F(ClientEvents, TruncatedAndCorruptedGroupsAreReportedAndMayMeanEverything)
{
    Listen();
    WriteGroups("<Group><RevisionID>" + Id(1) + "</RevisionID></Group>");
    const std::string whole = Read(m_client.GetInsertableItemsChangeFile());
    for (std::size_t length = 1; length < whole.size(); length += 3) {
        Write(m_client.GetInsertableItemsChangeFile(), whole.substr(0, length));
        EXPECT_EQ(TakeGroups(), "null") << length;
        m_host.ExpectReport(742, L"Unable to read " + m_client.GetInsertableItemsChangeFile());
    }
    for (std::size_t at = 0; at < whole.size(); ++at) {
        std::string flipped = whole;
        flipped[at] = static_cast<char>(flipped[at] ^ (1 << (at % 8)));
        Write(m_client.GetInsertableItemsChangeFile(), flipped);
        static_cast<void>(TakeGroups());
        static_cast<void>(m_host.TakeReports());
        EXPECT_EQ(Read(m_client.GetInsertableItemsChangeFile()), "") << at;
    }
}

TEST_F(ClientEvents, TheOtherReadersDoNotWaitForTheServer)
{
    Listen();
    WriteGroups("<Group RevisionID=\"" + Id(3) + "\"/>");
    m_pServer->OnChangedLockResults();
    CComPtr<IWQ_CLSIDArray> groups;
    CLockFile first(m_client.GetInsertableItemsChangeFile());
    CLockFile second(m_client.GetLockResultsChangeFile());
    ASSERT_TRUE(first.Lock(false));
    ASSERT_TRUE(second.Lock(false));
    EXPECT_FALSE(m_client.GetChangedInsertableItemsGroups(groups.Put()));
    EXPECT_FALSE(m_client.ResetLockResultsChanged());
}

TEST_F(ClientEvents, FilesThatAreMissingAreShown)
{
    Listen();
    ASSERT_TRUE(platform::Succeeded(platform::Files().Remove(m_client.GetInsertableItemsChangeFile())));
    CComPtr<IWQ_CLSIDArray> groups;
    EXPECT_FALSE(m_client.GetChangedInsertableItemsGroups(groups.Put()));
    m_host.ExpectBox(L"Response file " + m_client.GetInsertableItemsChangeFile() + L" does not exist");
    EXPECT_FALSE(m_client.ResetLockResultsChanged());
    m_host.ExpectBox(L"Response file " + m_client.GetLockResultsChangeFile() + L" does not exist");
}
