#include "ZEL_Processor/ZelProcessor.h"

#include "com/ComError.h"
#include "com/ZelCom.h"
#include "framework/Exceptions.h"
#include "platform/Os.h"
#include "platform/Path.h"
#include "tests/support/FaultyFiles.h"
#include "tests/support/RecordingHost.h"
#include "tests/support/RequestDoubles.h"
#include "tests/support/ScriptedPlugin.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

namespace {

using Statuses = std::vector<eZelProcRequestStatus>;

class Processor : public testing::Test {
protected:
    Processor()
    {
        CoInitializeSYS(nullptr);
        CoInitializeZEL(nullptr);
    }
    ~Processor() override
    {
        EXPECT_FALSE(CScriptedPlugin::HasLiveObjects()) << "every object that a run got is released";
        CoUninitializeZEL();
        CoUninitializeSYS();
    }

    void SetUp() override
    {
        ASSERT_TRUE(platform::Succeeded(platform::Files().MakeDirectory(m_outputDir)));
        ASSERT_TRUE(platform::Succeeded(platform::WriteWholeFile(m_request, "<Request/>")));
    }

    /// A processor with directory and context, and one run of the request.
    bool Process(bool bForce = false)
    {
        CZelProcessor processor;
        EXPECT_TRUE(processor.SetOutputDir(m_outputDir));
        processor.SetContext(&m_context);
        processor.SetEvent(&m_event);
        m_bRetry = !m_bRetry; // must be set in any case
        return processor.ProcessRequest(m_request, &m_progress, bForce, m_bRetry);
    }
    void ExpectFailure(unsigned id, const char* name)
    {
        EXPECT_FALSE(Process());
        EXPECT_FALSE(m_bRetry);
        EXPECT_EQ(m_progress.m_statuses.back(), eRequestStatus_ServerError);
        EXPECT_EQ(m_progress.m_comments.back(), RootApp_RSC_CStr(id, name));
        EXPECT_FALSE(platform::PathExists(m_output));
        EXPECT_EQ(m_event.m_done, 0);
    }

    struct SEvent final : CZelProcessorEvent {
        void OnRequestDone() override
        {
            ++m_done;
            if (m_onDone)
                m_onDone();
        }
        int m_done = 0;
        std::function<void()> m_onDone;
    };

    CRecordingHost m_host;
    SPluginScript m_script;
    SPluginScript m_second;
    CScriptedPlugin m_plugin{m_script, &m_second};
    testsupport::CTemporaryDirectory m_dir;
    std::wstring m_outputDir = m_dir / L"out";
    std::wstring m_request = m_dir / L"abc.drq";
    std::wstring m_output = platform::JoinPath(m_outputDir, L"abc.drq");
    CTestContext m_context;
    SEvent m_event;
    CRecordingProgress m_progress;
    bool m_bRetry = false;
};

} // namespace

TEST_F(Processor, ARequestEndsDoneWithItsResponseAndWithoutItsFile)
{
    EXPECT_TRUE(Process());
    EXPECT_FALSE(m_bRetry);
    EXPECT_EQ(m_progress.m_statuses, (Statuses{eRequestStatus_Parsing, eRequestStatus_GettingData,
                                               eRequestStatus_PreparingResponse, eRequestStatus_Done}));
    EXPECT_EQ(
        m_progress.m_comments,
        (std::vector<CString>{RootApp_RSC_CStr(103, "IDS_READING_REQUEST"), RootApp_RSC_CStr(107, "IDS_GETTING_DATA"),
                              RootApp_RSC_CStr(113, "IDS_PREPARING_RESPONSE"), RootApp_RSC_CStr(116, "IDS_DONE")}));
    EXPECT_TRUE(platform::PathExists(m_output));
    EXPECT_FALSE(platform::PathExists(m_request));
    EXPECT_EQ(m_event.m_done, 1);
}

TEST_F(Processor, EveryStatusTextIsLogged)
{
    EXPECT_TRUE(Process());
    std::vector<CString> texts;
    for (const testsupport::SLogLine& line : m_host.TakeLogLines()) {
        EXPECT_EQ(line.logger, "ZelProcessor");
        EXPECT_EQ(line.level, Brel::Log::eLogLevel_Debug);
        EXPECT_EQ(line.file, "Kernel/ZEL_Processor/ZEL_Processor/ZelProcessor");
        EXPECT_NE(line.function.find("CZelProcessor::SetStatus("), std::string::npos) << line.function;
        texts.push_back(line.text);
    }
    EXPECT_EQ(texts.size(), 4U);
    EXPECT_EQ(texts, m_progress.m_comments);
}

TEST_F(Processor, TheResponseGoesFirstThenTheRequestThenTheTask)
{
    using Names = std::vector<std::wstring>;
    Names released;
    m_script.released = [&](const std::wstring& object) { released.push_back(object); };
    EXPECT_TRUE(Process());
    EXPECT_EQ(released, (Names{L"response", L"request", L"task"}));

    released.clear();
    m_script.save = [](const std::wstring&) { return false; };
    EXPECT_FALSE(Process());
    EXPECT_EQ(released, (Names{L"response", L"request", L"task"})) << "on the way out of a failure too";

    released.clear();
    m_script.obtainData = [](auto*, auto*) -> bool { throw std::runtime_error("x"); };
    EXPECT_THROW(Process(), std::runtime_error);
    EXPECT_EQ(released, (Names{L"request", L"task"}));
}

TEST_F(Processor, ADoneRequestStaysDoneWhenItsHostThrows)
{
    m_event.m_onDone = [] { throw std::runtime_error("the list is closed"); };
    EXPECT_TRUE(Process());
    m_host.ExpectLogLine(L"The host's OnRequestDone threw an exception: the list is closed");
    m_event.m_onDone = [] { throw 1; };
    ASSERT_TRUE(platform::Succeeded(platform::WriteWholeFile(m_request, "<Request/>")));
    EXPECT_TRUE(Process());
    m_host.ExpectLogLine(L"The host's OnRequestDone threw an exception: unknown exception");
    EXPECT_EQ(m_event.m_done, 2);
    EXPECT_EQ(m_progress.m_statuses.back(), eRequestStatus_Done);
    EXPECT_TRUE(platform::PathExists(m_output));
}

TEST_F(Processor, TheTaskIsGivenTheTaskElementContextAndProgress)
{
    CString text;
    m_script.getXml = [](std::wstring& xml) {
        xml = L"<Request><Task Type='T'><Text>hello</Text></Task></Request>";
        return true;
    };
    std::wstring type;
    m_script.createTask = [&](const std::wstring& asked) {
        type = asked;
        return true;
    };
    m_script.init = [&](IXMLDOMNode* task) { return CXMLTools::GetNodeValue(task, L"Text", text); };
    m_script.obtainData = [&](CZelProcessorContext* context, CZelProcessorProgress* progress) {
        return context == &m_context && progress == &m_progress;
    };
    EXPECT_TRUE(Process());
    EXPECT_EQ(type, L"T");
    EXPECT_EQ(text, L"hello");
}

TEST_F(Processor, WithoutAContextARequestIsCanceledAtOnce)
{
    CZelProcessor processor;
    EXPECT_TRUE(processor.SetOutputDir(m_outputDir));
    EXPECT_FALSE(processor.ProcessRequest(m_request, &m_progress, false, m_bRetry));
    EXPECT_EQ(m_progress.m_statuses, Statuses{eRequestStatus_Canceled});
    EXPECT_EQ(m_progress.m_comments.back(), RootApp_RSC_CStr(102, "IDS_REQUEST_CANCELED"));
    const auto reports = m_host.TakeReports();
    ASSERT_EQ(reports.size(), 1U);
    EXPECT_EQ(reports[0].message, L"m_pContext == NULL !");
    EXPECT_EQ(reports[0].sourceLine, 68);
    EXPECT_EQ(reports[0].sourceFile, L"Kernel/ZEL_Processor/ZEL_Processor/ZelProcessor");
}

TEST_F(Processor, AFileThatNoFactoryRecognisesIsAnUnknownFormat)
{
    m_script.createRequest = m_second.createRequest = [](const std::wstring&) { return false; };
    ExpectFailure(104, "IDS_SERVER_ERROR_UNKNOWN_REQUEST_FORMAT");
    EXPECT_TRUE(platform::PathExists(m_request));
}

TEST_F(Processor, ARequestsErrorTextFollowsTheServerErrorText)
{
    m_script.getXml = [](std::wstring&) { return false; };
    m_script.errorText = L"no such source";
    EXPECT_FALSE(Process());
    EXPECT_EQ(m_progress.m_statuses.back(), eRequestStatus_ServerError);
    EXPECT_EQ(m_progress.m_comments.back(), RootApp_RSC_CStr(105, "IDS_SERVER_ERROR") + L"no such source");
}

TEST_F(Processor, EachStepThatFailsHasItsText)
{
    m_script.init = [](IXMLDOMNode*) { return false; };
    ExpectFailure(110, "IDS_SERVER_ERROR_CAN_NOT_INITIALIZE_TASK");
    m_host.ExpectBox(RootApp_RSC_CStr(121, "IDS_UNABLE_INIT_TASK"));

    m_script = {};
    m_script.obtainData = [](auto*, auto*) { return false; };
    ExpectFailure(111, "IDS_SERVER_ERROR_CAN_NOT_OBTAIN_DATA");

    m_script = {};
    m_script.createResponse = m_second.createResponse = [] { return false; };
    ExpectFailure(106, "IDS_SERVER_ERROR_CAN_NOT_INITIALIZE_RESPONSE");

    m_script = {};
    m_script.setTask = [](auto*) { return false; };
    ExpectFailure(112, "IDS_SERVER_ERROR_CAN_NOT_SET_RESPONSE");

    m_script = {};
    m_script.save = [](const std::wstring&) { return false; };
    ExpectFailure(114, "IDS_SERVER_ERROR_CAN_NOT_SAVE_RESPONSE");
}

TEST_F(Processor, CancellationIsSeenAtEachOfItsFourPoints)
{
    const Statuses before[] = {{},
                               {eRequestStatus_Parsing},
                               {eRequestStatus_Parsing, eRequestStatus_GettingData},
                               {eRequestStatus_Parsing, eRequestStatus_GettingData}};
    for (int point = 1; point <= 4; ++point) {
        m_progress = {};
        m_context.m_canceled = false;
        int asked = 0;
        m_context.m_onAsked = [&] { m_context.m_canceled = ++asked == point; };
        EXPECT_FALSE(Process());
        EXPECT_EQ(asked, point);
        Statuses expected = before[point - 1];
        expected.push_back(eRequestStatus_Canceled);
        EXPECT_EQ(m_progress.m_statuses, expected) << point;
        EXPECT_EQ(m_progress.m_comments.back(), RootApp_RSC_CStr(102, "IDS_REQUEST_CANCELED"));
    }
    EXPECT_FALSE(platform::PathExists(m_output));
}

TEST_F(Processor, ATaskThatDeclinesIsRetriedWithoutAStatus)
{
    bool forced = false;
    m_script.canProcess = [&](bool force) {
        forced = force;
        return false;
    };
    EXPECT_FALSE(Process(true));
    EXPECT_TRUE(m_bRetry);
    EXPECT_TRUE(forced);
    EXPECT_EQ(m_progress.m_statuses, (Statuses{eRequestStatus_Parsing, eRequestStatus_GettingData}));
    EXPECT_TRUE(platform::PathExists(m_request));
}

TEST_F(Processor, ATaskThatIsReadyIsRun)
{
    m_script.canProcess = [](bool force) { return !force; };
    EXPECT_TRUE(Process(false));
}

TEST_F(Processor, ARequestThatCanNotBeDeletedIsDoneAfterAWarning)
{
    testsupport::CFaultyFiles files;
    files.FailCall(testsupport::eFileCall_Remove, 1, platform::eOsError_AccessDenied);
    const platform::CScopedOs os(&files, nullptr);
    EXPECT_TRUE(Process());
    EXPECT_EQ(m_progress.m_statuses.back(), eRequestStatus_Done);
    const auto boxes = m_host.TakeBoxes();
    ASSERT_EQ(boxes.size(), 1U);
    EXPECT_EQ(boxes[0].style, 48U);
    EXPECT_EQ(boxes[0].text, FormatText(RootApp_RSC_CStr(115, "IDS_CANT_DELETE_REQUEST_FILE"), {m_request}));
    m_host.ExpectReport(166, m_request);
}

TEST_F(Processor, AnExceptionOfAPluginPassesAfterEverythingIsReleased)
{
    m_script.obtainData = [](auto*, auto*) -> bool { throw std::runtime_error("x"); };
    EXPECT_THROW(Process(), std::runtime_error);
    EXPECT_FALSE(CScriptedPlugin::HasLiveObjects());
}

TEST_F(Processor, TheOutputDirectoryMustExistAndIsStoredAsGiven)
{
    CZelProcessor processor;
    EXPECT_EQ(processor.GetOutputFilePath(L"x.drq"), platform::JoinPath(L"invalid", L"x.drq"));
    EXPECT_FALSE(processor.SetOutputDir(m_dir / L"missing"));
    EXPECT_FALSE(processor.SetOutputDir(m_request)) << "a file is no directory";
    EXPECT_EQ(processor.GetOutputFilePath(L"x.drq"), platform::JoinPath(L"invalid", L"x.drq"));
    const std::wstring slashed = m_outputDir + platform::kPathSeparator;
    EXPECT_TRUE(processor.SetOutputDir(slashed));
    EXPECT_EQ(processor.GetOutputFilePath(m_request), slashed + platform::kPathSeparator + L"abc.drq");
    EXPECT_EQ(processor.GetOutputStatusFilePath(m_request),
              slashed + platform::kPathSeparator + L"abc.drq" + L".status");
}

TEST_F(Processor, TheQueueProceedsUnlessSteppedByHand)
{
    CZelProcessor processor;
    EXPECT_FALSE(processor.IsManualProceedQueue());
    processor.ProceedQueue(false);
    EXPECT_TRUE(processor.CanProceedQueue());
    processor.SetManualProceedQueue(true);
    EXPECT_TRUE(processor.IsManualProceedQueue());
    EXPECT_FALSE(processor.CanProceedQueue());
    processor.ProceedQueue(true);
    EXPECT_TRUE(processor.CanProceedQueue());
}

TEST_F(Processor, TheExcerptOfARequestHasAtMost2048Characters)
{
    CZelProcessor processor;
    EXPECT_EQ(processor.CreateErrorXmlString(L"short"), L"short");
    EXPECT_EQ(processor.CreateErrorXmlString(std::wstring(3000, L'x')), std::wstring(2048, L'x'));
}
