#include "ZEL_Processor/ZelProcessorClient.h"
#include "ZEL_Processor/ZelProcessorServer.h"
#include "com/Components.h"
#include "com/ZelCom.h"
#include "framework/DefaultHost.h"
#include "platform/FileSystem.h"
#include "platform/Module.h"
#include "platform/Os.h"
#include "platform/Path.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/RequestDoubles.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

namespace {

using namespace std::chrono_literals;

/// Never comes to the end of a report, as one that needs a lock which the crash has left taken.
class CHangingHost final : public CWQ_DefaultHost {
public:
    CHangingHost() : m_pPrevious(SetWQ_Host(this)) {}
    ~CHangingHost() override { SetWQ_Host(m_pPrevious); }
    CHangingHost(const CHangingHost&) = delete;
    CHangingHost& operator=(const CHangingHost&) = delete;

    int GenerateErrorReport(const SMOXCrashRecord&) override
    {
        testsupport::TellParent(L"reporting");
        testsupport::WaitForParent();
        return 0;
    }

private:
    IWQ_Host* const m_pPrevious;
};

/// Serves one request that crashes, in the folder that is given.
int ServeACrash(const std::vector<std::wstring>& arguments)
{
    const std::wstring& root = arguments.at(0);
    CHangingHost host;
    CoInitializeSYS(nullptr);
    CoInitializeZEL(nullptr);
    std::vector<std::wstring> errors;
    AddComponentFolder(platform::JoinPath(platform::DirectoryOf(platform::ProgramPath()), L"test-plugins"), errors);
    CTestContext context;
    CZelProcessorServer server;
    server.SetZelProcessorContext(&context);
    server.SetOptions({.syncing = false, .crashReportTime = 100ms});
    if (!server.SetDirs(platform::JoinPath(root, L"requests"), platform::JoinPath(root, L"output")) || !server.Run())
        return 1;
    testsupport::TellParent(L"running");
    testsupport::WaitForParent();
    return 2;
}
const testsupport::CChildPart crashPart(L"serve-a-crash", &ServeACrash);

TEST(CrashReportTime, AServerWhoseReportHangsEndsByTheSignalOfTheCrash)
{
    const testsupport::CTemporaryDirectory root;
    for (const wchar_t* name : {L"requests", L"output", L"client"})
        ASSERT_TRUE(platform::Succeeded(platform::Files().MakeDirectory(root / name)));
    auto child = testsupport::StartChild(L"serve-a-crash", {root.Path()});
    ASSERT_TRUE(testsupport::WaitForChild(child, L"running"));
    CZelProcessorClient client;
    client.Init(root / L"requests", root / L"output", root / L"client");
    client.SetSyncing(false);
    const std::wstring file = platform::JoinPath(root / L"client", L"crash.drq");
    ASSERT_TRUE(platform::Succeeded(
        platform::WriteWholeFile(file, "<Request><Task Type=\"Crash\"><Kind>NullDereference</Kind></Task></Request>")));
    ASSERT_EQ(client.SendRequest(file), eRequestStatus_Sent);
    ASSERT_TRUE(testsupport::WaitForChild(child, L"reporting"));
    int code = 0;
    ASSERT_TRUE(child.Wait(60s, code)) << "it hangs";
    EXPECT_TRUE(code == 128 + 11 || static_cast<std::uint32_t>(code) == 0xC0000005) << code;
}

} // namespace
