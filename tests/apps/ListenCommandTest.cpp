#include "platform/Os.h"
#include "platform/Text.h"
#include "tests/apps/ProgramFixture.h"

#include <algorithm>

namespace {

constexpr const char* kSource = "{00000000-0000-0000-0000-000000000001}";
constexpr const char* kGroup = "{11111111-2222-3333-4444-555555555555}";

class ListenCommandTest : public CProgramTest {
protected:
    /// A listener that is registered when this returns.
    [[nodiscard]] CRunningProgram Listen(const std::vector<std::wstring>& options = {L"--json"}) const
    {
        std::vector<std::wstring> arguments = {L"listen"};
        arguments.insert(arguments.end(), options.begin(), options.end());
        CRunningProgram listener = StartZel(arguments);
        EXPECT_TRUE(listener.WaitForErrors("listening")) << listener.Errors();
        return listener;
    }

    /// Lets the plug-in tell changes.
    void Fire(const std::wstring& attributes)
    {
        const std::wstring name = L"fire-" + std::to_wstring(++m_nFired) + L".drq";
        const SProgramResult result =
            Zel({L"send", MakeRequest(name, L"Type=\"FireEvents\" " + attributes), L"--wait"});
        ASSERT_EQ(result.code, 0) << result.errors;
    }

    [[nodiscard]] static nlohmann::json Next(CRunningProgram& listener)
    {
        std::wstring line;
        EXPECT_TRUE(listener.Process().ReadLine(line, kPatience)) << listener.Errors();
        return nlohmann::json::parse(platform::ToUtf8(line), nullptr, false);
    }

    static void End(CRunningProgram& listener)
    {
        listener.Process().RequestStop();
        const SProgramResult result = listener.Finish();
        EXPECT_EQ(result.code, 0) << result.errors;
        EXPECT_EQ(result.output, "");
    }

    [[nodiscard]] std::size_t Registrations() const
    {
        std::size_t count = 0;
        for (const std::wstring& name : FilesIn(m_strOutput))
            count += name.starts_with(L"DsEvents_") && !name.ends_with(L".lock") ? 1U : 0U;
        return count;
    }

    /// Of all clients, without the locks that come and go.
    [[nodiscard]] std::size_t FilesOfClients() const
    {
        std::size_t count = 0;
        for (const std::wstring& name : FilesIn(m_strOutput)) {
            const bool isPresence = name.starts_with(L"Presence_");
            count += isPresence || (name.ends_with(L"}") && !name.starts_with(L"{")) ? 1U : 0U;
        }
        return count;
    }

    void RemoveRegistrations() const
    {
        for (const std::wstring& name : FilesIn(m_strOutput)) {
            if (name.starts_with(L"DsEvents_")) {
                EXPECT_EQ(platform::Files().Remove(InOutput(name)), platform::eOsError_None);
            }
        }
    }

    /// As if a host of its own had been there, of which nobody can tell whether it still is.
    void KillAndHide(CRunningProgram& server) const
    {
        server.Process().Kill();
        static_cast<void>(server.Finish());
        for (const std::wstring& name : FilesIn(InOutput(L".zel-server")))
            static_cast<void>(platform::Files().Remove(InOutput(L".zel-server/" + name)));
    }

    /// One that makes no claim: nobody can tell whether it is there.
    void MakeQueueOfAnotherHost() const
    {
        ASSERT_EQ(platform::Files().MakeDirectory(InOutput(L"Queue")), platform::eOsError_None);
    }

    [[nodiscard]] static int CountIn(const std::string& text, const std::string& part)
    {
        int count = 0;
        for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1))
            ++count;
        return count;
    }

    static constexpr const char* kNoServer = "zel: no server serves '";
    static constexpr const char* kNoneCame = "no server came in time (--server-timeout), so nothing can be heard";

    int m_nFired = 0;
};

TEST_F(ListenCommandTest, AllListenersHearOfEveryKindOfChange)
{
    CRunningProgram server = StartServer();
    CRunningProgram first = Listen();
    CRunningProgram second = Listen();
    EXPECT_EQ(Registrations(), 2U);
    Fire(L"Added=\"1 2\" Changed=\"3\" Columns=\"0\" Removed=\"4\" Groups=\"" + platform::FromUtf8(kGroup) +
         L"\" LockResults=\"1\"");
    for (CRunningProgram* listener : {&first, &second}) {
        // The three lie in three files: their order is not promised.
        std::vector<nlohmann::json> heard = {Next(*listener), Next(*listener), Next(*listener)};
        std::ranges::sort(heard, {}, [](const nlohmann::json& line) { return line["event"].get<std::string>(); });
        EXPECT_EQ(heard[0], (nlohmann::json{{"event", "groups"}, {"groups", {kGroup}}}));
        EXPECT_EQ(heard[1], (nlohmann::json{{"event", "items"},
                                            {"kind", "items"},
                                            {"added", {{kSource, {1, 2}}}},
                                            {"changed", {{kSource, {3}}}},
                                            {"columns", {{kSource, {0}}}},
                                            {"removed", {{kSource, {4}}}},
                                            {"sources", {kGroup}}}));
        EXPECT_EQ(heard[2], (nlohmann::json{{"event", "lock-results"}}));
    }
    End(first);
    End(second);
    EXPECT_EQ(Registrations(), 0U);
    StopServer(server);
}

TEST_F(ListenCommandTest, EveryChangeComesOnceAndInOrder)
{
    constexpr int kChanges = 40;
    CRunningProgram server = StartServer();
    CRunningProgram listener = Listen();
    Fire(L"Added=\"1\" Times=\"" + std::to_wstring(kChanges) + L"\"");
    std::vector<int> heard;
    std::vector<int> expected;
    for (int number = 1; number <= kChanges; ++number)
        expected.push_back(number);
    while (heard.size() < expected.size()) {
        // A change that met the listener reading comes by itself.
        const nlohmann::json event = Next(listener);
        ASSERT_TRUE(event.contains("added")) << event;
        heard.push_back(event["added"][kSource][0]);
    }
    EXPECT_EQ(heard, expected);
    listener.Process().RequestStop();
    EXPECT_EQ(listener.Finish().code, 0);
    StopServer(server);
}

TEST_F(ListenCommandTest, ANullGroupMeansThatAllMayHaveChanged)
{
    CRunningProgram server = StartServer();
    CRunningProgram listener = Listen();
    Fire(L"Times=\"1\" Groups=\"everything\"");
    nlohmann::json line = Next(listener);
    if (line["event"] == "items")
        line = Next(listener);
    EXPECT_EQ(line, (nlohmann::json{{"event", "groups"}, {"groups", nullptr}}));
    listener.Process().RequestStop();
    EXPECT_EQ(listener.Finish().code, 0);
    StopServer(server);
}

TEST_F(ListenCommandTest, WithoutJsonThereAreLinesForPeople)
{
    CRunningProgram server = StartServer();
    CRunningProgram listener = Listen({});
    Fire(L"Added=\"1 2\"");
    std::wstring line;
    ASSERT_TRUE(listener.Process().ReadLine(line, kPatience));
    EXPECT_EQ(platform::ToUtf8(line), std::string("items: items; added ") + kSource + " 1 2");
    Fire(L"Times=\"0\" LockResults=\"1\"");
    ASSERT_TRUE(listener.Process().ReadLine(line, kPatience));
    EXPECT_EQ(platform::ToUtf8(line), "lock-results");
    End(listener);
    StopServer(server);
}

TEST_F(ListenCommandTest, AKilledListenerDisturbsNobody)
{
    CRunningProgram server = StartServer();
    CRunningProgram killed = Listen();
    CRunningProgram listener = Listen();
    killed.Process().Kill();
    static_cast<void>(killed.Finish());
    Fire(L"Removed=\"7\"");
    EXPECT_EQ(Next(listener)["removed"][kSource], nlohmann::json{7});
    End(listener);
    StopServer(server);
}

TEST_F(ListenCommandTest, AKilledListenersFilesGo)
{
    CRunningProgram server = StartServer({L"--log-level", L"debug"});
    CRunningProgram killed = Listen();
    ASSERT_TRUE(server.WaitForErrors("keeps a file of its presence")) << server.Errors();
    CRunningProgram listener = Listen();
    Fire(L"Added=\"1\" LockResults=\"1\"");
    EXPECT_EQ(FilesOfClients(), 8U) << "events, groups, lock results and presence of both";
    killed.Process().Kill();
    static_cast<void>(killed.Finish());
    Fire(L"Removed=\"8\"");
    const auto start = platform::SystemClock().Steady();
    EXPECT_TRUE(WaitUntil([&] { return FilesOfClients() == 4U; }));
    EXPECT_LT(platform::SystemClock().Steady() - start, std::chrono::seconds(6)) << "a second, on a busy machine";
    listener.Process().RequestStop();
    EXPECT_EQ(listener.Finish().code, 0);
    EXPECT_EQ(Registrations(), 0U);
    EXPECT_EQ(FilesOfClients(), 0U) << "groups and lock results are left by the server";
    StopServer(server);
}

TEST_F(ListenCommandTest, AStrictServerKeepsTheFilesOfAKilledListener)
{
    CRunningProgram server = StartServer({L"--strict"});
    CRunningProgram killed = Listen();
    CRunningProgram listener = Listen();
    killed.Process().Kill();
    static_cast<void>(killed.Finish());
    for (int change = 0; change < 3; ++change)
        Fire(L"Removed=\"8\"");
    EXPECT_EQ(Registrations(), 2U);
    listener.Process().RequestStop();
    EXPECT_EQ(listener.Finish().code, 0);
    StopServer(server);
}

TEST_F(ListenCommandTest, AServerThatIsGoneEndsTheListenerWithAMessage)
{
    CRunningProgram server = StartServer();
    CRunningProgram listener = Listen({L"--server-timeout", L"3"});
    KillAndHide(server);
    const auto start = platform::SystemClock().Steady();
    listener.Process().RequestStop();
    const SProgramResult result = listener.Finish();
    EXPECT_EQ(result.code, 4);
    EXPECT_TRUE(Contains(result.errors, "the registration stays until its next start")) << result.errors;
    // One command's three seconds, not two commands' six.
    EXPECT_LT(platform::SystemClock().Steady() - start, std::chrono::milliseconds(5900));
}

TEST_F(ListenCommandTest, ANewServerIsListenedToAndEverythingMayHaveChanged)
{
    CRunningProgram server = StartServer();
    CRunningProgram listener = Listen();
    StopServer(server);
    CRunningProgram next = StartServer();
    EXPECT_EQ(Next(listener), (nlohmann::json{{"event", "items"}, {"kind", "reload"}}));
    Fire(L"Removed=\"7\"");
    EXPECT_EQ(Next(listener)["removed"][kSource], nlohmann::json{7});
    End(listener);
    EXPECT_EQ(Registrations(), 0U);
    StopServer(next);
}

TEST_F(ListenCommandTest, ARegistrationThatIsGoneAndCannotBeMadeAgainEndsTheListenerWithAMessage)
{
    CRunningProgram server = StartServer();
    CRunningProgram listener = Listen({L"--server-timeout", L"2"});
    KillAndHide(server);
    RemoveRegistrations();
    const SProgramResult result = listener.Finish();
    EXPECT_EQ(result.code, 4);
    EXPECT_TRUE(Contains(result.errors, "the registration is gone")) << result.errors;
}

TEST_F(ListenCommandTest, AServerThatDoesNotAnswerIsWaitedForAsForACommand)
{
    MakeQueueOfAnotherHost();
    const SProgramResult result = Zel({L"listen", L"--server-timeout", L"0.3"});
    EXPECT_EQ(result.code, 4);
    EXPECT_TRUE(Contains(result.errors, "the server did not answer")) << result.errors;
    EXPECT_FALSE(Contains(result.errors, "listening\n")) << result.errors;
}

TEST_F(ListenCommandTest, WithoutAServerItSaysSoAtOnceAndEndsWithCode4AfterItsTime)
{
    const auto start = platform::SystemClock().Steady();
    const SProgramResult result = Zel({L"listen", L"--server-timeout", L"1"});
    EXPECT_GE(platform::SystemClock().Steady() - start, std::chrono::seconds(1));
    EXPECT_EQ(result.code, 4);
    const std::size_t noServer = result.errors.find(kNoServer);
    ASSERT_NE(noServer, std::string::npos) << result.errors;
    EXPECT_EQ(result.errors.rfind(kNoServer), noServer) << "once";
    EXPECT_GT(result.errors.find(kNoneCame), noServer) << result.errors;
    EXPECT_FALSE(Contains(result.errors, "listening\n")) << result.errors;
    EXPECT_EQ(FilesIn(m_strRequests), std::vector<std::wstring>()) << "nobody was asked";
}

TEST_F(ListenCommandTest, AServerThatComesIsListenedTo)
{
    CRunningProgram listener = StartZel({L"listen", L"--json", L"--server-timeout", L"0"});
    ASSERT_TRUE(listener.WaitForErrors(kNoServer)) << listener.Errors();
    CRunningProgram server = StartServer();
    ASSERT_TRUE(listener.WaitForErrors("listening")) << listener.Errors();
    Fire(L"Removed=\"7\"");
    EXPECT_EQ(Next(listener)["removed"][kSource], nlohmann::json{7});
    End(listener);
    StopServer(server);
}

TEST_F(ListenCommandTest, AStopEndsTheWaitForAServer)
{
    CRunningProgram listener = StartZel({L"listen", L"--server-timeout", L"3600"});
    ASSERT_TRUE(listener.WaitForErrors(kNoServer)) << listener.Errors();
    listener.Process().RequestStop();
    const SProgramResult result = listener.Finish();
    EXPECT_EQ(result.code, 130);
    EXPECT_TRUE(Contains(result.errors, "interrupted before there was a server")) << result.errors;
}

TEST_F(ListenCommandTest, AServerThatGoesIsToldAndEndsTheListenerWhenNoneComesInTime)
{
    CRunningProgram server = StartServer();
    CRunningProgram listener = Listen({L"--server-timeout", L"1"});
    server.Process().Kill();
    static_cast<void>(server.Finish());
    const SProgramResult result = listener.Finish();
    EXPECT_EQ(result.code, 4);
    EXPECT_TRUE(Contains(result.errors, kNoServer)) << result.errors;
    EXPECT_TRUE(Contains(result.errors, kNoneCame)) << result.errors;
    EXPECT_EQ(std::ranges::count(result.errors, '\n'), 3) << "no more than these, after \"listening\"\n"
                                                          << result.errors;
    EXPECT_EQ(FilesOfClients(), 0U);
    EXPECT_EQ(FilesIn(m_strRequests), std::vector<std::wstring>());
}

TEST_F(ListenCommandTest, AStopWithoutAServerLeavesNothingForTheNext)
{
    for (const bool resumes : {false, true}) {
        const std::vector<std::wstring> options =
            resumes ? std::vector<std::wstring>{L"--resume"} : std::vector<std::wstring>();
        CRunningProgram server = StartServer(options);
        CRunningProgram listener = Listen();
        server.Process().Kill();
        static_cast<void>(server.Finish());
        End(listener);
        EXPECT_EQ(FilesOfClients(), 0U);
        CRunningProgram next = StartServer(options);
        Fire(L"Removed=\"7\"");
        EXPECT_EQ(FilesOfClients(), 0U) << "nobody is registered";
        StopServer(next);
    }
    EXPECT_EQ(FilesIn(m_strRequests), std::vector<std::wstring>());
}

TEST_F(ListenCommandTest, EachServerThatComesBackGivesTheNextOneAllTheTime)
{
    CRunningProgram server = StartServer();
    CRunningProgram listener = Listen({L"--json", L"--server-timeout", L"6"});
    const auto start = platform::SystemClock().Steady();
    // Three times without one, each shorter than the time that is given; together they are longer.
    for (int round = 1; round <= 3; ++round) {
        StopServer(server);
        RemoveRegistrations();
        ASSERT_TRUE(WaitUntil([&] { return CountIn(listener.Errors(), kNoServer) == round; })) << listener.Errors();
        ASSERT_TRUE(WaitUntil(
            [&] { return platform::SystemClock().Steady() - start > std::chrono::milliseconds(2300) * round; }));
        server = StartServer();
        EXPECT_EQ(Next(listener), (nlohmann::json{{"event", "items"}, {"kind", "reload"}}));
        EXPECT_EQ(CountIn(listener.Errors(), "a server serves '"), round) << listener.Errors();
    }
    EXPECT_GT(platform::SystemClock().Steady() - start, std::chrono::seconds(6));
    End(listener);
    EXPECT_EQ(Registrations(), 0U);
    StopServer(server);
}

TEST_F(ListenCommandTest, AStopEndsTheWaitForTheRegistration)
{
    MakeQueueOfAnotherHost();
    CRunningProgram listener = StartZel({L"listen", L"--server-timeout", L"3600"});
    ASSERT_TRUE(WaitUntil([&] { return !FilesIn(m_strRequests).empty(); }));
    listener.Process().RequestStop();
    const SProgramResult result = listener.Finish();
    EXPECT_EQ(result.code, 130);
    EXPECT_TRUE(Contains(result.errors, "interrupted; the server may still register this listener")) << result.errors;
    EXPECT_EQ(FilesIn(m_strRequests), std::vector<std::wstring>()) << "what nobody took is withdrawn";
}

TEST_F(ListenCommandTest, WhenNobodyListensTheProjectIsMarkedForItsNextOpening)
{
    const std::wstring project = InOutput(L".zel-server/project");
    CRunningProgram server = StartServer();
    const std::string fresh = Read(project);
    Fire(L"Added=\"1\" Kind=\"0\"");
    EXPECT_EQ(Read(project), fresh) << "this kind of change needs no update";
    Fire(L"Added=\"1\" Kind=\"2\"");
    const std::string marked = Read(project);
    EXPECT_GT(marked.size(), fresh.size());
    StopServer(server);
    CRunningProgram next = StartServer();
    EXPECT_EQ(Read(project), marked) << "the project outlives a restart";
    StopServer(next);
}

} // namespace
