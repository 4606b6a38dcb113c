#include "server/EndedRequests.h"
#include "tests/library/server/RunFixture.h"

namespace {

class EndedRequestsTest : public CRunFixture {
protected:
    EndedRequestsTest() { m_settings.m_options = {.syncing = true, .resume = true}; }

    void Keep(const std::wstring& name, const char* response)
    {
        Write(Queued(name));
        if (response)
            Write(m_settings.m_paths.Output(name), response);
        EXPECT_EQ(m_ended.Keep(Queued(name)), platform::eOsError_None);
        EXPECT_FALSE(HasFile(name));
        EXPECT_TRUE(platform::PathExists(m_ended.PathOf(name)));
    }

    /// The device does what it is told again.
    void Sync(const std::wstring& name)
    {
        Keep(name, "response");
        m_ended.Flush();
        EXPECT_FALSE(platform::PathExists(m_ended.PathOf(name)));
    }

    CEndedRequests m_ended{m_settings};
};

} // namespace

TEST_F(EndedRequestsTest, FilesOfAGroupGoWhenItsResponsesAreOnTheDevice)
{
    Keep(L"a.drq", "first");
    Keep(L"b.drq", "second");
    Keep(L"taken.drq", nullptr);
    const platform::CScopedOs os(&m_files, nullptr);
    bool isDirectorySynced = false;
    m_files.OnCall([&](const testsupport::SFileCall& call) {
        isDirectorySynced |= call.call == testsupport::eFileCall_SyncDirectory && call.path == m_outputDir;
        if (call.call == testsupport::eFileCall_Remove) {
            EXPECT_EQ(m_files.Count(testsupport::eFileCall_Sync), 3U);
            EXPECT_TRUE(isDirectorySynced);
        }
    });
    m_ended.Flush();
    EXPECT_EQ(m_files.Count(testsupport::eFileCall_SyncDirectory), 1U) << "one for the group";
    EXPECT_TRUE(m_ended.IsEmpty());
    for (const wchar_t* name : {L"a.drq", L"b.drq", L"taken.drq"})
        EXPECT_FALSE(platform::PathExists(m_ended.PathOf(name)));
}

TEST_F(EndedRequestsTest, ASyncThatFailsIsReportedOnceAndKeepsItsFileAlone)
{
    const std::wstring told = L"Responses may not survive a power cut: " + m_outputDir + L"\n" +
                              platform::OsErrorText(platform::eOsError_TooManyOpenFiles);
    const platform::CScopedOs os(&m_files, nullptr);
    for (int round = 0; round < 2; ++round) {
        Keep(L"a.drq", "response");
        Keep(L"b.drq", "response");
        m_files.FailAlways(testsupport::eFileCall_Sync, platform::eOsError_TooManyOpenFiles, L"a.drq");
        m_ended.Flush();
        m_host.ExpectReport(318, told);
        EXPECT_TRUE(platform::PathExists(m_ended.PathOf(L"a.drq")));
        EXPECT_FALSE(platform::PathExists(m_ended.PathOf(L"b.drq"))) << "the others go on";
        m_ended.Flush();
        EXPECT_GT(m_ended.UntilFlush(), CEndedRequests::kPause) << "told, and tried with growing pauses";
        m_files.StopFailing();
        m_ended.Flush();
        EXPECT_FALSE(platform::PathExists(m_ended.PathOf(L"a.drq")));
        EXPECT_TRUE(m_ended.IsEmpty());
    }
}

TEST_F(EndedRequestsTest, WhatTheDeviceMayHaveLostStaysUntilItsClientHasIt)
{
    const platform::CScopedOs os(&m_files, nullptr);
    for (const auto call : {testsupport::eFileCall_Sync, testsupport::eFileCall_SyncDirectory}) {
        for (const auto error : {platform::eOsError_IoError, platform::eOsError_DiskFull}) {
            Keep(L"a.drq", "response");
            m_files.StopFailing();
            m_files.FailCall(call, 1, error, 1, m_outputDir);
            m_ended.Flush();
            m_host.ExpectReport(318, platform::OsErrorText(error));
            m_ended.Flush();
            EXPECT_TRUE(platform::PathExists(m_ended.PathOf(L"a.drq"))) << "a sync says yes where the data is gone";
            EXPECT_TRUE(platform::Succeeded(platform::Files().Remove(m_settings.m_paths.Output(L"a.drq"))));
            m_ended.Flush();
            EXPECT_FALSE(platform::PathExists(m_ended.PathOf(L"a.drq")));
            EXPECT_TRUE(m_ended.IsEmpty());
            Sync(L"b.drq"); // the next failure is told
        }
    }
}

TEST_F(EndedRequestsTest, ADeviceThatGoesOnFailingIsToldOnce)
{
    const platform::CScopedOs os(&m_files, nullptr);
    m_files.FailAlways(testsupport::eFileCall_Sync, platform::eOsError_IoError);
    for (const wchar_t* name : {L"a.drq", L"b.drq"}) {
        Keep(name, "response");
        m_ended.Flush();
        m_ended.Flush(); // syncs nothing, and so tells nothing
    }
    m_host.ExpectReport(318, platform::OsErrorText(platform::eOsError_IoError));
    m_files.StopFailing();
    Sync(L"c.drq");
    m_files.FailAlways(testsupport::eFileCall_Sync, platform::eOsError_IoError);
    Keep(L"d.drq", "response");
    m_ended.Flush();
    m_host.ExpectReport(318, platform::OsErrorText(platform::eOsError_IoError));
}

TEST_F(EndedRequestsTest, EndsThatCannotBeSyncedAreNotCollectedWithoutEnd)
{
    m_files.FailAlways(testsupport::eFileCall_Sync, platform::eOsError_IoError);
    const platform::CScopedOs os(&m_files, nullptr);
    for (std::size_t number = 0; number <= CEndedRequests::kMostLeft; ++number)
        Keep(std::to_wstring(number) + L".drq", "response");
    m_ended.Flush();
    m_host.ExpectReport(318, platform::OsErrorText(platform::eOsError_IoError));
    m_files.StopFailing();
    for (const std::wstring& name : FilesIn(m_outputDir))
        static_cast<void>(platform::Files().Remove(In(m_outputDir, name)));
    m_files.ForgetCalls();
    m_ended.Flush();
    EXPECT_EQ(m_files.Count(testsupport::eFileCall_Remove), CEndedRequests::kMostLeft);
    EXPECT_TRUE(platform::PathExists(m_ended.PathOf(L"0.drq"))) << "for the next start";
}

TEST_F(EndedRequestsTest, AnotherStartOfTheSystemIsKnownByItsNameAndElsewhereByTheClock)
{
    testsupport::CManualClock clock;
    const platform::CScopedOs os(nullptr, &clock);
    EXPECT_TRUE(m_ended.MayHaveBeenCut()) << "nothing tells";
    Write(Queued(L"a.drq"));
    EXPECT_EQ(m_ended.Keep(Queued(L"a.drq")), platform::eOsError_None); // makes the folder
    clock.SetSystemStartId("f1d2-1");
    m_ended.KeepSystemStart();
    clock.SetUtcSeconds(1'900'000'000);
    EXPECT_FALSE(m_ended.MayHaveBeenCut()) << "only the clock was set";
    clock.SetSystemStartId("f1d2-2");
    EXPECT_TRUE(m_ended.MayHaveBeenCut());
    m_ended.KeepSystemStart();
    EXPECT_FALSE(m_ended.MayHaveBeenCut());
    clock.SetSystemStartId("f1d2-21");
    EXPECT_TRUE(m_ended.MayHaveBeenCut());

    clock.SetSystemStartId({});
    m_ended.KeepSystemStart();
    EXPECT_FALSE(m_ended.MayHaveBeenCut());
    clock.SetUtcSeconds(1'900'000'060);
    EXPECT_TRUE(m_ended.MayHaveBeenCut()) << "what cannot be told is taken for a cut";
    m_ended.KeepSystemStart();
    clock.SetSystemStartId("f1d2-3");
    EXPECT_TRUE(m_ended.MayHaveBeenCut()) << "a server before kept no name";
}

TEST_F(EndedRequestsTest, AnyPartOfTheRecordOfAStartCountsAsAnotherOne)
{
    testsupport::CManualClock clock;
    clock.SetSystemStartId("f1d2-1");
    const platform::CScopedOs os(nullptr, &clock);
    Write(Queued(L"a.drq"));
    EXPECT_EQ(m_ended.Keep(Queued(L"a.drq")), platform::eOsError_None); // makes the folder
    m_ended.KeepSystemStart();
    ASSERT_FALSE(m_ended.MayHaveBeenCut());
    const std::wstring path = m_settings.m_paths.InOwnFolder(L"started");
    std::string whole;
    ASSERT_EQ(platform::ReadWholeFile(path, platform::eOpenMode_ReadShared, whole, 1000), platform::eOsError_None);
    for (std::size_t length = 0; length < whole.size(); ++length) {
        const std::string part = whole.substr(0, length);
        for (const std::string& torn : {part, part + std::string(whole.size() - length, '\0')}) {
            ASSERT_EQ(platform::WriteWholeFile(path, torn), platform::eOsError_None);
            EXPECT_TRUE(m_ended.MayHaveBeenCut()) << length;
        }
    }
}

TEST_F(EndedRequestsTest, TheNextServerKnowsWhatIsKept)
{
    Keep(L"a.drq", "response");
    CEndedRequests next(m_settings);
    EXPECT_EQ(next.TakeOver(), platform::eOsError_None);
    EXPECT_EQ(next.TakeNames(), std::vector<CString>{L"a.drq"});
}

TEST_F(EndedRequestsTest, WithoutSyncingOrResumingItIsNotWanted)
{
    EXPECT_TRUE(m_ended.IsWanted());
    m_settings.m_options.syncing = false;
    EXPECT_FALSE(m_ended.IsWanted());
    m_settings.m_options = {.syncing = true, .resume = false};
    EXPECT_FALSE(m_ended.IsWanted());
}

TEST_F(EndedRequestsTest, AnEndWithoutAResponseGoesWhenItsLastStatusIsOnTheDevice)
{
    Write(Queued(L"a.drq"));
    Write(m_settings.m_paths.Output(L"a.drq"), "half of a respo");
    const std::wstring status = m_settings.m_paths.Status(L"a.drq");
    EXPECT_EQ(m_ended.EndWithoutResponse(Queued(L"a.drq"),
                                         [&] {
                                             EXPECT_FALSE(HasFile(L"a.drq"));
                                             Write(status, "the end");
                                         }),
              platform::eOsError_None);
    EXPECT_FALSE(platform::PathExists(m_settings.m_paths.Output(L"a.drq")));
    EXPECT_TRUE(platform::PathExists(m_ended.PathOf(L"a.drq")));
    const platform::CScopedOs os(&m_files, nullptr);
    std::vector<std::wstring> synced;
    m_files.OnCall([&](const testsupport::SFileCall& call) {
        if (call.call == testsupport::eFileCall_Sync || call.call == testsupport::eFileCall_SyncDirectory)
            synced.push_back(call.path);
        if (call.call == testsupport::eFileCall_Remove) {
            EXPECT_EQ(synced, (std::vector<std::wstring>{status, m_outputDir}));
        }
    });
    m_ended.Flush();
    EXPECT_FALSE(platform::PathExists(m_ended.PathOf(L"a.drq")));
}

TEST_F(EndedRequestsTest, AnEndThatSomebodyHasOpenIsSyncedTheNextTime)
{
    Keep(L"a.drq", "held");
    Keep(L"b.drq", "free");
    const platform::CScopedOs os(&m_files, nullptr);
    for (const platform::eOsError error : {platform::eOsError_SharingViolation, platform::eOsError_AccessDenied}) {
        m_files.FailCall(testsupport::eFileCall_Sync, 1, error, 1, L"a.drq");
        m_ended.Flush();
        EXPECT_TRUE(platform::PathExists(m_ended.PathOf(L"a.drq"))) << "it is not on the device";
        EXPECT_FALSE(platform::PathExists(m_ended.PathOf(L"b.drq")));
    }
    EXPECT_FALSE(m_ended.IsEmpty());
    EXPECT_GT(m_ended.UntilFlush(), CEndedRequests::kPause);
    m_ended.Flush();
    EXPECT_FALSE(platform::PathExists(m_ended.PathOf(L"a.drq")));
    EXPECT_TRUE(m_ended.IsEmpty());
    EXPECT_EQ(m_ended.UntilFlush(), CEndedRequests::kPause);
}

TEST_F(EndedRequestsTest, AFileThatCannotBeTakenAwayIsTriedAgain)
{
    for (const bool isSynced : {false, true}) {
        m_settings.m_options.syncing = isSynced;
        const auto call = isSynced ? testsupport::eFileCall_Move : testsupport::eFileCall_Remove;
        Write(Queued(L"a.drq"));
        m_files.StopFailing();
        m_files.FailCall(call, 1, platform::eOsError_OutOfMemory, 1, L"Queue");
        const platform::CScopedOs os(&m_files, nullptr);
        EXPECT_EQ(m_ended.Keep(Queued(L"a.drq")), platform::eOsError_None) << "it passed at once";
        EXPECT_FALSE(HasFile(L"a.drq"));

        Write(Queued(L"a.drq"));
        m_files.FailCall(call, 1, platform::eOsError_IoError, 3, L"Queue");
        EXPECT_EQ(m_ended.Keep(Queued(L"a.drq")), platform::eOsError_IoError);
        EXPECT_TRUE(HasFile(L"a.drq"));
        EXPECT_FALSE(m_ended.IsEmpty());
        m_ended.Flush();
        EXPECT_TRUE(HasFile(L"a.drq")) << "the third failure";
        m_ended.Flush();
        EXPECT_FALSE(HasFile(L"a.drq"));
        EXPECT_TRUE(m_ended.IsEmpty());
    }
}

TEST_F(EndedRequestsTest, FilesThatCannotBeTakenAwayAreNotCollectedWithoutEnd)
{
    m_settings.m_options.syncing = false;
    m_files.FailAlways(testsupport::eFileCall_Remove, platform::eOsError_IoError);
    {
        const platform::CScopedOs os(&m_files, nullptr);
        for (std::size_t number = 0; number <= CEndedRequests::kMostLeft; ++number)
            EXPECT_EQ(m_ended.Keep(Queued(std::to_wstring(number) + L".drq")), platform::eOsError_IoError);
        m_files.StopFailing();
        m_files.ForgetCalls();
        m_ended.Flush();
    }
    EXPECT_EQ(m_files.Count(testsupport::eFileCall_Remove), CEndedRequests::kMostLeft);
}

TEST_F(EndedRequestsTest, AnEndIsToldFirstWhereAPartOfAResponseStays)
{
    Write(Queued(L"a.drq"));
    m_files.FailAlways(testsupport::eFileCall_Remove, platform::eOsError_IoError, m_settings.m_paths.Output(L"a.drq"));
    const platform::CScopedOs os(&m_files, nullptr);
    int told = 0;
    EXPECT_EQ(m_ended.EndWithoutResponse(Queued(L"a.drq"),
                                         [&] {
                                             ++told;
                                             EXPECT_TRUE(HasFile(L"a.drq"))
                                                 << "a start would take the part for the whole";
                                         }),
              platform::eOsError_None);
    EXPECT_EQ(told, 1);
    EXPECT_FALSE(HasFile(L"a.drq"));
}

TEST_F(EndedRequestsTest, WhereRunsAreMarkedTheFileIsGoneForGoodBeforeTheMark)
{
    for (const bool isMarked : {false, true}) {
        m_settings.m_options.interrupted = isMarked ? eInterrupted_Fail : eInterrupted_Rerun;
        Write(Queued(L"a.drq"));
        m_files.ForgetCalls();
        const platform::CScopedOs os(&m_files, nullptr);
        EXPECT_EQ(m_ended.Keep(Queued(L"a.drq")), platform::eOsError_None);
        for (const testsupport::SFileCall& call : m_files.Calls()) {
            if (call.call == testsupport::eFileCall_Move && platform::Succeeded(call.result)) {
                EXPECT_EQ((call.mode & platform::eMoveFlag_WriteThrough) != 0, isMarked);
            }
        }
    }
}
