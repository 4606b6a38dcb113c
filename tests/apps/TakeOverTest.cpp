#include "platform/Os.h"
#include "platform/Text.h"
#include "tests/apps/ProgramFixture.h"

namespace {

/// A server that serves in the place of another one.
class TakeOverTest : public CProgramTest {
protected:
    [[nodiscard]] static std::size_t Count(const std::string& text, const std::string& part)
    {
        std::size_t count = 0;
        for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1))
            ++count;
        return count;
    }
    [[nodiscard]] CRunningProgram StartWaiting() const
    {
        std::vector<std::wstring> arguments = DirectoryArguments();
        arguments.insert(arguments.end(), {L"--components", TestPlugins(), L"--resume", L"--take-over"});
        return {L"zel-server", arguments};
    }
};

TEST_F(TakeOverTest, EachOfManyRequestsIsAnsweredOnce)
{
    constexpr std::size_t kRequests = 300;
    constexpr std::size_t kAtOnce = 100; // a command line of Windows takes 32,767 characters
    const auto name = [](std::size_t number) { return L"r" + std::to_wstring(number) + L".drq"; };
    const auto send = [&](std::size_t first) {
        std::vector<std::wstring> arguments = {L"send", L"-q"};
        for (std::size_t number = first; number < first + kAtOnce; ++number)
            arguments.push_back(MakeEcho(name(number), std::to_wstring(number)));
        EXPECT_EQ(Zel(arguments).code, 0);
    };
    CRunningProgram old = StartServer({L"--resume"});
    ASSERT_EQ(Zel({L"send", MakeGate(L"g.drq")}).code, 0);
    ASSERT_TRUE(WaitUntilAtGate(L"g.drq"));
    send(0);
    CRunningProgram next = StartWaiting();
    ASSERT_TRUE(old.WaitForErrors("The server takes nothing more")) << old.Errors();
    send(kAtOnce); // while the old one drains
    CRunningProgram waiter = StartZel({L"wait", L"-q", name(2 * kAtOnce - 1)});
    Write(Gate(L"g.drq"), "");
    const SProgramResult drained = old.Finish();
    EXPECT_EQ(drained.code, 0) << drained.errors;
    send(2 * kAtOnce);
    const SProgramResult waited = waiter.Finish();
    EXPECT_EQ(waited.code, 0) << waited.output << waited.errors;
    for (std::size_t first = 0; first < kRequests; first += kAtOnce) {
        std::vector<std::wstring> arguments = {L"wait", L"-q", L"g.drq"};
        for (std::size_t number = first; number < first + kAtOnce; ++number)
            arguments.push_back(name(number));
        ASSERT_EQ(Zel(arguments).code, 0);
    }
    for (std::size_t number = 0; number < kRequests; ++number)
        EXPECT_EQ(Read(InOutput(name(number))), EchoResponse(std::to_string(number)));
    next.Process().RequestStop();
    const SProgramResult stopped = next.Finish(); // its log is whole
    EXPECT_EQ(stopped.code, 0) << stopped.errors;
    const std::string log = drained.errors + stopped.errors;
    for (std::size_t number = 0; number < kRequests; ++number)
        EXPECT_EQ(Count(log, "{" + platform::ToUtf8(name(number)) + "} Ended: Done"), 1U) << number;
    EXPECT_EQ(Count(drained.errors, "Ended: Done"), 1U) << "that at the gate";
}

TEST_F(TakeOverTest, EachIsAnsweredOnceWhenADrainComesBeforeTheStart)
{
    const std::vector<std::wstring> before = {L"a.drq", L"b.drq", L"c.drq"};
    const std::vector<std::wstring> after = {L"d.drq", L"e.drq"};
    const auto send = [this](const std::vector<std::wstring>& names) {
        std::vector<std::wstring> arguments = {L"send", L"-q"};
        for (const std::wstring& name : names)
            arguments.push_back(MakeEcho(name, name));
        EXPECT_EQ(Zel(arguments).code, 0);
    };
    CRunningProgram old = StartServer({L"--resume"});
    ASSERT_EQ(Zel({L"send", MakeGate(L"g.drq")}).code, 0);
    ASSERT_TRUE(WaitUntilAtGate(L"g.drq"));
    send(before);
    std::vector<std::wstring> arguments = DirectoryArguments();
    arguments.push_back(L"--drain");
    CRunningProgram drain(L"zel-server", arguments);
    ASSERT_TRUE(old.WaitForErrors("The server takes nothing more")) << old.Errors();
    send(after);
    Write(Gate(L"g.drq"), "");
    EXPECT_EQ(drain.Finish().code, 0);
    const SProgramResult drained = old.Finish();
    EXPECT_EQ(drained.code, 0) << drained.errors;
    CRunningProgram next = StartServer({L"--resume"});
    for (const auto& names : {before, after}) {
        for (const std::wstring& name : names) {
            EXPECT_EQ(Zel({L"wait", L"-q", name}).code, 0);
            EXPECT_EQ(Read(InOutput(name)), EchoResponse(platform::ToUtf8(name)));
        }
    }
    next.Process().RequestStop();
    const SProgramResult stopped = next.Finish();
    EXPECT_EQ(stopped.code, 0) << stopped.errors;
    EXPECT_EQ(Count(drained.errors, "Ended: Done"), 1U) << "that at the gate";
    EXPECT_EQ(Count(stopped.errors, "Ended: Done"), before.size() + after.size());
}

TEST_F(TakeOverTest, OneThatDoesNotDrainIsWaitedForAllTheSame)
{
    CRunningProgram old = StartServer({L"--strict"});
    CRunningProgram next = StartWaiting();
    ASSERT_TRUE(next.WaitForErrors("does not drain")) << next.Errors();
    StopServer(old);
    EXPECT_EQ(Zel({L"send", MakeEcho(L"a.drq", L"x"), L"--wait"}).code, 0);
    StopServer(next);
}

TEST_F(TakeOverTest, ACheckSaysThatItWouldTakeOver)
{
    CRunningProgram old = StartServer({L"--resume"});
    std::vector<std::wstring> arguments = DirectoryArguments();
    arguments.insert(arguments.end(), {L"--components", TestPlugins(), L"--resume", L"--take-over", L"--check"});
    const SProgramResult result = ServerResult(arguments);
    EXPECT_EQ(result.code, 0) << result.errors;
    EXPECT_TRUE(Contains(result.output, "have the server that has '")) << result.output;
    StopServer(old);
}

TEST_F(TakeOverTest, AStopEndsTheWaitingAndTheOldOneGoesOnWithItsRequest)
{
    CRunningProgram old = StartServer({L"--resume"});
    ASSERT_EQ(Zel({L"send", MakeGate(L"g.drq")}).code, 0);
    ASSERT_TRUE(WaitUntilAtGate(L"g.drq"));
    CRunningProgram next = StartWaiting();
    ASSERT_TRUE(old.WaitForErrors("The server takes nothing more")) << old.Errors();
    next.Process().RequestStop();
    EXPECT_EQ(next.Finish().code, 0);
    Write(Gate(L"g.drq"), "");
    EXPECT_EQ(old.Finish().code, 0);
    EXPECT_TRUE(platform::PathExists(InOutput(L"g.drq")));
}

TEST_F(TakeOverTest, WhereThereIsNoServerItStartsAtOnce)
{
    CRunningProgram server = StartServer({L"--resume", L"--take-over"});
    EXPECT_FALSE(Contains(server.Errors(), "asked to drain"));
    EXPECT_EQ(Zel({L"send", MakeEcho(L"a.drq", L"x"), L"--wait"}).code, 0);
    StopServer(server);
}

TEST_F(TakeOverTest, WithoutResumingItWouldDeleteWhatTheOldOneLeft)
{
    for (const std::vector<std::wstring>& extra :
         {std::vector<std::wstring>{L"--take-over"}, {L"--take-over", L"--resume", L"--strict"}}) {
        std::vector<std::wstring> arguments = DirectoryArguments();
        arguments.insert(arguments.end(), extra.begin(), extra.end());
        const SProgramResult result = ServerResult(arguments);
        EXPECT_EQ(result.code, 2);
        EXPECT_TRUE(Contains(result.errors, "--take-over")) << result.errors;
    }
}

TEST_F(TakeOverTest, ADrainWaitsForTheEndAndServesNothing)
{
    std::vector<std::wstring> arguments = DirectoryArguments();
    arguments.push_back(L"--drain");
    EXPECT_EQ(ServerResult(arguments).code, 0) << "there is none";
    CRunningProgram old = StartServer({L"--resume"});
    ASSERT_EQ(Zel({L"send", MakeGate(L"g.drq")}).code, 0);
    ASSERT_TRUE(WaitUntilAtGate(L"g.drq"));
    CRunningProgram drain(L"zel-server", arguments);
    ASSERT_TRUE(old.WaitForErrors("The server takes nothing more")) << old.Errors();
    Write(Gate(L"g.drq"), "");
    const SProgramResult result = drain.Finish();
    EXPECT_EQ(result.code, 0) << result.errors;
    EXPECT_EQ(result.output, "");
    EXPECT_EQ(old.Finish().code, 0);
    EXPECT_TRUE(platform::PathExists(InOutput(L"g.drq")));
}

} // namespace
