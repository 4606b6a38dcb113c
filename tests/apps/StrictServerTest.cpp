#include "platform/Os.h"
#include "platform/Text.h"
#include "tests/apps/ProgramFixture.h"

namespace {

/// What commands mean, told by somebody who knows the files alone: as the protocol has it with --strict, and as the
/// program has it without.
class StrictServerTest : public CProgramTest, public testing::WithParamInterface<bool> {
protected:
    [[nodiscard]] CRunningProgram Start(std::vector<std::wstring> options = {}) const
    {
        if (GetParam())
            options.emplace_back(L"--strict");
        platform::SProcessOptions process;
        process.pipeInput = true;
        return StartServer(options, process);
    }
    /// Sends a command, and waits until the server has dealt with it.
    void Command(const std::string& type, const std::wstring& name) const
    {
        const std::wstring file = platform::FromUtf8(type) + L".command";
        Write(InHome(file), "<?xml version='1.0' encoding='UTF-8'?>\n<Command Type=\"" + type + "\"><RequestName>" +
                                platform::ToUtf8(name) + "</RequestName></Command>");
        HandOver(file);
        // Files are dealt with one after the other: what comes after it is taken when it is done.
        const std::wstring after = L"after.drq";
        static_cast<void>(MakeEcho(after, L"x"));
        HandOver(after);
    }
    void HandOver(const std::wstring& name) const
    {
        ASSERT_EQ(platform::Files().Move(InHome(name), InRequests(name), 0), platform::eOsError_None);
        ASSERT_TRUE(WaitUntil([&] { return !platform::PathExists(InRequests(name)); }));
    }
};

TEST_P(StrictServerTest, OnlyAStrictOnePausesFilesThatAreNoRequests)
{
    CRunningProgram server = Start();
    Write(InRequests(L"notes.txt"), "mine");
    Command("PauseRequest", L"notes.txt");
    EXPECT_EQ(platform::PathExists(InQueue(L"notes.txt")), GetParam());
    EXPECT_EQ(platform::PathExists(InRequests(L"notes.txt")), !GetParam());
    StopServer(server);
}

TEST_P(StrictServerTest, OnlyAStrictOneCancelsWhateverRunsForAnUnknownName)
{
    CRunningProgram server = Start();
    ASSERT_EQ(Zel({L"send", MakeGate(L"g.drq")}).code, 0);
    ASSERT_TRUE(WaitUntilAtGate(L"g.drq"));
    Command("CancelRequest", L"unknown.drq");
    if (!GetParam())
        Write(Gate(L"g.drq"), "");
    EXPECT_EQ(Zel({L"wait", L"g.drq"}).code, GetParam() ? 6 : 0);
    StopServer(server);
}

TEST_P(StrictServerTest, OnlyAStrictOneGivesAPausedRequestNoStatus)
{
    CRunningProgram server = Start({L"--manual"});
    ASSERT_EQ(Zel({L"send", MakeEcho(L"a.drq", L"x")}).code, 0);
    ASSERT_TRUE(WaitUntil([&] { return platform::PathExists(InQueue(L"a.drq")); }));
    Command("PauseRequest", L"a.drq");
    EXPECT_EQ(platform::PathExists(InOutput(L"a.drq.status")), !GetParam());
    StopServer(server);
}

TEST_P(StrictServerTest, TheToolSaysOfAPauseWhatTheServerTells)
{
    CRunningProgram server = Start({L"--manual"});
    ASSERT_EQ(Zel({L"send", MakeEcho(L"a.drq", L"x")}).code, 0);
    ASSERT_TRUE(WaitUntil([&] { return platform::PathExists(InQueue(L"a.drq")); }));
    const std::string unknown = "a.drq: paused or resumed: the server does not tell which\n";
    EXPECT_EQ(Zel({L"pause", L"a.drq"}).output, GetParam() ? unknown : "a.drq: paused\n");
    const SProgramResult resumed = Zel({L"resume", L"a.drq"});
    EXPECT_EQ(resumed.code, GetParam() ? 1 : 0);
    EXPECT_EQ(resumed.output, GetParam() ? "" : "a.drq: resumed\n");
    if (GetParam()) {
        EXPECT_TRUE(Contains(resumed.errors, "'a.drq' is not known to be paused, but Waiting")) << resumed.errors;
        EXPECT_EQ(Zel({L"pause", L"a.drq"}).output, unknown);
    }
    ASSERT_TRUE(RequestStep(server.Process()));
    EXPECT_EQ(Zel({L"wait", L"a.drq"}).code, 0) << "it goes on";
    StopServer(server);
}

TEST_P(StrictServerTest, OnlyWithoutALimitEveryEventIsKeptForAClientThatNeverReads)
{
    CRunningProgram server =
        Start(GetParam() ? std::vector<std::wstring>() : std::vector<std::wstring>{L"--events-limit", L"1"});
    Command("RegisterClient", L"RegisterClient__1");
    ASSERT_TRUE(WaitUntil([&] { return platform::PathExists(InOutput(L"RegisterClient__1")); }));
    const std::wstring events = InOutput(L"DsEvents_" + platform::FromUtf8(Read(InOutput(L"RegisterClient__1"))));
    std::wstring ids;
    for (int id = 0; id < 100'000; ++id)
        ids += L"1 ";
    const std::wstring task = L"Type=\"FireEvents\" Times=\"3\" Added=\"" + ids + L"\"";
    ASSERT_EQ(Zel({L"send", MakeRequest(L"f.drq", task), L"--wait"}).code, 0);
    platform::SFileAttributes attributes;
    ASSERT_EQ(platform::Files().GetAttributes(events, attributes), platform::eOsError_None);
    EXPECT_EQ(attributes.length > std::uint64_t{1} << 20, GetParam()) << attributes.length;
    StopServer(server);
}

INSTANTIATE_TEST_SUITE_P(Servers, StrictServerTest, testing::Bool(),
                         [](const auto& given) { return given.param ? "Strict" : "Usual"; });

} // namespace
