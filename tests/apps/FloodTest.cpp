#include "platform/Module.h"
#include "platform/Os.h"
#include "tests/apps/ProgramFixture.h"
#include "tests/support/Accounts.h"
#include "tests/support/Predicates.h"

#include <fstream>

namespace {

/// Somebody puts more into the request directory than the server can take in the time in which others want an answer.
class FloodTest : public CProgramTest {
protected:
    /// Another account, where there is one to be had: everything counts as one user's otherwise, who has to wait for
    /// himself.
    const bool m_hasAccounts = testsupport::HasAccounts();
    const bool m_isSanitized = testsupport::IsAddressSanitized() || testsupport::IsThreadSanitized();

    [[nodiscard]] CRunningProgram StartRoomyServer() const
    {
        platform::SProcessOptions options;
        // What the address sanitizer holds back from use is no growth of the server's: 256 MiB if nothing is said.
        options.environment = {{L"ASAN_OPTIONS", platform::Environment(L"ASAN_OPTIONS") + L":quarantine_size_mb=1"}};
        return StartServer({L"--no-sync"}, options);
    }
    [[nodiscard]] std::size_t CountWaiting() const
    {
        return FilesIn(m_strRequests).size() + FilesIn(InOutput(L"Queue")).size();
    }
    void ExpectAnswer(const std::wstring& name) const
    {
        CRunningProgram client = StartZel({L"send", MakeEcho(name, L"x"), L"-o", InHome(L"response")});
        // However long all that is before it takes, one after the other ends.
        int code = -1;
        std::size_t left = CountWaiting();
        while (!client.Process().Wait(kPatience, code) && CountWaiting() < left)
            left = CountWaiting();
        const SProgramResult sent = client.Finish();
        EXPECT_EQ(sent.code, 0) << sent.output << sent.errors;
        EXPECT_EQ(Read(InHome(L"response")), EchoResponse("x"));
    }
    /// Half of them requests, half commands, as another account's.
    void Flood(std::size_t files) const
    {
        const std::string request = Read(MakeEcho(L"flood.drq", L"x"));
        for (std::size_t number = 0; number < files / 2; ++number) {
            const std::wstring name = InRequests(L"flood" + std::to_wstring(number));
            std::ofstream(testsupport::StandardPath(name + L".drq"), std::ios::binary) << request;
            std::ofstream(testsupport::StandardPath(name + L".command"), std::ios::binary)
                << "<Command Type='CancelRequest'><RequestName>none</RequestName></Command>";
        }
        if (m_hasAccounts) {
            ASSERT_TRUE(testsupport::Succeeds(
                {L"/bin/chown", {L"-R", std::to_wstring(testsupport::kOtherAccount), m_strRequests}}));
        }
    }
};

TEST_F(FloodTest, OfManyFilesAndCommandsNeedsLittleMemoryAndOthersAreAnsweredMeanwhile)
{
    // One account alone is answered behind all of its files.
    const std::size_t files = !m_hasAccounts ? 2'000 : m_isSanitized ? 20'000 : 100'000;
    std::uint64_t before = 0;
    {
        CRunningProgram server = StartRoomyServer();
        ExpectAnswer(L"before.drq");
        before = server.Process().PeakMemory();
        StopServer(server);
    }
    Flood(files);
    CRunningProgram server = StartRoomyServer();
    ExpectAnswer(L"honest.drq");
    if (m_hasAccounts) {
        EXPECT_FALSE(FilesIn(m_strRequests).empty()) << "it was answered last";
    }
    const std::uint64_t after = server.Process().PeakMemory();
    const std::uint64_t fixed = std::uint64_t{m_isSanitized ? 64U : 16U} << 20;
    EXPECT_LT(after, before + fixed + files * 32) << "before: " << before;
    const auto start = platform::Clock().Steady();
    StopServer(server);
    EXPECT_LT(platform::Clock().Steady() - start, std::chrono::seconds(30));
}

} // namespace
