#include "platform/Os.h"
#include "platform/Text.h"
#include "tests/apps/ProgramFixture.h"

namespace {

class ForgetCommandTest : public CProgramTest {
protected:
    /// What a server leaves of a request.
    void Leave(const std::wstring& name, const std::wstring& status) const
    {
        Write(InOutput(name + L".status"), platform::ToUtf16Le(status + L"\r\n"));
    }
};

TEST_F(ForgetCommandTest, RemovesResponseAndStatusOfWhatHasEnded)
{
    Leave(L"failed.drq", L"1");
    Leave(L"done.drq", L"13");
    Write(InOutput(L"done.drq"), "<Response/>");
    const SProgramResult result = Zel({L"forget", L"failed.drq", L"done.drq", L"--json"});
    EXPECT_EQ(result.code, 0) << result.errors;
    ASSERT_EQ(result.Objects().size(), 2U);
    EXPECT_EQ(result.Objects()[0]["state"], "server-error");
    EXPECT_EQ(result.Objects()[1]["state"], "done");
    EXPECT_EQ(FilesIn(m_strOutput), std::vector<std::wstring>());
}

TEST_F(ForgetCommandTest, AResponseThatLostItsStatusIsRemovedByName)
{
    Write(InOutput(L"a.drq"), "<Response/>");
    EXPECT_EQ(Zel({L"forget", L"--finished"}).code, 0);
    EXPECT_EQ(FilesIn(m_strOutput), std::vector<std::wstring>{L"a.drq"}) << "it may be anything";
    EXPECT_EQ(Zel({L"forget", L"a.drq"}).code, 0);
    EXPECT_EQ(FilesIn(m_strOutput), std::vector<std::wstring>());
}

TEST_F(ForgetCommandTest, WhatHasNotEndedStays)
{
    Leave(L"runs.drq", L"8");
    Leave(L"failed.drq", L"1");
    const SProgramResult result = Zel({L"forget", L"runs.drq", L"failed.drq"});
    EXPECT_EQ(result.code, 1);
    EXPECT_TRUE(Contains(result.errors, "'runs.drq' has not ended yet")) << result.errors;
    EXPECT_EQ(FilesIn(m_strOutput), std::vector<std::wstring>{L"runs.drq.status"}) << "the others go";
    EXPECT_EQ(Zel({L"forget", L"unknown.drq"}).code, 5);
}

TEST_F(ForgetCommandTest, FinishedMeansAllThatHaveEnded)
{
    Leave(L"failed.drq", L"1");
    Leave(L"cancelled.drq", L"11");
    Leave(L"done.drq", L"13");
    Leave(L"runs.drq", L"9");
    Leave(L"paused.drq", L"12");
    Write(InOutput(L"Plan.txt"), "of somebody else");
    EXPECT_EQ(Zel({L"forget", L"--finished"}).code, 0);
    EXPECT_EQ(FilesIn(m_strOutput), (std::vector<std::wstring>{L"Plan.txt", L"paused.drq.status", L"runs.drq.status"}));
    EXPECT_EQ(Zel({L"forget", L"--finished"}).code, 0) << "nothing is left to forget";
}

TEST_F(ForgetCommandTest, NamesOrFinished)
{
    const SProgramResult none = Zel({L"forget"});
    EXPECT_EQ(none.code, 2);
    EXPECT_TRUE(Contains(none.errors, "zel: give the names of requests, or --finished\n")) << none.errors;
    const SProgramResult both = Zel({L"forget", L"a.drq", L"--finished"});
    EXPECT_EQ(both.code, 2);
    EXPECT_TRUE(Contains(both.errors, "zel: NAME cannot be used together with --finished\n")) << both.errors;
}

} // namespace
