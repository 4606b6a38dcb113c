#include "tests/support/ServerKit.h"

#include "platform/Text.h"

namespace {

using ServerProgress = CServerFixture;

} // namespace

TEST_F(ServerProgress, WaitingAndRunningATaskAreProgress)
{
    EXPECT_TRUE(m_pServer->MakesProgress()) << "it does not run";
    CGate gate;
    m_script.obtainData = [&](auto*, auto*) { return gate.Pass(); };
    Run();
    for (int turn = 0; turn < 2; ++turn)
        EXPECT_TRUE(WaitUntil([&] { return m_pServer->MakesProgress(); })) << "nothing to do";
    Send(L"a.drq");
    ASSERT_TRUE(gate.WaitUntilEntered());
    static_cast<void>(m_pServer->MakesProgress());
    for (int turn = 0; turn < 2; ++turn)
        EXPECT_TRUE(WaitUntil([&] { return m_pServer->MakesProgress(); })) << "in the task";
    gate.Open();
    EXPECT_EQ(WaitForEnd(L"a.drq"), eRequestStatus_Done);
    m_pServer->Stop(true);
    EXPECT_TRUE(m_pServer->MakesProgress()) << "it has ended";
}

TEST_F(ServerProgress, AListenerThatStandsStillIsNoProgress)
{
    CGate gate;
    m_files.OnCall([&](const testsupport::SFileCall& call) {
        if (call.call == testsupport::eFileCall_List && call.path == m_requestDir)
            static_cast<void>(gate.Pass());
    });
    const platform::CScopedOs os(&m_files, nullptr);
    Run();
    Write(In(m_requestDir, L"change.txt"));
    ASSERT_TRUE(gate.WaitUntilEntered());
    static_cast<void>(m_pServer->MakesProgress());
    EXPECT_FALSE(m_pServer->MakesProgress());
    gate.Open();
    EXPECT_TRUE(WaitUntil([&] { return m_pServer->MakesProgress(); })) << "it goes on";
    m_pServer->Stop(true);
}

TEST_F(ServerProgress, AnExecutiveThatStandsStillOutsideOfATaskIsNoProgress)
{
    CGate gate;
    m_files.OnCall([&](const testsupport::SFileCall& call) {
        if (call.call == testsupport::eFileCall_Open && call.path.ends_with(L"a.drq.status"))
            static_cast<void>(gate.Pass());
    });
    const platform::CScopedOs os(&m_files, nullptr);
    Run();
    Write(In(m_requestDir, L"a.drq"));
    ASSERT_TRUE(gate.WaitUntilEntered());
    static_cast<void>(m_pServer->MakesProgress());
    const unsigned looks = m_files.Count(testsupport::eFileCall_List);
    Write(In(m_requestDir, L"change.txt"));
    ASSERT_TRUE(WaitUntil([&] { return m_files.Count(testsupport::eFileCall_List) > looks; }))
        << "the listener is well";
    EXPECT_FALSE(m_pServer->MakesProgress());
    gate.Open();
    EXPECT_TRUE(WaitUntil([&] { return m_pServer->MakesProgress(); })) << "it goes on";
    m_pServer->Stop(true);
}

TEST_F(ServerProgress, WaitingForWhoHoldsAFileIsProgress)
{
    const auto command = [](const std::string& type) {
        return "<Command Type='" + type + "'><RequestName>name</RequestName></Command>";
    };
    const struct {
        testsupport::eFileCall call;
        std::wstring held;
        std::wstring sent;
        std::string content;
    } cases[] = {
        {testsupport::eFileCall_Move, In(m_requestDir, L"x.drq"), L"x.drq", "<Request/>"},
        {testsupport::eFileCall_Open, In(m_outputDir, L"x.drq.status"), L"x.drq", "<Request/>"},
        {testsupport::eFileCall_Move, In(m_requestDir, L"x.command"), L"x.command", command("CancelRequest")},
        {testsupport::eFileCall_Open, In(m_outputDir, L"x.command.status"), L"x.command", command("CancelRequest")},
        {testsupport::eFileCall_Open, Queued(L"x.command"), L"x.command", command("CancelRequest")},
        {testsupport::eFileCall_Open, In(m_outputDir, L"name"), L"x.command", command("RegisterClient")},
    };
    for (const auto& test : cases) {
        platform::CManualResetEvent tried;
        m_files.OnCall([&](const testsupport::SFileCall& call) {
            if (call.call == test.call && call.path == test.held)
                tried.Set();
        });
        m_files.FailAlways(test.call, platform::eOsError_SharingViolation, test.held);
        {
            const platform::CScopedOs os(&m_files, nullptr);
            Make();
            Run();
            Write(In(m_requestDir, test.sent), test.content);
            EXPECT_TRUE(tried.WaitFor(kPatience));
            static_cast<void>(m_pServer->MakesProgress());
            for (int turn = 0; turn < 2; ++turn)
                EXPECT_TRUE(WaitUntil([&] { return m_pServer->MakesProgress(); })) << platform::ToUtf8(test.held);
            m_files.StopFailing();
            EXPECT_TRUE(WaitUntil([&] {
                return !platform::PathExists(In(m_requestDir, test.sent)) && !platform::PathExists(Queued(test.sent));
            }));
            m_pServer.reset();
        }
    }
}

TEST_F(ServerProgress, ALookThatPutsFilesOffIsProgress)
{
    Make({.syncing = false, .takeTurns = true});
    m_pServer->SetNoExecutiveThread(true);
    CGate first;
    CGate second;
    int files = 0; // listener's thread only
    m_files.OnCall([&](const testsupport::SFileCall& call) {
        if (call.call == testsupport::eFileCall_List && call.path == m_requestDir)
            m_clock.Advance(std::chrono::seconds(1)); // more than files are taken for as they are found
        if (call.call == testsupport::eFileCall_GetOwner && files < 2)
            static_cast<void>((files++ == 0 ? first : second).Pass());
    });
    for (const wchar_t* name : {L"a.drq", L"b.drq"})
        Write(In(m_requestDir, name));
    const platform::CScopedOs os(&m_files, &m_clock);
    Run();
    Write(In(m_requestDir, L"change.txt"));
    ASSERT_TRUE(first.WaitUntilEntered());
    static_cast<void>(m_pServer->MakesProgress());
    first.Open();
    ASSERT_TRUE(second.WaitUntilEntered());
    EXPECT_TRUE(m_pServer->MakesProgress());
    second.Open();
    EXPECT_TRUE(WaitUntil([&] { return Access().QueuedNames().size() == 2; }));
    m_pServer.reset();
}
