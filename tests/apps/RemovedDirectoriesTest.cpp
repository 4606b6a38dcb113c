#include "platform/Os.h"
#include "platform/Path.h"
#include "platform/StandardPath.h"
#include "tests/apps/ProgramFixture.h"

#include <filesystem>

namespace {

/// What a server does when its directories are taken away while it runs.
class RemovedDirectoriesTest : public CProgramTest {
protected:
    void RemoveQueue() const
    {
        std::error_code error;
        EXPECT_TRUE(std::filesystem::remove(platform::StandardPath(InOutput(L"Queue")), error)) << error.message();
    }
    void ExpectServes(const std::wstring& name) const
    {
        EXPECT_EQ(Zel({L"send", MakeEcho(name, L"x"), L"--wait"}).code, 0);
        EXPECT_EQ(Zel({L"server", L"-q"}).code, 0);
    }
};

TEST_F(RemovedDirectoriesTest, AQueueIsMadeAgainAndToldOnce)
{
    CRunningProgram server = StartServer();
    RemoveQueue();
    const std::string told = "the folder Queue was removed from the output directory";
    ASSERT_TRUE(server.WaitForErrors(told));
    ExpectServes(L"a.drq");
    StopServer(server);
    const std::string errors = server.Errors();
    EXPECT_EQ(errors.find(told), errors.rfind(told));
}

TEST_F(RemovedDirectoriesTest, ARequestThatComesMeanwhileIsServed)
{
    CRunningProgram server = StartServer();
    std::wstring name;
    int tries = 0;
    // The server may be faster, and have made the folder: then the next request may find none.
    ASSERT_TRUE(WaitUntil([&] {
        name = L"a" + std::to_wstring(++tries) + L".drq";
        const std::wstring request = MakeEcho(name, L"x");
        RemoveQueue();
        EXPECT_EQ(platform::Files().Move(request, InRequests(name), 0), platform::eOsError_None);
        if (!platform::PathExists(InOutput(L"Queue")))
            return true;
        EXPECT_EQ(Zel({L"wait", name}).code, 0) << "one that came too late is served, too";
        return false;
    }));
    EXPECT_EQ(Zel({L"wait", name}).code, 0);
    EXPECT_TRUE(platform::PathExists(InOutput(name)));
    StopServer(server);
}

TEST_F(RemovedDirectoriesTest, AQueueThatCannotBeMadeAgainEndsTheServerWithAnError)
{
    CRunningProgram server = StartServer();
    // The server may be faster, and make the folder: then it is taken away once more.
    ASSERT_TRUE(WaitUntil([&] {
        std::error_code error;
        std::filesystem::remove_all(platform::StandardPath(InOutput(L"Queue")), error);
        return platform::Succeeded(platform::WriteWholeFile(InOutput(L"Queue"), {}));
    }));
    const SProgramResult result = server.Finish();
    EXPECT_EQ(result.code, 1);
    EXPECT_TRUE(Contains(result.errors, "cannot be made again: ")) << result.errors;
}

} // namespace
