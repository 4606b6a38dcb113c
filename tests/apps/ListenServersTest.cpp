#include "platform/Os.h"
#include "tests/apps/ListenFixture.h"

#include <algorithm>
#include <chrono>

namespace {

/// Listeners whose servers go, come, or are not there at all.
class ListenServersTest : public CListenTest {};

TEST_F(ListenServersTest, AServerThatIsGoneEndsTheListenerWithAMessage)
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

TEST_F(ListenServersTest, ANewServerIsListenedToAndEverythingMayHaveChanged)
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

TEST_F(ListenServersTest, ARegistrationThatIsGoneAndCannotBeMadeAgainEndsTheListenerWithAMessage)
{
    CRunningProgram server = StartServer();
    CRunningProgram listener = Listen({L"--server-timeout", L"2"});
    KillAndHide(server);
    RemoveRegistrations();
    const SProgramResult result = listener.Finish();
    EXPECT_EQ(result.code, 4);
    EXPECT_TRUE(Contains(result.errors, "the registration is gone")) << result.errors;
}

TEST_F(ListenServersTest, AServerThatDoesNotAnswerIsWaitedForAsForACommand)
{
    MakeQueueOfAnotherHost();
    const SProgramResult result = Zel({L"listen", L"--server-timeout", L"0.3"});
    EXPECT_EQ(result.code, 4);
    EXPECT_TRUE(Contains(result.errors, "the server did not answer")) << result.errors;
    EXPECT_FALSE(Contains(result.errors, "listening\n")) << result.errors;
}

TEST_F(ListenServersTest, WithoutAServerItSaysSoAtOnceAndEndsWithCode4AfterItsTime)
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

TEST_F(ListenServersTest, AServerThatComesIsListenedTo)
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

TEST_F(ListenServersTest, AStopEndsTheWaitForAServer)
{
    CRunningProgram listener = StartZel({L"listen", L"--server-timeout", L"3600"});
    ASSERT_TRUE(listener.WaitForErrors(kNoServer)) << listener.Errors();
    listener.Process().RequestStop();
    const SProgramResult result = listener.Finish();
    EXPECT_EQ(result.code, 130);
    EXPECT_TRUE(Contains(result.errors, "interrupted before there was a server")) << result.errors;
}

TEST_F(ListenServersTest, AServerThatGoesIsToldAndEndsTheListenerWhenNoneComesInTime)
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

TEST_F(ListenServersTest, AStopWithoutAServerLeavesNothingForTheNext)
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

TEST_F(ListenServersTest, EachServerThatComesBackGivesTheNextOneAllTheTime)
{
    CRunningProgram server = StartServer();
    CRunningProgram listener = Listen({L"--json", L"--server-timeout", L"10"});
    const auto start = platform::SystemClock().Steady();
    // Three times without one, each shorter than the time that is given; together they are longer.
    for (int round = 1; round <= 3; ++round) {
        StopServer(server);
        RemoveRegistrations();
        ASSERT_TRUE(WaitUntil([&] { return CountIn(listener.Errors(), kNoServer) == round; })) << listener.Errors();
        ASSERT_TRUE(WaitUntil(
            [&] { return platform::SystemClock().Steady() - start > std::chrono::milliseconds(3500) * round; }));
        server = StartServer();
        EXPECT_EQ(Next(listener), (nlohmann::json{{"event", "items"}, {"kind", "reload"}}));
        EXPECT_EQ(CountIn(listener.Errors(), "a server serves '"), round) << listener.Errors();
    }
    EXPECT_GT(platform::SystemClock().Steady() - start, std::chrono::seconds(10));
    End(listener);
    EXPECT_EQ(Registrations(), 0U);
    StopServer(server);
}

TEST_F(ListenServersTest, AStopEndsTheWaitForTheRegistration)
{
    MakeQueueOfAnotherHost();
    CRunningProgram listener = StartZel({L"listen", L"--server-timeout", L"3600"});
    ASSERT_TRUE(WaitUntil([&] { return !FilesIn(m_strRequests).empty(); }));
    listener.Process().RequestStop();
    const SProgramResult result = listener.Finish();
    EXPECT_EQ(result.code, 130);
    EXPECT_TRUE(Contains(result.errors, "interrupted; nothing is registered")) << result.errors;
    EXPECT_EQ(FilesIn(m_strRequests), std::vector<std::wstring>()) << "what nobody took is withdrawn";
}

} // namespace
