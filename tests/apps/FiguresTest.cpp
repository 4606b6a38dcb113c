#include "platform/Os.h"
#include "platform/Path.h"
#include "tests/apps/ProgramFixture.h"
#include "tests/support/Links.h"

#include <string_view>

namespace {

/// Servers that show what they do.
class FiguresTest : public CProgramTest {
protected:
    [[nodiscard]] std::wstring Page(const wchar_t* name) const { return m_root / (std::wstring(L"page/") + name); }
    [[nodiscard]] nlohmann::json Data() const
    {
        constexpr std::string_view kBegin = "zelData(";
        constexpr std::string_view kEnd = ");\n";
        std::string text;
        static_cast<void>(
            platform::ReadWholeFile(Page(L"data.js"), platform::eOpenMode_ReadShared, text, std::size_t{1} << 20U));
        if (!text.starts_with(kBegin) || !text.ends_with(kEnd))
            return {};
        return nlohmann::json::parse(text.substr(kBegin.size(), text.size() - kBegin.size() - kEnd.size()));
    }
    [[nodiscard]] std::string Metrics() const
    {
        std::string text;
        static_cast<void>(
            platform::ReadWholeFile(m_root / L"zel.prom", platform::eOpenMode_ReadShared, text, std::size_t{1} << 20U));
        return text;
    }
};

TEST_F(FiguresTest, ThePageTellsWhatRunsWhatFailedAndThatTheServerHasEnded)
{
    CRunningProgram server = StartServer({L"--page", m_root / L"page"});
    EXPECT_TRUE(Contains(Read(Page(L"index.html")), "data.js"));
    ASSERT_EQ(Zel({L"send", MakeGate(L"a.drq")}).code, 0);
    ASSERT_TRUE(WaitUntilAtGate(L"a.drq"));
    ASSERT_EQ(Zel({L"send", MakeEcho(L"b.drq", L"x")}).code, 0);
    ASSERT_TRUE(WaitUntil([&] {
        const nlohmann::json data = Data();
        return data.is_object() && data["running"].size() == 1 && data["waiting"]["count"] == 1;
    }));
    EXPECT_EQ(Data()["running"][0]["name"], "a.drq");
    EXPECT_EQ(Data()["waiting"]["first"][0]["name"], "b.drq");
    Write(Gate(L"a.drq"), "");
    EXPECT_EQ(Zel({L"wait", L"b.drq"}).code, 0);
    EXPECT_NE(Zel({L"send", MakeRequest(L"c.drq", L"Type=\"NoSuchTask\""), L"--wait"}).code, 0);
    ASSERT_TRUE(WaitUntil([&] { return Data()["failed"].size() == 1; }));
    EXPECT_EQ(Data()["failed"][0]["name"], "c.drq");
    EXPECT_FALSE(Data()["failed"][0]["reason"].get<std::string>().empty());
    EXPECT_EQ(Data()["ended"], false);
    StopServer(server);
    EXPECT_EQ(Data()["ended"], true);
    EXPECT_EQ(Data()["totals"]["done"], 2);
}

TEST_F(FiguresTest, MetricsArePrometheusText)
{
    CRunningProgram server = StartServer({L"--metrics", m_root / L"zel.prom"});
    EXPECT_EQ(Zel({L"send", MakeEcho(L"a.drq", L"x"), L"--wait"}).code, 0);
    EXPECT_TRUE(WaitUntil([&] { return Contains(Metrics(), "type=\"Echo\",outcome=\"done\"} 1\n"); })) << Metrics();
    StopServer(server);
    EXPECT_TRUE(Contains(Metrics(), "\nzel_server_up{")) << Metrics();
    EXPECT_FALSE(platform::PathExists(m_root / L"zel.prom.new"));
}

TEST_F(FiguresTest, AStrictServerKeepsNoFigures)
{
    CRunningProgram server = StartServer({L"--strict"});
    EXPECT_EQ(Zel({L"send", MakeEcho(L"a.drq", L"x"), L"--wait"}).code, 0);
    StopServer(server);
    EXPECT_FALSE(platform::PathExists(InOutput(L".zel-server/figures.json")));
}

TEST_F(FiguresTest, WhereTheyCannotBeIsToldAtTheStart)
{
    const auto start = [&](const std::vector<std::wstring>& extra) {
        std::vector<std::wstring> arguments = DirectoryArguments();
        arguments.insert(arguments.end(), {L"--components", TestPlugins()});
        arguments.insert(arguments.end(), extra.begin(), extra.end());
        return ServerResult(arguments);
    };
    const std::wstring nowhere = m_root / L"missing/zel.prom";
    for (const SProgramResult& result : {start({L"--metrics", nowhere}), start({L"--metrics", nowhere, L"--check"})}) {
        EXPECT_EQ(result.code, 1);
        EXPECT_TRUE(Contains(result.errors, "there is no folder")) << result.errors;
    }
    Write(m_root / L"file", "");
    for (const SProgramResult& result :
         {start({L"--page", m_root / L"file"}), start({L"--page", m_root / L"file", L"--check"})}) {
        EXPECT_EQ(result.code, 1);
        EXPECT_TRUE(Contains(result.errors, "the page cannot be written")) << result.errors;
    }
    for (const SProgramResult& result :
         {start({L"--page", m_strOutput}), start({L"--metrics", InOutput(L"zel.prom")})}) {
        EXPECT_EQ(result.code, 2);
        EXPECT_TRUE(Contains(result.errors, "whose files are deleted at each start")) << result.errors;
    }
}

TEST_F(FiguresTest, ALinkInTheirPlaceIsReplacedAndNotFollowed)
{
    Write(m_root / L"victim", "mine");
    for (const wchar_t* name : {L"zel.prom", L"zel.prom.new"}) {
        if (!testsupport::MakeLink(m_root / L"victim", m_root / name))
            GTEST_SKIP() << "no links can be made here";
    }
    CRunningProgram server = StartServer({L"--metrics", m_root / L"zel.prom"});
    EXPECT_TRUE(WaitUntil([&] { return Contains(Metrics(), "zel_slots"); }));
    StopServer(server);
    EXPECT_EQ(Read(m_root / L"victim"), "mine");
}

TEST_F(FiguresTest, AFileThatCannotBeWrittenIsToldOnceAndTriedAgain)
{
    CRunningProgram server = StartServer({L"--page", m_root / L"page"});
    ASSERT_TRUE(WaitUntil([&] { return Data().is_object(); }));
    ASSERT_TRUE(platform::Succeeded(platform::Files().Remove(Page(L"data.js"))));
    ASSERT_TRUE(platform::Succeeded(platform::Files().MakeDirectory(Page(L"data.js"))));
    EXPECT_EQ(Zel({L"send", MakeEcho(L"a.drq", L"x"), L"--wait"}).code, 0);
    EXPECT_TRUE(server.WaitForErrors("cannot be written to"));
    ASSERT_TRUE(platform::Succeeded(platform::Files().RemoveEmptyDirectory(Page(L"data.js"))));
    EXPECT_TRUE(WaitUntil([&] { return Data().is_object() && Data()["totals"]["done"] == 1; }));
    StopServer(server);
    const std::string errors = server.Errors();
    EXPECT_EQ(errors.find("cannot be written to"), errors.rfind("cannot be written to")) << errors;
}

} // namespace
