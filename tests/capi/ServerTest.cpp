#include "tests/capi/CApiFixture.h"

#include "ZEL_Processor/ZelProtocolNames.h"
#include "framework/DefaultHost.h"
#include "framework/Services.h"

namespace {

/// What the callbacks were told.
struct STold {
    platform::CManualResetEvent done;
    platform::CManualResetEvent ended;
    std::atomic<int> how = 0;
    std::atomic<zel_server*> server = nullptr; ///< a request may be done after its client knows
    zel_code stopped = ZEL_OK;
    std::string report;
    std::string message;

    static void Done(void* context)
    {
        auto& self = *static_cast<STold*>(context);
        self.stopped = zel_server_stop(self.server, 0);
        self.done.Set();
    }
    static void Ended(void* context, std::int32_t how)
    {
        auto& self = *static_cast<STold*>(context);
        self.how = how;
        self.ended.Set();
    }
    static void Report(void* context, const zel_report* report)
    {
        static_cast<STold*>(context)->report = report->message;
    }
    static std::int32_t Message(void* context, const zel_message* message)
    {
        static_cast<STold*>(context)->message = message->text;
        return message->is_question != 0 ? std::int32_t{ZEL_ANSWER_YES} : std::int32_t{ZEL_ANSWER_OK};
    }
};

class CServer : public CApiFixture {
protected:
    void SetUp() override
    {
        CApiFixture::SetUp();
        m_pServer.reset();
        Choose(ZEL_SERVER_PROTOCOL);
    }
    void TearDown() override
    {
        EXPECT_ZEL_OK(zel_server_stop(m_told.server.exchange(nullptr), 1));
        CApiFixture::TearDown();
    }
    void Choose(std::int32_t kind)
    {
        EXPECT_ZEL_OK(zel_server_options_init(&m_chosen, sizeof m_chosen, kind));
        m_chosen.syncing = 0;
        m_chosen.context = &m_told;
        m_chosen.done = STold::Done;
        m_chosen.ended = STold::Ended;
        m_chosen.report = STold::Report;
        m_chosen.message = STold::Message;
    }
    [[nodiscard]] zel_code Start()
    {
        zel_server* started = nullptr;
        const zel_code code = zel_server_start(platform::ToUtf8(m_requestDir).c_str(),
                                               platform::ToUtf8(m_outputDir).c_str(), &m_chosen, &started);
        m_told.server = started;
        return code;
    }

    STold m_told;
    zel_server_options m_chosen{};
};

} // namespace

TEST_F(CServer, ItServesFromAThreadThatKnowsNothingOfComAndTellsWhatIsDone)
{
    std::thread([&] { EXPECT_ZEL_OK(Start()); }).join();
    SendText("a.drq");
    EXPECT_ZEL_OK(zel_wait(m_c, "a.drq", Patience(), nullptr, nullptr));
    EXPECT_TRUE(m_told.done.WaitFor(kPatience));
    EXPECT_EQ(m_told.stopped, ZEL_WRONG_TIME) << "a callback cannot stop the server";
    std::int32_t state = 0;
    EXPECT_ZEL_OK(zel_server_state(m_told.server, &state));
    EXPECT_EQ(state, ZEL_SERVER_RUNS);
    std::int32_t progress = 0;
    EXPECT_ZEL_OK(zel_server_makes_progress(m_told.server, &progress));
    zel_server* second = nullptr;
    EXPECT_EQ(zel_server_start("a", "b", nullptr, &second), ZEL_WRONG_TIME);
    zel_server* const stopped = m_told.server;
    EXPECT_ZEL_OK(zel_server_stop(m_told.server.exchange(nullptr), 0));
    EXPECT_EQ(zel_server_step(stopped), ZEL_BAD_ARGUMENT);
    EXPECT_ZEL_OK(Start()) << "the next one may come";
}

TEST_F(CServer, WhatLayThereBeforeIsServed)
{
    SendText("a.drq");
    EXPECT_ZEL_OK(Start());
    EXPECT_ZEL_OK(zel_wait(m_c, "a.drq", Patience(), nullptr, nullptr));
}

TEST_F(CServer, AQueueThatIsManualAdvancesByStepsAlone)
{
    m_chosen.manual = 1;
    EXPECT_ZEL_OK(Start());
    SendText("a.drq");
    ASSERT_TRUE(WaitUntil([&] { return platform::PathExists(In(In(m_outputDir, L"Queue"), L"a.drq")); }));
    EXPECT_EQ(StateOf("a.drq"), ZEL_STATE_WAITING);
    EXPECT_ZEL_OK(zel_server_step(m_told.server));
    EXPECT_ZEL_OK(zel_wait(m_c, "a.drq", Patience(), nullptr, nullptr));
    EXPECT_ZEL_OK(zel_server_set_manual(m_told.server, 0));
    SendText("b.drq");
    EXPECT_ZEL_OK(zel_wait(m_c, "b.drq", Patience(), nullptr, nullptr));
}

TEST_F(CServer, ReportsAndBoxesOfTheProcessGoToItsCallbacksAndOthersBackAfterIt)
{
    EXPECT_ZEL_OK(Start());
    WQ_ReportErrorNow(L"source", 7, L"function", L"r\u00e9port");
    EXPECT_EQ(m_told.report, "r\u00e9port");
    EXPECT_EQ(WQ_MessageBoxAuto(L"question", eMessageStyle_YesNo, eMessageAnswer_No, 0), eMessageAnswer_Yes);
    EXPECT_EQ(m_told.message, "question");
    EXPECT_ZEL_OK(zel_server_stop(m_told.server.exchange(nullptr), 0));
    WQ_ReportErrorNow(L"source", 7, L"function", L"later");
    EXPECT_EQ(m_told.report, "r\u00e9port");
    m_host.ExpectReport(7, L"later");
}

TEST_F(CServer, AStopDoesNotWaitForABoxOfTheHostThatWasThere)
{
    class CBoxes final : public CWQ_DefaultHost {
    public:
        CBoxes() : m_pPrevious(SetWQ_Host(this)) {}
        ~CBoxes() override { SetWQ_Host(m_pPrevious); }
        int AskMessage(const std::wstring& /*text*/, unsigned /*style*/, int answer, unsigned /*flags*/) override
        {
            m_bInTime = m_gate.Pass();
            return answer;
        }

        CGate m_gate;
        std::atomic<bool> m_bInTime = false;

    private:
        IWQ_Host* const m_pPrevious;
    };
    EXPECT_ZEL_OK(zel_client_close(std::exchange(m_c, nullptr)));
    CBoxes boxes;
    m_chosen.message = nullptr;
    EXPECT_ZEL_OK(Start());
    std::thread asks([] { WQ_MessageBoxAuto(L"question", eMessageStyle_YesNo, eMessageAnswer_No, 0); });
    EXPECT_TRUE(boxes.m_gate.WaitUntilEntered());
    EXPECT_ZEL_OK(zel_server_stop(m_told.server.exchange(nullptr), 0));
    boxes.m_gate.Open();
    asks.join();
    EXPECT_TRUE(boxes.m_bInTime) << "it stayed open while the server was stopped";
}

TEST_F(CServer, ItDrainsWhenToldToAndSaysSo)
{
    EXPECT_ZEL_OK(Start());
    EXPECT_EQ(zel_server_drain(m_told.server, 0), ZEL_REFUSED) << "it takes no such commands";
    EXPECT_ZEL_OK(zel_server_stop(m_told.server.exchange(nullptr), 0));
    Choose(ZEL_SERVER_USUAL);
    m_chosen.syncing = 0;
    EXPECT_ZEL_OK(Start());
    EXPECT_ZEL_OK(zel_server_drain(m_told.server, Patience()));
    EXPECT_TRUE(m_told.ended.WaitFor(kPatience));
    EXPECT_EQ(m_told.how, ZEL_SERVER_DRAINED);
}

TEST_F(CServer, ADrainWithoutEndEndsWithTheServer)
{
    Choose(ZEL_SERVER_USUAL);
    m_chosen.manual = 1;
    m_chosen.resume = 0; // what waits holds the drain up
    EXPECT_ZEL_OK(Start());
    SendText("a.drq");
    ASSERT_TRUE(WaitUntil([&] { return platform::PathExists(In(In(m_outputDir, L"Queue"), L"a.drq")); }));
    const std::wstring folder = In(m_outputDir, ZelProtocol::kServerDirectory);
    static_cast<void>(platform::Files().MakeDirectory(folder));
    zel_code drained = ZEL_OK;
    std::thread drains([&drained, server = m_told.server.load()] { drained = zel_server_drain(server, ZEL_FOREVER); });
    EXPECT_TRUE(WaitUntil([&] { return platform::PathExists(In(folder, ZelProtocol::kDrainingFile)); }));
    EXPECT_ZEL_OK(zel_server_stop(m_told.server.exchange(nullptr), 1));
    drains.join();
    EXPECT_EQ(drained, ZEL_STOPPED);
    EXPECT_FALSE(m_told.ended.IsSet());
}

TEST_F(CServer, AStartThatRunsOutOfMemoryLeavesNoCallbacksBehind)
{
    class CNoMemory final : public platform::IThreads {
        bool Start(std::function<void()> /*body*/, std::thread& /*thread*/) override { throw std::bad_alloc(); }
    };
    {
        CNoMemory threads;
        const platform::CScopedOs os(nullptr, nullptr, &threads);
        EXPECT_EQ(Start(), ZEL_NO_MEMORY);
    }
    EXPECT_EQ(m_told.server, nullptr);
    WQ_ReportErrorNow(L"source", 7, L"function", L"later");
    EXPECT_EQ(m_told.report, "");
    m_host.ExpectReport(7, L"later");
    EXPECT_ZEL_OK(Start());
}

TEST_F(CServer, AStopThatCancelsEndsWhatRuns)
{
    CGate gate;
    m_script.obtainData = [&](CZelProcessorContext* context, auto*) {
        return gate.Pass() && WaitUntil([&] { return context->IsCanceled(); });
    };
    EXPECT_ZEL_OK(Start());
    SendText("a.drq");
    ASSERT_TRUE(gate.WaitUntilEntered());
    gate.Open();
    EXPECT_ZEL_OK(zel_server_stop(m_told.server.exchange(nullptr), 1));
}

TEST_F(CServer, ChangesAreToldToListeners)
{
    Choose(ZEL_SERVER_USUAL);
    EXPECT_ZEL_OK(Start());
    zel_listener* listener = nullptr;
    EXPECT_ZEL_OK(zel_listen(m_c, &listener));
    EXPECT_ZEL_OK(zel_server_tell_lock_results(m_told.server));
    CGiven<zel_changes> changes;
    EXPECT_ZEL_OK(zel_listener_wait(listener, Patience(), nullptr, changes.Put()));
    EXPECT_EQ(changes->lock_results, 1);
    m_host.AcceptWarnings(); // the status of the command may be open here while the server writes its end
    EXPECT_ZEL_OK(zel_listener_close(listener));
}

TEST_F(CServer, WithoutPluginsOrDirectoriesItDoesNotStart)
{
    m_chosen.slots = 65;
    EXPECT_EQ(Start(), ZEL_BAD_ARGUMENT);
    m_chosen.slots = 1;
    m_chosen.grace_ms = -1;
    EXPECT_EQ(Start(), ZEL_BAD_ARGUMENT);
    m_chosen.grace_ms = 0;
    auto* server = reinterpret_cast<zel_server*>(this);
    EXPECT_EQ(zel_server_start("/nowhere/1", "/nowhere/2", &m_chosen, &server), ZEL_FILE_ERROR);
    EXPECT_EQ(server, nullptr);
    m_host.AcceptWarnings(); // which plug-ins are left out
    CScriptedPlugin::SetInstalled(false);
    EXPECT_EQ(Start(), ZEL_NO_PLUGIN);
    CScriptedPlugin::SetInstalled(true);
    EXPECT_ZEL_OK(Start()) << "a start that failed leaves nothing behind";
}
