#include "framework/CrashReport.h"

#include "platform/Module.h"
#include "platform/Os.h"
#include "platform/Path.h"
#include "platform/Text.h"
#include "platform/Thread.h"
#include "platform/Trust.h"
#include "platform/Version.h"
#include "tests/framework/DigitsShape.h"
#include "tests/framework/ScratchFolder.h"
#include "tests/support/ExpectedLeaks.h"
#include "tests/support/FaultyFiles.h"
#include "tests/support/RecordingHost.h"

#include <gtest/gtest.h>

#include <set>
#include <stdexcept>
#include <thread>

constexpr int kLineOfTheFault = __LINE__ + 6;
/// Named where a report must find it. An address near null: null itself is what the sanitizers look for before the
/// processor does.
[[gnu::noinline, gnu::visibility("default")]] void FaultForTheReport()
{
    volatile int* volatile const target = reinterpret_cast<volatile int*>(16);
    *target = 1;
}

namespace {

constexpr wchar_t kDirectoryVariable[] = L"ZEL_CRASH_DIR";

class CScopedReportDirectory {
public:
    explicit CScopedReportDirectory(const std::wstring& path) : m_strOld(platform::Environment(kDirectoryVariable))
    {
        platform::SetEnvironment(kDirectoryVariable, path);
    }
    ~CScopedReportDirectory() { platform::SetEnvironment(kDirectoryVariable, m_strOld); }
    CScopedReportDirectory(const CScopedReportDirectory&) = delete;
    CScopedReportDirectory& operator=(const CScopedReportDirectory&) = delete;

private:
    std::wstring m_strOld;
};

platform::SFaultRecord RealFault()
{
    platform::SFaultRecord fault;
    EXPECT_FALSE(platform::RunContained([] { FaultForTheReport(); }, fault));
    return fault;
}

SMOXCrashRecord RecordOf(const platform::SFaultRecord* fault)
{
    SMOXCrashRecord record;
    record.size = sizeof record;
    record.exceptionPointers = fault;
    return record;
}

/// Real reports into a folder of their own; the lines that tell of them are the tests' to take.
class CrashReportTest : public testing::Test {
protected:
    CrashReportTest() { m_host.WriteCrashReports(); }

    [[nodiscard]] std::string OnlyReport() const
    {
        const auto names = m_folder.Names();
        EXPECT_EQ(names.size(), 1U);
        return names.empty() ? "" : m_folder.Content(names[0]);
    }

    CScratchFolder m_folder;
    CScopedReportDirectory m_directory{m_folder.Path()};
    CRecordingHost m_host;
};

TEST_F(CrashReportTest, TellsWhatIsKnownOfARealFault)
{
    const platform::SFaultRecord fault = RealFault();
    const MOXCrashRpt::CScopedSubject subject(L"/queue/\u010d\u00edslo 1.drq");
    ASSERT_EQ(MOXCrashRpt::GenerateErrorReport(RecordOf(&fault)), 1);
    m_host.ExpectLogLine(L"A crash report was written: " + m_folder.Path());
    const std::string report = OnlyReport();

    EXPECT_NE(DigitsShape(report).find("\nTime:        #-#-#T#:#:#Z\n"), std::string::npos);
    EXPECT_NE(report.find("Program:     " + platform::ToUtf8(platform::ProgramPath()) + "\n"), std::string::npos);
    EXPECT_NE(report.find("Version:     " ZEL_VERSION " "), std::string::npos);
    EXPECT_NE(report.find("Process:     " + std::to_string(platform::CurrentProcessId()) + "\n"), std::string::npos);
    EXPECT_NE(report.find("Request:     \xC4\x8D\xC3\xADslo 1.drq\n"), std::string::npos);
    EXPECT_NE(report.find("Subject:     /queue/\xC4\x8D\xC3\xADslo 1.drq\n"), std::string::npos);
    EXPECT_NE(report.find("Kind:        " + platform::ToUtf8(platform::FaultKindName(fault.kind))), std::string::npos);
    EXPECT_NE(report.find("Address:     0x0000000000000010\n"), std::string::npos);
    EXPECT_EQ(fault.kind, platform::eFaultKind_AccessViolation);
}

TEST_F(CrashReportTest, NamesFunctionSourceAndModuleOfTheFault)
{
    const platform::SFaultRecord fault = RealFault();
    ASSERT_EQ(MOXCrashRpt::GenerateErrorReport(RecordOf(&fault)), 1);
    m_host.ExpectLogLine(L"A crash report was written");
    const std::string report = OnlyReport();
    EXPECT_NE(report.find("\nFunction:    FaultForTheReport()\n"), std::string::npos) << report;
    const std::string place = "CrashReportTest.cpp:" + std::to_string(kLineOfTheFault);
    const std::size_t source = report.find("\nSource:      ");
    ASSERT_NE(source, std::string::npos) << report;
    EXPECT_TRUE(report.substr(0, report.find('\n', source + 1)).ends_with(place)) << report;
    EXPECT_NE(report.find("\nModule:      " + platform::ToUtf8(platform::ProgramPath()) + "\n"), std::string::npos)
        << report;
    EXPECT_NE(report.find(" FaultForTheReport() ("), std::string::npos) << report;
}

TEST_F(CrashReportTest, TellsVersionsThreadAndWhatWasLastToldOfTheSubject)
{
    std::thread([] {
        platform::SetCurrentThreadName("CrashReportTest::AThreadWithALongName");
        const MOXCrashRpt::CScopedSubject subject(L"a.drq");
        MOXCrashRpt::CScopedSubject::SetState(L"calculating, 40 %", L"row 7\nKind:        forged");
        EXPECT_EQ(MOXCrashRpt::GenerateErrorReport(RecordOf(nullptr)), 1);
    }).join();
    m_host.ExpectLogLine(L"A crash report was written");
    const std::string report = OnlyReport();
    const std::string versions = "\nVersion:     " + platform::ToUtf8(platform::LibraryVersion()) + " (" +
                                 platform::ToUtf8(platform::CompilerVersion()) +
                                 ")\nSystem:      " + platform::ToUtf8(platform::SystemVersion()) + "\n";
    EXPECT_NE(report.find(versions), std::string::npos) << report;
    EXPECT_NE(DigitsShape(report).find("\nThread:      # CrashReportTest::AThreadWithALongName\n"), std::string::npos)
        << report;
    EXPECT_NE(report.find("\nLast status: calculating, 40 %\nComment:     row 7\n    | Kind:        forged\n"),
              std::string::npos)
        << report;
}

TEST_F(CrashReportTest, AnExceptionIsToldByItsTypeAndText)
{
    platform::SFaultRecord fault;
    try {
        throw std::out_of_range("row 7");
    } catch (...) {
        platform::RecordCurrentException(fault);
    }
    ASSERT_EQ(MOXCrashRpt::GenerateErrorReport(RecordOf(&fault)), 1);
    m_host.ExpectLogLine(L"A crash report was written");
    EXPECT_NE(OnlyReport().find("\nKind:        exception\nException:   std::out_of_range: row 7\n"),
              std::string::npos);
}

TEST_F(CrashReportTest, TheStackNamesTheFunctionThatFaulted)
{
    const platform::SFaultRecord fault = RealFault();
    ASSERT_EQ(MOXCrashRpt::GenerateErrorReport(RecordOf(&fault)), 1);
    m_host.ExpectLogLine(L"A crash report was written");
    const std::string report = OnlyReport();
    const std::size_t first = report.find("\n#0 ");
    ASSERT_NE(first, std::string::npos) << report;
    EXPECT_NE(report.substr(first + 1, report.find('\n', first + 1)).find("FaultForTheReport"), std::string::npos)
        << report;
    EXPECT_NE(report.find("\n#1 "), std::string::npos) << report;
    EXPECT_NE(report.find("RunContained"), std::string::npos) << report;
}

TEST_F(CrashReportTest, ListsTheLoadedModules)
{
    const platform::SFaultRecord fault = RealFault();
    ASSERT_EQ(MOXCrashRpt::GenerateErrorReport(RecordOf(&fault)), 1);
    m_host.ExpectLogLine(L"A crash report was written");
    const std::string report = OnlyReport();
    const std::size_t modules = report.find("\nLoaded modules:\n");
    ASSERT_NE(modules, std::string::npos);
    EXPECT_NE(report.find("ZEL_Framework", modules), std::string::npos) << report;
}

TEST_F(CrashReportTest, TheFileIsNamedByTimeProcessAndNumber)
{
    const platform::SFaultRecord fault = RealFault();
    ASSERT_EQ(MOXCrashRpt::GenerateErrorReport(RecordOf(&fault)), 1);
    m_host.ExpectLogLine(L"A crash report was written");
    const auto names = m_folder.Names();
    ASSERT_EQ(names.size(), 1U);
    const std::string name = platform::ToUtf8(names[0]);
    EXPECT_EQ(DigitsShape(name), "zel-crash-#T#Z-#-#.txt");
    EXPECT_NE(name.find("Z-" + std::to_string(platform::CurrentProcessId()) + "-"), std::string::npos);
    EXPECT_EQ(MOXCrashRpt::LastReportPath(), m_folder.PathOf(names[0]));
}

TEST_F(CrashReportTest, IsWrittenWithoutAFaultRecordToo)
{
    ASSERT_EQ(MOXCrashRpt::GenerateErrorReport(RecordOf(nullptr)), 1);
    m_host.ExpectLogLine(L"A crash report was written");
    EXPECT_NE(OnlyReport().find("Kind:        not recorded\n"), std::string::npos);
}

TEST_F(CrashReportTest, ADamagedRecordDoesNoHarm)
{
    platform::SFaultRecord fault;
    fault.kind = platform::eFaultKind_Other;
    fault.frameCount = static_cast<std::size_t>(-1);
    for (std::size_t i = 0; i < platform::kMaxFaultFrames; ++i)
        fault.frames[i] = i % 2 == 0 ? i : ~std::uintptr_t{0} - i;
    ASSERT_EQ(MOXCrashRpt::GenerateErrorReport(RecordOf(&fault)), 1);
    m_host.ExpectLogLine(L"A crash report was written");
    EXPECT_NE(OnlyReport().find("\n#63 "), std::string::npos);
}

TEST_F(CrashReportTest, ARecordOfAnotherSizeIsRefused)
{
    SMOXCrashRecord record;
    record.size = 71;
    EXPECT_EQ(MOXCrashRpt::GenerateErrorReport(record), 0);
    m_host.ExpectLogLine(L"The size of the crash record is 71.");
    EXPECT_TRUE(m_folder.Names().empty());
}

TEST_F(CrashReportTest, AMissingFolderIsAFailureAndNothingElse)
{
    const std::wstring last = MOXCrashRpt::LastReportPath();
    const CScopedReportDirectory missing(m_folder.PathOf(L"no such folder"));
    const platform::SFaultRecord fault = RealFault();
    EXPECT_EQ(MOXCrashRpt::GenerateErrorReport(RecordOf(&fault)), 0);
    m_host.ExpectLogLine(L"No crash report was written. Writing '" + m_folder.PathOf(L"no such folder"));
    EXPECT_EQ(MOXCrashRpt::LastReportPath(), last);
}

TEST_F(CrashReportTest, AFileInPlaceOfTheFolderIsAFailureAndNothingElse)
{
    ASSERT_TRUE(Succeeded(platform::WriteWholeFile(m_folder.PathOf(L"file"), "content")));
    const CScopedReportDirectory file(m_folder.PathOf(L"file"));
    EXPECT_EQ(MOXCrashRpt::GenerateErrorReport(RecordOf(nullptr)), 0);
    m_host.ExpectLogLine(L"No crash report was written");
    EXPECT_EQ(m_folder.Content(L"file"), "content");
}

TEST_F(CrashReportTest, AFailureOfEachFileCallLeavesNoFileBehind)
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

TEST_F(CrashReportTest, OldReportsThatCannotBeRemovedDoNotMakeItFail)
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

TEST_F(CrashReportTest, AFaultWhileItIsWrittenIsAFailureAndNothingElse)
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

TEST_F(CrashReportTest, AnExceptionWhileItIsWrittenIsAFailureAndNothingElse)
{
    testsupport::CFaultyFiles files;
    files.OnCall([](const testsupport::SFileCall&) { throw std::runtime_error("no memory left"); });
    const platform::CScopedOs os(&files, nullptr);
    EXPECT_EQ(MOXCrashRpt::GenerateErrorReport(RecordOf(nullptr)), 0);
    m_host.ExpectLogLine(L"No crash report was written. no memory left");
}

TEST_F(CrashReportTest, ReportsOfManyThreadsAreAllWrittenWhole)
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

TEST_F(CrashReportTest, TheNewestFiftyAreKept)
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

TEST_F(CrashReportTest, NothingTemporaryIsLeftBehind)
{
    ASSERT_EQ(MOXCrashRpt::GenerateErrorReport(RecordOf(nullptr)), 1);
    m_host.ExpectLogLine(L"A crash report was written");
    const auto names = m_folder.Names();
    ASSERT_EQ(names.size(), 1U);
    EXPECT_TRUE(names[0].ends_with(L".txt"));
}

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

} // namespace
