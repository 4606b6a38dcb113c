#include "tests/library/NotifyFixture.h"


#include <algorithm>
#include <set>

namespace {

class Clients : public CNotifyFixture {};

} // namespace

TEST_F(Clients, ARegistrationHasAnIdAndTwoEmptyFiles)
{
    ASSERT_TRUE(m_client.ListenDsEvents());
    const GUID id = SClientTestAccess{m_client}.Id();
    ASSERT_EQ(Access().Clients().size(), 1U);
    EXPECT_TRUE(IsEqualGUID(Access().Clients().front(), id));
    EXPECT_EQ(m_client.GetDsEventsFileFullPath(), m_pServer->GetDsEventsFileFullPath(id));
    EXPECT_EQ(Read(m_client.GetDsEventsFileFullPath()), "");
    EXPECT_EQ(Read(m_client.GetInsertableItemsChangeFile()), "");
    EXPECT_FALSE(platform::PathExists(m_client.GetLockResultsChangeFile()));
    EXPECT_TRUE(FilesIn(m_clientDir).empty()) << "the answer is taken away";
}

TEST_F(Clients, RegisteringTwiceGivesTwoIdsAndTwoSetsOfFiles)
{
    std::set<std::wstring> files;
    for (const bool first : {true, false}) {
        ASSERT_TRUE(m_client.ListenDsEvents()) << first;
        const GUID id = SClientTestAccess{m_client}.Id();
        EXPECT_TRUE(IsEqualGUID(Access().Clients().back(), id));
        files.insert({L"DsEvents_" + GuidToText(id), L"InsertableItemsGroup_" + GuidToText(id)});
    }
    ASSERT_EQ(Access().Clients().size(), 2U);
    EXPECT_FALSE(IsEqualGUID(Access().Clients()[0], Access().Clients()[1]));
    const auto found = FilesIn(m_outputDir);
    EXPECT_EQ(std::set<std::wstring>(found.begin(), found.end()), files) << "four, and nothing else";
}

TEST_F(Clients, UnregisteringTakesTheEventsFileAwayAndLeavesTheOthers)
{
    ASSERT_TRUE(m_client.ListenDsEvents());
    EXPECT_TRUE(m_client.StopListeningDsEvents());
    EXPECT_TRUE(Access().Clients().empty());
    EXPECT_FALSE(platform::PathExists(m_client.GetDsEventsFileFullPath()));
    EXPECT_TRUE(platform::PathExists(m_client.GetInsertableItemsChangeFile()));
}

TEST_F(Clients, AnUnknownIdIsFalseAndTouchesNoFile)
{
    const GUID known = Register();
    std::set<std::wstring> touched; // by this thread; the listener may look at the command's end
    const auto self = platform::CurrentThreadId();
    m_files.OnCall([&](const testsupport::SFileCall& call) {
        if (platform::CurrentThreadId() == self)
            touched.insert(call.path);
    });
    const platform::CScopedOs os(&m_files, nullptr);
    EXPECT_FALSE(Access().UnregisterClient(kFirstGroup));
    EXPECT_EQ(touched, std::set<std::wstring>());
    EXPECT_EQ(Access().Clients(), std::vector<GUID>{known});
    EXPECT_TRUE(Access().UnregisterClient(known));
    EXPECT_EQ(touched, std::set<std::wstring>{m_pServer->GetDsEventsFileFullPath(known)});
    EXPECT_FALSE(Access().UnregisterClient(known)) << "only once";
    m_pServer->Stop(true); // nobody else uses the files any more
}

TEST_F(Clients, AFileThatCanNotBeMadeEndsTheRegistration)
{
    testsupport::CFaultyFiles& files = m_files;
    testsupport::CManualClock& clock = m_clock; // the client waits for an answer that does not name it
    const platform::CScopedOs os(&files, &clock);
    files.FailAlways(testsupport::eFileCall_Open, platform::eOsError_AccessDenied, L"InsertableItemsGroup_");
    EXPECT_FALSE(m_client.ListenDsEvents());
    m_host.ExpectReport(843, platform::OsErrorText(platform::eOsError_AccessDenied) + L"\n   " +
                                 In(m_outputDir, L"InsertableItemsGroup_{"));
    m_host.ExpectBox(L"does not exist");
    m_host.ExpectReport(521, L"!ReceiveOutput\n  " + In(m_clientDir, L"RegisterClient__{"));
    EXPECT_TRUE(Access().Clients().empty());
}
