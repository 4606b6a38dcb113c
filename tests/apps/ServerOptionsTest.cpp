#include "platform/Os.h"
#include "platform/Path.h"
#include "platform/Text.h"
#include "tests/apps/ProgramFixture.h"

#include <CLI/Version.hpp>
#include <algorithm>
#include <boost/version.hpp>
#include <map>
#include <nlohmann/json.hpp>
#include <set>
#include <sqlite3.h>
#include <sstream>

namespace {

class ServerOptionsTest : public CProgramTest {};

TEST_F(ServerOptionsTest, HelpTellsOptionsExitCodesAndWhatIsDeleted)
{
    const SProgramResult result = ServerResult({L"--help"});
    EXPECT_EQ(result.code, 0);
    EXPECT_EQ(result.errors, "");
    for (const char* word : {"--request-dir",      "--output-dir",   "--create-dirs",
                             "--components",       "--manual",       "--no-executive",
                             "--no-sync",          "--strict",       "--events-limit",
                             "--max-queued",       "--max-clients",  "--private",
                             "--query-time-limit", "--xml-limit",    "--log-level",
                             "--log-file",         "--log-size",     "--log-json",
                             "--service",          "--adopt",        "--version",
                             "ZEL_COMPONENT_PATH", "Exit codes",     "DELETES",
                             "--resume",           "--interrupted",  "--attempts",
                             "--no-presence",      "--poll",         "--patience",
                             "--stop-timeout",     "--check",        "--busy-warning",
                             "--one-list",         "--keep",         "--fair",
                             "--time-limit",       "--grace",        "--config",
                             "--check-config",     "--slots",        "--isolate",
                             "--recycle",          "--memory-limit", "--nice",
                             "--recycle-memory",   "--sandbox",      "--allow-network"})
        EXPECT_TRUE(Contains(result.output, word)) << word << "\n" << result.output;
}

TEST_F(ServerOptionsTest, VersionIsOneLine)
{
    const SProgramResult result = ServerResult({L"--version"});
    EXPECT_EQ(result.code, 0);
    EXPECT_EQ(result.output, "zel-server " ZEL_VERSION "\n");
}

TEST_F(ServerOptionsTest, VersionAsJsonListsWhatOthersWrote)
{
    const SProgramResult result = ServerResult({L"--version", L"--json"});
    EXPECT_EQ(result.code, 0);
    const auto versions = nlohmann::json::parse(result.output);
    EXPECT_EQ(versions.at("program"), "zel-server");
    EXPECT_EQ(versions.at("version"), ZEL_VERSION);
    EXPECT_FALSE(versions.at("compiler").get<std::string>().empty());
    std::map<std::string, std::string> parts;
    for (const auto& part : versions.at("thirdParty")) {
        parts[part.at("name")] = part.at("version");
        EXPECT_FALSE(part.at("use").get<std::string>().empty());
    }
    EXPECT_EQ(parts["JSON for Modern C++"], nlohmann::json::meta().at("version").at("string"));
    EXPECT_EQ(parts["CLI11"], CLI11_VERSION);
    EXPECT_EQ(parts["Boost"], std::to_string(BOOST_VERSION / 100000) + "." +
                                  std::to_string(BOOST_VERSION / 100 % 1000) + "." +
                                  std::to_string(BOOST_VERSION % 100));
    EXPECT_EQ(parts["SQLite"], SQLITE_VERSION);
    for (const char* name : {"fmt", "spdlog", "xxHash", "GCC runtime"})
        EXPECT_TRUE(std::count(parts[name].begin(), parts[name].end(), '.') >= 1) << name << ": " << parts[name];
    // Either order; and it means nothing alone.
    EXPECT_EQ(ServerResult({L"--json", L"--version"}).output, result.output);
    EXPECT_EQ(ServerResult({L"--json"}).code, 2);
}

TEST_F(ServerOptionsTest, MistakesEndWithCode2)
{
    const std::vector<std::pair<std::vector<std::wstring>, std::string>> mistakes = {
        {{}, "--request-dir"},
        {{L"--request-dir", m_strRequests}, "--output-dir"},
        {{L"--request-dir", L"", L"--output-dir", m_strOutput}, "--request-dir"},
        {{L"--request-dir", m_strRequests, L"--output-dir", m_strOutput, L"--bogus"}, "--bogus"},
        {{L"--request-dir", m_strRequests, L"--output-dir", m_strOutput, L"surplus"}, "surplus"},
        {{L"--request-dir", m_strRequests, L"--output-dir", m_strOutput, L"--log-level", L"loud"}, "loud"},
        {{L"--request-dir", m_strRequests, L"--output-dir", m_strOutput, L"--service", L"begin"}, "begin"},
        {{L"--request-dir", m_strRequests, L"--output-dir", m_strOutput, L"--log-size", L"5"}, "--log-file"},
        {{L"--request-dir", m_strRequests, L"--output-dir", m_strOutput, L"--log-file", L"l", L"--log-size", L"0"},
         "--log-size"},
        {{L"--request-dir", m_strRequests, L"--output-dir", m_strOutput, L"--events-limit", L"256"}, "--events-limit"},
        {{L"--request-dir", m_strRequests, L"--output-dir", m_strOutput, L"--xml-limit", L"width=5"},
         "'width' is none of bytes, depth, attributes"},
        {{L"--request-dir", m_strRequests, L"--output-dir", m_strOutput, L"--xml-limit", L"depth"}, "from 1 to 2000"},
        {{L"--request-dir", m_strRequests, L"--output-dir", m_strOutput, L"--xml-limit", L"depth=2001"},
         "from 1 to 2000"},
        {{L"--request-dir", m_strRequests, L"--output-dir", m_strOutput, L"--query-time-limit", L"0.0001"},
         "--query-time-limit: must be a number from 0 to 1000000000 with at most three places behind the point"},
        {{L"--request-dir", m_strRequests, L"--output-dir", m_strOutput, L"--slots", L"0"},
         "--slots: must be a whole number from 1 to 64, or auto"},
        {{L"--request-dir", m_strRequests, L"--output-dir", m_strOutput, L"--slots", L"4x"}, "--slots: must be"},
        {{L"--request-dir", m_strRequests, L"--output-dir", m_strOutput, L"--slots", L"65"}, "--slots: must be"},
        {{L"--request-dir", m_strRequests, L"--output-dir", m_strOutput, L"--interrupted", L"again"},
         "'again' is none of rerun, fail"},
        {{L"--request-dir", m_strRequests, L"--output-dir", m_strOutput, L"--poll", L"3600001"}, "--poll"},
        {{L"--service", L"install", L"--output-dir", m_strOutput}, "--request-dir"},
        {{L"--service", L"install", L"--request-dir", m_strRequests, L"--output-dir", m_strOutput}, "--log-file"},
        {{L"--service", L"run", L"--request-dir", m_strRequests, L"--output-dir", m_strOutput, L"--log-file", L"l",
          L"--manual"},
         "--manual"},
    };
    for (const auto& [arguments, text] : mistakes) {
        const SProgramResult result = ServerResult(arguments);
        EXPECT_EQ(result.code, 2) << result.errors;
        EXPECT_EQ(result.output, "");
        EXPECT_TRUE(result.errors.starts_with("zel-server: ")) << result.errors;
        EXPECT_TRUE(Contains(result.errors, text)) << result.errors;
    }
}

TEST_F(ServerOptionsTest, ARequestBeyondALimitIsRefusedWithItsName)
{
    CRunningProgram server = StartServer({L"--xml-limit", L"bytes=2000", L"--xml-limit", L"attributes=3"});
    const SProgramResult tooLong = Zel({L"send", MakeEcho(L"long.drq", std::wstring(2000, L'x')), L"--wait"});
    EXPECT_NE(tooLong.code, 0);
    EXPECT_TRUE(Contains(tooLong.errors + tooLong.output,
                         "The document is longer than 2000 bytes (zel-server --xml-limit bytes=NUMBER)"))
        << tooLong.errors << tooLong.output;
    const SProgramResult tooWide =
        Zel({L"send", MakeRequest(L"wide.drq", L"Type='Echo' Text='x' a='' b=''"), L"--wait"});
    EXPECT_NE(tooWide.code, 0);
    EXPECT_TRUE(Contains(tooWide.errors + tooWide.output, "An element has more than 3 attributes")) << tooWide.errors;
    EXPECT_EQ(Zel({L"send", MakeEcho(L"good.drq", L"x"), L"--wait"}).code, 0) << "the next one is served";
    StopServer(server);
}

TEST_F(ServerOptionsTest, ADocumentTypeInARequestIsRefused)
{
    CRunningProgram server = StartServer();
    Write(InHome(L"secret.txt"), "secret");
    Write(InHome(L"type.drq"), "<!DOCTYPE Request [<!ENTITY e SYSTEM 'file:///" +
                                   platform::ToUtf8(InHome(L"secret.txt")) +
                                   "'>]><Request><Task Type='Echo' Text='x'/>&e;</Request>");
    const SProgramResult result = Zel({L"send", InHome(L"type.drq"), L"--wait"});
    EXPECT_NE(result.code, 0);
    EXPECT_TRUE(Contains(result.errors + result.output, "A document type is not accepted")) << result.errors;
    StopServer(server);
}

TEST_F(ServerOptionsTest, LogFileTakesTheLog)
{
    const std::wstring file = m_root / L"server.log";
    CRunningProgram server = StartServer({L"--log-file", file, L"--log-level", L"debug"});
    EXPECT_EQ(Zel({L"send", MakeEcho(L"a.drq", L"x"), L"--wait"}).code, 0);
    StopServer(server);
    EXPECT_EQ(server.Errors(), "");
    EXPECT_TRUE(Contains(Read(file), "CZelProcessorServer::Listen() started")) << Read(file);
    EXPECT_TRUE(Contains(Read(file), "a.drq")) << Read(file);
}

TEST_F(ServerOptionsTest, AFullLogFileIsSetAside)
{
    const std::wstring file = m_root / L"server.log";
    ASSERT_TRUE(platform::Succeeded(platform::WriteWholeFile(file, std::string(1U << 20U, 'x'))));
    CRunningProgram server = StartServer({L"--log-file", file, L"--log-size", L"1", L"--log-level", L"debug"});
    StopServer(server);
    EXPECT_TRUE(Contains(Read(file), "CZelProcessorServer::Listen() started")) << Read(file);
    EXPECT_EQ(Read(file + L".1").size(), 1U << 20U);
}

TEST_F(ServerOptionsTest, JsonLogIsOneObjectPerLineAndNothingElse)
{
    CRunningProgram server = StartServer({L"--log-json", L"--log-level", L"debug", L"--components", m_root / L"none"});
    EXPECT_EQ(Zel({L"send", MakeEcho(L"a.drq", L"x"), L"--wait"}).code, 0);
    StopServer(server);
    std::set<std::string> texts;
    std::set<std::string> requests;
    std::istringstream lines(server.Errors());
    for (std::string line; std::getline(lines, line);) {
        const nlohmann::json object = nlohmann::json::parse(line, nullptr, false);
        ASSERT_TRUE(object.is_object()) << line;
        texts.insert(object["text"]);
        requests.insert(object["request"].is_null() ? "" : object["request"].get<std::string>());
        if (object["text"] == "CZelProcessorServer::Listen() started") {
            EXPECT_EQ(object["level"], "debug");
            EXPECT_EQ(object["logger"], "ZelProcessor");
            EXPECT_TRUE(Contains(object["function"], "::Listen()")) << line;
        }
    }
    EXPECT_TRUE(texts.contains("CZelProcessorServer::Listen() started")) << server.Errors();
    EXPECT_EQ(requests, (std::set<std::string>{"", "a.drq"})) << server.Errors();
    EXPECT_TRUE(std::ranges::any_of(texts, [](const std::string& text) { return Contains(text, "left out: "); }));
}

TEST_F(ServerOptionsTest, LogLevelHidesWhatIsLess)
{
    CRunningProgram server = StartServer({L"--log-level", L"error"});
    EXPECT_EQ(Zel({L"send", MakeEcho(L"a.drq", L"x"), L"--wait"}).code, 0);
    StopServer(server);
    EXPECT_EQ(server.Errors(), "");
}

TEST_F(ServerOptionsTest, ALogFileThatAStartWouldDeleteIsAMistake)
{
    ASSERT_EQ(platform::Files().MakeDirectory(InOutput(L"Queue")), platform::eOsError_None);
    const std::wstring roundabout = platform::JoinPath(platform::JoinPath(m_strRequests, L".."), L"output");
    for (const std::wstring& folder : {m_strOutput, InOutput(L"Queue"), roundabout}) {
        std::vector<std::wstring> arguments = DirectoryArguments();
        arguments.insert(arguments.end(), {L"--log-file", platform::JoinPath(folder, L"server.log")});
        const SProgramResult result = ServerResult(arguments);
        EXPECT_EQ(result.code, 2);
        EXPECT_TRUE(Contains(result.errors, "server.log' lies in the output directory")) << result.errors;
        EXPECT_FALSE(platform::PathExists(platform::JoinPath(folder, L"server.log")));
    }
}

TEST_F(ServerOptionsTest, ALogFileInAFolderOfTheOutputDirectoryStays)
{
    ASSERT_EQ(platform::Files().MakeDirectory(InOutput(L"logs")), platform::eOsError_None);
    for (int start = 1; start <= 2; ++start) {
        CRunningProgram server = StartServer({L"--log-file", InOutput(L"logs/server.log"), L"--log-level", L"debug"});
        StopServer(server);
    }
    const std::string log = Read(InOutput(L"logs/server.log"));
    const std::string started = "CZelProcessorServer::Listen() started";
    EXPECT_NE(log.find(started), log.rfind(started)) << log;
}

TEST_F(ServerOptionsTest, LogFileThatCannotBeOpenedEndsTheStart)
{
    std::vector<std::wstring> arguments = DirectoryArguments();
    arguments.insert(arguments.end(), {L"--log-file", InHome(L"no/folder/server.log")});
    const SProgramResult result = ServerResult(arguments);
    EXPECT_EQ(result.code, 1);
    EXPECT_TRUE(Contains(result.errors, "server.log")) << result.errors;
}

} // namespace
