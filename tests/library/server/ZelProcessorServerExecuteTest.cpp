#include "tests/support/ServerKit.h"

#include "framework/Services.h"
#include "platform/StandardPath.h"
#include "tests/support/Links.h"
#include "tests/support/ManualClock.h"

#include <algorithm>
#include <cstddef>
#include <filesystem>
#include <new>
#include <stdexcept>

namespace {

class Executive : public CServerFixture {
protected:
    /// A path's name, for scripts that are told a path.
    static std::wstring Name(const std::wstring& path) { return platform::FileNameOf(path); }
};

} // namespace

TEST_F(Executive, ServesARequestFromItsFileToItsResponse)
{
    m_script.save = [](const std::wstring& path) {
        return platform::Succeeded(platform::WriteWholeFile(path, "<Response>42</Response>"));
    };
    Run();
    EXPECT_EQ(SendAndWait(L"abc.drq"), eRequestStatus_Done);
    EXPECT_EQ(m_additional.GetProgressComment(), RootApp_RSC_CStr(116, "IDS_DONE"));
    EXPECT_TRUE(m_client.ReceiveOutput(L"abc.drq", In(m_clientDir, L"result.xml")));
    EXPECT_EQ(Read(In(m_clientDir, L"result.xml")), "<Response>42</Response>");
    EXPECT_TRUE(FilesIn(m_outputDir).empty());
    EXPECT_TRUE(FilesIn(m_requestDir).empty());
    EXPECT_TRUE(FilesIn(In(m_outputDir, L"Queue")).empty());
}

TEST_F(Executive, TheFirstStatusIsProcessingStarted)
{
    CGate gate;
    m_script.createRequest = [&](const std::wstring&) { return gate.Pass(); };
    CZelProcessorClient::CAdditionalRequestStatus first;
    m_context.m_onAsked = [&] {
        // The first question of a run comes before the processor reports anything.
        if (first.GetStatus() == eRequestStatus_NotIntialized) {
            EXPECT_EQ(m_client.GetStatus(L"a.drq", &first), eRequestStatus_ProcessingStarted);
        }
    };
    Run();
    Send(L"a.drq");
    ASSERT_TRUE(gate.WaitUntilEntered());
    EXPECT_EQ(first.GetProgressComment(), RootApp_RSC_CStr(127, "IDS_PROCESSING_STARTED"));
    gate.Open();
    EXPECT_EQ(WaitForEnd(L"a.drq"), eRequestStatus_Done);
}

TEST_F(Executive, TheCancelFlagIsClearedBeforeEachRequest)
{
    Run();
    m_context.m_canceled = true;
    EXPECT_EQ(SendAndWait(L"a.drq"), eRequestStatus_Done);
    EXPECT_EQ(m_context.m_starts, 1);
}

TEST_F(Executive, AFailedRequestIsReportedOnceAndLeavesNoFile)
{
    m_script.obtainData = [](auto*, auto*) { return false; };
    Run();
    EXPECT_EQ(SendAndWait(L"a.drq"), eRequestStatus_ServerError);
    EXPECT_EQ(m_additional.GetProgressComment(), RootApp_RSC_CStr(111, "IDS_SERVER_ERROR_CAN_NOT_OBTAIN_DATA"));
    m_pServer->Stop(true);
    const auto reports = m_host.TakeReports();
    ASSERT_EQ(reports.size(), 1U);
    EXPECT_EQ(reports[0].message, L"Request " + Queued(L"a.drq") + L" failed");
    EXPECT_EQ(reports[0].sourceLine, 312);
    EXPECT_EQ(reports[0].function, L"CZelProcessorServer::ExecuteRequest()");
    EXPECT_EQ(reports[0].sourceFile, L"Kernel/ZEL_Processor/ZEL_Processor/ZelProcessorServer");
    EXPECT_TRUE(FilesIn(In(m_outputDir, L"Queue")).empty());
    EXPECT_EQ(FilesIn(m_outputDir), std::vector<std::wstring>{L"a.drq.status"});
}

TEST_F(Executive, AFailedRequestThatIsJustOpenIsDeletedWhenItIsFree)
{
    m_script.obtainData = [](auto*, auto*) { return false; };
    m_files.FailCall(testsupport::eFileCall_Remove, 1, platform::eOsError_SharingViolation, 10, Queued(L"a.drq"));
    const platform::CScopedOs os(&m_files, nullptr);
    Run();
    EXPECT_EQ(SendAndWait(L"a.drq"), eRequestStatus_ServerError);
    m_pServer.reset();
    EXPECT_FALSE(platform::PathExists(Queued(L"a.drq")));
    m_host.ExpectReport(312, L"failed");
}

TEST_F(Executive, ALinkInPlaceOfTheStatusFailsTheRequestAndIsNamed)
{
    const std::wstring status = In(m_outputDir, L"a.drq.status");
    if (!testsupport::MakeLink(m_dir / L"nowhere", status))
        GTEST_SKIP() << "MakeLink: this system gives no links";
    Run();
    Send(L"a.drq");
    m_host.ExpectReport(312, L"Request " + Queued(L"a.drq") + L" failed\n" +
                                 platform::OsErrorText(platform::eOsError_LinkInTheWay) + L": " + status);
    m_host.ExpectLogLine(status + L": " + platform::OsErrorText(platform::eOsError_LinkInTheWay));
    m_host.ExpectBox(L"Unable to create/open status file: " + status);
    EXPECT_TRUE(WaitUntil([&] { return FilesIn(In(m_outputDir, L"Queue")).empty(); }));
    EXPECT_FALSE(platform::PathExists(m_dir / L"nowhere")) << "nothing was made where the link leads";
    EXPECT_FALSE(platform::PathExists(In(m_outputDir, L"a.drq"))) << "it was not run";
    EXPECT_EQ(SendAndWait(L"b.drq"), eRequestStatus_Done) << "and the next one is served";
    m_pServer->Stop(true);
}

TEST_F(Executive, AStatusFileThatIsHeldDoesNotHoldTheStop)
{
    CGate gate;
    m_script.createRequest = [&](const std::wstring&) { return gate.Pass(); };
    Run();
    Send(L"a.drq");
    ASSERT_TRUE(gate.WaitUntilEntered());
    const std::wstring status = In(m_outputDir, L"a.drq.status");
    std::unique_ptr<platform::IFile> stranger;
    ASSERT_TRUE(WaitUntil([&] {
        return platform::Succeeded(platform::Files().Open(status, platform::eOpenMode_ReadExclusive, stranger));
    }));
    gate.Open();
    m_pServer->Stop(true);
    EXPECT_FALSE(m_host.TakeBoxes().empty());
    EXPECT_FALSE(m_host.TakeLogLines().empty());
    static_cast<void>(m_host.TakeReports()); // whether the task had its data by then is not asked here
}

TEST_F(Executive, ACanceledRequestIsNotReportedAsFailed)
{
    m_script.obtainData = [this](auto* context, auto*) {
        Access().Requests().CancelRunningRequest({}, false);
        return context->IsCanceled();
    };
    Run();
    EXPECT_EQ(SendAndWait(L"a.drq"), eRequestStatus_Canceled);
    m_pServer->Stop(true);
    EXPECT_TRUE(m_host.TakeReports().empty());
    EXPECT_TRUE(FilesIn(In(m_outputDir, L"Queue")).empty());
}

TEST_F(Executive, ATaskThatThrowsEndsItsRequestAndTheNextIsServed)
{
    std::atomic<int> runs = 0;
    m_script.obtainData = [&](auto*, auto*) -> bool {
        if (++runs == 1)
            throw std::runtime_error("x");
        if (runs == 2)
            throw 42;
        return true;
    };
    Run();
    for (const wchar_t* name : {L"a.drq", L"b.drq"}) {
        EXPECT_EQ(SendAndWait(name), eRequestStatus_ServerError);
        EXPECT_EQ(m_additional.GetProgressComment(),
                  RootApp_RSC_CStr(101, "IDS_EXCEPTIONTHROW_DURING_PROCESSINGREQUEST"));
    }
    EXPECT_EQ(SendAndWait(L"c.drq"), eRequestStatus_Done);
    m_pServer->Stop(true);
    const auto boxes = m_host.TakeBoxes();
    ASSERT_EQ(boxes.size(), 2U) << "one question before each crash report";
    EXPECT_TRUE(boxes[0].isQuestion);
    EXPECT_EQ(boxes[0].style, 4U | 48U);
    EXPECT_NE(boxes[0].text.find(L"CZelProcessorServer::ExecuteRequest"), std::wstring::npos);
    EXPECT_EQ(m_host.TakeCrashReports().size(), 2U);
    EXPECT_TRUE(FilesIn(In(m_outputDir, L"Queue")).empty());
}

TEST_F(Executive, TheNameIsFreeWhenTheFailureIsTold)
{
    m_script.obtainData = [this, run = 0](auto*, auto*) mutable -> bool {
        if (++run == 2)
            Access().Requests().CancelRunningRequest({}, false);
        if (run == 3)
            throw std::runtime_error("x");
        return run == 2;
    };
    const platform::CScopedOs os(&m_files, nullptr);
    Run();
    for (const auto status : {eRequestStatus_ServerError, eRequestStatus_Canceled, eRequestStatus_ServerError}) {
        EXPECT_EQ(SendAndWait(L"a.drq"), status);
        EXPECT_TRUE(platform::Succeeded(platform::Files().Remove(In(m_outputDir, L"a.drq.status"))));
    }
    m_pServer.reset();
    int told = 0;
    bool isGone = false;
    for (const testsupport::SFileCall& call : m_files.Calls()) {
        if (call.call == testsupport::eFileCall_Move && call.target == Queued(L"a.drq"))
            isGone = false;
        if (call.call == testsupport::eFileCall_Remove && call.path == Queued(L"a.drq"))
            isGone = true;
        if (isGone && call.call == testsupport::eFileCall_Open && call.mode == platform::eOpenMode_WriteExclusive &&
            call.path == In(m_outputDir, L"a.drq.status") && platform::Succeeded(call.result))
            ++told;
    }
    EXPECT_EQ(told, 3) << "one write each after the file was gone";
    static_cast<void>(m_host.TakeReports());
    static_cast<void>(m_host.TakeBoxes());
}

TEST_F(Executive, AFailureThatATaskTellsWhileItGoesOnIsSeen)
{
    CGate gate;
    m_script.obtainData = [&](auto*, CZelProcessorProgress* progress) {
        progress->SetStatusAndComment(eRequestStatus_ServerError, L"half of it is missing");
        progress->SetPos(50);
        return gate.Pass();
    };
    Run();
    Send(L"a.drq");
    ASSERT_TRUE(gate.WaitUntilEntered());
    EXPECT_EQ(m_client.GetStatus(L"a.drq", &m_additional), eRequestStatus_ServerError);
    EXPECT_EQ(m_additional.GetProgressComment(), L"half of it is missing");
    gate.Open();
    EXPECT_TRUE(WaitUntil([&] { return m_client.GetStatus(L"a.drq", nullptr) == eRequestStatus_Done; }));
}

TEST_F(Executive, TheTextsOfATaskThatWasJumpedOverEndWithItsRequest)
{
    // What a contained fault leaves of a scope in a task: entered and never left.
    alignas(CWQ_SetResource) std::byte scope[sizeof(CWQ_SetResource)];
    std::vector<std::string> modules;
    m_context.m_onStart = [&] {
        modules.emplace_back(CWQ_SetResource::Current());
        if (modules.size() == 1)
            new (scope) CWQ_SetResource("faulty");
    };
    Run();
    EXPECT_EQ(SendAndWait(L"a.drq"), eRequestStatus_Done);
    EXPECT_EQ(SendAndWait(L"b.drq"), eRequestStatus_Done);
    m_pServer.reset();
    EXPECT_EQ(modules, (std::vector<std::string>{"ZEL_Processor", "ZEL_Processor"}));
}

TEST_F(Executive, TheOperatorsNoWritesNoCrashReport)
{
    m_host.AnswerQuestions(eMessageAnswer_No);
    m_script.obtainData = [](auto*, auto*) -> bool { throw std::runtime_error("x"); };
    Run();
    EXPECT_EQ(SendAndWait(L"a.drq"), eRequestStatus_ServerError);
    m_pServer->Stop(true);
    EXPECT_EQ(m_host.TakeBoxes().size(), 1U);
    EXPECT_TRUE(m_host.TakeCrashReports().empty());
}

TEST_F(Executive, FailingHandOversAreAnsweredAndTheServerGoesOn)
{
    // Every kind of call on the way of a request fails once: no request is lost, each ends with its response or with a
    // failure that the server told. A move or a deletion that failed leaves a file to be met again at the next change.
    const std::pair<testsupport::eFileCall, std::wstring> plans[] = {
        {testsupport::eFileCall_Open, m_outputDir},  {testsupport::eFileCall_Write, m_outputDir},
        {testsupport::eFileCall_Close, m_outputDir}, {testsupport::eFileCall_Remove, Queued(L"a.drq")},
        {testsupport::eFileCall_Move, m_requestDir}, {testsupport::eFileCall_List, m_requestDir}};
    for (const auto& [call, path] : plans) {
        const platform::CScopedOs os(&m_files, nullptr);
        Make();
        Run();
        m_files.ForgetCalls();
        m_files.FailCall(call, 1, platform::eOsError_AccessDenied, 1, path);
        for (const wchar_t* name : {L"a.drq", L"b.drq"})
            Send(name);
        for (const wchar_t* name : {L"a.drq", L"b.drq"}) {
            eZelProcRequestStatus status = WaitForEnd(name);
            if (status == eRequestStatus_ClientError) // the call that failed was the client's
                status = WaitForEnd(name);
            EXPECT_TRUE(status == eRequestStatus_Done || status == eRequestStatus_ServerError) << call << " " << status;
            EXPECT_EQ(platform::PathExists(In(m_outputDir, name)), status == eRequestStatus_Done) << call;
        }
        EXPECT_EQ(std::ranges::count(m_files.Calls(), platform::eOsError_AccessDenied, &testsupport::SFileCall::result),
                  1)
            << call;
        EXPECT_EQ(SendAndWait(L"c.drq"), eRequestStatus_Done) << call;
        m_pServer.reset();
        EXPECT_TRUE(FilesIn(m_requestDir).empty()) << call;
        EXPECT_EQ(FilesIn(In(m_outputDir, L"Queue")).size(), call == testsupport::eFileCall_Remove ? 1U : 0U) << call;
        static_cast<void>(m_host.TakeBoxes());
        static_cast<void>(m_host.TakeReports());
    }
    m_host.AcceptWarnings();
}

TEST_F(Executive, AReadOnlyRequestIsServedAndGone)
{
    CGate gate;
    m_script.createRequest = [&](const std::wstring&) { return gate.Pass(); };
    Run();
    Send(L"a.drq");
    ASSERT_TRUE(gate.WaitUntilEntered());
    std::filesystem::permissions(platform::StandardPath(Queued(L"a.drq")), std::filesystem::perms::owner_read);
    gate.Open();
    EXPECT_EQ(WaitForEnd(L"a.drq"), eRequestStatus_Done);
    EXPECT_FALSE(platform::PathExists(Queued(L"a.drq")));
}
