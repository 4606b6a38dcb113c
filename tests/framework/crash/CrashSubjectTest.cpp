#include "tests/framework/crash/CrashReportFixture.h"

#include "platform/Path.h"
#include "platform/Trust.h"
#include "tests/support/ExpectedLeaks.h"

#include <thread>

TEST(CrashSubjectTest, NestsAndIsTheThreadsOwn)
{
    EXPECT_EQ(MOXCrashRpt::CScopedSubject::Current(), L"");
    {
        const MOXCrashRpt::CScopedSubject outer(L"outer");
        {
            const MOXCrashRpt::CScopedSubject inner(L"inner");
            EXPECT_EQ(MOXCrashRpt::CScopedSubject::Current(), L"inner");
        }
        EXPECT_EQ(MOXCrashRpt::CScopedSubject::Current(), L"outer");
        std::wstring other = L"not asked";
        std::thread([&other] { other = MOXCrashRpt::CScopedSubject::Current(); }).join();
        EXPECT_EQ(other, L"");
    }
    EXPECT_EQ(MOXCrashRpt::CScopedSubject::Current(), L"");
}

TEST(CrashSubjectTest, OfMoreThanItsRoomTheRestIsLeftOut)
{
    const MOXCrashRpt::CScopedSubject subject(std::wstring(1024, L'x'));
    EXPECT_EQ(MOXCrashRpt::CScopedSubject::Current(), std::wstring(1023, L'x'));
}

TEST(CrashSubjectTest, KeepsWhatWasLastToldOfIt)
{
    using MOXCrashRpt::CScopedSubject;
    CScopedSubject::SetState(L"of nothing", L"lost");
    EXPECT_EQ(CScopedSubject::CurrentStatus(), L"");
    const CScopedSubject outer(L"/queue/outer.drq");
    EXPECT_EQ(CScopedSubject::CurrentName(), L"outer.drq");
    CScopedSubject::SetState(L"status", L"comment");
    {
        const CScopedSubject inner(L"inner");
        EXPECT_EQ(CScopedSubject::CurrentStatus(), L"");
        CScopedSubject::SetState(std::wstring(200, L's'), std::wstring(2000, L'c'));
        EXPECT_EQ(CScopedSubject::CurrentStatus(), std::wstring(127, L's'));
        EXPECT_EQ(CScopedSubject::CurrentComment(), std::wstring(1023, L'c'));
    }
    EXPECT_EQ(CScopedSubject::CurrentStatus(), L"status");
    EXPECT_EQ(CScopedSubject::CurrentComment(), L"comment");
}

TEST(CrashSubjectTest, IsKnownAfterAFaultJumpedOverItAndGoneWithTheOuterOne)
{
    {
        const MOXCrashRpt::CScopedSubject outer(L"outer");
        const testsupport::CExpectedLeaks leaks;
        platform::SFaultRecord fault;
        EXPECT_FALSE(platform::RunContained(
            [] {
                const MOXCrashRpt::CScopedSubject inner(L"inner");
                FaultForTheReport();
            },
            fault));
        EXPECT_EQ(MOXCrashRpt::CScopedSubject::Current(), L"inner");
    }
    EXPECT_EQ(MOXCrashRpt::CScopedSubject::Current(), L"");
}

TEST(CrashDirectoryTest, IsTheVariablesFolderOrOneOfThisUsersOwn)
{
    {
        const CScopedReportDirectory set(L"/some/folder");
        EXPECT_EQ(MOXCrashRpt::ReportDirectory(), L"/some/folder");
    }
    const CScopedReportDirectory unset(L"");
    EXPECT_EQ(MOXCrashRpt::ReportDirectory(),
              platform::JoinPath(platform::TemporaryDirectory(), L"zel-crash-" + platform::UserTag()));
}
