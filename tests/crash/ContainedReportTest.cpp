#include "tests/crash/CrashFixture.h"

#include "platform/Text.h"
#include "platform/Version.h"
#include "tests/support/CrashReportText.h"

using testsupport::CrashReportValue;

namespace {

using ContainedReport = CCrashFixture;

} // namespace

TEST_F(ContainedReport, ACrashReportHasWhatADeveloperNeeds)
{
    const std::string report = ReportOf("NullDereference");
    EXPECT_EQ(CrashReportValue(report, "Request"), "crash1.drq") << report;
    EXPECT_TRUE(CrashReportValue(report, "Subject").ends_with("crash1.drq")) << report;
    EXPECT_EQ(CrashReportValue(report, "Last status"), "eRequestStatus_GettingData (9)") << report;
    // The plug-in told where, by its own count of lines, before it crashed.
    const std::string comment = CrashReportValue(report, "Comment");
    const std::string announcement = "about to crash in ";
    ASSERT_TRUE(comment.starts_with(announcement + "Crash.cpp:")) << report;
    const std::string place = comment.substr(announcement.size());
    EXPECT_TRUE(CrashReportValue(report, "Source").ends_with(place)) << report;
    EXPECT_NE(CrashReportValue(report, "Function").find("CrashNullDereference()"), std::string::npos) << report;
    EXPECT_NE(CrashReportValue(report, "Module").find("zel_testtasks"), std::string::npos) << report;
    EXPECT_EQ(CrashReportValue(report, "Built for"),
              std::to_string(ZEL_VERSION_MAJOR) + "." + std::to_string(ZEL_VERSION_MINOR))
        << report;
    EXPECT_EQ(CrashReportValue(report, "Kind"), "access violation") << report;
    EXPECT_NE(CrashReportValue(report, "Thread").find(" ZelProcessorServer::"), std::string::npos) << report;
    EXPECT_TRUE(CrashReportValue(report, "Version").starts_with(ZEL_VERSION " (")) << report;
    EXPECT_EQ(CrashReportValue(report, "System"), platform::ToUtf8(platform::SystemVersion())) << report;
}

TEST_F(ContainedReport, TheSourceIsTheInnermostThatIsKnown)
{
    if (testsupport::IsThreadSanitized())
        GTEST_SKIP() << "IsThreadSanitized: its own abort stands between, with a source of its own";
    // The fault itself is in the system's library.
    const std::string report = ReportOf("Abort");
    EXPECT_EQ(CrashReportValue(report, "Kind"), "abort") << report;
    EXPECT_NE(CrashReportValue(report, "Source").find("Crash.cpp:"), std::string::npos) << report;
    EXPECT_NE(CrashReportValue(report, "Function").find("CrashAbort()"), std::string::npos) << report;
}

TEST_F(ContainedReport, TheReportOfAnExceptionHasItsTypeAndText)
{
    const std::string report = ReportOf("Exception");
    EXPECT_EQ(CrashReportValue(report, "Kind"), "exception") << report;
    EXPECT_EQ(CrashReportValue(report, "Exception"), "std::runtime_error: crash task") << report;
}

TEST_F(ContainedReport, TheReportOfAForeignExceptionHasItsType)
{
    EXPECT_EQ(CrashReportValue(ReportOf("ForeignException"), "Exception"), "int");
}
