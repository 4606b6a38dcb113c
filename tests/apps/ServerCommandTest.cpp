#include "platform/Os.h"
#include "platform/Path.h"
#include "platform/StandardPath.h"
#include "platform/Text.h"
#include "tests/apps/ProgramFixture.h"

#include <algorithm>
#include <chrono>
#include <filesystem>

namespace {

class ServerCommandTest : public CProgramTest {
protected:
    [[nodiscard]] nlohmann::json Report(int code) const
    {
        const SProgramResult result = Zel({L"server", L"--json"});
        EXPECT_EQ(result.code, code) << result.errors;
        const std::vector<nlohmann::json> objects = result.Objects();
        return objects.empty() ? nlohmann::json() : objects.front();
    }
    static void Kill(CRunningProgram& server)
    {
        server.Process().Kill();
        static_cast<void>(server.Finish());
    }
};

/// The plug-in with this type of task.
nlohmann::json PluginWith(const nlohmann::json& report, const std::string& type)
{
    for (const nlohmann::json& plugin : report.at("plugins")) {
        const nlohmann::json& types = plugin.at("types");
        if (std::find(types.begin(), types.end(), type) != types.end())
            return plugin;
    }
    return {};
}

TEST_F(ServerCommandTest, AServerThatShowsNoLifeIsNotHealthy)
{
    CRunningProgram server = StartServer();
    EXPECT_EQ(Report(0).at("healthy"), true);
    // As one that was stopped leaves it; this one shows life every ten seconds, so that once may not be enough.
    const std::filesystem::path shown = platform::StandardPath(InOutput(L".zel-server/process"));
    SProgramResult result;
    ASSERT_TRUE(WaitUntil([&] {
        std::filesystem::last_write_time(shown,
                                         std::filesystem::file_time_type::clock::now() - std::chrono::minutes(5));
        result = Zel({L"server", L"--json"});
        return result.code == 1;
    })) << result.output;
    ASSERT_EQ(result.Objects().size(), 1U);
    const nlohmann::json report = result.Objects().front();
    EXPECT_EQ(report.at("alive"), true);
    EXPECT_EQ(report.at("healthy"), false);
    ASSERT_EQ(report.at("wrong").size(), 1U);
    EXPECT_TRUE(report.at("wrong")[0].get<std::string>().starts_with("the server has shown no life for 5 min"))
        << report.at("wrong");
    StopServer(server);
}

TEST_F(ServerCommandTest, AServerThatLivesTellsWhatItIs)
{
    CRunningProgram server = StartServer({L"--keep", L"3"});
    const nlohmann::json report = Report(0);
    EXPECT_EQ(report.at("alive"), true);
    EXPECT_EQ(report.at("presence"), "serves");
    EXPECT_EQ(report.at("process"), server.Process().Id());
    EXPECT_EQ(report.at("version"), ZEL_VERSION);
    EXPECT_TRUE(report.at("started").is_string());
    EXPECT_TRUE(report.at("ended").is_null());
    EXPECT_EQ(report.at("clients"), 0);
    EXPECT_EQ(report.at("wrong"), nlohmann::json::array());
    const nlohmann::json& options = report.at("options");
    const auto keep = std::find(options.begin(), options.end(), "--keep");
    ASSERT_NE(keep, options.end());
    EXPECT_EQ(*(keep + 1), "3");
    EXPECT_TRUE(Contains(PluginWith(report, "Echo").at("module").get<std::string>(), "zel_testtasks"));
    for (const char* directory : {"requestDir", "outputDir"})
        EXPECT_GT(report.at(directory).at("total").get<std::uint64_t>(), 0U);
    const SProgramResult text = Zel({L"server"});
    EXPECT_EQ(text.code, 0);
    for (const std::string& part :
         {std::to_string(server.Process().Id()), std::string("Echo"), std::string("--keep 3")})
        EXPECT_TRUE(Contains(text.output, part)) << text.output;
    StopServer(server);
}

TEST_F(ServerCommandTest, WhatWaitsIsPausedAndRunsIsCounted)
{
    CRunningProgram server = StartServer();
    ASSERT_EQ(Zel({L"send", MakeGate(L"g.drq")}).code, 0);
    ASSERT_TRUE(WaitUntilAtGate(L"g.drq"));
    for (const wchar_t* name : {L"a.drq", L"b.drq", L"p.drq"})
        ASSERT_EQ(Zel({L"send", MakeEcho(name, L"x")}).code, 0);
    ASSERT_EQ(Zel({L"pause", L"p.drq"}).code, 0);
    ASSERT_TRUE(WaitUntil([&] { return FilesIn(InOutput(L"Queue")).size() == 4; }));
    const nlohmann::json report = Report(0);
    EXPECT_EQ(report.at("waiting"), 2);
    EXPECT_EQ(report.at("paused"), 1);
    ASSERT_EQ(report.at("running").size(), 1U);
    EXPECT_EQ(report.at("running")[0].at("name"), "g.drq");
    EXPECT_GE(report.at("running")[0].at("age"), 0);
    EXPECT_TRUE(Contains(Zel({L"server"}).output, "g.drq: "));
    Write(Gate(L"g.drq"), "");
    EXPECT_EQ(Zel({L"wait", L"a.drq", L"b.drq"}).code, 0);
    StopServer(server);
}

TEST_F(ServerCommandTest, NoServerIsCode1AndSaysSinceWhen)
{
    EXPECT_EQ(Report(1).at("presence"), "none") << "there never was one";
    {
        CRunningProgram server = StartServer();
        StopServer(server);
    }
    nlohmann::json report = Report(1);
    EXPECT_EQ(report.at("alive"), false);
    EXPECT_EQ(report.at("stopped"), true);
    EXPECT_TRUE(report.at("ended").is_string());
    {
        CRunningProgram server = StartServer();
        Kill(server);
    }
    report = Report(1);
    EXPECT_EQ(report.at("presence"), "none");
    EXPECT_EQ(report.at("stopped"), false);
    EXPECT_TRUE(report.at("ended").is_string());
    EXPECT_TRUE(Contains(Zel({L"server"}).output, "no server serves '"));
}

TEST_F(ServerCommandTest, AServerThatWasKilledIsNamedAsWrongAndOneThatStoppedIsNot)
{
    for (const bool isKilled : {false, true}) {
        CRunningProgram server = StartServer();
        EXPECT_EQ(Report(0).at("wrong"), nlohmann::json::array());
        if (isKilled)
            Kill(server);
        else
            StopServer(server);
        const nlohmann::json wrong = Report(1).at("wrong");
        ASSERT_EQ(wrong.size(), isKilled ? 1U : 0U);
        const std::string told = "the last server ended without saying so; it was seen alive last 2";
        EXPECT_TRUE(!isKilled || Contains(wrong[0], told)) << wrong;
        EXPECT_EQ(Contains(Zel({L"server"}).output, "wrong: " + told), isKilled);
    }
}

TEST_F(ServerCommandTest, WhatNobodyHasTakenIsCounted)
{
    EXPECT_FALSE(Contains(Zel({L"server"}).output, "not taken yet"));
    for (const wchar_t* name : {L"a.drq", L"b.XML", L"c.command", L"notes.txt"})
        Write(InRequests(name), "x");
    ASSERT_EQ(platform::Files().MakeDirectory(InRequests(L"d.drq")), platform::eOsError_None);
    const nlohmann::json report = Report(1);
    EXPECT_EQ(report.at("untaken"), 2);
    EXPECT_EQ(report.at("waiting"), 0);
    EXPECT_TRUE(Contains(Zel({L"server"}).output, "in the request directory, not taken yet: 2\n"));
}

TEST_F(ServerCommandTest, ADirectoryThatIsMissingIsNamedAsWrong)
{
    const std::wstring missing = m_root / L"missing";
    const std::string quoted = "'" + platform::ToUtf8(missing) + "' does not exist";
    CRunningProgram server = StartServer();
    for (const bool isOutput : {false, true}) {
        const SProgramResult result =
            Zel({L"server", L"--json", isOutput ? L"--output-dir" : L"--request-dir", missing});
        EXPECT_EQ(result.code, 1);
        EXPECT_EQ(result.errors, "");
        ASSERT_EQ(result.Objects().size(), 1U);
        const nlohmann::json report = result.Objects().front();
        EXPECT_EQ(report.at("alive"), !isOutput);
        EXPECT_EQ(report.at("healthy"), false);
        const std::string directory = isOutput ? "the output directory " : "the request directory ";
        const nlohmann::json& wrong = report.at("wrong");
        EXPECT_NE(std::find(wrong.begin(), wrong.end(), directory + quoted), wrong.end()) << wrong;
    }
    EXPECT_EQ(Zel({L"status", L"a.drq", L"--output-dir", missing}).output, "") << "others end before they look";
    StopServer(server);
}

TEST_F(ServerCommandTest, AStrictServerLivesAndTellsNothing)
{
    {
        CRunningProgram server = StartServer(); // what it published is not the next one's
        StopServer(server);
    }
    CRunningProgram server = StartServer({L"--strict"});
    const nlohmann::json report = Report(0);
    EXPECT_EQ(report.at("process"), server.Process().Id());
    EXPECT_EQ(report.at("plugins"), nlohmann::json::array());
    EXPECT_TRUE(report.at("started").is_null());
    StopServer(server);
}

TEST_F(ServerCommandTest, AServerOfAnotherRequestDirectoryIsWrong)
{
    CRunningProgram server = StartServer();
    const std::wstring other = m_root / L"other";
    ASSERT_EQ(platform::Files().MakeDirectory(other), platform::eOsError_None);
    const SProgramResult result = Zel({L"server", L"--request-dir", other});
    EXPECT_EQ(result.code, 1);
    EXPECT_TRUE(Contains(result.output, "wrong: the server takes requests from '" + platform::ToUtf8(m_strRequests)))
        << result.output;
    StopServer(server);
}

TEST_F(ServerCommandTest, APluginThatWasLeftOutIsNamedWithTheReason)
{
    Write(InHome(L"bad.component"), "no manifest");
    CRunningProgram server = StartServer({L"--components", m_strHome});
    const nlohmann::json report = Report(0);
    ASSERT_EQ(report.at("leftOut").size(), 1U);
    EXPECT_TRUE(Contains(report.at("leftOut")[0], "bad.component"));
    ASSERT_EQ(report.at("wrong").size(), 1U);
    EXPECT_TRUE(Contains(report.at("wrong")[0], "left out: ")) << "and nothing hinders the server";
    EXPECT_EQ(report.at("healthy"), true);
    StopServer(server);
}

} // namespace
