#include "tests/face/FaceFixture.h"

namespace {

class FaceServerInfo : public CFaceFixture {
protected:
    static SZelServerInfo Published(std::int64_t ended = 0)
    {
        SZelServerInfo info;
        info.process = 7;
        info.started = 1'700'000'000;
        info.ended = ended;
        info.version = L"1.2";
        info.options = {L"--private"};
        info.leftOut = {L"\x20AC told by the host"};
        return info;
    }
    static std::chrono::system_clock::time_point Time(std::int64_t seconds)
    {
        return std::chrono::system_clock::time_point(std::chrono::seconds(seconds));
    }
};

} // namespace

TEST_F(FaceServerInfo, AServerIsToldWithWhatItPublished)
{
    const auto claim = Claim(Published());
    Write(ServersOwn(ZelProtocol::kClaimProcessFile), "7");
    const zel::ServerInfo server = m_face->serverInfo();
    EXPECT_EQ(server.presence, zel::ServerPresence::serves);
    EXPECT_EQ(server.process, 7U);
    EXPECT_EQ(server.started, Time(1'700'000'000));
    EXPECT_FALSE(server.ended.has_value());
    EXPECT_FALSE(server.hasStopped);
    EXPECT_EQ(server.version, "1.2");
    EXPECT_EQ(server.requests, PathOf(m_requestDir));
    EXPECT_EQ(server.options, std::vector<std::string>{"--private"});
    ASSERT_FALSE(server.leftOut.empty());
    EXPECT_EQ(server.leftOut.front(), "\xE2\x82\xAC told by the host");
    const std::vector<SZelServerPlugin> plugins = m_client.GetServerInfo().plugins;
    ASSERT_EQ(server.plugins.size(), plugins.size());
    for (std::size_t index = 0; index < plugins.size(); ++index) {
        EXPECT_EQ(server.plugins[index].name, platform::ToUtf8(plugins[index].name));
        EXPECT_EQ(server.plugins[index].module, PathOf(plugins[index].module));
        EXPECT_EQ(server.plugins[index].taskTypes.size(), plugins[index].taskTypes.size());
    }
}

TEST_F(FaceServerInfo, TheQueueIsToldByWhatWaitsIsPausedAndRuns)
{
    Make({.syncing = false, .pausedStatus = true});
    CGate gate;
    m_script.obtainData = [&](auto*, auto*) { return gate.Pass(); };
    Run();
    const zel::Request running = Sent("a.drq");
    ASSERT_TRUE(gate.WaitUntilEntered());
    std::vector<zel::Request> others;
    for (const char* const name : {"b.drq", "c.drq", "d.drq"})
        others.push_back(Sent(name));
    ASSERT_TRUE(WaitUntil([&] { return Access().QueuedNames().size() == 3; }));
    EXPECT_OK(others[0].pause());
    const zel::ServerInfo server = m_face->serverInfo();
    EXPECT_EQ(server.waiting, 2U);
    EXPECT_EQ(server.paused, 1U);
    EXPECT_EQ(server.running, std::vector<std::string>{"a.drq"});
    EXPECT_OK(others[0].resume());
    gate.Open();
    EXPECT_OK(zel::waitAll(others, kPatience));
    const zel::ServerInfo idle = m_face->serverInfo();
    EXPECT_TRUE(idle.waiting == 0 && idle.paused == 0 && idle.running.empty());
}

TEST_F(FaceServerInfo, WithoutAServerItIsToldSinceWhen)
{
    {
        const auto claim = Claim(Published(1'700'000'100));
    }
    const zel::ServerInfo server = m_face->serverInfo();
    EXPECT_EQ(server.presence, zel::ServerPresence::none);
    EXPECT_TRUE(server.hasStopped);
    EXPECT_EQ(server.ended, Time(1'700'000'100));
    zel::Options options = Options();
    options.output = PathOf(In(m_clientDir, L"nowhere"));
    const zel::ServerInfo nothing = zel::Client(options).serverInfo();
    EXPECT_EQ(nothing.presence, zel::ServerPresence::none);
    EXPECT_FALSE(nothing.started.has_value() || nothing.ended.has_value());
    EXPECT_EQ(nothing.version, "");
}

TEST_F(FaceServerInfo, ABrokenFileOfTheServersTellsNothingButThatItServes)
{
    const auto claim = Claim(Published());
    const std::string whole = Read(ServersOwn(ZelProtocol::kServerInfoFile));
    for (const std::string& broken :
         {std::string(), whole.substr(0, whole.size() / 2), "x" + whole, std::string(4096, '\xFF')}) {
        Write(ServersOwn(ZelProtocol::kServerInfoFile), broken);
        const zel::ServerInfo server = m_face->serverInfo();
        EXPECT_EQ(server.presence, zel::ServerPresence::serves);
        EXPECT_EQ(server.version, "");
        EXPECT_TRUE(server.options.empty() && server.plugins.empty() && server.leftOut.empty());
        EXPECT_FALSE(server.started.has_value());
    }
    EXPECT_TRUE(m_host.TakeReports().empty());
}
