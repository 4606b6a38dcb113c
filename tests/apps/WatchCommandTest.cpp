#include "platform/Os.h"
#include "platform/Text.h"
#include "tests/apps/ProgramFixture.h"

#include <algorithm>

namespace {

class WatchCommandTest : public CProgramTest {
protected:
    void MakeStatus(const std::wstring& name, const std::string& text) const
    {
        Write(InOutput(name + L".status"), platform::ToUtf16Le(platform::FromUtf8(text)));
    }
    /// The last line that a program has printed of a request.
    [[nodiscard]] static nlohmann::json LastOf(const SProgramResult& result, const std::string& name)
    {
        nlohmann::json last;
        for (const nlohmann::json& object : result.Objects()) {
            if (object["name"] == name)
                last = object;
        }
        return last;
    }
    [[nodiscard]] static bool ReadUntil(CRunningProgram& program, const std::wstring& part)
    {
        for (std::wstring line; program.Process().ReadLine(line, kPatience);) {
            if (line.find(part) != line.npos)
                return true;
        }
        return false;
    }
};

TEST_F(WatchCommandTest, ALineForEachChangeUntilThoseThatWereThereHaveEnded)
{
    CRunningProgram server = StartServer();
    MakeStatus(L"old.drq", "13\r\n");
    ASSERT_EQ(Zel({L"send", MakeGate(L"g.drq"), MakeEcho(L"w.drq", L"x")}).code, 0);
    ASSERT_TRUE(WaitUntilAtGate(L"g.drq"));
    CRunningProgram lines = StartZel({L"watch"});
    ASSERT_TRUE(ReadUntil(lines, L"g.drq: "));
    ASSERT_TRUE(ReadUntil(lines, L"w.drq: Waiting"));
    Write(Gate(L"g.drq"), "");
    const SProgramResult result = lines.Finish();
    EXPECT_EQ(result.code, 0) << result.errors;
    EXPECT_TRUE(Contains(result.output, "g.drq: Done")) << result.output;
    EXPECT_TRUE(Contains(result.output, "w.drq: Done")) << result.output;
    EXPECT_FALSE(Contains(result.output, "old.drq")) << "it has not changed";
    EXPECT_FALSE(Contains(result.output, "\x1b")) << result.output;
    StopServer(server);
}

TEST_F(WatchCommandTest, JsonHasAnObjectForEachChangeAndTheCodeIsThatOfTheFirstFailure)
{
    CRunningProgram server = StartServer();
    ASSERT_EQ(Zel({L"send", MakeGate(L"g.drq")}).code, 0);
    ASSERT_TRUE(WaitUntilAtGate(L"g.drq"));
    CRunningProgram lines = StartZel({L"watch", L"--json"});
    std::wstring first;
    ASSERT_TRUE(lines.Process().ReadLine(first, kPatience));
    EXPECT_EQ(nlohmann::json::parse(platform::ToUtf8(first))["name"], "g.drq");
    EXPECT_EQ(Zel({L"cancel", L"g.drq", L"-q"}).code, 0);
    const SProgramResult result = lines.Finish();
    EXPECT_EQ(result.code, 6);
    EXPECT_EQ(LastOf(result, "g.drq")["state"], "canceled");
    StopServer(server);
}

TEST_F(WatchCommandTest, NothingThatHasNotEndedIsNothingToWatch)
{
    EXPECT_EQ(Zel({L"watch"}).code, 0);
    MakeStatus(L"a.drq", "1\r\n");
    const SProgramResult result = Zel({L"watch", L"--json"});
    EXPECT_EQ(result.code, 0) << "it failed before";
    EXPECT_EQ(result.output, "");
}

TEST_F(WatchCommandTest, ARequestThatIsTakenBackEndsIt)
{
    Write(InRequests(L"a.drq"), "");
    CRunningProgram lines = StartZel({L"watch", L"--json"});
    std::wstring first;
    ASSERT_TRUE(lines.Process().ReadLine(first, kPatience));
    ASSERT_EQ(platform::Files().Remove(InRequests(L"a.drq")), platform::eOsError_None);
    const SProgramResult result = lines.Finish();
    EXPECT_EQ(result.code, 0);
    EXPECT_EQ(LastOf(result, "a.drq")["state"], "not-requested") << result.output;
}

TEST_F(WatchCommandTest, MoreThanOneRefreshLooksAtAreAllTold)
{
    constexpr int count = 250;
    for (int i = 0; i < count; ++i)
        Write(InRequests(L"r" + std::to_wstring(i) + L".drq"), "");
    CRunningProgram lines = StartZel({L"watch", L"--json"});
    std::wstring line;
    for (int i = 0; i < count; ++i)
        ASSERT_TRUE(lines.Process().ReadLine(line, kPatience)) << i;
    lines.Process().RequestStop();
    const SProgramResult result = lines.Finish();
    EXPECT_EQ(result.code, 130);
    EXPECT_EQ(result.output, "") << "each once";
}

} // namespace
