#include "tests/plugins/PluginHarness.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/Predicates.h"
#include "tests/support/TemporaryDirectory.h"

#include "com/Bstr.h"
#include "com/Components.h"
#include "platform/Fault.h"
#include "platform/FileSystem.h"
#include "platform/Os.h"
#include "platform/Text.h"
#include "platform/Thread.h"
#include "plugins/testtasks/Computing.h"

#include <gtest/gtest.h>

#include <map>
#include <stdexcept>

using namespace plugintest;

namespace {

class TestTasks : public testing::Test {
protected:
    [[nodiscard]] SOutcome Run(const std::string& task) { return m_run.Run("<Request>" + task + "</Request>"); }

    CComponents m_components;
    CComPtr<IWQ_ZELProcessorFactory> m_factory = m_components.MakeFactory(kTestTasksId);
    CRequestRun m_run{*m_factory};
};

/// In a process of its own: what the task held when it crashed stays behind. Argument: request file.
int ContainCrash(const std::vector<std::wstring>& arguments)
{
    const CComponents components;
    const auto factory = components.MakeFactory(kTestTasksId);
    CRequestRun run(*factory);
    platform::SFaultRecord record;
    const bool isDone = platform::RunContained(
        [&] { static_cast<void>(run.RunFile(arguments.at(0), arguments.at(0) + L".xml")); }, record);
    testsupport::TellParent(isDone ? L"no fault" : L"fault " + std::to_wstring(record.kind));
    return 0;
}
const testsupport::CChildPart part(L"contain-crash", &ContainCrash);

} // namespace

TEST_F(TestTasks, EchoAnswersWithItsText)
{
    const SOutcome outcome =
        Run("<Task Type=\"Echo\"><Text>h\xC3\xA9llo &amp; &lt;b&gt; \xF0\x9F\x90\xA6</Text></Task>");
    EXPECT_EQ(outcome.stage, eStage_Done);
    EXPECT_EQ(outcome.response, "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
                                "<Response>h\xC3\xA9llo &amp; &lt;b&gt; \xF0\x9F\x90\xA6</Response>\n");
    EXPECT_TRUE(m_run.progress.Reports().empty());
}

TEST_F(TestTasks, EchoTakesItsTextFromAnAttributeAsWell)
{
    EXPECT_EQ(ElementOf(Run("<Task Type=\"Echo\" Text=\"short\"/>").response, "Response"), "short");
    EXPECT_EQ(ElementOf(Run("<Task Type=\"Echo\"/>").response, "Response"), "");
}

TEST_F(TestTasks, SleepReportsEachStep)
{
    const SOutcome outcome = Run("<Task Type=\"Sleep\" Milliseconds=\"20\" Steps=\"2\"/>");
    EXPECT_EQ(outcome.stage, eStage_Done);
    const std::vector<std::wstring> expected = {L"range 0 2", L"pos 1", L"comment step 1 of 2", L"pos 2",
                                                L"comment step 2 of 2"};
    EXPECT_EQ(m_run.progress.Reports(), expected);
}

TEST_F(TestTasks, SleepAnswersWithItsTextAndRecordsEachRun)
{
    const testsupport::CTemporaryDirectory folder;
    const std::string task = "<Task Type=\"Sleep\" Milliseconds=\"0\" Text=\"own\" RecordFile=\"" +
                             platform::ToUtf8(folder / L"runs") + "\"/>";
    EXPECT_EQ(ElementOf(Run(task).response, "Response"), "own");
    EXPECT_TRUE(platform::PathExists(folder / L"runs.1"));
    EXPECT_FALSE(platform::PathExists(folder / L"runs.2"));
    EXPECT_EQ(Run(task).stage, eStage_Done);
    EXPECT_TRUE(platform::PathExists(folder / L"runs.2"));
    EXPECT_NE(
        Run("<Task Type=\"Sleep\" Milliseconds=\"0\" RecordFile=\"" + platform::ToUtf8(folder / L"none/runs") + "\"/>")
            .stage,
        eStage_Done);
}

TEST_F(TestTasks, SleepStopsWhenItIsCanceled)
{
    m_run.progress.OnReport([&](const std::wstring& report) {
        if (report == L"pos 1")
            m_run.context.SetCanceled(true);
    });
    EXPECT_EQ(Run("<Task Type=\"Sleep\" Milliseconds=\"500000\" Steps=\"100000\"/>").stage, eStage_Canceled);
    EXPECT_EQ(m_run.progress.CountOf(L"pos "), 1U);
}

TEST_F(TestTasks, SleepTakesNoBadNumbers)
{
    EXPECT_EQ(Run("<Task Type=\"Sleep\" Steps=\"0\"/>").stage, eStage_NotInited);
    EXPECT_EQ(Run("<Task Type=\"Sleep\" Milliseconds=\"-1\"/>").stage, eStage_NotInited);
    EXPECT_EQ(Run("<Task Type=\"Sleep\" Milliseconds=\"99999999999999999999\"/>").stage, eStage_NotInited);
    EXPECT_EQ(Run("<Task Type=\"Sleep\" Milliseconds=\"\"/>").stage, eStage_NotInited);
}

TEST_F(TestTasks, ComputeAnswersWithANumberThatItsRoundsDecide)
{
    const SOutcome outcome = Run("<Task Type=\"Compute\" Rounds=\"3\"/>");
    EXPECT_EQ(outcome.stage, eStage_Done);
    std::uint64_t expected = 1;
    for (int round = 0; round < 3; ++round)
        expected = ComputeRound(expected);
    EXPECT_EQ(ElementOf(outcome.response, "Response"), std::to_string(expected));
    EXPECT_EQ(Run("<Task Type=\"Compute\" Rounds=\"many\"/>").stage, eStage_NotInited);
}

TEST_F(TestTasks, ComputeWithoutAnEndStopsWhenItIsCanceled)
{
    m_run.context.SetCanceled(true);
    EXPECT_EQ(Run("<Task Type=\"Compute\" Rounds=\"0\"/>").stage, eStage_Canceled);
}

TEST_F(TestTasks, GateWaitsForItsFile)
{
    const testsupport::CTemporaryDirectory folder;
    const std::wstring gate = folder / L"gate";
    platform::CThread opener;
    ASSERT_TRUE(opener.Start([&]() -> unsigned {
        const auto end = platform::SystemClock().Steady() + std::chrono::seconds(20);
        while (!platform::PathExists(gate + L".entered")) {
            if (platform::SystemClock().Steady() > end) {
                m_run.context.SetCanceled(true); // or the task would wait for its file for ever
                return 1;
            }
            platform::SystemClock().SleepFor(std::chrono::milliseconds(1));
        }
        return platform::Succeeded(platform::WriteWholeFile(gate, "")) ? 0 : 1;
    }));
    const SOutcome outcome = Run("<Task Type=\"Gate\"><GateFile>" + platform::ToUtf8(gate) + "</GateFile></Task>");
    ASSERT_TRUE(opener.Join());
    EXPECT_EQ(opener.ExitCode(), 0U);
    EXPECT_EQ(outcome.stage, eStage_Done);
    EXPECT_EQ(ElementOf(outcome.response, "Response"), "passed");
}

TEST_F(TestTasks, GateLeavesWhenItIsCanceled)
{
    const testsupport::CTemporaryDirectory folder;
    m_run.context.SetCanceled(true);
    const std::string gate = platform::ToUtf8(folder / L"gate");
    EXPECT_EQ(Run("<Task Type=\"Gate\"><GateFile>" + gate + "</GateFile></Task>").stage, eStage_Canceled);
    EXPECT_TRUE(platform::PathExists(folder / L"gate.entered"));
    EXPECT_EQ(Run("<Task Type=\"Gate\"/>").stage, eStage_NotInited);
}

TEST_F(TestTasks, RetryDeclinesAsOftenAsTold)
{
    const testsupport::CTemporaryDirectory folder;
    const std::string record = "<RecordFile>" + platform::ToUtf8(folder / L"record") + "</RecordFile>";
    const std::string task = "<Task Type=\"Retry\" Times=\"2\">" + record + "</Task>";
    EXPECT_EQ(Run(task).stage, eStage_NotReady);
    EXPECT_EQ(Run(task).stage, eStage_NotReady);
    EXPECT_EQ(Run(task).stage, eStage_Done);
    std::string text;
    ASSERT_EQ(platform::ReadWholeFile(folder / L"record", platform::eOpenMode_ReadShared, text, 1000),
              platform::eOsError_None);
    EXPECT_EQ(text, "asked\nasked\nasked\n");
}

TEST_F(TestTasks, RetryYieldsToForceUnlessToldOtherwise)
{
    const testsupport::CTemporaryDirectory folder;
    const std::string record = "<RecordFile>" + platform::ToUtf8(folder / L"record") + "</RecordFile>";
    m_run.force = true;
    EXPECT_EQ(Run("<Task Type=\"Retry\" Times=\"9\" EvenForced=\"1\">" + record + "</Task>").stage, eStage_NotReady);
    EXPECT_EQ(Run("<Task Type=\"Retry\" Times=\"9\">" + record + "</Task>").stage, eStage_Done);
    std::string text;
    ASSERT_EQ(platform::ReadWholeFile(folder / L"record", platform::eOpenMode_ReadShared, text, 1000),
              platform::eOsError_None);
    EXPECT_EQ(text, "forced\nforced\n");
}

TEST_F(TestTasks, EachStageFailsWhenTold)
{
    const SOutcome noXml = Run("<Task Type=\"FailGetXml\"><Text>no luck</Text></Task>");
    EXPECT_EQ(noXml.stage, eStage_NoXml);
    EXPECT_EQ(noXml.error, L"no luck");
    EXPECT_EQ(Run("<Task Type=\"FailGetXml\"/>").error, L"GetXml was told to fail");
    EXPECT_EQ(Run("<Task Type=\"FailInit\"/>").stage, eStage_NotInited);
    EXPECT_EQ(Run("<Task Type=\"FailObtain\" Text=\"half way\"/>").stage, eStage_NotObtained);
    EXPECT_EQ(m_run.progress.LastComment(), L"half way");
    EXPECT_EQ(Run("<Task Type=\"FailResponse\"/>").stage, eStage_NoResponse);
    EXPECT_EQ(Run("<Task Type=\"FailSetTask\"/>").stage, eStage_NotSet);
    const SOutcome notSaved = Run("<Task Type=\"FailSave\"/>");
    EXPECT_EQ(notSaved.stage, eStage_NotSaved);
    EXPECT_FALSE(notSaved.leftFile);
    EXPECT_EQ(Run("<Task Type=\"UnknownTask\"/>").stage, eStage_NoTask);
    EXPECT_EQ(Run("<Task Type=\"FailSomewhere\"/>").stage, eStage_NotTaken);
}

TEST_F(TestTasks, NullTaskIsTrueWithoutATask)
{
    CComPtr<IWQ_ZELProcessorTask> task;
    EXPECT_TRUE(m_factory->CreateTask(L"NullTask", task.Put()));
    EXPECT_FALSE(task);
    EXPECT_FALSE(m_factory->CreateTask(L"UnknownTask", task.Put()));
    EXPECT_THROW(m_factory->CreateTask(L"ThrowInCreateTask", task.Put()), std::runtime_error);
}

TEST_F(TestTasks, OnlyXmlWithATaskOfAKnownTypeIsTaken)
{
    EXPECT_EQ(m_run.Run("").stage, eStage_NotTaken);
    EXPECT_EQ(m_run.Run("no XML").stage, eStage_NotTaken);
    EXPECT_EQ(m_run.Run("<Request><Task Type=\"Echo\"></Request>").stage, eStage_NotTaken);
    EXPECT_EQ(m_run.Run("<Request/>").stage, eStage_NotTaken);
    EXPECT_EQ(m_run.Run("<Request><Task/></Request>").stage, eStage_NotTaken);
    EXPECT_EQ(m_run.Run("<Request><Task Type=\"echo\"/></Request>").stage, eStage_NotTaken);
    EXPECT_EQ(m_run.Run("<Task Type=\"Echo\"/>").stage, eStage_Done);
}

TEST_F(TestTasks, CrashCanThrowAtEachPlace)
{
    for (const char* where :
         {"CreateRequest", "GetXml", "Init", "CanProcess", "ObtainData", "CreateResponse", "SetTask", "Save"}) {
        const std::string place = std::string("\" Where=\"") + where + "\"/>";
        EXPECT_THROW(static_cast<void>(Run("<Task Type=\"Crash\" Kind=\"Exception" + place)), std::runtime_error)
            << where;
        EXPECT_THROW(static_cast<void>(Run("<Task Type=\"Crash\" Kind=\"ForeignException" + place)), int) << where;
    }
    EXPECT_EQ(Run("<Task Type=\"Crash\" Kind=\"Sneeze\"/>").stage, eStage_NotInited);
    EXPECT_EQ(Run("<Task Type=\"Crash\" Kind=\"Abort\" Where=\"Elsewhere\"/>").stage, eStage_NotInited);
}

TEST_F(TestTasks, CrashKindsAreTheFaultsTheyAreNamedAfter)
{
    if (testsupport::IsAddressSanitized() || testsupport::IsThreadSanitized())
        GTEST_SKIP() << "the sanitizer has a handler of its own for these faults";
    const std::map<std::wstring, platform::eFaultKind> kinds = {
        {L"NullDereference", platform::eFaultKind_AccessViolation},
        {L"StackOverflow", platform::eFaultKind_StackOverflow},
        {L"Division", platform::eFaultKind_Division},
        {L"Abort", platform::eFaultKind_Abort},
        {L"IllegalInstruction", platform::eFaultKind_IllegalInstruction}};
    const testsupport::CTemporaryDirectory folder;
    for (const auto& [kind, expected] : kinds) {
        const std::string task = "<Task Type=\"Crash\" Kind=\"" + platform::ToUtf8(kind) + "\"/>";
        ASSERT_EQ(platform::WriteWholeFile(folder / kind, task), platform::eOsError_None);
        platform::CProcess child = testsupport::StartChild(L"contain-crash", {folder / kind});
        EXPECT_TRUE(testsupport::WaitForChild(child, L"fault " + std::to_wstring(expected))) << platform::ToUtf8(kind);
        EXPECT_EQ(testsupport::FinishChild(child), 0);
    }
}

TEST_F(TestTasks, ResponsesAreForOwnRequestsAndTasks)
{
    struct SForeignRequest final : public IWQ_ZELProcessorRequest {
        HRESULT STDMETHODCALLTYPE QueryInterface(REFIID, void** object) override
        {
            *object = nullptr;
            return E_NOINTERFACE;
        }
        ULONG STDMETHODCALLTYPE AddRef() override { return 2; }
        ULONG STDMETHODCALLTYPE Release() override { return 1; }
        bool STDMETHODCALLTYPE GetXml(BSTR*) override { return false; }
        bool STDMETHODCALLTYPE GetErrorText(BSTR*) override { return false; }
    };
    SForeignRequest foreign;
    CComPtr<IWQ_ZELProcessorResponse> response;
    EXPECT_FALSE(m_factory->CreateResponse(&foreign, response.Put()));
    EXPECT_FALSE(m_factory->CreateResponse(nullptr, response.Put()));

    const auto dataStore = m_components.MakeFactory(kDataStoreId);
    CComPtr<IWQ_ZELProcessorTask> query;
    ASSERT_TRUE(dataStore->CreateTask(L"Query", query.Put()));
    const testsupport::CTemporaryDirectory folder;
    ASSERT_EQ(platform::WriteWholeFile(folder / L"r.drq", "<Task Type=\"Echo\"/>"), platform::eOsError_None);
    CComPtr<IWQ_ZELProcessorRequest> request;
    ASSERT_TRUE(m_factory->CreateRequest((folder / L"r.drq").c_str(), request.Put()));
    EXPECT_FALSE(dataStore->CreateResponse(request.Get(), response.Put()));
    ASSERT_TRUE(m_factory->CreateResponse(request.Get(), response.Put()));
    EXPECT_FALSE(response->SetTask(query.Get()));
    EXPECT_FALSE(response->SetTask(nullptr));
    EXPECT_FALSE(response->Save((folder / L"none").c_str()));
}
