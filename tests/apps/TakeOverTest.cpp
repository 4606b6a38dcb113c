#include "platform/Os.h"
#include "platform/Text.h"
#include "tests/apps/ProgramFixture.h"
#include "tests/support/Predicates.h"

#include <map>
#include <string>
#include <vector>

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
    [[nodiscard]] CRunningProgram StartBeside(const std::vector<std::wstring>& options) const
    {
        std::vector<std::wstring> arguments = DirectoryArguments();
        arguments.insert(arguments.end(), {L"--components", TestPlugins(), L"--resume"});
        arguments.insert(arguments.end(), options.begin(), options.end());
        return {L"zel-server", arguments};
    }
    [[nodiscard]] CRunningProgram StartWaiting() const { return StartBeside({L"--take-over"}); }
};

/// Many requests, sent before one server drains, while it does and after another one has begun to serve.
class ManyRequestsTest : public TakeOverTest {
protected:
    static constexpr std::size_t kAtOnce = 100; // a command line of Windows takes 32,767 characters
    /// A thousand; Wine does each open and lock of all processes in one, and takes a minute for so many.
    static std::size_t Share(std::size_t ofThousand) { return testsupport::IsWine() ? kAtOnce : ofThousand; }

    [[nodiscard]] static std::wstring Name(std::size_t number) { return L"r" + std::to_wstring(number) + L".drq"; }
    /// The next ones.
    void Send(std::size_t count)
    {
        for (const std::size_t end = m_nSent + count; m_nSent < end;) {
            std::vector<std::wstring> arguments = {L"send", L"-q"};
            for (std::size_t number = 0; number < kAtOnce; ++number, ++m_nSent)
                arguments.push_back(MakeEcho(Name(m_nSent), std::to_wstring(m_nSent)));
            EXPECT_EQ(Zel(arguments).code, 0);
        }
    }
    void TakeOverWith(std::vector<std::wstring> options, const char* note, bool isAsked)
    {
        options.push_back(L"--no-sync"); // no power cut is tried
        CRunningProgram old = StartServer({L"--resume", L"--no-sync"});
        ASSERT_EQ(Zel({L"send", MakeGate(L"g.drq")}).code, 0);
        ASSERT_TRUE(WaitUntilAtGate(L"g.drq"));
        Send(Share(300));
        if (isAsked) {
            ASSERT_EQ(Zel({L"drain"}).code, 0);
        }
        CRunningProgram next = StartBeside(options);
        ASSERT_TRUE(old.WaitForErrors("The server takes nothing more")) << old.Errors();
        ASSERT_TRUE(next.WaitForErrors(note)) << next.Errors();
        Send(Share(400)); // while the old one drains
        CRunningProgram waiter = StartZel({L"wait", L"-q", Name(m_nSent - 1)});
        Write(Gate(L"g.drq"), "");
        const SProgramResult drained = old.Finish();
        EXPECT_EQ(drained.code, 0) << drained.errors;
        Send(Share(300));
        const SProgramResult waited = waiter.Finish();
        EXPECT_EQ(waited.code, 0) << waited.output << waited.errors;
        EachIsAnsweredOnce(drained.errors, next);
    }

private:
    void EachIsAnsweredOnce(const std::string& oldLog, CRunningProgram& next)
    {
        for (std::size_t first = 0; first < m_nSent; first += kAtOnce) {
            std::vector<std::wstring> arguments = {L"wait", L"-q", L"g.drq"};
            for (std::size_t number = first; number < first + kAtOnce; ++number)
                arguments.push_back(Name(number));
            ASSERT_EQ(Zel(arguments).code, 0);
        }
        next.Process().RequestStop();
        const SProgramResult stopped = next.Finish(); // its log is whole
        EXPECT_EQ(stopped.code, 0) << stopped.errors;
        std::map<std::string, int> ended;
        for (const std::string& log : {oldLog, stopped.errors}) {
            for (std::size_t at = log.find("} Ended: Done"); at != std::string::npos;
                 at = log.find("} Ended: Done", at + 1))
                ++ended[log.substr(log.rfind('{', at) + 1, at - log.rfind('{', at) - 1)];
        }
        for (std::size_t number = 0; number < m_nSent; ++number) {
            EXPECT_EQ(Read(InOutput(Name(number))), EchoResponse(std::to_string(number)));
            EXPECT_EQ(ended[platform::ToUtf8(Name(number))], 1) << number;
        }
        EXPECT_EQ(ended.size(), m_nSent + 1);
        EXPECT_EQ(Count(oldLog, "Ended: Done"), 1U) << "that at the gate";
    }

    std::size_t m_nSent = 0;
};

TEST_F(ManyRequestsTest, AreAnsweredOnceEachByOneThatHasTheOtherDrain)
{
    TakeOverWith({L"--take-over"}, "was asked to drain", false);
}

TEST_F(ManyRequestsTest, AreAnsweredOnceEachByOneThatFindsTheOtherDraining)
{
    TakeOverWith({}, "drains; this one serves when it has ended", true);
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

TEST_F(TakeOverTest, OneThatDoesNotDrainRefusesAStartThatDoesNotAskItTo)
{
    CRunningProgram old = StartServer({L"--resume"});
    EXPECT_EQ(StartBeside({}).Finish().code, 1);
    // As one has left it that was killed while it drained; nor does this server drain for another one.
    Write(InOutput(L".zel-server/draining"), "1");
    EXPECT_EQ(StartBeside({}).Finish().code, 1);
    StopServer(old);
    CRunningProgram next = StartServer({L"--resume"});
    StopServer(next);
    EXPECT_FALSE(platform::PathExists(InOutput(L".zel-server/draining"))) << "it serves";
}

TEST_F(TakeOverTest, AStartThatTakesNothingOverIsRefusedByOneThatDrainsToo)
{
    CRunningProgram old = StartServer({L"--resume"});
    ASSERT_EQ(Zel({L"send", MakeGate(L"g.drq")}).code, 0);
    ASSERT_TRUE(WaitUntilAtGate(L"g.drq"));
    ASSERT_EQ(Zel({L"drain"}).code, 0);
    std::vector<std::wstring> arguments = DirectoryArguments();
    arguments.insert(arguments.end(), {L"--components", TestPlugins(), L"--check"});
    EXPECT_EQ(ServerResult(arguments).code, 1);
    arguments.push_back(L"--resume");
    const SProgramResult check = ServerResult(arguments);
    EXPECT_EQ(check.code, 0) << check.errors;
    EXPECT_TRUE(Contains(check.output, "would wait for the end of the server that has '")) << check.output;
    arguments.erase(arguments.end() - 2, arguments.end());
    EXPECT_EQ(ServerResult(arguments).code, 1);
    Write(Gate(L"g.drq"), "");
    EXPECT_EQ(old.Finish().code, 0);
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
