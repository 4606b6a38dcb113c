#include "platform/Os.h"
#include "platform/Text.h"
#include "tests/apps/ProgramFixture.h"

#include <algorithm>

namespace {

/// In which order a server runs what waits.
class ServerOrderTest : public CProgramTest {
protected:
    /// Sends an echo, and waits until the server has it in its queue.
    void Send(const std::wstring& name, const std::string& attributes)
    {
        Write(InHome(name), "<Request " + attributes + "><Task Type=\"Echo\"><Text>x</Text></Task></Request>");
        ASSERT_EQ(Zel({L"send", InHome(name)}).code, 0);
        ASSERT_TRUE(WaitUntil([&] { return platform::PathExists(InQueue(name)); }));
        m_names.push_back(name);
    }
    /// Ends the server when all of them have run; the result is their order, as its log tells it.
    std::vector<std::wstring> Order(CRunningProgram& server)
    {
        for (const std::wstring& name : m_names)
            EXPECT_EQ(Zel({L"wait", name}).code, 0) << platform::ToUtf8(name);
        StopServer(server);
        const std::string log = server.Errors();
        std::ranges::sort(m_names, {}, [&](const std::wstring& name) {
            const std::size_t place = log.find("{" + platform::ToUtf8(name) + "} Started");
            EXPECT_NE(place, std::string::npos) << platform::ToUtf8(name) << "\n" << log;
            return place;
        });
        return m_names;
    }
    /// Lets a server stand at a gate while requests are sent.
    std::vector<std::wstring> OrderBehindAGate(const std::vector<std::wstring>& options,
                                               const std::vector<std::pair<std::wstring, std::string>>& requests)
    {
        CRunningProgram server = StartServer(options);
        EXPECT_EQ(Zel({L"send", MakeGate(L"g.drq")}).code, 0);
        EXPECT_TRUE(WaitUntilAtGate(L"g.drq"));
        for (const auto& [name, attributes] : requests)
            Send(name, attributes);
        // Its file lies there before it is in the list, but behind all others.
        Send(L"last.drq", "Priority='-100'");
        Write(Gate(L"g.drq"), "");
        return Order(server);
    }

private:
    std::vector<std::wstring> m_names;
};

TEST_F(ServerOrderTest, TheMoreUrgentRequestIsTheNextToRun)
{
    const std::vector<std::wstring> expected = {L"urgent.drq", L"a.drq", L"b.drq", L"late.drq", L"last.drq"};
    EXPECT_EQ(OrderBehindAGate({}, {{L"late.drq", "Priority='-1'"},
                                    {L"a.drq", ""},
                                    {L"b.drq", "Priority='what?'"},
                                    {L"urgent.drq", "Priority='10'"}}),
              expected);
}

TEST_F(ServerOrderTest, WithFairClientsASingleRequestWaitsForOneOfABatch)
{
    const std::vector<std::wstring> expected = {L"1.drq", L"person.drq", L"2.drq", L"3.drq", L"last.drq"};
    EXPECT_EQ(OrderBehindAGate({L"--fair"}, {{L"1.drq", "Client='batch'"},
                                             {L"2.drq", "Client='batch'"},
                                             {L"3.drq", "Client='batch'"},
                                             {L"person.drq", "Client='person'"}}),
              expected);
}

TEST_F(ServerOrderTest, WhoIsNotFairServesFirstWhoCameFirst)
{
    const std::vector<std::wstring> expected = {L"1.drq", L"2.drq", L"person.drq", L"last.drq"};
    EXPECT_EQ(OrderBehindAGate(
                  {}, {{L"1.drq", "Client='batch'"}, {L"2.drq", "Client='batch'"}, {L"person.drq", "Client='person'"}}),
              expected);
}

TEST_F(ServerOrderTest, BeforeItsTimeARequestWaitsOverARestartAsWell)
{
    const std::string century = "NotBefore='2126-01-01T00:00:00Z'";
    {
        CRunningProgram first = StartServer({L"--resume"});
        EXPECT_EQ(Zel({L"send", MakeGate(L"g.drq")}).code, 0);
        ASSERT_TRUE(WaitUntilAtGate(L"g.drq"));
        Write(InHome(L"later.drq"), "<Request " + century + "><Task Type=\"Echo\"/></Request>");
        ASSERT_EQ(Zel({L"send", InHome(L"later.drq")}).code, 0);
        Send(L"a.drq", "NotBefore='1999-12-31T23:59:59+01:00'");
        Send(L"b.drq", "NotBefore='tomorrow'");
        Write(Gate(L"g.drq"), "");
        EXPECT_EQ(Order(first), (std::vector<std::wstring>{L"a.drq", L"b.drq"}));
    }
    CRunningProgram second = StartServer({L"--resume"});
    ASSERT_EQ(Zel({L"send", MakeEcho(L"c.drq", L"x")}).code, 0);
    EXPECT_EQ(Zel({L"wait", L"c.drq"}).code, 0);
    EXPECT_TRUE(platform::PathExists(InQueue(L"later.drq")));
    const std::vector<nlohmann::json> listed = Zel({L"list", L"--json"}).Objects();
    ASSERT_FALSE(listed.empty());
    const auto later = std::ranges::find(listed, "later.drq", [](const auto& object) { return object["name"]; });
    ASSERT_NE(later, listed.end());
    EXPECT_TRUE((*later)["position"].is_null());
    EXPECT_EQ(Zel({L"pause", L"later.drq"}).code, 0);
    EXPECT_EQ(Zel({L"resume", L"later.drq"}).code, 0);
    EXPECT_EQ(Zel({L"cancel", L"later.drq"}).output, "later.drq: Canceled\n") << "it did not run";
    StopServer(second);
    EXPECT_FALSE(Contains(second.Errors(), "{later.drq} Started"));
}

TEST_F(ServerOrderTest, ARequestIsAsUrgentAfterARestart)
{
    {
        CRunningProgram first = StartServer({L"--resume", L"--no-executive"});
        Send(L"a.drq", "");
        Send(L"urgent.drq", "Priority='10'");
        StopServer(first);
    }
    CRunningProgram second = StartServer({L"--resume"});
    EXPECT_EQ(Order(second), (std::vector<std::wstring>{L"urgent.drq", L"a.drq"}));
}

} // namespace
