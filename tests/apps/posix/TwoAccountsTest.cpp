#include "platform/Module.h"
#include "platform/Os.h"
#include "platform/Path.h"
#include "platform/Text.h"
#include "tests/apps/ProgramFixture.h"
#include "tests/support/Accounts.h"

#include <tuple>

namespace {

using testsupport::kClientAccount;
using testsupport::kOtherAccount;
using testsupport::kServerAccount;

/// Client and server under two accounts, as after an installation: account of the server, mask of the client, and
/// whether files are private.
class TwoAccountsTest : public CProgramTest,
                        public testing::WithParamInterface<std::tuple<unsigned, const wchar_t*, bool>> {
protected:
    void SetUp() override
    {
        if (!testsupport::HasAccounts())
            GTEST_SKIP() << "HasAccounts: this takes the superuser and setpriv";
        const auto [server, mask, isPrivate] = GetParam();
        ASSERT_TRUE(testsupport::OpenDirectory(m_root.Path()));
        ASSERT_TRUE(testsupport::GiveDirectory(m_strRequests, server));
        ASSERT_TRUE(testsupport::GiveDirectory(m_strOutput, server));
        ASSERT_TRUE(testsupport::GiveDirectory(m_strHome, kClientAccount));
    }
    [[nodiscard]] static bool IsPrivate() { return std::get<2>(GetParam()); }
    [[nodiscard]] static testsupport::SCommand Program(const std::wstring& name,
                                                       const std::vector<std::wstring>& arguments)
    {
        return {platform::JoinPath(platform::DirectoryOf(platform::ProgramPath()), name), arguments};
    }
    [[nodiscard]] CRunningProgram StartServerAsAccount(const std::vector<std::wstring>& extra = {}) const
    {
        std::vector<std::wstring> arguments = DirectoryArguments();
        arguments.insert(arguments.end(), {L"--components", TestPlugins(), L"--no-sync"});
        arguments.insert(arguments.end(), extra.begin(), extra.end());
        if (IsPrivate())
            arguments.emplace_back(L"--private");
        const auto command = testsupport::AsAccount(std::get<0>(GetParam()), Program(L"zel-server", arguments), L"007");
        CRunningProgram server(command.program, command.arguments);
        std::wstring line;
        EXPECT_TRUE(server.Process().ReadLine(line, kPatience)) << server.Errors();
        return server;
    }
    [[nodiscard]] CRunningProgram StartZelAs(unsigned account, const std::vector<std::wstring>& arguments) const
    {
        std::vector<std::wstring> all = arguments;
        all.insert(all.end(), {L"--request-dir", m_strRequests, L"--output-dir", m_strOutput});
        const auto command = testsupport::AsAccount(account, Program(L"zel", all), std::get<1>(GetParam()));
        return {command.program, command.arguments};
    }
    [[nodiscard]] SProgramResult ZelAs(unsigned account, const std::vector<std::wstring>& arguments) const
    {
        return StartZelAs(account, arguments).Finish();
    }
    [[nodiscard]] static bool CanRead(unsigned account, const std::wstring& path)
    {
        return testsupport::Succeeds(testsupport::AsAccount(account, {L"/bin/grep", {L"-qa", L".", path}}));
    }
    /// The client's own file, with the mask of the client.
    [[nodiscard]] std::wstring MakeAsClient(const std::wstring& name, const std::wstring& taskAttributes) const
    {
        const std::wstring path = MakeRequest(name, taskAttributes);
        EXPECT_TRUE(testsupport::Succeeds({L"/bin/chown", {std::to_wstring(kClientAccount), path}}));
        EXPECT_TRUE(testsupport::Succeeds({L"/bin/chmod", {L"0600", path}}));
        return path;
    }
};

TEST_P(TwoAccountsTest, TheClientGetsItsResponse)
{
    CRunningProgram server = StartServerAsAccount();
    const SProgramResult sent =
        ZelAs(kClientAccount, {L"send", MakeAsClient(L"a.drq", L"Type=\"Echo\" Text=\"x\""), L"-o", InHome(L"r.xml")});
    EXPECT_EQ(sent.code, 0) << sent.errors << server.Errors();
    EXPECT_EQ(Read(InHome(L"r.xml")), EchoResponse("x"));
    EXPECT_FALSE(platform::PathExists(InOutput(L"a.drq.status")));
    StopServer(server);
}

TEST_P(TwoAccountsTest, OthersReadStatusAndResponseOnlyWhenFilesAreNotPrivate)
{
    CRunningProgram server = StartServerAsAccount();
    const SProgramResult sent =
        ZelAs(kClientAccount, {L"send", MakeAsClient(L"a.drq", L"Type=\"Echo\" Text=\"x\""), L"--wait"});
    ASSERT_EQ(sent.code, 0) << sent.errors << server.Errors();
    for (const wchar_t* name : {L"a.drq", L"a.drq.status"}) {
        EXPECT_TRUE(CanRead(kClientAccount, InOutput(name))) << platform::ToUtf8(name);
        EXPECT_EQ(CanRead(kOtherAccount, InOutput(name)), !IsPrivate()) << platform::ToUtf8(name);
    }
    EXPECT_EQ(ZelAs(kClientAccount, {L"receive", L"a.drq", InHome(L"r.xml")}).code, 0);
    StopServer(server);
}

TEST_P(TwoAccountsTest, WhoMayNotLookIntoTheOutputDirectoryIsToldSo)
{
    CRunningProgram server = StartServerAsAccount();
    ASSERT_TRUE(testsupport::Succeeds({L"/bin/chmod", {L"0700", m_strOutput}}));
    for (const wchar_t* command : {L"status", L"wait", L"forget"}) {
        const SProgramResult result = ZelAs(kOtherAccount, {command, L"a.drq"});
        EXPECT_EQ(result.code, 1) << result.errors;
        EXPECT_TRUE(Contains(result.errors, "cannot be looked into: Access denied")) << result.errors;
    }
    StopServer(server);
}

TEST_P(TwoAccountsTest, AFailedRequestIsToldToItsClientAlone)
{
    CRunningProgram server = StartServerAsAccount();
    // Without waiting: who waits takes the status away.
    ASSERT_EQ(ZelAs(kClientAccount, {L"send", MakeAsClient(L"a.drq", L"Type=\"NoSuchTask\"")}).code, 0);
    ASSERT_TRUE(WaitUntil([&] { return platform::PathExists(InOutput(L"a.drq.status")); })) << server.Errors();
    EXPECT_TRUE(CanRead(kClientAccount, InOutput(L"a.drq.status")));
    EXPECT_EQ(CanRead(kOtherAccount, InOutput(L"a.drq.status")), !IsPrivate());
    StopServer(server);
}

TEST_P(TwoAccountsTest, AFileWithoutPermissionsIsAnErrorForWhoMayNotReadIt)
{
    CRunningProgram server = StartServerAsAccount();
    const std::wstring file = MakeAsClient(L"secret.drq", L"Type=\"Echo\" Text=\"x\"");
    ASSERT_TRUE(testsupport::Succeeds({L"/bin/chmod", {L"0000", file}}));
    // Put there by hand: the tool would refuse it.
    ASSERT_EQ(platform::Files().Move(file, InRequests(L"secret.drq"), 0), platform::eOsError_None);
    const SProgramResult waited = ZelAs(kClientAccount, {L"wait", L"secret.drq"});
    const bool mayReadAll = std::get<0>(GetParam()) == 0;
    EXPECT_EQ(waited.code, mayReadAll ? 0 : 3) << waited.errors << server.Errors();
    EXPECT_EQ(Contains(waited.output + waited.errors, "Access denied"), !mayReadAll) << waited.output << waited.errors;
    EXPECT_FALSE(platform::PathExists(InQueue(L"secret.drq")));
    EXPECT_EQ(ZelAs(kClientAccount, {L"send", MakeAsClient(L"a.drq", L"Type=\"Echo\" Text=\"x\""), L"--wait"}).code, 0);
    StopServer(server);
}

TEST_P(TwoAccountsTest, EventsReachTheirClientAlone)
{
    CRunningProgram server = StartServerAsAccount();
    CRunningProgram listener = StartZelAs(kClientAccount, {L"listen", L"--json"});
    ASSERT_TRUE(listener.WaitForErrors("listening")) << listener.Errors() << server.Errors();
    for (const std::wstring& name : FilesIn(m_strOutput)) {
        if (name.starts_with(L"DsEvents_") && !name.ends_with(L".lock")) {
            // It is empty by now: what counts is whether it can be opened.
            const auto open = [&](unsigned account) {
                return testsupport::Succeeds(
                    testsupport::AsAccount(account, {L"/usr/bin/head", {L"-c1", InOutput(name)}}));
            };
            EXPECT_TRUE(open(kClientAccount));
            EXPECT_EQ(open(kOtherAccount), !IsPrivate());
        }
    }
    const SProgramResult fired =
        ZelAs(kClientAccount,
              {L"send", MakeAsClient(L"fire.drq", L"Type=\"FireEvents\" Added=\"1\" LockResults=\"1\""), L"--wait"});
    ASSERT_EQ(fired.code, 0) << fired.errors;
    for (int event = 0; event < 2; ++event) {
        std::wstring line;
        ASSERT_TRUE(listener.Process().ReadLine(line, kPatience)) << listener.Errors() << server.Errors();
        EXPECT_TRUE(Contains(platform::ToUtf8(line), event == 0 ? "{" : "event")) << platform::ToUtf8(line);
    }
    listener.Process().RequestStop();
    EXPECT_EQ(listener.Finish().code, 0) << "it could not take its registration back";
    StopServer(server);
}

TEST_P(TwoAccountsTest, TheRequestsOfOneAccountAreLimitedAndThoseOfAnotherServed)
{
    CRunningProgram server = StartServerAsAccount({L"--max-queued", L"2", L"--max-clients", L"1"});
    // One runs until the gate opens; two wait; the fourth is too many.
    ASSERT_EQ(ZelAs(kClientAccount,
                    {L"send", MakeAsClient(L"gate.drq", L"Type=\"Gate\" GateFile=\"" + InOutput(L"gate.file") + L"\"")})
                  .code,
              0);
    ASSERT_TRUE(WaitUntil([&] { return platform::PathExists(InOutput(L"gate.file.entered")); })) << server.Errors();
    for (const wchar_t* name : {L"a.drq", L"b.drq"}) {
        ASSERT_EQ(ZelAs(kClientAccount, {L"send", MakeAsClient(name, L"Type=\"Echo\" Text=\"x\"")}).code, 0);
        ASSERT_TRUE(WaitUntil([&] { return platform::PathExists(InQueue(name)); }));
    }
    const SProgramResult refused =
        ZelAs(kClientAccount, {L"send", MakeAsClient(L"c.drq", L"Type=\"Echo\" Text=\"x\""), L"--wait"});
    EXPECT_EQ(refused.code, 3);
    EXPECT_TRUE(Contains(refused.errors + refused.output, "--max-queued")) << refused.errors << refused.output;
    EXPECT_FALSE(platform::PathExists(InQueue(L"c.drq")));

    CRunningProgram first = StartZelAs(kClientAccount, {L"listen"});
    ASSERT_TRUE(first.WaitForErrors("listening")) << first.Errors();
    const SProgramResult second = ZelAs(kClientAccount, {L"listen"});
    EXPECT_NE(second.code, 0);
    EXPECT_TRUE(Contains(second.errors, "--max-clients")) << second.errors;
    CRunningProgram other = StartZelAs(kOtherAccount, {L"listen"});
    EXPECT_TRUE(other.WaitForErrors("listening")) << other.Errors();

    const std::wstring his = MakeRequest(L"d.drq", L"Type=\"Echo\" Text=\"x\"");
    CRunningProgram sending = StartZelAs(kOtherAccount, {L"send", his, L"--wait"});
    ASSERT_TRUE(WaitUntil([&] { return platform::PathExists(InQueue(L"d.drq")); })) << sending.Errors();
    Write(InOutput(L"gate.file"), "");
    EXPECT_EQ(sending.Finish().code, 0);
    StopServer(server);
}

TEST_P(TwoAccountsTest, WhereOthersMayWriteTheQueueIsHeldByAnAdministratorWhoIsNotTheServerAlone)
{
    CRunningProgram server = StartServerAsAccount();
    const unsigned serversAccount = std::get<0>(GetParam());
    // Its responses are files of the server's account, and any client may hand one over as a command.
    for (const unsigned account : {kClientAccount, serversAccount}) {
        const SProgramResult refused = ZelAs(account, {L"hold"});
        EXPECT_EQ(refused.code, 3) << refused.errors;
        EXPECT_TRUE(Contains(refused.errors, "is for administrators")) << refused.errors;
        EXPECT_FALSE(platform::PathExists(InOutput(L".zel-server/held")));
    }
    if (serversAccount != 0) {
        constexpr unsigned account = 0;
        const SProgramResult held = ZelAs(account, {L"hold"});
        EXPECT_EQ(held.code, 0) << held.errors << server.Errors();
        EXPECT_TRUE(platform::PathExists(InOutput(L".zel-server/held")));
        EXPECT_EQ(ZelAs(kOtherAccount, {L"release"}).code, 3);
        EXPECT_EQ(ZelAs(account, {L"release"}).code, 0);
        EXPECT_FALSE(platform::PathExists(InOutput(L".zel-server/held")));
    }
    StopServer(server);
}

INSTANTIATE_TEST_SUITE_P(Accounts, TwoAccountsTest,
                         testing::Combine(testing::Values(0U, kServerAccount), testing::Values(L"022", L"077"),
                                          testing::Bool()),
                         [](const auto& test) {
                             return std::string(std::get<0>(test.param) == 0 ? "Superuser" : "Service") +
                                    (std::get<1>(test.param)[1] == L'2' ? "OpenMask" : "ClosedMask") +
                                    (std::get<2>(test.param) ? "Private" : "");
                         });

} // namespace
