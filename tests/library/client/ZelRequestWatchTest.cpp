#include "tests/support/ServerKit.h"

namespace {

using namespace std::chrono_literals;

class RequestWatch : public CServerFixture {};

} // namespace

TEST_F(RequestWatch, FinalStatusesAreThoseAfterWhichNothingComes)
{
    for (int status = eRequestStatus_NotIntialized; status <= eRequestStatus_Last; ++status) {
        const bool final = status == eRequestStatus_ClientError || status == eRequestStatus_ServerError ||
                           status == eRequestStatus_ServerTimeout || status == eRequestStatus_NotRequested ||
                           status == eRequestStatus_Canceled || status == eRequestStatus_Done;
        EXPECT_EQ(CZelRequestWatch::IsFinal(static_cast<eZelProcRequestStatus>(status)), final) << status;
    }
}

TEST_F(RequestWatch, WaitsForTheEndOfARunningRequest)
{
    CGate gate;
    m_script.obtainData = [&](auto*, auto*) { return gate.Pass(); };
    Run();
    CZelRequestWatch watch(m_client, m_outputDir);
    Send(L"a.drq");
    ASSERT_TRUE(gate.WaitUntilEntered());
    EXPECT_EQ(watch.WaitForEnd(L"a.drq", 1ms, &m_additional), eRequestStatus_GettingData) << "the time was over";
    gate.Open();
    EXPECT_EQ(watch.WaitForEnd(L"a.drq", kPatience, &m_additional), eRequestStatus_Done);
}

TEST_F(RequestWatch, AnUnknownRequestIsAtItsEnd)
{
    CZelRequestWatch watch(m_client, m_outputDir);
    EXPECT_EQ(watch.WaitForEnd(L"unknown.drq", kPatience, nullptr), eRequestStatus_NotRequested);
}

TEST_F(RequestWatch, AStatusThatWasMadeAndNeverWrittenIsNoEndWhileTheRequestIsThere)
{
    const std::wstring status = In(m_outputDir, L"a.drq.status");
    Write(status, "");
    CZelRequestWatch watch(m_client, m_outputDir);
    for (const std::wstring& path : {In(m_requestDir, L"a.drq"), Queued(L"a.drq")}) {
        Write(path);
        EXPECT_EQ(watch.WaitForEnd(L"a.drq", 1ms, &m_additional), eRequestStatus_Waiting);
        EXPECT_EQ(m_additional.GetStatus(), eRequestStatus_Waiting);
        EXPECT_EQ(m_client.GetStatus(L"a.drq", nullptr), eRequestStatus_ClientError) << "as it is, by itself";
        EXPECT_TRUE(platform::Succeeded(platform::Files().Remove(path)));
    }
    EXPECT_EQ(watch.WaitForEnd(L"a.drq", kPatience, nullptr), eRequestStatus_ClientError) << "nobody puts it right";
    Write(Queued(L"a.drq"));
    Write(status, "no status");
    EXPECT_EQ(watch.WaitForEnd(L"a.drq", kPatience, nullptr), eRequestStatus_ClientError) << "it was written";
}

TEST_F(RequestWatch, AWakeUpEndsTheWait)
{
    Write(In(m_requestDir, L"a.drq")); // nobody serves it
    CZelRequestWatch watch(m_client, m_outputDir);
    platform::CThread waker;
    ASSERT_TRUE(waker.Start([&] {
        watch.Wake();
        return 0U;
    }));
    EXPECT_EQ(watch.WaitForEnd(L"a.drq", kPatience, nullptr), eRequestStatus_Waiting);
    EXPECT_TRUE(waker.Join());
}

TEST_F(RequestWatch, AWakeUpEndsTheWaitForAChange)
{
    CZelRequestWatch watch(m_client, m_outputDir);
    EXPECT_TRUE(watch.WaitForChange(0ms)) << "nobody watched before";
    platform::CManualResetEvent ended;
    platform::CThread waiter;
    ASSERT_TRUE(waiter.Start([&] {
        EXPECT_FALSE(watch.WaitForChange(1h));
        ended.Set();
        return 0U;
    }));
    watch.Wake(); // a wait that begins later sees it as well
    EXPECT_TRUE(ended.WaitFor(kPatience)) << "it waits for a change that nobody makes";
    Write(In(m_outputDir, L"a.drq.status"), "x");
    EXPECT_TRUE(waiter.Join());
}

TEST_F(RequestWatch, AStatusWriteIsAChange)
{
    CZelRequestWatch watch(m_client, m_outputDir);
    EXPECT_TRUE(watch.WaitForChange(0ms)) << "nobody watched before";
    EXPECT_FALSE(watch.WaitForChange(0ms));
    Write(In(m_outputDir, L"a.drq.status"), "x");
    EXPECT_TRUE(watch.WaitForChange(kPatience));
}

TEST_F(RequestWatch, WhatTheSystemDoesNotTellIsFoundByAClientThatPolls)
{
    m_files.GoDeaf();
    const platform::CScopedOs os(&m_files, nullptr);
    m_client.SetCheckedWatch(false, 10ms);
    CZelRequestWatch watch(m_client, m_outputDir);
    EXPECT_TRUE(watch.WaitForChange(0ms)) << "nobody watched before";
    EXPECT_TRUE(watch.WaitForChange(kPatience)) << "the first look";
    EXPECT_FALSE(watch.WaitForChange(50ms));
    Write(In(m_outputDir, L"a.drq.status"), "x");
    EXPECT_TRUE(watch.WaitForChange(kPatience));
}

TEST_F(RequestWatch, WaitsForAServerThatIsNotThereYet)
{
    // Without the queue directory there is nothing to watch.
    ASSERT_TRUE(platform::Succeeded(platform::Files().RemoveEmptyDirectory(In(m_outputDir, L"Queue"))));
    Write(In(m_requestDir, L"early.drq"));
    CZelRequestWatch watch(m_client, m_outputDir);
    EXPECT_EQ(watch.WaitForEnd(L"early.drq", 1ms, nullptr), eRequestStatus_Waiting);
    Make();
    Run();
    Write(In(m_requestDir, L"change.txt"));
    EXPECT_EQ(watch.WaitForEnd(L"early.drq", kPatience, nullptr), eRequestStatus_Done);
}

TEST_F(RequestWatch, FollowsManyRequestsFromSeveralThreads)
{
    Run();
    std::vector<platform::CThread> threads(4);
    std::atomic<int> done = 0;
    for (std::size_t index = 0; index < threads.size(); ++index) {
        ASSERT_TRUE(threads[index].Start([&, index] {
            CZelRequestWatch watch(m_client, m_outputDir);
            for (int count = 0; count < 50; ++count) {
                const std::wstring name = std::to_wstring(index) + L"_" + std::to_wstring(count) + L".drq";
                Send(name);
                if (watch.WaitForEnd(name, kPatience, nullptr) == eRequestStatus_Done &&
                    m_client.ReceiveOutput(name, In(m_clientDir, name)))
                    ++done;
            }
            return 0U;
        }));
    }
    for (platform::CThread& thread : threads)
        EXPECT_TRUE(thread.Join());
    EXPECT_EQ(done, 200);
    EXPECT_EQ(FilesIn(m_outputDir), std::vector<std::wstring>{});
}
