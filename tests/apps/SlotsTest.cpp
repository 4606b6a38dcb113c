#include "platform/Module.h"
#include "platform/Os.h"
#include "platform/Path.h"
#include "platform/Text.h"
#include "tests/apps/ProgramFixture.h"

#include <algorithm>
#include <memory>
#include <vector>

namespace {

/// Servers that run several requests at once.
class SlotsTest : public CProgramTest {
protected:
    void SendToGate(const wchar_t* name) const { ASSERT_EQ(Zel({L"send", MakeGate(name)}).code, 0); }
    [[nodiscard]] bool IsAtGate(const wchar_t* name) const { return platform::PathExists(Gate(name) + L".entered"); }
    void OpenGates(std::initializer_list<const wchar_t*> names) const
    {
        for (const wchar_t* name : names)
            Write(Gate(name), "");
        for (const wchar_t* name : names)
            EXPECT_EQ(Zel({L"wait", name}).code, 0);
    }
};

TEST_F(SlotsTest, RequestsRunAtOnceAndACancelOrACrashIsOnesOwn)
{
    platform::SProcessOptions options;
    options.environment = {{L"LSAN_OPTIONS", L"detect_leaks=0"}, {L"ZEL_CRASH_DIR", m_strHome}}; // of the crash
    CRunningProgram server = StartServer({L"--slots", L"4"}, options);
    for (const wchar_t* name : {L"a.drq", L"b.drq", L"c.drq"}) {
        SendToGate(name);
        ASSERT_TRUE(WaitUntilAtGate(name));
    }
    EXPECT_EQ(Zel({L"send", MakeRequest(L"crash.drq", L"Type=\"Crash\" Kind=\"NullDereference\""), L"--wait"}).code, 3);
    EXPECT_EQ(Zel({L"send", MakeEcho(L"echo.drq", L"x"), L"--wait"}).code, 0);
    EXPECT_EQ(Zel({L"cancel", L"b.drq"}).output, "b.drq: Canceled\n");
    OpenGates({L"a.drq", L"c.drq"});
    StopServer(server);
    EXPECT_TRUE(Contains(server.Errors(), " --slots 4 ")) << server.Errors();
}

TEST_F(SlotsTest, ListAndStatusTellWhichSlotRunsARequestAndSinceWhen)
{
    CRunningProgram server = StartServer({L"--slots", L"2"});
    for (const wchar_t* name : {L"a.drq", L"b.drq"}) {
        SendToGate(name);
        ASSERT_TRUE(WaitUntilAtGate(name));
    }
    SendToGate(L"c.drq");
    const std::vector<nlohmann::json> listed = Zel({L"list", L"--json"}).Objects();
    ASSERT_EQ(listed.size(), 3U);
    EXPECT_EQ(listed[0].value("slot", 0) + listed[1].value("slot", 0), 3) << listed[0] << listed[1];
    EXPECT_TRUE(listed[2]["slot"].is_null()) << listed[2];
    EXPECT_TRUE(Contains(Zel({L"list"}).output, "  Slot  ")) << Zel({L"list"}).output;
    const nlohmann::json status = Zel({L"status", L"b.drq", L"--json"}).Objects().at(0);
    EXPECT_EQ(status["slot"], listed[1]["slot"]);
    EXPECT_EQ(status["since"], listed[1]["since"]);
    EXPECT_TRUE(status["since"].is_string()) << status;
    OpenGates({L"a.drq", L"b.drq", L"c.drq"});
    EXPECT_TRUE(Zel({L"status", L"a.drq", L"--json"}).Objects().at(0)["slot"].is_null()) << "it has ended";
    StopServer(server);
}

TEST_F(SlotsTest, WhatAServerHasToldOfItsSlotsBeforeItDiedIsToldNoMore)
{
    CRunningProgram server = StartServer({L"--slots", L"2"});
    SendToGate(L"a.drq");
    ASSERT_TRUE(WaitUntilAtGate(L"a.drq"));
    server.Process().Kill();
    static_cast<void>(server.Finish());
    const nlohmann::json left = Zel({L"status", L"a.drq", L"--json"}).Objects().at(0);
    EXPECT_EQ(left["status"], 9) << "as it left it";
    EXPECT_TRUE(left["slot"].is_null()) << left;
    EXPECT_TRUE(left["since"].is_string()) << left;
    CRunningProgram next = StartServer({L"--resume"});
    ASSERT_TRUE(WaitUntil([&] { return Zel({L"status", L"a.drq", L"--json"}).Objects().at(0)["status"] == 9; }));
    EXPECT_TRUE(Zel({L"status", L"a.drq", L"--json"}).Objects().at(0)["slot"].is_null()) << "it has one slot";
    OpenGates({L"a.drq"});
    StopServer(next);
}

/// Their plug-in says nothing of threads.
class SilentPluginTest : public SlotsTest {
protected:
    void SetUp() override
    {
        SlotsTest::SetUp();
        const std::wstring folder = InHome(L"silent");
        ASSERT_TRUE(platform::Succeeded(platform::Files().MakeDirectory(folder)));
        std::string manifest = Read(platform::JoinPath(TestPlugins(), L"zel_testtasks.component"));
        const std::string model = " threadingModel=\"Both\"";
        ASSERT_TRUE(Contains(manifest, model));
        manifest.erase(manifest.find(model), model.size());
        manifest.insert(manifest.find("<module>") + 8, platform::ToUtf8(TestPlugins()) + "/");
        Write(platform::JoinPath(folder, L"silent.component"), manifest);

        std::vector<std::wstring> arguments = DirectoryArguments();
        arguments.insert(arguments.end(), {L"--components", folder, L"--slots", L"2", L"--resume"});
        m_pServer = std::make_unique<CRunningProgram>(L"zel-server", arguments);
        std::wstring line;
        ASSERT_TRUE(m_pServer->Process().ReadLine(line, kPatience)) << m_pServer->Errors();
        SendToGate(L"a.drq");
        ASSERT_TRUE(WaitUntilAtGate(L"a.drq"));
        SendToGate(L"b.drq");
        ASSERT_TRUE(WaitUntil([&] { return platform::PathExists(InOutput(L"b.drq.status")); })) << "it has a slot";
    }

    std::unique_ptr<CRunningProgram> m_pServer;
};

/// In the order in which they come to it, which is not told outside the server: CallGateTest has that.
TEST_F(SilentPluginTest, ServesOneRequestAtATimeUntilAllAreServed)
{
    for (const wchar_t* name : {L"c.drq", L"d.drq"})
        SendToGate(name);
    EXPECT_FALSE(IsAtGate(L"b.drq"));
    OpenGates({L"a.drq"});
    std::vector<const wchar_t*> left = {L"b.drq", L"c.drq", L"d.drq"};
    const auto isAtGate = [this](const wchar_t* name) { return IsAtGate(name); };
    while (!left.empty()) {
        ASSERT_TRUE(WaitUntil([&] { return std::ranges::any_of(left, isAtGate); })) << left.size();
        const auto served = std::ranges::find_if(left, isAtGate);
        EXPECT_EQ(std::ranges::count_if(left, isAtGate), 1);
        OpenGates({*served});
        left.erase(served);
    }
    StopServer(*m_pServer);
}

TEST_F(SilentPluginTest, WhatWaitsForItCanBeCancelled)
{
    EXPECT_EQ(Zel({L"cancel", L"b.drq"}).output, "b.drq: Canceled\n");
    OpenGates({L"a.drq"});
    EXPECT_FALSE(IsAtGate(L"b.drq"));
    StopServer(*m_pServer);
}

TEST_F(SilentPluginTest, WhatWaitsForItWhenTheServerStopsIsRunByTheNext)
{
    m_pServer->Process().RequestStop();
    ASSERT_TRUE(WaitUntil([&] { return !platform::PathExists(InOutput(L"b.drq.status")); })) << "it waits again";
    Write(Gate(L"a.drq"), "");
    EXPECT_EQ(m_pServer->Finish().code, 0);
    EXPECT_FALSE(IsAtGate(L"b.drq"));
    CRunningProgram next = StartServer({L"--resume"});
    ASSERT_TRUE(WaitUntilAtGate(L"b.drq"));
    OpenGates({L"b.drq"});
    StopServer(next);
}

} // namespace
