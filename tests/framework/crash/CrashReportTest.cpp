#include "tests/framework/crash/CrashReportFixture.h"

#include "platform/Module.h"
#include "platform/Path.h"
#include "platform/Text.h"
#include "platform/Thread.h"
#include "platform/Version.h"
#include "tests/framework/DigitsShape.h"

#include <stdexcept>
#include <thread>

constexpr int kLineOfTheFault = __LINE__ + 6;
/// An address near null: null itself is what the sanitizers look for before the
/// processor does.
[[gnu::noinline, gnu::visibility("default")]] void FaultForTheReport()
{
    volatile int* volatile const target = reinterpret_cast<volatile int*>(16);
    *target = 1;
}

namespace {

using CrashReportTest = CCrashReportFixture;

} // namespace

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

TEST_F(CrashReportTest, TheLastOneIsThatOfTheThreadThatAsks)
{
    ASSERT_EQ(MOXCrashRpt::GenerateErrorReport(RecordOf(nullptr)), 1);
    const std::wstring own = MOXCrashRpt::LastReportPath();
    std::thread([&] {
        EXPECT_EQ(MOXCrashRpt::GenerateErrorReport(RecordOf(nullptr)), 1);
        EXPECT_NE(MOXCrashRpt::LastReportPath(), own);
    }).join();
    EXPECT_EQ(MOXCrashRpt::LastReportPath(), own);
    for (int reports = 0; reports < 2; ++reports)
        m_host.ExpectLogLine(L"A crash report was written");
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
