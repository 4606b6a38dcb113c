#include "tests/face/FaceFixture.h"

#include "platform/Mutex.h"

namespace {

/// What a callback was told, by any thread.
class CTold {
public:
    void operator()(const zel::Status& status)
    {
        const platform::CMutexLock lock(m_mutex);
        m_states.push_back(status.state);
        m_changed.NotifyAll();
    }
    [[nodiscard]] bool WaitFor(zel::State state)
    {
        platform::CMutexLock lock(m_mutex);
        return m_changed.WaitFor(lock, std::chrono::seconds(20), [&]() ZEL_REQUIRES(m_mutex) {
            return std::find(m_states.begin(), m_states.end(), state) != m_states.end();
        });
    }
    [[nodiscard]] std::size_t Count()
    {
        const platform::CMutexLock lock(m_mutex);
        return m_states.size();
    }
    [[nodiscard]] std::vector<zel::State> States()
    {
        const platform::CMutexLock lock(m_mutex);
        return m_states;
    }

private:
    platform::CMutex m_mutex;
    platform::CCondition m_changed;
    std::vector<zel::State> m_states ZEL_GUARDED_BY(m_mutex);
};

class FaceFollower : public CFaceFixture {
protected:
    void TearDown() override { m_gate.Open(); }

    CGate m_gate;
    CTold m_told;
};

} // namespace

TEST_F(FaceFollower, EachChangeIsToldUpToTheEnd)
{
    m_script.obtainData = [&](auto*, auto*) { return m_gate.Pass(); };
    zel::Request request = Sent("a.drq");
    ASSERT_TRUE(request.onChange(std::ref(m_told)));
    EXPECT_TRUE(m_told.WaitFor(zel::State::waiting)) << "as it is now";
    Run();
    Write(In(m_requestDir, L"change.txt"));
    EXPECT_TRUE(m_told.WaitFor(zel::State::gettingData));
    m_gate.Open();
    EXPECT_TRUE(m_told.WaitFor(zel::State::done));
    EXPECT_EQ(m_told.States().back(), zel::State::done);
}

TEST_F(FaceFollower, WhatDoesNotChangeIsToldOnce)
{
    zel::Request request = Sent("a.drq");
    zel::Request other = Sent("b.drq");
    CTold toldOfOther;
    ASSERT_TRUE(request.onChange(std::ref(m_told)));
    ASSERT_TRUE(other.onChange(std::ref(toldOfOther)));
    ASSERT_TRUE(m_told.WaitFor(zel::State::waiting));
    ASSERT_TRUE(toldOfOther.WaitFor(zel::State::waiting));
    // A change of the other one is seen by a look at both.
    Write(In(m_outputDir, L"b.drq.status"), "no status");
    ASSERT_TRUE(toldOfOther.WaitFor(zel::State::clientError));
    EXPECT_EQ(m_told.Count(), 1U);
}

TEST_F(FaceFollower, AfterItsEndNobodyIsTold)
{
    {
        zel::Request request = Sent("a.drq");
        ASSERT_TRUE(request.onChange(std::ref(m_told)));
        ASSERT_TRUE(m_told.WaitFor(zel::State::waiting));
    }
    Run();
    Write(In(m_requestDir, L"change.txt"));
    ASSERT_TRUE(Named("a.drq").wait(kPatience));
    // Another callback, which is told later than this one would have been.
    CTold later;
    zel::Request again = Named("a.drq");
    ASSERT_TRUE(again.onChange(std::ref(later)));
    ASSERT_TRUE(later.WaitFor(zel::State::done));
    EXPECT_EQ(m_told.Count(), 1U);
}

TEST_F(FaceFollower, TheEndWaitsForACallbackThatRuns)
{
    std::atomic<bool> hasReturned = false;
    std::atomic<bool> isGone = false;
    std::optional<zel::Request> request = Sent("a.drq");
    ASSERT_TRUE(request->onChange([&](const zel::Status&) {
        EXPECT_TRUE(m_gate.Pass());
        EXPECT_FALSE(isGone) << "what it uses may be gone by then";
        hasReturned = true;
    }));
    ASSERT_TRUE(m_gate.WaitUntilEntered());
    std::thread thread([&] {
        request.reset();
        isGone = true;
        EXPECT_TRUE(hasReturned);
    });
    EXPECT_FALSE(testsupport::WaitUntil([&] { return isGone.load(); }, std::chrono::milliseconds(50)));
    m_gate.Open();
    thread.join();
}

TEST_F(FaceFollower, ACallbackMayEndItsOwnRequest)
{
    std::optional<zel::Request> request = Sent("a.drq");
    ASSERT_TRUE(request->onChange([&, keepsAlive = std::make_shared<int>(3)](const zel::Status& status) {
        request.reset();
        EXPECT_EQ(*keepsAlive, 3) << "the callback itself is still there";
        m_told(status);
    }));
    EXPECT_TRUE(m_told.WaitFor(zel::State::waiting));
}

TEST_F(FaceFollower, ACallbackMaySteerItsRequest)
{
    Make({.syncing = false, .cancelByName = true});
    m_script.obtainData = [&](CZelProcessorContext* context, auto*) {
        return WaitUntil([&] { return context->IsCanceled(); });
    };
    Run();
    zel::Request request = Sent("a.drq");
    ASSERT_TRUE(request.onChange([&](const zel::Status& status) {
        if (status.state == zel::State::gettingData) {
            EXPECT_OK(request.cancel());
        }
        m_told(status);
    }));
    EXPECT_TRUE(m_told.WaitFor(zel::State::canceled));
}

TEST_F(FaceFollower, AnotherCallbackTakesThePlaceOfTheFirst)
{
    zel::Request request = Sent("a.drq");
    CTold second;
    ASSERT_TRUE(request.onChange(std::ref(m_told)));
    ASSERT_TRUE(m_told.WaitFor(zel::State::waiting));
    ASSERT_TRUE(request.onChange(std::ref(second)));
    Run();
    Write(In(m_requestDir, L"change.txt"));
    EXPECT_TRUE(second.WaitFor(zel::State::done));
    EXPECT_EQ(m_told.Count(), 1U);
    EXPECT_OK(request.onChange({}));
}

TEST_F(FaceFollower, ACallbackThatThrowsIsReportedAndNotCalledAgain)
{
    std::atomic<int> calls = 0;
    zel::Request request = Sent("a.drq");
    ASSERT_TRUE(request.onChange([&](const zel::Status&) {
        ++calls;
        throw 1;
    }));
    m_host.ExpectReport(1, L"The callback of a request threw: it is not called again");
    CTold later;
    zel::Request again = Named("a.drq");
    ASSERT_TRUE(again.onChange(std::ref(later)));
    Run();
    Write(In(m_requestDir, L"change.txt"));
    EXPECT_TRUE(later.WaitFor(zel::State::done));
    EXPECT_EQ(calls, 1);
}

TEST_F(FaceFollower, AfterTheEndOfTheClientNobodyIsTold)
{
    zel::Request request = Sent("a.drq");
    ASSERT_TRUE(request.onChange(std::ref(m_told)));
    ASSERT_TRUE(m_told.WaitFor(zel::State::waiting));
    m_face.reset();
    EXPECT_EQ(request.onChange(std::ref(m_told)).code(), zel::Code::stopped);
    EXPECT_EQ(request.wait(kPatience).code(), zel::Code::stopped);
    EXPECT_EQ(m_told.Count(), 1U);
}

TEST_F(FaceFollower, ManyRequestsComeAndGoWhileTheyAreTold)
{
    Run();
    std::vector<std::thread> threads;
    std::atomic<int> done = 0;
    for (int index = 0; index < 4; ++index) {
        threads.emplace_back([&] {
            for (int count = 0; count < 10; ++count) {
                CTold told;
                zel::Request request = std::move(m_face->send(zel::Text{"<Request/>"})).value();
                EXPECT_OK(request.onChange(std::ref(told)));
                if (count % 2 != 0 || told.WaitFor(zel::State::done))
                    ++done;
            }
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(done, 40);
}
