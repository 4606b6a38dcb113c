#include "platform/Os.h"
#include "platform/Path.h"
#include "platform/Text.h"
#include "tests/apps/ProgramFixture.h"

namespace {

class ManyClientsTest : public CProgramTest {};

TEST_F(ManyClientsTest, EveryRequestOfEveryClientGetsItsOwnResponse)
{
    constexpr int kClients = 4;
    constexpr int kRequests = 100;
    CRunningProgram server = StartServer({L"--no-sync", L"--log-level", L"warning"});
    std::vector<CRunningProgram> clients;
    std::vector<std::wstring> targets;
    for (int client = 0; client < kClients; ++client) {
        targets.push_back(m_root / (L"responses-" + std::to_wstring(client)));
        ASSERT_EQ(platform::Files().MakeDirectory(targets.back()), platform::eOsError_None);
        std::vector<std::wstring> arguments = {L"send", L"-q", L"-o", targets.back()};
        for (int request = 0; request < kRequests; ++request) {
            const std::wstring text = std::to_wstring(client) + L"-" + std::to_wstring(request);
            arguments.push_back(MakeEcho(text + L".drq", text));
        }
        clients.push_back(StartZel(arguments));
    }
    for (int client = 0; client < kClients; ++client) {
        const auto index = static_cast<std::size_t>(client);
        const SProgramResult result = clients[index].Finish();
        EXPECT_EQ(result.code, 0) << result.errors;
        for (int request = 0; request < kRequests; ++request) {
            const std::wstring text = std::to_wstring(client) + L"-" + std::to_wstring(request);
            EXPECT_EQ(Read(platform::JoinPath(targets[index], text + L".drq")), EchoResponse(platform::ToUtf8(text)));
        }
    }
    EXPECT_EQ(FilesIn(m_strRequests), std::vector<std::wstring>());
    EXPECT_EQ(FilesIn(m_strOutput), std::vector<std::wstring>());
    EXPECT_EQ(FilesIn(InOutput(L"Queue")), std::vector<std::wstring>());
    StopServer(server);
}

} // namespace
