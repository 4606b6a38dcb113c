#include "platform/Os.h"
#include "platform/Path.h"
#include "platform/Text.h"
#include "tests/apps/ProgramFixture.h"

#include <algorithm>

namespace {

/// Servers that end in every way, and what the next one makes of what they left.
class ServerResumeTest : public CProgramTest {
protected:
    [[nodiscard]] CRunningProgram Start(const std::vector<std::wstring>& extra = {}) const
    {
        std::vector<std::wstring> arguments = {L"--resume"};
        arguments.insert(arguments.end(), extra.begin(), extra.end());
        return StartServer(arguments);
    }
    static void Kill(CRunningProgram& server)
    {
        server.Process().Kill();
        int code = 0;
        ASSERT_TRUE(server.Process().Wait(kPatience, code));
    }
    /// Responses that lie there, as far as their names are in the output directory.
    [[nodiscard]] std::size_t CountResponses() const
    {
        const std::vector<std::wstring> files = FilesIn(m_strOutput);
        return static_cast<std::size_t>(
            std::ranges::count_if(files, [](const std::wstring& name) { return name.ends_with(L".drq"); }));
    }
    [[nodiscard]] std::string StatusOf(const std::wstring& name) const { return Zel({L"status", name}).output; }
};

} // namespace

TEST_F(ServerResumeTest, EveryRequestOfAServerThatIsKilledTwiceHasItsOwnResponse)
{
    constexpr std::size_t kRequests = 1000;
    constexpr std::size_t kAtOnce = 100; // a command line of Windows takes 32,767 characters
    const auto text = [](std::size_t number) { return L"r" + std::to_wstring(number); };
    for (std::size_t first = 0; first < kRequests; first += kAtOnce) {
        std::vector<std::wstring> arguments = {L"send", L"-q"};
        for (std::size_t number = first; number < first + kAtOnce; ++number)
            arguments.push_back(MakeEcho(text(number) + L".drq", text(number)));
        const SProgramResult sent = Zel(arguments);
        ASSERT_EQ(sent.code, 0) << sent.errors;
    }
    CRunningProgram waiter = StartZel({L"wait", L"-q", text(kRequests - 1) + L".drq"});
    CRunningProgram server = Start({L"--log-level", L"warning"});
    for (const std::size_t answered : {kRequests / 4, kRequests / 2}) {
        ASSERT_TRUE(WaitUntil([&] { return CountResponses() >= answered; })) << CountResponses();
        Kill(server);
        EXPECT_LT(CountResponses(), kRequests) << "in the middle";
        server = Start({L"--log-level", L"warning"});
    }
    const SProgramResult waited = waiter.Finish();
    EXPECT_EQ(waited.code, 0) << waited.output << waited.errors;
    std::vector<std::wstring> names;
    for (std::size_t number = 0; number < kRequests; ++number)
        names.push_back(text(number) + L".drq");
    std::vector<std::wstring> receive = {L"wait", L"-q"};
    receive.insert(receive.end(), names.begin(), names.end());
    const SProgramResult all = Zel(receive);
    EXPECT_EQ(all.code, 0) << all.output << all.errors;
    for (std::size_t number = 0; number < kRequests; ++number)
        ASSERT_EQ(Read(InOutput(names[number])), EchoResponse(platform::ToUtf8(text(number))));
    EXPECT_EQ(FilesIn(InOutput(L"Queue")), std::vector<std::wstring>());
    EXPECT_EQ(FilesIn(m_strOutput).size(), 2 * kRequests) << "a response and a status for each, and nothing else";
    StopServer(server);
}

TEST_F(ServerResumeTest, AStrictServerSaysThatItDoesNotResume)
{
    const std::string said = "--strict switches --resume off: what an earlier server left in";
    {
        CRunningProgram server = Start({L"--no-executive"});
        ASSERT_EQ(Zel({L"send", MakeEcho(L"a.drq", L"a")}).code, 0);
        ASSERT_TRUE(WaitUntil([&] { return platform::PathExists(InQueue(L"a.drq")); }));
        StopServer(server);
        EXPECT_FALSE(Contains(server.Errors(), said));
    }
    CRunningProgram server = Start({L"--strict"});
    EXPECT_TRUE(server.WaitForErrors(said)) << server.Errors();
    EXPECT_FALSE(platform::PathExists(InQueue(L"a.drq")));
    StopServer(server);
}

TEST_F(ServerResumeTest, ARequestThatEndsTheServerIsReportedFailedAfterThreeStarts)
{
    const std::wstring crash = MakeRequest(L"crash.drq", L"Type=\"Crash\" Kind=\"Exit\"");
    {
        CRunningProgram server = Start({L"--no-executive"});
        ASSERT_EQ(Zel({L"send", crash, MakeEcho(L"a.drq", L"a"), MakeEcho(L"b.drq", L"b")}).code, 0);
        ASSERT_TRUE(WaitUntil([&] { return FilesIn(InOutput(L"Queue")).size() == 3; }));
        StopServer(server);
    }
    for (int start = 0; start < 3; ++start) {
        std::vector<std::wstring> arguments = DirectoryArguments();
        arguments.insert(arguments.end(), {L"--components", TestPlugins(), L"--resume"});
        const SProgramResult ended = ServerResult(arguments);
        EXPECT_EQ(ended.code, 3) << ended.errors;
    }
    CRunningProgram server = Start();
    const SProgramResult failed = Zel({L"wait", L"crash.drq"});
    EXPECT_NE(failed.code, 0);
    EXPECT_TRUE(Contains(StatusOf(L"crash.drq"), "3 of its runs ended so")) << StatusOf(L"crash.drq");
    for (const wchar_t* name : {L"a.drq", L"b.drq"})
        EXPECT_EQ(Zel({L"wait", name}).code, 0) << server.Errors();
    EXPECT_TRUE(FilesIn(InOutput(L".zel-server/attempts")).empty());
    StopServer(server);
}

TEST_F(ServerResumeTest, AnInterruptedRequestFailsWhenItIsToldToAndNoOtherDoes)
{
    CRunningProgram server = Start({L"--interrupted", L"fail"});
    ASSERT_EQ(Zel({L"send", MakeGate(L"runs.drq"), MakeEcho(L"waits.drq", L"x")}).code, 0);
    ASSERT_TRUE(WaitUntilAtGate(L"runs.drq"));
    ASSERT_TRUE(WaitUntil([&] { return platform::PathExists(InQueue(L"waits.drq")); }));
    Kill(server);
    server = Start({L"--interrupted", L"fail"});
    EXPECT_TRUE(server.WaitForErrors("Resumed: 1 waiting, 1 interrupted, 0 paused")) << server.Errors();
    EXPECT_NE(Zel({L"wait", L"runs.drq"}).code, 0);
    EXPECT_EQ(Zel({L"wait", L"waits.drq"}).code, 0);
    StopServer(server);
}

TEST_F(ServerResumeTest, AClientThatListensLivesThroughARestart)
{
    CRunningProgram server = Start();
    CRunningProgram listener = StartZel({L"listen"});
    ASSERT_TRUE(listener.WaitForErrors("listening")) << listener.Errors();
    Kill(server);
    server = Start();
    EXPECT_TRUE(server.WaitForErrors("1 clients")) << server.Errors();
    std::wstring line;
    EXPECT_TRUE(listener.Process().ReadLine(line, kPatience)) << listener.Errors();
    EXPECT_TRUE(Contains(platform::ToUtf8(line), "reload")) << platform::ToUtf8(line);
    const std::wstring fire = MakeRequest(L"fire.drq", L"Type=\"FireEvents\" Changed=\"7\"");
    ASSERT_EQ(Zel({L"send", fire, L"--wait"}).code, 0);
    EXPECT_TRUE(listener.Process().ReadLine(line, kPatience)) << listener.Errors();
    EXPECT_TRUE(Contains(platform::ToUtf8(line), "7")) << platform::ToUtf8(line);
    listener.Process().RequestStop();
    EXPECT_EQ(listener.Finish().code, 0);
    StopServer(server);
}
