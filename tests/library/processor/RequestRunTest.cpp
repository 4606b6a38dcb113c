#include "processor/RequestRun.h"

#include "platform/Os.h"
#include "platform/Path.h"
#include "platform/PrivateFiles.h"
#include "processor/ZelProcessorFactories.h"
#include "reports/ReportLines.h"
#include "tests/library/processor/TasksFixture.h"
#include "tests/support/FaultyFiles.h"
#include "tests/support/ManualClock.h"
#include "tests/support/RequestDoubles.h"
#include "tests/support/TemporaryDirectory.h"

#include <filesystem>
#include <vector>

namespace {

/// One run, without a processor around it that would find the factories and tell the host.
class RequestRun : public CTasksFixture {
protected:
    RequestRun()
    {
        EXPECT_TRUE(m_factories.LoadFactories());
        EXPECT_TRUE(platform::Succeeded(platform::Files().MakeDirectory(m_outputDir)));
        EXPECT_TRUE(m_processor.SetOutputDir(m_outputDir));
        Write("<Request/>");
    }

    void Write(const std::string& bytes) const
    {
        EXPECT_TRUE(platform::Succeeded(platform::WriteWholeFile(m_path, bytes)));
    }
    bool Run()
    {
        bool retry = false;
        return CRequestRun(m_processor, m_factories, m_reasons, &m_context, m_remove, m_path, &m_progress)
            .Run(false, retry);
    }
    /// What the sender reads of a request that fails.
    CString Failure()
    {
        EXPECT_FALSE(Run());
        EXPECT_EQ(m_progress.m_statuses.back(), eRequestStatus_ServerError);
        return m_progress.m_comments.back();
    }
    /// Behind the words that every failure begins with.
    CString Reason()
    {
        const CString text = Failure();
        const CString start = RootApp_RSC_CStr(105, "IDS_SERVER_ERROR");
        EXPECT_TRUE(text.starts_with(start));
        return text.substr(start.size());
    }
    /// Both plug-ins; the first counts.
    void RefuseUntil(int looks)
    {
        m_first.createRequest = [this, looks](const std::wstring&) { return ++m_looks >= looks; };
        m_second.createRequest = [](const std::wstring&) { return false; };
    }
    [[nodiscard]] bool GiveASecondName() const
    {
        std::error_code error;
        std::filesystem::create_hard_link(testsupport::StandardPath(m_path),
                                          testsupport::StandardPath(m_directory / L"other.drq"), error);
        return !error;
    }

    testsupport::CTemporaryDirectory m_directory;
    std::wstring m_path = m_directory / L"abc.drq";
    std::wstring m_outputDir = m_directory / L"out";
    std::wstring m_response = platform::JoinPath(m_outputDir, L"abc.drq");
    CZelProcessor m_processor;
    CZelProcessorFactories m_factories;
    SRequestReasons m_reasons;
    CTestContext m_context;
    CRecordingProgress m_progress;
    std::function<platform::eOsError(const CString&)> m_remove;
    int m_looks = 0;
};

constexpr const char* kNoSecondNames = "create_hard_link: this volume gives no second names";

} // namespace

TEST_F(RequestRun, WhoTakesRequestsAwayIsAskedInPlaceOfTheirDeletion)
{
    std::vector<CString> taken;
    m_remove = [&](const CString& path) {
        taken.push_back(path);
        return platform::eOsError_None;
    };
    EXPECT_TRUE(Run());
    EXPECT_EQ(taken, std::vector<CString>{m_path});
    EXPECT_TRUE(platform::PathExists(m_path));
    EXPECT_TRUE(platform::PathExists(m_response));
}

TEST_F(RequestRun, ARequestThatCanNotBeTakenAwayIsAskedForOnceAndDone)
{
    int asked = 0;
    m_remove = [&](const CString&) {
        ++asked;
        return platform::eOsError_AccessDenied;
    };
    EXPECT_TRUE(Run());
    EXPECT_EQ(asked, 1);
    EXPECT_EQ(m_progress.m_statuses.back(), eRequestStatus_Done);
    m_host.ExpectBox(m_path);
    m_host.ExpectReport(ReportLines::kCantDeleteRequest, m_path);
}

TEST_F(RequestRun, OneThatHasAnotherNameIsTriedForAQuarterOfASecond)
{
    if (!GiveASecondName())
        GTEST_SKIP() << kNoSecondNames;
    testsupport::CManualClock clock;
    const platform::CScopedOs os(nullptr, &clock);
    int asked = 0;
    m_remove = [&](const CString&) {
        ++asked;
        return platform::eOsError_SharingViolation;
    };
    EXPECT_TRUE(Run());
    EXPECT_EQ(asked, 251);
    EXPECT_EQ(clock.Sleeps(), 250U);
    m_host.ExpectBox(m_path);
    m_host.ExpectReport(ReportLines::kCantDeleteRequest, m_path);
}

TEST_F(RequestRun, WhatNoPlugInTakesIsLookedAtAgainOnlyWhileItHasAnotherName)
{
    RefuseUntil(21);
    testsupport::CManualClock clock;
    const platform::CScopedOs os(nullptr, &clock);
    EXPECT_FALSE(Run());
    EXPECT_EQ(m_looks, 1);
    if (!GiveASecondName())
        GTEST_SKIP() << kNoSecondNames;
    m_looks = 0;
    EXPECT_TRUE(Run());
    EXPECT_EQ(m_looks, 21);
    EXPECT_EQ(clock.Sleeps(), 20U);
}

TEST_F(RequestRun, ButNotForEver)
{
    if (!GiveASecondName())
        GTEST_SKIP() << kNoSecondNames;
    RefuseUntil(1000);
    testsupport::CManualClock clock;
    const platform::CScopedOs os(nullptr, &clock);
    EXPECT_EQ(Failure(), RootApp_RSC_CStr(104, "IDS_SERVER_ERROR_UNKNOWN_REQUEST_FORMAT"));
    EXPECT_EQ(m_looks, 251);
}

TEST_F(RequestRun, WhyNoPlugInTakesItIsToldWhenItIsWanted)
{
    RefuseUntil(1000);
    EXPECT_EQ(Failure(), RootApp_RSC_CStr(104, "IDS_SERVER_ERROR_UNKNOWN_REQUEST_FORMAT"));
    m_reasons.isWanted = true;
    EXPECT_EQ(Reason(), RootApp_RSC_CStr(118, "IDS_CANT_FIND_TASK_NODE"));
}

TEST_F(RequestRun, AFileThatIsGoneOrBreaksARuleIsToldInAnyCase)
{
    RefuseUntil(1000);
    Write("<!DOCTYPE Request><Request/>");
    EXPECT_NE(Reason(), L"");
    Write("this is no XML");
    EXPECT_EQ(Failure(), RootApp_RSC_CStr(104, "IDS_SERVER_ERROR_UNKNOWN_REQUEST_FORMAT")) << "that breaks no rule";
    EXPECT_TRUE(platform::Succeeded(platform::Files().Remove(m_path)));
    EXPECT_EQ(Reason(), platform::OsErrorText(platform::eOsError_FileNotFound) + L".");
}

TEST_F(RequestRun, WhatAResponseSaysOfItsFileFollowsWhereReasonsAreTold)
{
    m_first.save = [](const std::wstring&) { return false; };
    m_first.saveErrorText = L"The volume is full.";
    const CString general = RootApp_RSC_CStr(114, "IDS_SERVER_ERROR_CAN_NOT_SAVE_RESPONSE");
    EXPECT_EQ(Failure(), general);
    m_reasons.isWanted = true;
    EXPECT_EQ(Failure(), general + L" The volume is full.");
    m_first.saveErrorText.clear();
    EXPECT_EQ(Failure(), general) << "it has no words";
}

TEST_F(RequestRun, AResponseThatCanNotBeMadePrivateIsLeftForNobody)
{
    testsupport::CFaultyFiles files;
    files.FailAlways(testsupport::eFileCall_MakePrivate, platform::eOsError_AccessDenied, m_response);
    const platform::CScopedOs os(&files, nullptr);
    platform::FileOwner owner;
    ASSERT_TRUE(platform::Succeeded(files.GetOwner(m_path, owner)));
    {
        const platform::CPrivateFiles privately(owner);
        EXPECT_EQ(Failure(), RootApp_RSC_CStr(114, "IDS_SERVER_ERROR_CAN_NOT_SAVE_RESPONSE"));
    }
    EXPECT_FALSE(platform::PathExists(m_response));
    EXPECT_TRUE(platform::PathExists(m_path));
    m_host.ExpectLogLine(m_response);
}
