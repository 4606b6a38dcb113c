#include "platform/Os.h"
#include "platform/Text.h"
#include "tests/apps/ListenFixture.h"

#include <algorithm>

namespace {

class ListenCommandTest : public CListenTest {};

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
