#include "server/Resume.h"
#include "tests/library/server/ResumeFixture.h"

using namespace std::chrono_literals;

TEST_F(ResumeTest, AResponseThatAPowerCutMayHaveTornIsMadeAgain)
{
    m_settings.m_options.syncing = true;
    const std::wstring kept = m_settings.m_paths.InOwnFolder(L"ended");
    ASSERT_TRUE(platform::Succeeded(platform::Files().MakeDirectory(m_settings.m_paths.InOwnFolder({}))));
    ASSERT_TRUE(platform::Succeeded(platform::Files().MakeDirectory(kept)));
    const std::wstring started = m_settings.m_paths.InOwnFolder(L"started");
    Resume(L"0 waiting, 0 interrupted, 0 paused, 0 answered, 0 clients, 0 moved aside");
    // As a killed server left it; then as another start of the system finds it.
    for (const bool isCut : {false, true}) {
        if (isCut)
            Write(started, "12345");
        Write(In(kept, L"kept.drq"));
        Arrive(L"undone.drq");
        for (const wchar_t* name : {L"kept.drq", L"undone.drq"}) {
            Write(Output(name), "");
            WriteStatus(name, eRequestStatus_Done);
        }
        Write(In(kept, L"failed.drq"));
        WriteStatus(L"failed.drq", eRequestStatus_ServerError);
        Write(In(kept, L"sent again.drq"));
        Send(L"sent again.drq");
        Resume(isCut ? L"0 waiting, 0 interrupted, 2 taken back, 0 paused, 1 answered, 0 clients, 0 moved aside"
                     : L"0 waiting, 0 interrupted, 0 paused, 3 answered, 0 clients, 1 moved aside");
        EXPECT_TRUE(FilesIn(kept).empty());
        EXPECT_EQ(Status(L"failed.drq").status, eRequestStatus_ServerError);
        EXPECT_FALSE(HasFile(L"sent again.drq")) << "it is taken as any new one";
        for (const wchar_t* name : {L"kept.drq", L"undone.drq"}) {
            EXPECT_EQ(Status(name).status, isCut ? eRequestStatus_Waiting : eRequestStatus_Done);
            EXPECT_EQ(platform::PathExists(Output(name)), !isCut);
        }
        EXPECT_EQ(TakeAll().size(), isCut ? 2U : 0U);
    }
    m_host.AcceptWarnings();
}

TEST_F(ResumeTest, AnEndThatAPowerCutMayHaveUndoneIsMadeAgain)
{
    m_settings.m_options.syncing = true;
    const std::wstring kept = m_settings.m_paths.InOwnFolder(L"ended");
    for (const std::wstring& folder : {m_settings.m_paths.InOwnFolder({}), kept})
        ASSERT_TRUE(platform::Succeeded(platform::Files().MakeDirectory(folder)));
    Write(m_settings.m_paths.InOwnFolder(L"started"), "12345");
    Write(In(kept, L"unknown.drq"));
    Write(In(kept, L"torn.drq"));
    Write(m_settings.m_paths.Status(L"torn.drq"), "");
    Write(In(kept, L"nothing there.drq"));
    WriteStatus(L"nothing there.drq", eRequestStatus_Done);
    Write(In(kept, L"failed.drq"));
    Write(Output(L"failed.drq"), "a part that came back");
    WriteStatus(L"failed.drq", eRequestStatus_Canceled);
    Resume(L"0 waiting, 0 interrupted, 3 taken back, 0 paused, 1 answered, 0 clients, 0 moved aside");
    EXPECT_EQ(TakeAll().size(), 3U);
    EXPECT_FALSE(platform::PathExists(Output(L"failed.drq")));
    EXPECT_EQ(Status(L"failed.drq").status, eRequestStatus_Canceled);
}

TEST_F(ResumeTest, WhatWasTakenBackWasNotInterruptedAtTheNextStartEither)
{
    m_settings.m_options.syncing = true;
    m_settings.m_options.attempts = 1;
    Arrive(L"waits.drq");
    Arrive(L"a.drq");
    WriteStatus(L"a.drq", eRequestStatus_Done);
    WriteRecord(L"a.drq", "1");
    for (int starts = 0; starts < 2; ++starts) {
        Resume(L"1 waiting, 0 interrupted, 1 taken back, 0 paused, 0 answered, 0 clients, 0 moved aside");
        EXPECT_FALSE(platform::PathExists(Record(L"a.drq"))) << "no run of it is to be counted";
        TSRequestItem item;
        bool isLast = false;
        ASSERT_TRUE(m_requests.TakeRequest(item, isLast, [] {}));
        EXPECT_EQ(item.m_strFile, Queued(L"a.drq")) << "before what waits";
        EXPECT_TRUE(item.m_bTakenBack);
        EXPECT_EQ(item.m_nAttempts, 0U);
        EXPECT_EQ(TakeAll(), std::vector<std::wstring>{L"waits.drq"});
    }
}

TEST_F(ResumeTest, WhatIsTakenBackSaysSoWhereNothingIsToRunAgain)
{
    m_settings.m_options.syncing = true;
    m_settings.m_options.interrupted = eInterrupted_Fail;
    Arrive(L"a.drq");
    Write(Output(L"a.drq"), "torn");
    WriteStatus(L"a.drq", eRequestStatus_Done);
    Resume(L"0 waiting, 0 interrupted, 1 taken back, 0 paused, 0 answered, 0 clients, 0 moved aside");
    EXPECT_TRUE(TakeAll().empty());
    EXPECT_EQ(Status(L"a.drq").status, eRequestStatus_ServerError);
    EXPECT_EQ(Status(L"a.drq").comment, RootApp_RSC_CStr(155, "IDS_END_UNDONE"));
    EXPECT_FALSE(platform::PathExists(Output(L"a.drq")));
    EXPECT_FALSE(HasFile(L"a.drq"));
    m_host.AcceptWarnings();
}

TEST_F(ResumeTest, APauseThatAPowerCutHasBroughtBackDoesNotHideThatARunWasBegun)
{
    m_settings.m_options.syncing = true;
    for (const bool isToFail : {false, true}) {
        m_settings.m_options.interrupted = isToFail ? eInterrupted_Fail : eInterrupted_Rerun;
        Arrive(L"run.drq");
        WriteRecord(L"run.drq", "1");
        Arrive(L"paused.drq");
        for (const wchar_t* name : {L"run.drq", L"paused.drq"})
            WriteStatus(name, eRequestStatus_Paused);
        Write(m_settings.m_paths.InOwnFolder(L"started"), "12345");
        Resume(isToFail ? L"0 waiting, 1 interrupted, 1 paused, 0 answered, 0 clients, 0 moved aside"
                        : L"0 waiting, 0 interrupted, 2 paused, 0 answered, 0 clients, 0 moved aside");
        EXPECT_EQ(Status(L"run.drq").status, isToFail ? eRequestStatus_ServerError : eRequestStatus_Paused);
        EXPECT_EQ(Status(L"paused.drq").status, eRequestStatus_Paused);
        EXPECT_TRUE(TakeAll().empty());
        m_requests.Clear(false);
    }
    m_host.AcceptWarnings();
}

TEST_F(ResumeTest, WithoutAPowerCutAPauseIsTheLastThatHappened)
{
    m_settings.m_options.syncing = true;
    m_settings.m_options.interrupted = eInterrupted_Fail;
    ASSERT_TRUE(platform::Succeeded(platform::Files().MakeDirectory(m_settings.m_paths.InOwnFolder({}))));
    Resume(L"0 waiting, 0 interrupted, 0 paused, 0 answered, 0 clients, 0 moved aside");
    Arrive(L"declined.drq");
    WriteRecord(L"declined.drq", "1");
    WriteStatus(L"declined.drq", eRequestStatus_Paused);
    Resume(L"0 waiting, 0 interrupted, 1 paused, 0 answered, 0 clients, 0 moved aside");
    EXPECT_TRUE(IsPaused(L"declined.drq"));
}
