#include "framework/DefaultHost.h"

#include "framework/Log.h"
#include "framework/LogOptions.h"
#include "framework/Services.h"
#include "platform/Fault.h"
#include "tests/framework/DigitsShape.h"
#include "tests/framework/ScratchFolder.h"
#include "tests/support/CallbackLogger.h"
#include "tests/support/ChildProcess.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <cstring>
#include <thread>
#include <vector>

namespace {

/// The default services over a logger that keeps its lines.
class CKeptLogHost : public CWQ_DefaultHost {
public:
    CKeptLogHost()
    {
        m_pLogger =
            testsupport::MakeCallbackLogger("ZelProcessor", Brel::Log::eLogLevel_Trace,
                                            [this](const testsupport::SLogLine& line) { m_lines.push_back(line); });
    }
    std::shared_ptr<Brel::Log::Logger> GetLogger(const std::string& name) override
    {
        EXPECT_EQ(name, "ZelProcessor");
        return m_pLogger;
    }
    std::vector<testsupport::SLogLine> m_lines;

private:
    std::shared_ptr<Brel::Log::Logger> m_pLogger;
};

/// A name whose bytes cannot be read: comparing it with another one faults.
class CBadName {
public:
    CBadName()
    {
        // In the page that no program has, but no null pointer, which sanitizers have a word for.
        const struct {
            const char* data;
            std::size_t size;
        } bad = {reinterpret_cast<const char*>(std::uintptr_t{64}), 64};
        static_assert(sizeof bad <= sizeof(std::string));
        std::memcpy(m_bytes.data(), &bad, sizeof bad);
    }
    [[nodiscard]] const std::string& Get() const { return *reinterpret_cast<const std::string*>(m_bytes.data()); }

private:
    alignas(std::string) std::array<std::byte, sizeof(std::string)> m_bytes{};
};

int LoseTheRegistry(const std::vector<std::wstring>& /*arguments*/)
{
    CWQ_DefaultHost host;
    static_cast<void>(host.GetLogger("known"));
    const CBadName bad;
    platform::SFaultRecord record;
    if (platform::RunContained([&] { static_cast<void>(host.GetLogger(bad.Get())); }, record))
        return 1;
    // The line of the fault itself, and those of others after it.
    host.ShowMessage(L"told by the thread that faulted", eMessageStyle_Error, 0);
    std::thread([&] { host.ShowMessage(L"told by another one", eMessageStyle_Error, 0); }).join();
    return 0;
}
const testsupport::CChildPart loseTheRegistry(L"lose-the-registry", &LoseTheRegistry);

TEST(DefaultHostTest, AFaultInTheListOfLoggersCostsNoLine)
{
    const CScratchFolder folder;
    platform::SProcessOptions options;
    options.errorFile = folder.PathOf(L"errors");
    auto child = testsupport::StartChild(L"lose-the-registry", {}, std::move(options));
    int code = -1;
    ASSERT_TRUE(child.Wait(std::chrono::seconds(60), code)) << "it waits for its own lock";
    EXPECT_EQ(code, 0);
    const std::string told = folder.Content(L"errors");
    EXPECT_NE(told.find("told by the thread that faulted"), std::string::npos) << told;
    EXPECT_NE(told.find("told by another one"), std::string::npos) << told;
}

TEST(DefaultHostTest, AReportIsAnErrorLineWithThePlaceOfTheReport)
{
    CKeptLogHost host;
    host.ReportError({0, L"Kernel/ZEL_Processor/Server", 312, L"CServer::Run()", L"Request {x} failed"});
    ASSERT_EQ(host.m_lines.size(), 1U);
    EXPECT_EQ(host.m_lines[0].level, Brel::Log::eLogLevel_Error);
    EXPECT_EQ(host.m_lines[0].text, L"CServer::Run(): Request {x} failed");
    EXPECT_EQ(host.m_lines[0].file, "Kernel/ZEL_Processor/Server");
    EXPECT_EQ(host.m_lines[0].line, 312);
    EXPECT_EQ(host.m_lines[0].function, "CServer::Run()");
}

TEST(DefaultHostTest, ABoxIsALineOfTheLevelOfItsIcon)
{
    CKeptLogHost host;
    EXPECT_EQ(host.ShowMessage(L"e", eMessageStyle_Error, 0), eMessageAnswer_Ok);
    EXPECT_EQ(host.ShowMessage(L"w", eMessageStyle_Warning, 0), eMessageAnswer_Ok);
    EXPECT_EQ(host.ShowMessage(L"i", 64, 0), eMessageAnswer_Ok);
    EXPECT_EQ(host.ShowMessage(L"n", 0, 0), eMessageAnswer_Ok);
    ASSERT_EQ(host.m_lines.size(), 4U);
    EXPECT_EQ(host.m_lines[0].level, Brel::Log::eLogLevel_Error);
    EXPECT_EQ(host.m_lines[1].level, Brel::Log::eLogLevel_Warning);
    EXPECT_EQ(host.m_lines[2].level, Brel::Log::eLogLevel_Info);
    EXPECT_EQ(host.m_lines[3].level, Brel::Log::eLogLevel_Info);
    EXPECT_EQ(host.m_lines[0].text, L"e");
}

TEST(DefaultHostTest, AQuestionIsAnsweredAtOnceAndTheLineTellsHow)
{
    CKeptLogHost host;
    const unsigned style = eMessageStyle_YesNo | eMessageStyle_Warning;
    EXPECT_EQ(host.AskMessage(L"Really?", style, eMessageAnswer_No, 0), eMessageAnswer_No);
    EXPECT_EQ(host.AskMessage(L"Really?", style, eMessageAnswer_Yes, 0), eMessageAnswer_Yes);
    ASSERT_EQ(host.m_lines.size(), 2U);
    EXPECT_EQ(host.m_lines[0].level, Brel::Log::eLogLevel_Warning);
    EXPECT_TRUE(host.m_lines[0].text.starts_with(L"Really?\n"));
    EXPECT_TRUE(host.m_lines[0].text.ends_with(L" no."));
    EXPECT_TRUE(host.m_lines[1].text.ends_with(L" yes."));
}

TEST(DefaultHostTest, AMissingTextNamesItselfAndIsLoggedOnce)
{
    CKeptLogHost host;
    EXPECT_EQ(host.GetText(9001, "IDS_NO_SUCH"), L"Text IDS_NO_SUCH (9001) is missing.");
    EXPECT_EQ(host.GetText(9001, "IDS_NO_SUCH"), L"Text IDS_NO_SUCH (9001) is missing.");
    EXPECT_EQ(host.GetText(9002, nullptr), L"Text 9002 is missing.");
    ASSERT_EQ(host.m_lines.size(), 2U);
    EXPECT_EQ(host.m_lines[0].level, Brel::Log::eLogLevel_Warning);
    EXPECT_EQ(host.m_lines[0].text, L"Text IDS_NO_SUCH (9001) is missing.");
}

TEST(DefaultHostTest, ReservedIdentifiersHaveNoText)
{
    CKeptLogHost host;
    EXPECT_EQ(host.GetText(108, nullptr), L"Text 108 is missing.");
    EXPECT_EQ(host.GetText(109, nullptr), L"Text 109 is missing.");
}

TEST(DefaultHostTest, AWrongCodeNameGivesTheTextAndALine)
{
    CKeptLogHost host;
    EXPECT_EQ(host.GetText(132, "IDS_DONE"), host.GetText(132, "IDS_PAUSED"));
    ASSERT_EQ(host.m_lines.size(), 1U);
    EXPECT_NE(host.m_lines[0].text.find(L"'IDS_PAUSED'"), std::wstring::npos);
}

TEST(DefaultHostTest, AModuleWithoutATableUsesTheSystemsTexts)
{
    CKeptLogHost host;
    const std::wstring done = host.GetText(116, "IDS_DONE");
    const CWQ_SetResource resource("SomePlugIn");
    EXPECT_EQ(host.GetText(116, "IDS_DONE"), done);
}

int TellEverything(const std::vector<std::wstring>&)
{
    WQ_ReportErrorNow(L"Kernel/X", 312, L"CX::Run", L"a report");
    WQ_MessageBox(L"a \u010d box", eMessageStyle_Warning);
    return WQ_MessageBoxAuto(L"a question", eMessageStyle_YesNo | eMessageStyle_Warning, eMessageAnswer_No, 0);
}
const testsupport::CChildPart tellEverything(L"tell-everything", &TellEverything);

TEST(DefaultHostTest, ReportsAndBoxesAreSeenOnStandardError)
{
    const CScratchFolder folder;
    platform::SProcessOptions options;
    options.errorFile = folder.PathOf(L"error.txt");
    auto child = testsupport::StartChild(L"tell-everything", {}, options);
    EXPECT_EQ(testsupport::FinishChild(child), eMessageAnswer_No);
    EXPECT_EQ(DigitsShape(folder.Content(L"error.txt")),
              "#-#-#T#:#:#.#Z error    [ZelProcessor] [#] CX::Run: a report (X:#)\n"
              "#-#-#T#:#:#.#Z warning  [ZelProcessor] [#] a \xC4\x8D box (DefaultHost.cpp:#)\n"
              "#-#-#T#:#:#.#Z warning  [ZelProcessor] [#] a question\n"
              "    | Nobody is asked here; the answer taken is: no. (DefaultHost.cpp:#)\n");
}

TEST(DefaultHostTest, GivesOneLoggerPerName)
{
    CWQ_DefaultHost host;
    const auto first = host.GetLogger("DefaultHostTest.A");
    ASSERT_NE(first, nullptr);
    EXPECT_EQ(host.GetLogger("DefaultHostTest.A"), first);
    EXPECT_NE(host.GetLogger("DefaultHostTest.B"), first);
}

} // namespace
