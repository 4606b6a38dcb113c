#include "tests/framework/crash/CrashReportFixture.h"

#include "tests/support/ExpectedLeaks.h"
#include "tests/support/FaultyFiles.h"

#include <set>
#include <stdexcept>
#include <thread>

namespace {

using CrashReportFilesTest = CCrashReportFixture;

} // namespace

TEST_F(CrashReportFilesTest, AMissingFolderIsAFailureAndNothingElse)
{
    const std::wstring last = MOXCrashRpt::LastReportPath();
    const CScopedReportDirectory missing(m_folder.PathOf(L"no such folder"));
    const platform::SFaultRecord fault = RealFault();
    EXPECT_EQ(MOXCrashRpt::GenerateErrorReport(RecordOf(&fault)), 0);
    m_host.ExpectLogLine(L"No crash report was written. Writing '" + m_folder.PathOf(L"no such folder"));
    EXPECT_EQ(MOXCrashRpt::LastReportPath(), last);
}

TEST_F(CrashReportFilesTest, AFileInPlaceOfTheFolderIsAFailureAndNothingElse)
{
    ASSERT_TRUE(Succeeded(platform::WriteWholeFile(m_folder.PathOf(L"file"), "content")));
    const CScopedReportDirectory file(m_folder.PathOf(L"file"));
    EXPECT_EQ(MOXCrashRpt::GenerateErrorReport(RecordOf(nullptr)), 0);
    m_host.ExpectLogLine(L"No crash report was written");
    EXPECT_EQ(m_folder.Content(L"file"), "content");
}

TEST_F(CrashReportFilesTest, AFailureOfEachFileCallLeavesNoFileBehind)
{
    using testsupport::eFileCall;
    const std::wstring last = MOXCrashRpt::LastReportPath();
    for (const eFileCall call : {testsupport::eFileCall_Open, testsupport::eFileCall_Write,
                                 testsupport::eFileCall_Close, testsupport::eFileCall_Move}) {
        testsupport::CFaultyFiles files;
        files.FailCall(call, 1, platform::eOsError_DiskFull);
        const platform::CScopedOs os(&files, nullptr);
        EXPECT_EQ(MOXCrashRpt::GenerateErrorReport(RecordOf(nullptr)), 0) << "call " << call;
        m_host.ExpectLogLine(platform::OsErrorText(platform::eOsError_DiskFull));
        EXPECT_TRUE(m_folder.Names().empty()) << "call " << call;
    }
    EXPECT_EQ(MOXCrashRpt::LastReportPath(), last);
}

TEST_F(CrashReportFilesTest, OldReportsThatCannotBeRemovedDoNotMakeItFail)
{
    for (int old = 10; old < 70; ++old)
        ASSERT_TRUE(Succeeded(platform::WriteWholeFile(
            m_folder.PathOf(L"zel-crash-20200101T0000" + std::to_wstring(old) + L"Z-1-1.txt"), "old")));
    testsupport::CFaultyFiles files;
    const platform::CScopedOs os(&files, nullptr);
    files.FailAlways(testsupport::eFileCall_List, platform::eOsError_AccessDenied);
    EXPECT_EQ(MOXCrashRpt::GenerateErrorReport(RecordOf(nullptr)), 1);
    m_host.ExpectLogLine(L"A crash report was written");
    EXPECT_EQ(m_folder.Names().size(), 61U);
    EXPECT_EQ(files.Count(testsupport::eFileCall_Remove), 0U);

    files.StopFailing();
    files.FailAlways(testsupport::eFileCall_Remove, platform::eOsError_AccessDenied);
    EXPECT_EQ(MOXCrashRpt::GenerateErrorReport(RecordOf(nullptr)), 1);
    m_host.ExpectLogLine(L"A crash report was written");
    EXPECT_EQ(m_folder.Names().size(), 62U);
    EXPECT_EQ(files.Count(testsupport::eFileCall_Remove), 12U) << "each is tried, whatever became of the others";

    files.StopFailing();
    EXPECT_EQ(MOXCrashRpt::GenerateErrorReport(RecordOf(nullptr)), 1);
    m_host.ExpectLogLine(L"A crash report was written");
    EXPECT_EQ(m_folder.Names().size(), 50U) << "and again the next time";
}

TEST_F(CrashReportFilesTest, AFaultWhileItIsWrittenIsAFailureAndNothingElse)
{
    testsupport::CFaultyFiles files;
    files.OnCall([](const testsupport::SFileCall& call) {
        if (call.call == testsupport::eFileCall_Move)
            FaultForTheReport();
    });
    const platform::CScopedOs os(&files, nullptr);
    {
        const testsupport::CExpectedLeaks leaks;
        EXPECT_EQ(MOXCrashRpt::GenerateErrorReport(RecordOf(nullptr)), 0);
    }
    m_host.ExpectLogLine(L"No crash report was written. access violation");
}

TEST_F(CrashReportFilesTest, AnExceptionWhileItIsWrittenIsAFailureAndNothingElse)
{
    testsupport::CFaultyFiles files;
    files.OnCall([](const testsupport::SFileCall&) { throw std::runtime_error("no memory left"); });
    const platform::CScopedOs os(&files, nullptr);
    EXPECT_EQ(MOXCrashRpt::GenerateErrorReport(RecordOf(nullptr)), 0);
    m_host.ExpectLogLine(L"No crash report was written. no memory left");
}

TEST_F(CrashReportFilesTest, ReportsOfManyThreadsAreAllWrittenWhole)
{
    platform::SFaultRecord fault = RealFault();
    fault.frameCount = 2; // reading debug information for all of them takes long, and is not what this is about
    {
        std::vector<std::jthread> threads;
        for (int thread = 0; thread < 8; ++thread)
            threads.emplace_back([&fault, thread] {
                const MOXCrashRpt::CScopedSubject subject(L"subject " + std::to_wstring(thread));
                for (int i = 0; i < 3; ++i)
                    EXPECT_EQ(MOXCrashRpt::GenerateErrorReport(RecordOf(&fault)), 1);
            });
    }
    std::multiset<std::string> subjects;
    const auto names = m_folder.Names();
    EXPECT_EQ(names.size(), 24U);
    for (const std::wstring& name : names) {
        const std::string report = m_folder.Content(name);
        EXPECT_NE(report.find("FaultForTheReport"), std::string::npos);
        EXPECT_NE(report.find("\nLoaded modules:\n"), std::string::npos);
        const std::size_t subject = report.find("Subject:     ");
        ASSERT_NE(subject, std::string::npos);
        subjects.insert(report.substr(subject + 13, 9));
    }
    for (char thread = '0'; thread < '8'; ++thread)
        EXPECT_EQ(subjects.count(std::string("subject ") + thread), 3U);
    for (int i = 0; i < 24; ++i)
        m_host.ExpectLogLine(L"A crash report was written");
}

TEST_F(CrashReportFilesTest, TheNewestFiftyAreKept)
{
    for (int i = 10; i < 70; ++i) {
        const std::wstring name = L"zel-crash-20010101T0000" + std::to_wstring(i) + L"Z-1-1.txt";
        ASSERT_TRUE(Succeeded(platform::WriteWholeFile(m_folder.PathOf(name), "old")));
    }
    ASSERT_TRUE(Succeeded(platform::WriteWholeFile(m_folder.PathOf(L"zel-crash-20000101T000000Z-1-1-aa.tmp"), "torn")));
    ASSERT_TRUE(Succeeded(platform::WriteWholeFile(m_folder.PathOf(L"notes.txt"), "somebody's")));
    ASSERT_EQ(MOXCrashRpt::GenerateErrorReport(RecordOf(nullptr)), 1);
    m_host.ExpectLogLine(L"A crash report was written");

    const auto names = m_folder.Names();
    EXPECT_EQ(names.size(), 51U);
    EXPECT_EQ(names.front(), L"notes.txt");
    EXPECT_EQ(names.at(1), L"zel-crash-20010101T000021Z-1-1.txt");
    EXPECT_EQ(m_folder.PathOf(names.back()), MOXCrashRpt::LastReportPath());
}

TEST_F(CrashReportFilesTest, NothingTemporaryIsLeftBehind)
{
    ASSERT_EQ(MOXCrashRpt::GenerateErrorReport(RecordOf(nullptr)), 1);
    m_host.ExpectLogLine(L"A crash report was written");
    const auto names = m_folder.Names();
    ASSERT_EQ(names.size(), 1U);
    EXPECT_TRUE(names[0].ends_with(L".txt"));
}
