#include "platform/Os.h"
#include "platform/Text.h"
#include "tests/apps/ProgramFixture.h"
#include "tests/plugins/SampleDatabase.h"

#include <algorithm>

namespace {

/// Of the table `birds` of the data source `box`, as its page gives it.
constexpr const char* kBirds = "{E0AD7F5C-8A63-5FD2-AAD7-8A76408CB890}";

/// The server with the data store itself, and a database that another program edits.
class DataStoreTest : public CProgramTest {
protected:
    void SetUp() override
    {
        m_data.Make(L"box", "CREATE TABLE birds(id INTEGER PRIMARY KEY, name TEXT, size REAL);"
                            "INSERT INTO birds VALUES(3, 'owl', 40.5), (7, 'wren', 9.5)");
    }
    /// A server that has read all data sources, so that changes are told row by row: one that came after the start is
    /// told, and the others were read before it or with it.
    [[nodiscard]] CRunningProgram StartWatching() const
    {
        CRunningProgram server = StartServer();
        CRunningProgram listener = Listen();
        m_data.Make(L"started", "CREATE TABLE t(x)");
        for (int line = 0; line < 2; ++line) // of the palette and of the sources
            EXPECT_FALSE(Next(listener).is_discarded());
        End(listener);
        return server;
    }
    [[nodiscard]] CRunningProgram Listen() const
    {
        CRunningProgram listener = StartZel({L"listen", L"--json"});
        EXPECT_TRUE(listener.WaitForErrors("listening")) << listener.Errors();
        return listener;
    }
    void Edit(const std::string& sql) const { plugintest::CConnection(m_data.PathOf(L"box")).Execute(sql); }
    static nlohmann::json Next(CRunningProgram& listener)
    {
        std::wstring line;
        EXPECT_TRUE(listener.Process().ReadLine(line, kPatience)) << listener.Errors();
        return nlohmann::json::parse(platform::ToUtf8(line), nullptr, false);
    }
    static void End(CRunningProgram& listener)
    {
        listener.Process().RequestStop();
        EXPECT_EQ(listener.Finish().code, 0);
    }

    plugintest::CDataFolder m_data; ///< before the server, which inherits where it is
};

TEST_F(DataStoreTest, WhatAnotherProgramCommitsIsToldToEveryListener)
{
    CRunningProgram server = StartWatching();
    CRunningProgram first = Listen();
    CRunningProgram second = Listen();
    Edit("BEGIN; INSERT INTO birds VALUES(8, 'kite', 60); UPDATE birds SET size = 10 WHERE id = 7;"
         "DELETE FROM birds WHERE id = 3; COMMIT");
    for (CRunningProgram* listener : {&first, &second})
        EXPECT_EQ(Next(*listener), (nlohmann::json{{"event", "items"},
                                                   {"kind", "items"},
                                                   {"added", {{kBirds, {8}}}},
                                                   {"changed", {{kBirds, {7}}}},
                                                   {"removed", {{kBirds, {3}}}}}));
    End(first);
    End(second);
    StopServer(server);
}

TEST_F(DataStoreTest, ANewTableIsAChangeOfThePaletteAndALockOneOfTheLockResults)
{
    CRunningProgram server = StartWatching();
    CRunningProgram listener = Listen();
    Edit("CREATE TABLE nests(id INTEGER PRIMARY KEY)");
    // They lie in two files: their order is not promised.
    std::vector<nlohmann::json> heard = {Next(listener), Next(listener)};
    std::ranges::sort(heard, {}, [](const nlohmann::json& line) { return line["event"].get<std::string>(); });
    EXPECT_EQ(heard[0]["event"], "groups");
    EXPECT_EQ(heard[1]["kind"], "sources");
    EXPECT_EQ(heard[0]["groups"], heard[1]["sources"]) << "each table is a group";
    EXPECT_EQ(heard[0]["groups"].size(), 1U);
    Edit("CREATE TABLE zel_locks(item INTEGER)");
    EXPECT_EQ(Next(listener), (nlohmann::json{{"event", "lock-results"}}));
    End(listener);
    StopServer(server);
}

TEST_F(DataStoreTest, PropertiesAreAskedForByIdByNameAndOfTheFirst)
{
    CRunningProgram server = StartServer();
    const auto ask = [&](const std::vector<std::wstring>& item) {
        std::vector<std::wstring> arguments = {L"properties", L"box/birds"};
        arguments.insert(arguments.end(), item.begin(), item.end());
        arguments.push_back(L"size");
        const SProgramResult result = Zel(arguments);
        EXPECT_EQ(result.code, 0) << result.errors;
        return result.output;
    };
    EXPECT_EQ(ask({L"--id", L"7"}), "9.5\n");
    EXPECT_EQ(ask({L"--name", L"owl"}), "40.5\n");
    EXPECT_EQ(ask({L"--first"}), "40.5\n");
    const SProgramResult missing = Zel({L"properties", L"box/birds", L"--id", L"8", L"size"});
    EXPECT_EQ(missing.code, 3);
    EXPECT_TRUE(Contains(missing.errors, "table \"birds\" has no row with the id 8")) << missing.errors;
    StopServer(server);
}

TEST_F(DataStoreTest, ALongQueryEndsWhenItsTimeIsOver)
{
    CRunningProgram server = StartServer({L"--query-time-limit", L"0.2"});
    const std::wstring request = InHome(L"long.drq");
    Write(request, plugintest::QueryRequest("box", "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n)"
                                                   " SELECT max(i) FROM n"));
    ASSERT_EQ(Zel({L"send", request}).code, 0);
    EXPECT_TRUE(server.WaitForErrors("the request takes longer than the server allows (0.2 s, --query-time-limit)"))
        << server.Errors();
    EXPECT_NE(Zel({L"wait", L"long.drq"}).code, 0);
    StopServer(server);
}

TEST_F(DataStoreTest, ALongQueryIsCancelledWhileItRuns)
{
    CRunningProgram server = StartServer();
    const std::wstring request = InHome(L"long.drq");
    Write(request, plugintest::QueryRequest("box", "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n)"
                                                   " SELECT max(i) FROM n"));
    ASSERT_EQ(Zel({L"send", request}).code, 0);
    ASSERT_TRUE(WaitUntil([&] { return Zel({L"status", L"long.drq", L"--json"}).Objects().at(0)["status"] == 9; }));
    const SProgramResult cancel = Zel({L"cancel", L"long.drq"});
    EXPECT_EQ(cancel.code, 0) << cancel.errors;
    EXPECT_EQ(cancel.output, "long.drq: Canceled\n");
    StopServer(server);
}

} // namespace
