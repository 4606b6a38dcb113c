#include "tests/face/FaceFixture.h"

#include "ZELAutomation/ZELAutomationEnvFile.h"
#include "ZEL_Processor/LockFile.h"
#include "com/CreateInstance.h"

using namespace std::chrono_literals;

namespace {

constexpr GUID kSource = {1, 2, 3, {4, 5, 6, 7, 8, 9, 10, 11}};
constexpr GUID kOtherSource = {2, 2, 3, {4, 5, 6, 7, 8, 9, 10, 11}};

class FaceListener : public CFaceFixture {
protected:
    void SetUp() override
    {
        CFaceFixture::SetUp();
        Run();
    }
    void TearDown() override
    {
        m_face.reset();
        EXPECT_TRUE(Access().Clients().empty()) << "it unregisters in its end";
    }
    [[nodiscard]] zel::Listener Listening() { return std::move(m_face->listen()).value(); }
    /// The client's file of the given kind.
    [[nodiscard]] std::wstring FileOf(const std::wstring& prefix) const
    {
        for (const std::wstring& name : FilesIn(m_outputDir)) {
            if (name.starts_with(prefix))
                return In(m_outputDir, name);
        }
        ADD_FAILURE() << "no such file";
        return {};
    }
    void WriteEvent(const std::function<void(IWQ_DsEventsData&)>& fill) const
    {
        const CComPtr<IWQ_DsEventsData> event = CreateInstanceZEL<IWQ_DsEventsData>(kClsidDsEventsData);
        fill(*event);
        ASSERT_TRUE(WriteDsEventsFile(FileOf(L"DsEvents_"), {event}));
    }
};

} // namespace

TEST_F(FaceListener, AnEventComesWithAllItsParts)
{
    zel::Listener listener = Listening();
    const CComPtr<IWQ_DsList> list = MakeDsList();
    ThrowIfFailed(list->AddItem(&kSource, 7));
    ThrowIfFailed(list->AddItem(&kSource, 9));
    ThrowIfFailed(list->AddItem(&kOtherSource, -1));
    const CComPtr<IWQ_DsGuidSet> sources = MakeDsGuidSet();
    ThrowIfFailed(sources->Add(&kOtherSource));
    WriteEvent([&](IWQ_DsEventsData& event) {
        ThrowIfFailed(event.PutAddedItems(list.Get()));
        ThrowIfFailed(event.PutChangedSources(sources.Get()));
        ThrowIfFailed(event.PutKind(eDsEventKind_Items));
    });
    const zel::Result<zel::Changes> changes = listener.wait(kPatience);
    ASSERT_TRUE(changes) << changes.reason();
    ASSERT_EQ(changes->events.size(), 1U);
    const zel::Event& event = changes->events.front();
    EXPECT_EQ(event.kind, zel::EventKind::items);
    ASSERT_EQ(event.added.size(), 2U);
    EXPECT_TRUE(IsEqualGUID(event.added[0].source, kSource));
    EXPECT_EQ(event.added[0].numbers, (std::vector<std::int32_t>{7, 9}));
    EXPECT_EQ(event.added[1].numbers, std::vector<std::int32_t>{-1});
    ASSERT_EQ(event.sources.size(), 1U);
    EXPECT_TRUE(IsEqualGUID(event.sources[0], kOtherSource));
    EXPECT_TRUE(event.removed.empty() && event.changed.empty() && event.renamed.empty() && event.affected.empty());

    const zel::Result<zel::Changes> again = listener.take();
    ASSERT_TRUE(again) << again.reason();
    EXPECT_TRUE(again->empty()) << "nothing is told twice";
}

TEST_F(FaceListener, AChangeEndsTheSleep)
{
    zel::Listener listener = Listening();
    EXPECT_EQ(listener.wait(20ms).code(), zel::Code::timeout);
    std::thread thread([&] {
        const zel::Session session;
        m_pServer->OnChangedLockResults();
    });
    const zel::Result<zel::Changes> changes = listener.wait(kPatience);
    thread.join();
    ASSERT_TRUE(changes) << changes.reason();
    EXPECT_TRUE(changes->lockResults);
    EXPECT_TRUE(changes->events.empty() && changes->groups.empty());
}

TEST_F(FaceListener, GroupsComeByTheirIdsOrAllOfThem)
{
    zel::Listener listener = Listening();
    const std::string begin = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<Archive version=\"1\">";
    Write(FileOf(L"InsertableItemsGroup_"), begin + "</Archive>");
    ASSERT_TRUE(listener.take());
    Write(FileOf(L"InsertableItemsGroup_"), "no archive");
    const zel::Result<zel::Changes> changes = listener.take();
    ASSERT_TRUE(changes) << changes.reason();
    EXPECT_TRUE(changes->allGroups);
    EXPECT_EQ(Read(FileOf(L"InsertableItemsGroup_")), "") << "taken";
}

TEST_F(FaceListener, WhatCannotBeReadNowComesAgain)
{
    zel::Listener listener = Listening();
    m_pServer->OnChangedLockResults();
    {
        CLockFile writing(FileOf(L"LockResultsChange_"));
        ASSERT_TRUE(writing.Lock(false));
        EXPECT_EQ(listener.take().code(), zel::Code::fileError);
        EXPECT_EQ(listener.wait(20ms).code(), zel::Code::fileError);
    }
    const zel::Result<zel::Changes> changes = listener.take();
    ASSERT_TRUE(changes) << changes.reason();
    EXPECT_TRUE(changes->lockResults);
}

TEST_F(FaceListener, NoFileIsLeftOfOneThatEnds)
{
    {
        zel::Listener listener = Listening();
        m_pServer->OnChangedLockResults();
        EXPECT_OK(listener.wait(kPatience));
        EXPECT_EQ(FilesIn(m_outputDir).size(), 4U) << "events, groups, results, and that it lives";
        m_files.FailCall(testsupport::eFileCall_Remove, 1, platform::eOsError_SharingViolation, 2, L"LockResults");
        const platform::CScopedOs os(&m_files, nullptr);
        const zel::Listener ending = std::move(listener);
    }
    EXPECT_EQ(FilesIn(m_outputDir), std::vector<std::wstring>{});
}

TEST_F(FaceListener, ALostRegistrationIsMadeAnewAndEverythingMayHaveChanged)
{
    zel::Listener listener = Listening();
    ASSERT_TRUE(platform::Succeeded(platform::Files().Remove(FileOf(L"DsEvents_"))));
    const zel::Result<zel::Changes> changes = listener.wait(kPatience);
    ASSERT_TRUE(changes) << changes.reason();
    ASSERT_EQ(changes->events.size(), 1U);
    EXPECT_EQ(changes->events[0].kind, zel::EventKind::reload);
}

TEST_F(FaceListener, AServerThatIsGoneGivesNoRegistration)
{
    m_pServer->Stop(true);
    zel::Options options = Options();
    options.commandTimeout = 50ms;
    const zel::Result<zel::Listener> listener = zel::Client(options).listen();
    EXPECT_EQ(listener.code(), zel::Code::noAnswer);
    EXPECT_NE(listener.reason(), "");
}

TEST_F(FaceListener, AServerThatGoesEndsTheSleepWithAReasonOfItsOwn)
{
    zel::Options options = Options();
    options.serverAbsence = 1ms;
    m_face.emplace(options);
    auto claim = Claim();
    zel::Listener listener = Listening();
    EXPECT_EQ(listener.wait(1200ms).code(), zel::Code::timeout) << "it was looked for twice";
    claim.reset();
    const zel::Result<zel::Changes> none = listener.wait(kPatience);
    EXPECT_EQ(none.code(), zel::Code::noServer);
    EXPECT_NE(none.reason().find("output' for 1 ms"), std::string::npos) << none.reason();
    claim = Claim();
    m_pServer->OnChangedLockResults();
    const zel::Result<zel::Changes> changes = listener.wait(kPatience);
    ASSERT_TRUE(changes) << changes.reason();
    EXPECT_TRUE(changes->lockResults) << "it goes on with one that came back";
}

TEST_F(FaceListener, AServerThatComesBackInTimeIsNotMissed)
{
    zel::Options options = Options();
    options.serverAbsence = kPatience;
    m_face.emplace(options);
    static_cast<void>(Claim()); // one that went
    zel::Listener listener = Listening();
    std::atomic<bool> isMissed = false;
    const platform::CScopedOs os(&m_files, nullptr);
    m_files.OnCall([&](const testsupport::SFileCall& call) {
        isMissed = isMissed || call.path == ServersOwn(ZelProtocol::kClaimFile);
    });
    std::thread thread([&] {
        const zel::Session session;
        EXPECT_TRUE(WaitUntil([&] { return isMissed.load(); }));
        const auto claim = Claim();
        m_pServer->OnChangedLockResults();
    });
    const zel::Result<zel::Changes> changes = listener.wait(1h);
    thread.join();
    m_files.OnCall({});
    ASSERT_TRUE(changes) << changes.reason();
    EXPECT_TRUE(changes->lockResults);
}

TEST_F(FaceListener, WhoMissesNoServerSleepsForAllOfHisTime)
{
    zel::Options options = Options();
    options.serverAbsence = 0ms;
    m_face.emplace(options);
    static_cast<void>(Claim());
    zel::Listener listener = Listening();
    EXPECT_EQ(listener.wait(1200ms).code(), zel::Code::timeout);
}

TEST_F(FaceListener, AStopOfTheClientEndsTheSleep)
{
    zel::Listener listener = Listening();
    std::thread thread([&] { m_face->stop(); });
    EXPECT_EQ(listener.wait(1h).code(), zel::Code::stopped);
    thread.join();
}
