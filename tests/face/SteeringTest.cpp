#include "tests/face/FaceFixture.h"

namespace {

class FaceSteering : public CFaceFixture {
protected:
    void SetUp() override
    {
        CFaceFixture::SetUp();
        Make({.syncing = false, .cancelByName = true, .pausedStatus = true});
    }
    /// A face for a server that does not answer.
    void MakeImpatient()
    {
        zel::Options options = Options();
        options.commandTimeout = std::chrono::milliseconds(50);
        m_face.emplace(options);
    }
};

} // namespace

TEST_F(FaceSteering, ARunningRequestIsCancelledAndEndsAsSuch)
{
    CGate gate;
    m_script.obtainData = [&](CZelProcessorContext* context, auto*) {
        return gate.Pass() && WaitUntil([&] { return context->IsCanceled(); });
    };
    Run();
    const zel::Request request = Sent("a.drq");
    ASSERT_TRUE(gate.WaitUntilEntered());
    EXPECT_OK(request.cancel());
    gate.Open();
    EXPECT_EQ(request.wait(kPatience).code(), zel::Code::canceled);
    EXPECT_EQ(request.cancel().code(), zel::Code::hasEnded);
    EXPECT_EQ(request.pause().code(), zel::Code::hasEnded);
    EXPECT_EQ(request.resume().code(), zel::Code::hasEnded);
    EXPECT_OK(request.forget());
}

TEST_F(FaceSteering, WhatIsUnknownCancelsNobodyElse)
{
    Make({.syncing = false}); // one that would cancel whatever runs
    CGate gate;
    m_script.obtainData = [&](auto*, auto*) { return gate.Pass(); };
    Run();
    const zel::Request running = Sent("a.drq");
    ASSERT_TRUE(gate.WaitUntilEntered());
    EXPECT_EQ(Named("other.drq").cancel().code(), zel::Code::unknownRequest);
    EXPECT_EQ(Named("other.drq").pause().code(), zel::Code::unknownRequest);
    EXPECT_EQ(Named("other.drq").resume().code(), zel::Code::unknownRequest);
    gate.Open();
    EXPECT_OK(running.wait(kPatience));
}

TEST_F(FaceSteering, WhatTheServerHasNotTakenIsNotCancelledInPlaceOfAnother)
{
    MakeImpatient();
    const zel::Request request = Sent("a.drq"); // nobody runs
    const zel::Result<void> canceled = request.cancel();
    EXPECT_EQ(canceled.code(), zel::Code::noAnswer);
    EXPECT_NE(canceled.reason().find("50 ms"), std::string::npos) << canceled.reason();
    EXPECT_EQ(FilesIn(m_requestDir), std::vector<std::wstring>{L"a.drq"}) << "no command was sent";
}

TEST_F(FaceSteering, PausingAndResumingAreNoToggle)
{
    CGate gate;
    m_script.obtainData = [&](auto*, auto*) { return gate.Pass(); };
    Run();
    const zel::Request running = Sent("a.drq");
    ASSERT_TRUE(gate.WaitUntilEntered());
    EXPECT_EQ(running.pause().code(), zel::Code::hasStarted);
    const zel::Request waiting = Sent("b.drq");
    ASSERT_TRUE(WaitUntil([&] { return Access().IsRequestInQueue(L"b.drq"); }));
    EXPECT_EQ(waiting.resume().code(), zel::Code::notPaused);
    EXPECT_OK(waiting.pause());
    EXPECT_EQ(waiting.status().state, zel::State::paused);
    EXPECT_OK(waiting.pause());
    EXPECT_EQ(waiting.status().state, zel::State::paused) << "twice is once";
    EXPECT_OK(waiting.resume());
    EXPECT_EQ(waiting.status().state, zel::State::waiting);
    gate.Open();
    EXPECT_OK(waiting.wait(kPatience));
}

TEST_F(FaceSteering, AServerThatIsGoneDoesNotAnswer)
{
    MakeImpatient();
    Write(Queued(L"a.drq")); // taken by one that died
    const zel::Result<void> paused = Named("a.drq").pause();
    EXPECT_EQ(paused.code(), zel::Code::noAnswer);
    EXPECT_NE(paused.reason().find("50 ms"), std::string::npos) << paused.reason();
    EXPECT_EQ(Named("a.drq").cancel().code(), zel::Code::noAnswer);
    EXPECT_EQ(Named("a.drq").wait(std::chrono::milliseconds(0)).code(), zel::Code::timeout);
}

TEST_F(FaceSteering, ARefusalHasItsReason)
{
    CGate gate;
    m_script.obtainData = [&](auto*, auto*) { return gate.Pass(); };
    Run();
    const zel::Request running = Sent("a.drq");
    ASSERT_TRUE(gate.WaitUntilEntered());
    const platform::CScopedOs os(&m_files, nullptr);
    m_files.FailAlways(testsupport::eFileCall_Move, platform::eOsError_AccessDenied, L".command");
    const zel::Result<void> canceled = running.cancel();
    m_files.StopFailing();
    EXPECT_FALSE(canceled);
    EXPECT_TRUE(canceled.code() == zel::Code::fileError || canceled.code() == zel::Code::refused);
    EXPECT_NE(canceled.reason(), "");
    gate.Open();
    EXPECT_OK(running.wait(kPatience));
}

TEST_F(FaceSteering, AStopEndsTheWaitForAnAnswer)
{
    Write(Queued(L"a.drq"));
    const zel::Request request = Named("a.drq");
    std::atomic<int> code = -1;
    std::thread thread([&] { code = static_cast<int>(request.pause().code()); });
    ASSERT_TRUE(WaitUntil([&] { return !FilesIn(m_requestDir).empty(); })) << "the command is on its way";
    m_face->stop();
    thread.join();
    EXPECT_EQ(code, static_cast<int>(zel::Code::stopped));
}
