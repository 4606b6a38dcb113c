#include "tests/apps/ProgramFixture.h"

namespace {

using StatsCommandTest = CProgramTest;

TEST_F(StatsCommandTest, ItTellsWhatWasCounted)
{
    EXPECT_EQ(Zel({L"stats"}).code, 1);
    CRunningProgram server = StartServer();
    EXPECT_EQ(Zel({L"send", MakeEcho(L"a.drq", L"x"), L"--wait"}).code, 0);
    ASSERT_TRUE(WaitUntil([&] { return Contains(Zel({L"stats"}).output, "type Echo: 1 done, 0 failed"); }))
        << Zel({L"stats"}).output << Zel({L"stats"}).errors;
    EXPECT_EQ(Zel({L"stats", L"--json"}).Objects().at(0)["totals"]["done"], 1);
    StopServer(server);
    EXPECT_TRUE(Contains(Zel({L"stats"}).output, "no server serves")) << Zel({L"stats"}).output;
}

TEST_F(StatsCommandTest, ItTrustsNoFile)
{
    CRunningProgram server = StartServer();
    StopServer(server);
    const std::wstring path = InOutput(L".zel-server/figures.json");
    for (const std::string& text : {std::string(), std::string("{"), std::string("[]"), std::string("{\"version\":2}"),
                                    std::string(100'000, '['), std::string(2'000'000, ' ')}) {
        Write(path, text);
        EXPECT_EQ(Zel({L"stats"}).code, 1) << text.substr(0, 20);
    }
    Write(path, R"({"version":1,"totals":[1],"types":5,"series":{"a":1},"running":"x","server":{"since":-1}})");
    EXPECT_EQ(Zel({L"stats"}).code, 0) << Zel({L"stats"}).errors;
}

} // namespace
