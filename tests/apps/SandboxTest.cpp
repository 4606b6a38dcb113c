#include "platform/Sandbox.h"
#include "platform/Module.h"
#include "platform/Os.h"
#include "platform/Path.h"
#include "platform/Text.h"
#include "tests/apps/ProgramFixture.h"

#include <string>
#include <utility>
#include <vector>

namespace {

/// Isolated tasks that are kept from what none needs.
class SandboxTest : public CProgramTest {
protected:
    [[nodiscard]] CRunningProgram StartSandboxed(std::vector<std::wstring> extra = {}) const
    {
        platform::SProcessOptions options;
        // The temporary folder is the test's own, to see what is left in it; a sanitizer looks for leaks by tracing.
        options.environment = {{L"TMPDIR", m_strHome}, {L"ZEL_CRASH_DIR", L""}, {L"LSAN_OPTIONS", L"detect_leaks=0"}};
        extra.insert(extra.end(), {L"--isolate", L"--sandbox"});
        return StartServer(extra, std::move(options));
    }
    /// What is told of a request that does this; empty when it is done.
    [[nodiscard]] std::string Try(const std::wstring& attributes) const
    {
        const std::wstring name = L"f" + std::to_wstring(++m_nSent) + L".drq";
        const SProgramResult sent =
            Zel({L"send", MakeRequest(name, L"Type=\"Forbidden\" " + attributes), L"-o", InHome(name + L".xml")});
        EXPECT_TRUE(sent.code == 0 || sent.code == 3) << sent.errors;
        return sent.code == 0 ? std::string() : sent.output + sent.errors;
    }

private:
    mutable int m_nSent = 0;
};

#define ZEL_NEEDS_SANDBOX(condition)                                                                                   \
    const std::optional<platform::SSandboxSupport> support = platform::SandboxSupport();                               \
    if (!support || !(condition))                                                                                      \
    GTEST_SKIP() << "SandboxSupport: the system has no such sandbox"

TEST_F(SandboxTest, ASystemWithoutOneSaysSo)
{
    if (platform::SandboxSupport())
        GTEST_SKIP() << "SandboxSupport: this system has one";
    std::vector<std::wstring> arguments = DirectoryArguments();
    arguments.insert(arguments.end(), {L"--isolate", L"--sandbox"});
    const SProgramResult result = ServerResult(arguments);
    EXPECT_EQ(result.code, 2) << result.errors;
    EXPECT_TRUE(Contains(result.errors, "this system has no sandbox for tasks")) << result.errors;
}

TEST_F(SandboxTest, ItIsForATaskOfAServerThatIsolates)
{
    for (const auto& [option, other] : {std::pair{L"--sandbox", "--isolate"}, {L"--allow-network", "--sandbox"}}) {
        std::vector<std::wstring> arguments = DirectoryArguments();
        arguments.emplace_back(option);
        const SProgramResult result = ServerResult(arguments);
        EXPECT_EQ(result.code, 2) << result.errors;
        EXPECT_TRUE(Contains(result.errors, other)) << result.errors;
    }
}

TEST_F(SandboxTest, ATaskWritesInTheOutputDirectoryAndItsTemporaryFolderAlone)
{
    ZEL_NEEDS_SANDBOX(support->fileRules > 0);
    CRunningProgram server = StartSandboxed();
    EXPECT_EQ(Try(L"File=\"" + InOutput(L"x") + L"\""), "");
    EXPECT_EQ(Try(L"Temporary=\"x\""), "");
    EXPECT_TRUE(Contains(Try(L"File=\"" + InHome(L"x") + L"\""), "Access denied"));
    EXPECT_TRUE(Contains(Try(L"File=\"" + InRequests(L"x") + L"\""), "Access denied"));
    StopServer(server);
    EXPECT_EQ(Read(InOutput(L"x")), "forbidden");
    EXPECT_FALSE(platform::PathExists(InHome(L"x")));
    EXPECT_TRUE(Contains(server.Errors(), "Tasks run in a sandbox: no new privileges")) << server.Errors();
    EXPECT_TRUE(Contains(server.Errors(), "Landlock, version " + std::to_string(support->fileRules)))
        << server.Errors();
}

TEST_F(SandboxTest, ATaskMakesNoLinkInTheOutputDirectory)
{
    ZEL_NEEDS_SANDBOX(support->fileRules > 0);
    CRunningProgram server = StartSandboxed();
    const std::string told = Try(L"Link=\"" + InOutput(L"link") + L"\"");
    EXPECT_TRUE(Contains(told, "Permission denied")) << told;
    StopServer(server);
}

TEST_F(SandboxTest, EachProcessHasATemporaryFolderOfItsOwn)
{
    ZEL_NEEDS_SANDBOX(true);
    CRunningProgram server = StartSandboxed({L"--recycle", L"2"});
    EXPECT_EQ(Try(L"Temporary=\"x\""), "");
    EXPECT_TRUE(Contains(Try(L"Temporary=\"x\""), "it is there already")) << "the same process";
    EXPECT_EQ(Try(L"Temporary=\"x\""), "") << "the next one";
    StopServer(server);
    std::vector<std::wstring> left;
    static_cast<void>(platform::Files().Visit(m_strHome, [&](const platform::SDirectoryEntry& entry) {
        if (entry.name.starts_with(L"zel-task-"))
            left.push_back(entry.name);
        return true;
    }));
    EXPECT_TRUE(left.empty()) << platform::ToUtf8(left[0]);
}

TEST_F(SandboxTest, WhatItRefusesIsToldByItsName)
{
    ZEL_NEEDS_SANDBOX(support->refusesCalls);
    CRunningProgram server = StartSandboxed();
    for (const auto& [call, name] : {std::pair{L"socket", "socket"}, {L"ptrace", "ptrace"}}) {
        const std::string told = Try(L"Call=\"" + std::wstring(call) + L"\"");
        EXPECT_TRUE(Contains(told, "Operation not permitted")) << told;
        EXPECT_TRUE(Contains(told, "The sandbox has refused the task the system call \"" + std::string(name) + "\"."))
            << told;
    }
    const std::string ended = Try(L"Call=\"ptrace, deaf\"");
    EXPECT_TRUE(Contains(ended, "signal 31. The sandbox refuses its system call.")) << ended;
    EXPECT_FALSE(Contains(Try(L"Call=\"none\""), "The sandbox")) << "the next failure is not its doing";
    StopServer(server);
    EXPECT_TRUE(Contains(server.Errors(), "the sandbox has refused its task the system call socket"))
        << server.Errors();
}

TEST_F(SandboxTest, ACrashBehindARefusalIsReportedWithIt)
{
    ZEL_NEEDS_SANDBOX(support->refusesCalls && support->fileRules > 0);
    CRunningProgram server = StartSandboxed();
    const std::string told = Try(L"Call=\"socket\" Crash=\"Abort\"");
    EXPECT_TRUE(Contains(told, "The process of the task has ended: abort.")) << told;
    EXPECT_TRUE(Contains(told, "The sandbox has refused the task the system call \"socket\".")) << told;
    EXPECT_TRUE(Contains(told, "Crash report: " + platform::ToUtf8(m_strHome))) << told;
    StopServer(server);
    std::vector<std::wstring> folders;
    static_cast<void>(platform::Files().Visit(m_strHome, [&](const platform::SDirectoryEntry& entry) {
        if (entry.isDirectory)
            folders.push_back(entry.name);
        return true;
    }));
    ASSERT_EQ(folders.size(), 1U) << "the temporary folder of the tasks is gone";
    EXPECT_TRUE(folders[0].starts_with(L"zel-crash-")) << platform::ToUtf8(folders[0]);
}

TEST_F(SandboxTest, AStrictServerTellsOfARefusalToItsLogAlone)
{
    ZEL_NEEDS_SANDBOX(support->refusesCalls);
    CRunningProgram server = StartSandboxed({L"--strict"});
    EXPECT_FALSE(Contains(Try(L"Call=\"socket\""), "sandbox"));
    StopServer(server);
    EXPECT_TRUE(Contains(server.Errors(), "the sandbox has refused its task the system call socket"))
        << server.Errors();
}

TEST_F(SandboxTest, TheNetworkIsAllowedWhenAskedFor)
{
    ZEL_NEEDS_SANDBOX(support->refusesCalls);
    CRunningProgram server = StartSandboxed({L"--allow-network"});
    EXPECT_EQ(Try(L"Call=\"socket\""), "");
    EXPECT_TRUE(Contains(Try(L"Call=\"ptrace\""), "Operation not permitted"));
    StopServer(server);
    EXPECT_TRUE(Contains(server.Errors(), "seccomp, the network allowed")) << server.Errors();
}

} // namespace
