#include "platform/Os.h"
#include "platform/Text.h"
#include "tests/apps/ProgramFixture.h"

#include <sys/stat.h>
#include <unistd.h>

namespace {

/// What only these file systems allow.
class FileNamesTest : public CProgramTest {};

TEST_F(FileNamesTest, NameThatIsNotValidTextIsServed)
{
    CRunningProgram server = StartServer();
    const std::wstring name = platform::FromUtf8("x\xff\xfe.drq");
    const SProgramResult result = Zel({L"send", MakeEcho(name, L"served"), L"-o", InHome(L"response"), L"--json"});
    EXPECT_EQ(result.code, 0) << result.errors;
    EXPECT_EQ(Read(InHome(L"response")), EchoResponse("served"));
    ASSERT_EQ(result.Objects().size(), 1U);
    EXPECT_EQ(result.Objects()[0]["name"], "x\xEF\xBF\xBD\xEF\xBF\xBD.drq");
    StopServer(server);
}

TEST_F(FileNamesTest, NamesThatXmlCannotCarryAreCancelledAndPaused)
{
    platform::SProcessOptions options;
    options.pipeInput = true;
    CRunningProgram server = StartServer({L"--manual"}, options);
    const std::wstring bytes = platform::FromUtf8("x\xff\xfe.drq");
    for (const std::wstring& name : {bytes, std::wstring(L"plain.drq")}) {
        ASSERT_EQ(Zel({L"send", MakeGate(name)}).code, 0);
        ASSERT_TRUE(WaitUntil([&] { return platform::PathExists(InQueue(name)); }));
    }
    EXPECT_EQ(Zel({L"pause", bytes}).code, 0);
    EXPECT_EQ(Zel({L"resume", bytes}).code, 0);
    // Put there by hand.
    const std::wstring control = L"a\x01\r.drq";
    Write(InRequests(control), "x");
    ASSERT_TRUE(WaitUntil([&] { return platform::PathExists(InQueue(control)); }));
    const SProgramResult result = Zel({L"cancel", bytes, control, L"plain.drq"});
    EXPECT_EQ(result.code, 0) << result.errors;
    EXPECT_TRUE(FilesIn(InOutput(L"Queue")).empty());
    StopServer(server);
}

TEST_F(FileNamesTest, NamesThatAServerDoesNotLookForAreCancelledAndNotPaused)
{
    platform::SProcessOptions options;
    options.pipeInput = true;
    CRunningProgram server = StartServer({L"--manual"}, options);
    for (const std::wstring name : {L"a:b.drq", L"a\\b.drq"}) {
        Write(InRequests(name), "x"); // put there by hand
        ASSERT_TRUE(WaitUntil([&] { return platform::PathExists(InQueue(name)); }));
        const SProgramResult result = Zel({L"pause", name});
        EXPECT_EQ(result.code, 1);
        EXPECT_EQ(result.errors, "zel: '" + platform::ToUtf8(name) +
                                     "' can be cancelled, but not paused: it is not a plain file name\n");
        EXPECT_EQ(Zel({L"cancel", name}).code, 0);
        EXPECT_FALSE(platform::PathExists(InQueue(name)));
    }
    StopServer(server);
}

TEST_F(FileNamesTest, FileWithoutReadPermissionEndsInAnErrorAndTheServerGoesOn)
{
    if (geteuid() == 0)
        GTEST_SKIP() << "geteuid: root may read everything; TwoAccountsTest has a server that is not root";
    CRunningProgram server = StartServer();
    Write(InHome(L"secret.drq"), "x");
    ASSERT_EQ(chmod(platform::ToUtf8(InHome(L"secret.drq")).c_str(), 0), 0);
    EXPECT_EQ(Zel({L"send", InHome(L"secret.drq")}).code, 1);
    // Put there by hand.
    ASSERT_EQ(platform::Files().Move(InHome(L"secret.drq"), InRequests(L"secret.drq"), 0), platform::eOsError_None);
    EXPECT_EQ(Zel({L"wait", L"secret.drq"}).code, 3);
    EXPECT_EQ(Zel({L"send", MakeEcho(L"a.drq", L"x"), L"--wait"}).code, 0);
    StopServer(server);
}

} // namespace
