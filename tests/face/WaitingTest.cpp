#include "tests/face/FaceFixture.h"

using namespace std::chrono_literals;

namespace {

class FaceWaiting : public CFaceFixture {
protected:
    std::vector<zel::Request> SendAll(std::initializer_list<const char*> names)
    {
        std::vector<zel::Request> requests;
        for (const char* const name : names)
            requests.push_back(Sent(name));
        return requests;
    }
};

} // namespace

TEST_F(FaceWaiting, AWaitEndsWithItsTime)
{
    const zel::Request request = Sent("a.drq"); // nobody serves it
    const zel::Result<zel::Status> end = request.wait(20ms);
    EXPECT_EQ(end.code(), zel::Code::timeout);
    EXPECT_NE(end.reason().find("waiting"), std::string::npos) << end.reason();
    EXPECT_EQ(request.wait(0ms).code(), zel::Code::timeout);
    EXPECT_EQ(request.wait(-1ms).code(), zel::Code::timeout);
}

TEST_F(FaceWaiting, AServerThatIsNotThereEndsAWaitWithAReasonOfItsOwn)
{
    zel::Options options = Options();
    options.output = PathOf(In(m_clientDir, L"output")); // no server ever was there
    ASSERT_TRUE(std::filesystem::create_directory(options.output));
    options.serverAbsence = 1ms;
    m_face.emplace(options);
    const std::vector<zel::Request> requests = SendAll({"a.drq", "b.drq"});
    const zel::Result<zel::Status> end = requests[0].wait(kPatience);
    EXPECT_EQ(end.code(), zel::Code::noServer);
    EXPECT_NE(end.reason().find("output' for 1 ms"), std::string::npos) << end.reason();
    EXPECT_EQ(zel::waitAny(requests, kPatience).code(), zel::Code::noServer);
    EXPECT_EQ(zel::waitAll(requests, kPatience).code(), zel::Code::noServer);
    EXPECT_EQ(requests[0].status().state, zel::State::waiting) << "it waits for one";
}

TEST_F(FaceWaiting, AServerThatMakesNoClaimIsNotMissed)
{
    CGate gate;
    m_script.obtainData = [&](auto*, auto*) { return gate.Pass(); };
    Run();
    zel::Options options = Options();
    options.serverAbsence = 1ms;
    m_face.emplace(options);
    const zel::Request request = Sent("a.drq");
    ASSERT_TRUE(gate.WaitUntilEntered());
    EXPECT_EQ(request.wait(1200ms).code(), zel::Code::timeout) << "it was looked for twice";
    gate.Open();
    EXPECT_OK(request.wait(kPatience));
}

TEST_F(FaceWaiting, WhoMissesNoServerWaitsForAllOfHisTime)
{
    zel::Options options = Options();
    options.output = PathOf(In(m_clientDir, L"output"));
    ASSERT_TRUE(std::filesystem::create_directory(options.output));
    options.serverAbsence = 0ms;
    m_face.emplace(options);
    EXPECT_EQ(Sent("a.drq").wait(1200ms).code(), zel::Code::timeout);
}

TEST_F(FaceWaiting, AnyIsTheFirstThatHasEnded)
{
    CGate gate;
    std::atomic<int> runs = 0;
    m_script.obtainData = [&](auto*, auto*) { return ++runs > 1 || gate.Pass(); };
    const std::vector<zel::Request> requests = SendAll({"a.drq"});
    EXPECT_EQ(zel::waitAny(requests, 20ms).code(), zel::Code::timeout);
    Run();
    Write(In(m_requestDir, L"change.txt"));
    ASSERT_TRUE(gate.WaitUntilEntered());
    std::vector<zel::Request> both = SendAll({"b.drq"});
    both.push_back(Named("a.drq"));
    gate.Open();
    const zel::Result<std::size_t> first = zel::waitAny(both, kPatience);
    ASSERT_TRUE(first) << first.reason();
    EXPECT_TRUE(both[*first].status().hasEnded());
    const zel::Result<std::vector<zel::Status>> all = zel::waitAll(both, kPatience);
    ASSERT_TRUE(all) << all.reason();
    EXPECT_EQ((*all)[0].state, zel::State::done);
    EXPECT_EQ((*all)[1].state, zel::State::done);
}

TEST_F(FaceWaiting, AnyOfThoseThatRunIsToldWhenItEnds)
{
    CGate gate;
    m_script.obtainData = [&](auto*, auto*) { return gate.Pass(); };
    Run();
    const std::vector<zel::Request> requests = SendAll({"a.drq"});
    ASSERT_TRUE(gate.WaitUntilEntered());
    std::atomic<bool> hasWaited = false;
    std::thread thread([&] { hasWaited = zel::waitAny(requests, kPatience).code() == zel::Code::ok; });
    gate.Open();
    thread.join();
    EXPECT_TRUE(hasWaited);
}

TEST_F(FaceWaiting, AllHaveTheirOwnEnds)
{
    std::atomic<int> runs = 0;
    m_script.obtainData = [&](auto*, auto*) { return ++runs != 2; };
    Run();
    const std::vector<zel::Request> requests = SendAll({"a.drq", "b.drq", "c.drq"});
    const zel::Result<std::vector<zel::Status>> all = zel::waitAll(requests, kPatience);
    ASSERT_TRUE(all) << all.reason();
    ASSERT_EQ(all->size(), 3U);
    const auto isDone = [](const zel::Status& status) { return status.state == zel::State::done; };
    EXPECT_EQ(std::count_if(all->begin(), all->end(), isDone), 2);
    m_host.ExpectReport(312, L"failed");
    EXPECT_TRUE(zel::waitAll({}, 0ms)) << "all of none";
}

TEST_F(FaceWaiting, AllEndsWithItsTime)
{
    const std::vector<zel::Request> requests = SendAll({"a.drq", "b.drq"});
    EXPECT_EQ(zel::waitAll(requests, 20ms).code(), zel::Code::timeout);
}

TEST_F(FaceWaiting, AnyOfNoneOrOfSeveralClientsIsRefused)
{
    EXPECT_EQ(zel::waitAny({}, 0ms).code(), zel::Code::badArgument);
    const zel::Client other(Options());
    std::vector<zel::Request> requests = SendAll({"a.drq"});
    requests.push_back(std::move(other.request("a.drq")).value());
    EXPECT_EQ(zel::waitAny(requests, 0ms).code(), zel::Code::badArgument);
}

TEST_F(FaceWaiting, AStopEndsWhatWaitsAndWhatWouldWait)
{
    const std::vector<zel::Request> requests = SendAll({"a.drq"});
    std::atomic<int> stopped = 0;
    const auto count = [&](zel::Code code) {
        if (code == zel::Code::stopped)
            ++stopped;
    };
    std::vector<std::thread> threads;
    threads.emplace_back([&] { count(requests[0].wait(1h).code()); });
    threads.emplace_back([&] { count(zel::waitAny(requests, 1h).code()); });
    threads.emplace_back([&] { count(zel::waitAll(requests, 1h).code()); });
    m_face->stop();
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(stopped, 3);
    EXPECT_EQ(requests[0].wait(1h).code(), zel::Code::stopped);
    EXPECT_EQ(requests[0].status().state, zel::State::waiting) << "what does not wait goes on working";
}
