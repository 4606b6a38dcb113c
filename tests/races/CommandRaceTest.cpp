#include "ZEL_Processor/ZelProcessorClient.h"
#include "ZEL_Processor/ZelRequestWatch.h"
#include "com/ComThread.h"
#include "platform/Os.h"
#include "platform/Text.h"
#include "platform/Thread.h"
#include "tests/apps/ProgramFixture.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/Predicates.h"

#include <map>
#include <sstream>

namespace {

/// A client of its own. Each line of its input is a command, "cancel NAME" or "pause NAME", given on a thread of its
/// own; each line of its output is "NAME STATUS", the server's answer.
int Steer(const std::vector<std::wstring>& arguments)
{
    CZelProcessorClient client;
    client.Init(arguments.at(0), arguments.at(1), arguments.at(2));
    client.SetSyncing(false);
    client.SetYields(true);
    // Some commands of these tests are never answered.
    if (!testsupport::IsWine())
        client.SetCommandTimeout(std::chrono::seconds(4));
    std::vector<platform::CThread> threads;
    for (std::wstring line; testsupport::ReadFromParent(line);) {
        threads.emplace_back();
        static_cast<void>(threads.back().Start([&client, line] {
            const CComThread com;
            std::wistringstream words(line);
            std::wstring command;
            std::wstring name;
            words >> command >> name;
            const eZelProcRequestStatus answer =
                command == L"cancel" ? client.CancelRequest(name) : client.PauseRequest(name);
            testsupport::TellParent(name + L" " + std::to_wstring(answer));
            return 0U;
        }));
    }
    for (platform::CThread& thread : threads)
        static_cast<void>(thread.Join());
    return 0;
}
const testsupport::CChildPart g_steer(L"steer", &Steer);

/// A server process, a process that steers, and this one, which sends.
class CommandRace : public CProgramTest {
protected:
    CommandRace()
    {
        m_client.Init(m_strRequests, m_strOutput, m_strHome);
        m_client.SetSyncing(false);
        m_steering = StartSteering();
    }
    ~CommandRace() override { EXPECT_EQ(testsupport::FinishChild(m_steering), 0); }

    [[nodiscard]] platform::CProcess StartSteering() const
    {
        const std::wstring commands = InHome(L"commands");
        static_cast<void>(platform::Files().MakeDirectory(commands));
        platform::SProcessOptions options;
        options.errorFile = InHome(L"commands.log"); // it reports each command that was not answered
        return testsupport::StartChild(L"steer", {m_strRequests, m_strOutput, commands}, options);
    }
    [[nodiscard]] CRunningProgram StartByHand() const
    {
        platform::SProcessOptions options;
        options.pipeInput = true;
        return StartServer({L"--no-sync", L"--manual"}, options);
    }

    void Send(const std::wstring& path) { ASSERT_EQ(m_client.SendRequest(path), eRequestStatus_Sent); }
    void Command(const std::wstring& word, const std::wstring& name)
    {
        ASSERT_TRUE(m_steering.WriteLine(word + L" " + name));
    }
    /// The answer to the one command that is under way.
    int Answer(const std::wstring& name)
    {
        ReadAnswers(1);
        const auto answer = m_answers.extract(name);
        return answer ? answer.mapped() : -1;
    }
    void ReadAnswers(int count)
    {
        for (; count > 0; --count) {
            std::wstring line;
            ASSERT_TRUE(m_steering.ReadLine(line, kPatience));
            std::wistringstream words(line);
            std::wstring name;
            int status = -1;
            words >> name >> status;
            m_answers[name] = status;
        }
    }
    eZelProcRequestStatus WaitForEnd(const std::wstring& name)
    {
        if (!m_pWatch)
            m_pWatch = std::make_unique<CZelRequestWatch>(m_client, m_strOutput);
        return m_pWatch->WaitForEnd(name, kPatience, nullptr);
    }
    [[nodiscard]] eZelProcRequestStatus StatusOf(const std::wstring& name) { return m_client.GetStatus(name, nullptr); }
    void ExpectDone(const std::wstring& name, const std::string& text)
    {
        EXPECT_EQ(WaitForEnd(name), eRequestStatus_Done) << platform::ToUtf8(name);
        const std::wstring target = InHome(name + L".response");
        EXPECT_TRUE(m_client.ReceiveOutput(name, target));
        EXPECT_EQ(Read(target), EchoResponse(text)) << platform::ToUtf8(name);
    }
    /// Either it ended whole, or nothing of it is left but what tells that it was cancelled.
    void ExpectDoneOrCanceled(const std::wstring& name, const std::string& text)
    {
        const eZelProcRequestStatus status = WaitForEnd(name);
        if (status == eRequestStatus_Done)
            return ExpectDone(name, text);
        EXPECT_TRUE(status == eRequestStatus_Canceled || status == eRequestStatus_NotRequested)
            << platform::ToUtf8(name) << " ended with " << status;
        if (status == eRequestStatus_Canceled) {
            EXPECT_EQ(platform::Files().Remove(InOutput(name + L".status")), platform::eOsError_None);
        }
        EXPECT_FALSE(platform::PathExists(InOutput(name)));
    }
    /// Requests, commands, responses, statuses: each was taken by somebody.
    void ExpectNothingLeft()
    {
        EXPECT_EQ(FilesIn(m_strRequests), std::vector<std::wstring>());
        EXPECT_EQ(FilesIn(InOutput(L"Queue")), std::vector<std::wstring>());
        EXPECT_EQ(FilesIn(m_strOutput), std::vector<std::wstring>());
    }
    void ExpectServing(const std::wstring& name)
    {
        Send(MakeEcho(name, name));
        ExpectDone(name, platform::ToUtf8(name));
    }
    static void Spin(std::chrono::microseconds duration)
    {
        const auto end = std::chrono::steady_clock::now() + duration;
        while (std::chrono::steady_clock::now() < end) {
        }
    }
    /// Sends a request and gives a command for it, the command this much later, or earlier.
    void Meet(const std::wstring& word, const std::wstring& name, std::chrono::microseconds later)
    {
        const std::wstring path = MakeEcho(name, name);
        if (later.count() < 0) {
            Command(word, name);
            Spin(-later);
            Send(path);
        } else {
            Send(path);
            Spin(later);
            Command(word, name);
        }
    }

    const CComThread m_com;
    CZelProcessorClient m_client;
    std::unique_ptr<CZelRequestWatch> m_pWatch;
    platform::CProcess m_steering;
    std::map<std::wstring, int> m_answers;
};

TEST_F(CommandRace, ACancelMeetsARequestThatTheServerHasNotSeen)
{
    Send(MakeEcho(L"a.drq", L"a.drq"));
    Command(L"cancel", L"a.drq");
    ASSERT_TRUE(WaitUntil([&] { return FilesIn(m_strRequests).size() == 2; }));
    CRunningProgram server = StartByHand();
    EXPECT_EQ(Answer(L"a.drq"), eRequestStatus_Done);
    // The server takes files in the order in which the file system names them: when the command was first, it meant
    // whatever ran, and nothing did.
    if (WaitUntil([&] { return FilesIn(m_strRequests).empty(); }) && StatusOf(L"a.drq") == eRequestStatus_Waiting) {
        ASSERT_TRUE(RequestStep(server.Process()));
        ExpectDone(L"a.drq", "a.drq");
    } else {
        EXPECT_EQ(StatusOf(L"a.drq"), eRequestStatus_Canceled);
        EXPECT_EQ(platform::Files().Remove(InOutput(L"a.drq.status")), platform::eOsError_None);
    }
    ExpectNothingLeft();
    StopServer(server);
}

TEST_F(CommandRace, APauseMeetsARequestThatTheServerHasNotSeen)
{
    Send(MakeEcho(L"a.drq", L"a.drq"));
    Command(L"pause", L"a.drq");
    ASSERT_TRUE(WaitUntil([&] { return FilesIn(m_strRequests).size() == 2; }));
    CRunningProgram server = StartServer({L"--no-sync", L"--no-executive"});
    EXPECT_EQ(Answer(L"a.drq"), eRequestStatus_Done);
    EXPECT_EQ(StatusOf(L"a.drq"), eRequestStatus_Paused);
    StopServer(server);
}

TEST_F(CommandRace, ARequestPausedBeforeTheServerTookItRunsWhenItIsResumed)
{
    Send(MakeEcho(L"a.drq", L"a.drq"));
    Command(L"pause", L"a.drq");
    ASSERT_TRUE(WaitUntil([&] { return FilesIn(m_strRequests).size() == 2; }));
    CRunningProgram server = StartByHand();
    EXPECT_EQ(Answer(L"a.drq"), eRequestStatus_Done);
    EXPECT_EQ(StatusOf(L"a.drq"), eRequestStatus_Paused);
    Command(L"pause", L"a.drq");
    EXPECT_EQ(Answer(L"a.drq"), eRequestStatus_Done);
    EXPECT_EQ(StatusOf(L"a.drq"), eRequestStatus_Waiting);
    ASSERT_TRUE(RequestStep(server.Process()));
    ExpectDone(L"a.drq", "a.drq");
    ExpectNothingLeft();
    StopServer(server);
}

TEST_F(CommandRace, CancelsOfWaitingRunningAndUnknownRequestsAreAnswered)
{
    CRunningProgram server = StartServer({L"--no-sync"});
    Send(MakeGate(L"running.drq"));
    ASSERT_TRUE(WaitUntilAtGate(L"running.drq"));
    Send(MakeEcho(L"waiting.drq", L""));
    ASSERT_TRUE(WaitUntil([&] { return platform::PathExists(InQueue(L"waiting.drq")); }));
    Command(L"cancel", L"waiting.drq");
    EXPECT_EQ(Answer(L"waiting.drq"), eRequestStatus_Done);
    EXPECT_EQ(StatusOf(L"waiting.drq"), eRequestStatus_Canceled);
    EXPECT_EQ(platform::Files().Remove(InOutput(L"waiting.drq.status")), platform::eOsError_None);
    EXPECT_EQ(StatusOf(L"running.drq"), eRequestStatus_GettingData);
    Command(L"cancel", L"running.drq");
    EXPECT_EQ(Answer(L"running.drq"), eRequestStatus_Done);
    ExpectDoneOrCanceled(L"running.drq", "passed");
    Command(L"cancel", L"unknown.drq");
    EXPECT_EQ(Answer(L"unknown.drq"), eRequestStatus_Done);
    ExpectServing(L"next.drq");
    ExpectNothingLeft();
    StopServer(server);
}

TEST_F(CommandRace, ACancelAnyTimeBeforeDuringAndAfterARequest)
{
    CRunningProgram server = StartServer({L"--no-sync", L"--log-level", L"warning"});
    constexpr int kRounds = 80;
    for (int round = 0; round < kRounds && !HasFatalFailure(); ++round) {
        const std::wstring name = L"r" + std::to_wstring(round) + L".drq";
        Meet(L"cancel", name, std::chrono::microseconds(40) * (round - kRounds / 2));
        EXPECT_EQ(Answer(name), eRequestStatus_Done);
        ExpectDoneOrCanceled(name, platform::ToUtf8(name));
        // What the command flagged was that request or nothing, never the next one.
        ExpectServing(L"next.drq");
    }
    ExpectNothingLeft();
    StopServer(server);
}

TEST_F(CommandRace, APauseAnyTimeBeforeDuringAndAfterARequest)
{
    CRunningProgram server = StartServer({L"--no-sync", L"--log-level", L"critical"});
    constexpr int kRounds = 40;
    const auto name = [](int round) { return L"r" + std::to_wstring(round) + L".drq"; };
    for (int round = 0; round < kRounds && !HasFatalFailure(); ++round)
        Meet(L"pause", name(round), std::chrono::microseconds(80) * (round - kRounds / 2));
    // A pause that came too late is never answered: its client waits for its whole time, here all of them at once.
    ReadAnswers(kRounds);
    std::size_t late = 0;
    for (int round = 0; round < kRounds; ++round) {
        if (m_answers[name(round)] == eRequestStatus_Done) {
            EXPECT_EQ(StatusOf(name(round)), eRequestStatus_Paused) << round;
            Command(L"pause", name(round));
            EXPECT_EQ(Answer(name(round)), eRequestStatus_Done);
        } else {
            EXPECT_EQ(m_answers[name(round)], eRequestStatus_ServerTimeout) << round;
            ++late;
        }
        ExpectDone(name(round), platform::ToUtf8(name(round)));
    }
    EXPECT_EQ(FilesIn(m_strRequests), std::vector<std::wstring>());
    EXPECT_EQ(FilesIn(m_strOutput), std::vector<std::wstring>());
    EXPECT_EQ(FilesIn(InOutput(L"Queue")).size(), late) << "a refused command stays until the next start";
    StopServer(server);
}

TEST_F(CommandRace, TwoProcessesPauseTheSameRequestAndItRunsInTheEnd)
{
    CRunningProgram server = StartByHand();
    platform::CProcess other = StartSteering();
    constexpr int kRounds = 8;
    for (int round = 0; round < kRounds && !HasFatalFailure(); ++round) {
        Send(MakeEcho(L"a.drq", L"a.drq"));
        ASSERT_TRUE(WaitUntil([&] { return platform::PathExists(InQueue(L"a.drq")); }));
        Command(L"pause", L"a.drq");
        ASSERT_TRUE(other.WriteLine(L"pause a.drq"));
        EXPECT_EQ(Answer(L"a.drq"), eRequestStatus_Done);
        EXPECT_TRUE(testsupport::WaitForChild(other, L"a.drq " + std::to_wstring(eRequestStatus_Done)));
        EXPECT_EQ(StatusOf(L"a.drq"), eRequestStatus_Waiting);
        ASSERT_TRUE(RequestStep(server.Process()));
        ExpectDone(L"a.drq", "a.drq");
    }
    EXPECT_EQ(testsupport::FinishChild(other), 0);
    ExpectNothingLeft();
    StopServer(server);
}

} // namespace
