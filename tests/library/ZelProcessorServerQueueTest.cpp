#include "tests/library/ServerFixture.h"

namespace {

/// A server that is running but never takes a request: the queue is as the test made it.
class Queue : public CServerFixture {
protected:
    void SetUp() override
    {
        CServerFixture::SetUp();
        m_pServer->SetNoExecutiveThread(true);
        Run();
    }
    /// Puts a request into the queue without the listener, which is not told of files outside its directory.
    void Add(const std::wstring& name)
    {
        Write(In(m_clientDir, name));
        ASSERT_TRUE(Access().AddRequestToQueue(In(m_clientDir, name)));
    }
};

} // namespace

TEST_F(Queue, IsFirstInFirstOut)
{
    Add(L"a.drq");
    Add(L"b.drq");
    Add(L"c.drq");
    EXPECT_EQ(Access().QueuedNames(), (std::vector<std::wstring>{L"a.drq", L"b.drq", L"c.drq"}));
    EXPECT_TRUE(platform::PathExists(Queued(L"a.drq")));
    EXPECT_FALSE(platform::PathExists(In(m_clientDir, L"a.drq")));
}

TEST_F(Queue, NoStatusIsWrittenForAWaitingRequest)
{
    Add(L"a.drq");
    EXPECT_FALSE(platform::PathExists(In(m_outputDir, L"a.drq.status")));
    EXPECT_EQ(m_client.GetStatus(L"a.drq", nullptr), eRequestStatus_Waiting);
}

TEST_F(Queue, ANameThatIsAlreadyQueuedIsNotMovedAndBothPathsAreShown)
{
    Add(L"a.drq");
    Write(In(m_clientDir, L"a.drq"), "second");
    EXPECT_FALSE(Access().AddRequestToQueue(In(m_clientDir, L"a.drq")));
    m_host.ExpectBox(L"CZelProcessorServer::AddRequestToQueue : moving of the file '" + In(m_clientDir, L"a.drq") +
                     L"' to '" + Queued(L"a.drq") + L"' failed");
    EXPECT_EQ(Read(In(m_clientDir, L"a.drq")), "second");
    EXPECT_EQ(Access().QueuedNames().size(), 1U);
}

TEST_F(Queue, AFileThatVanishedIsNoError)
{
    EXPECT_FALSE(Access().AddRequestToQueue(In(m_clientDir, L"gone.drq")));
    EXPECT_TRUE(Access().QueuedNames().empty());
}

TEST_F(Queue, ARemovedRequestLosesItsEntryAndItsFile)
{
    Add(L"a.drq");
    Add(L"b.drq");
    EXPECT_TRUE(Access().RemoveRequestFromQueue(L"a.drq"));
    EXPECT_EQ(Access().QueuedNames(), std::vector<std::wstring>{L"b.drq"});
    EXPECT_FALSE(platform::PathExists(Queued(L"a.drq")));
    EXPECT_FALSE(Access().RemoveRequestFromQueue(L"a.drq"));
}

TEST_F(Queue, NamesAreMatchedExactlyByTheirFinalComponent)
{
    Add(L"x.drq");
    EXPECT_TRUE(Access().IsRequestInQueue(L"x.drq"));
    EXPECT_TRUE(Access().IsRequestInQueue(In(m_requestDir, L"x.drq")));
    EXPECT_FALSE(Access().IsRequestInQueue(L"X.DRQ"));
    EXPECT_FALSE(Access().RemoveRequestFromQueue(L"X.DRQ"));
    EXPECT_FALSE(Access().IsRequestPaused(L"x.drq"));
}

TEST_F(Queue, AFileThatCanNotBeDeletedIsAWarningAndTheEntryIsGone)
{
    Add(L"a.drq");
    testsupport::CFaultyFiles& files = m_files;
    files.FailCall(testsupport::eFileCall_Remove, 1, platform::eOsError_AccessDenied);
    {
        const platform::CScopedOs os(&files, nullptr);
        EXPECT_TRUE(Access().RemoveRequestFromQueue(L"a.drq"));
    }
    const auto boxes = m_host.TakeBoxes();
    ASSERT_EQ(boxes.size(), 1U);
    EXPECT_EQ(boxes[0].text, L"Unable to delete request file from the queue directory.\nFile:" + Queued(L"a.drq"));
    EXPECT_EQ(boxes[0].style, 48U);
    EXPECT_FALSE(Access().IsRequestInQueue(L"a.drq"));
}
