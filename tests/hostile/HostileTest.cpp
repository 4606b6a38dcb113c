#include "ZEL_Processor/ZelProcessorEnums.h"
#include "platform/Module.h"
#include "platform/Os.h"
#include "platform/Path.h"
#include "platform/Text.h"
#include "tests/apps/ProgramFixture.h"
#include "tests/plugins/SampleDatabase.h"
#include "tests/support/Accounts.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/Predicates.h"

#include <algorithm>
#include <fstream>
#include <iostream>
#include <sstream>

namespace {

using namespace std::chrono_literals;

/// For as long as scripts/test has time; tests/hostile/run asks for more.
constexpr std::chrono::seconds kShort{15};
/// What memory may grow by from the warm-up to the end: the arenas of an allocator, not one byte per request.
constexpr std::uint64_t kMemoryGrowth = std::uint64_t{64} << 20;
/// What the server may have at all; a sanitizer keeps notes of every byte.
constexpr std::uint64_t kMemory = std::uint64_t{128} << 20;
constexpr std::uint64_t kSanitizedMemory = std::uint64_t{1} << 30;
/// However busy the machine is.
constexpr std::size_t kFewestAnswers = 5;
constexpr const wchar_t* kWays[] = {L"files", L"requests", L"commands", L"registrations",
                                    L"sql",   L"locks",    L"links",    L"odd"};

std::chrono::seconds Duration()
{
    const std::wstring asked = platform::Environment(L"ZEL_HOSTILE_SECONDS");
    return asked.empty() ? kShort : std::chrono::seconds(std::stoi(asked));
}

double ToMilliseconds(std::int64_t microseconds)
{
    return static_cast<double>(microseconds) / 1000;
}

/// Resident memory now, where the system tells it in a file; else the most there ever was.
std::uint64_t MemoryOf(const platform::CProcess& process)
{
    std::ifstream file("/proc/" + std::to_string(process.Id()) + "/statm");
    std::uint64_t pages = 0;
    std::uint64_t resident = 0;
    constexpr std::uint64_t kPage = 4096;
    return file >> pages >> resident ? resident * kPage : process.PeakMemory();
}

class HostileTest : public CProgramTest {
protected:
    void SetUp() override
    {
        m_hasAccounts = testsupport::HasAccounts();
        m_data.Make(L"box", "CREATE TABLE birds(id INTEGER PRIMARY KEY); WITH RECURSIVE c(x) AS (SELECT 1 UNION ALL "
                            "SELECT x + 1 FROM c LIMIT 100) INSERT INTO birds SELECT x FROM c");
        ASSERT_EQ(platform::Files().MakeDirectory(m_root / L"log"), platform::eOsError_None);
        Write(m_strVictim, "kept");
        if (!m_hasAccounts)
            return;
        ASSERT_TRUE(testsupport::OpenDirectory(m_root.Path()));
        for (const auto& [path, account] :
             {std::pair(m_strRequests, testsupport::kServerAccount),
              std::pair(m_strOutput, testsupport::kServerAccount),
              std::pair(m_root / L"log", testsupport::kServerAccount),
              std::pair(m_strHome, testsupport::kClientAccount), std::pair(m_strVictim, testsupport::kServerAccount),
              std::pair(platform::DirectoryOf(m_data.PathOf(L"box")), testsupport::kServerAccount)})
            ASSERT_TRUE(testsupport::GiveDirectory(path, account));
    }

    /// The command under the account, or as it is where there is only one.
    [[nodiscard]] testsupport::SCommand As(unsigned account, const testsupport::SCommand& command) const
    {
        return m_hasAccounts ? testsupport::AsAccount(account, command, L"007") : command;
    }
    [[nodiscard]] CRunningProgram StartAttackedServer() const
    {
        std::vector<std::wstring> arguments = DirectoryArguments();
        arguments.insert(arguments.end(),
                         {L"--components", TestPlugins(), L"--no-sync", L"--log-level", L"warning", L"--log-file",
                          m_root / platform::JoinPath(L"log", L"server.log"), L"--log-size", L"16"});
        if (m_hasAccounts)
            arguments.emplace_back(L"--private");
        // One executive serves all: what one statement may take is what everybody else waits.
        arguments.insert(arguments.end(), {L"--query-time-limit", L"0.05"});
        // What the address sanitizer holds back from use is no growth of the server's: 256 MiB if nothing is said.
        platform::SetEnvironment(L"ASAN_OPTIONS", platform::Environment(L"ASAN_OPTIONS") + L":quarantine_size_mb=8");
        const std::wstring programs = platform::DirectoryOf(platform::ProgramPath());
        const std::wstring name =
            L"zel-server" + std::wstring(platform::ExtensionOf(platform::ProgramPath()) == L".exe" ? L".exe" : L"");
        const auto command = As(testsupport::kServerAccount, {platform::JoinPath(programs, name), arguments});
        CRunningProgram server(command.program, command.arguments);
        std::wstring line;
        EXPECT_TRUE(server.Process().ReadLine(line, kPatience)) << server.Errors();
        return server;
    }
    [[nodiscard]] platform::CProcess StartClient(unsigned account, const wchar_t* name,
                                                 const std::vector<std::wstring>& arguments) const
    {
        const auto command = As(account, {platform::ProgramPath(), testsupport::ChildArguments(name, arguments)});
        platform::SProcessOptions options;
        options.pipeInput = true;
        options.pipeOutput = true;
        platform::CProcess client;
        EXPECT_EQ(client.Start(command.program, command.arguments, options), platform::eOsError_None);
        return client;
    }

    plugintest::CDataFolder m_data; ///< before the server, which inherits where it is
    const std::wstring m_strVictim = m_root / platform::JoinPath(L"log", L"victim"); ///< where links lead to
    bool m_hasAccounts = false;
};

TEST_F(HostileTest, HonestRequestsAreAnsweredAndTheServerStaysSmall)
{
    CRunningProgram server = StartAttackedServer();
    std::vector<platform::CProcess> hostile;
    // Some of them alone tell which one it was that made others wait.
    const std::wstring asked = platform::Environment(L"ZEL_HOSTILE_WAYS");
    for (const wchar_t* way : kWays)
        if (asked.empty() || asked.find(way) != std::wstring::npos)
            hostile.push_back(StartClient(
                testsupport::kOtherAccount, L"hostile",
                {way, m_strRequests, m_strOutput, m_strVictim, m_hasAccounts ? L"accounts" : L"one account"}));
    platform::CProcess honest =
        StartClient(testsupport::kClientAccount, L"honest", {m_strRequests, m_strOutput, m_strHome});

    const auto duration = Duration();
    const auto start = platform::Clock().Steady();
    std::vector<std::uint64_t> memory;
    while (platform::Clock().Steady() - start < duration) {
        platform::Clock().SleepFor(500ms);
        memory.push_back(MemoryOf(server.Process()));
    }
    for (platform::CProcess& client : hostile) {
        client.CloseInput();
        EXPECT_GT(std::stoull("0" + client.ReadAll(kPatience)), 0U) << "it did no harm";
    }
    honest.CloseInput();

    std::istringstream lines(honest.ReadAll(kPatience + 60s));
    std::vector<std::int64_t> times;
    std::size_t refused = 0;
    std::int64_t time = 0;
    for (int status = 0; lines >> time >> status;) {
        times.push_back(time);
        const bool isRefusal = status == eRequestStatus_ServerError && !m_hasAccounts;
        refused += isRefusal ? 1U : 0U;
        EXPECT_TRUE(status == eRequestStatus_Done || isRefusal) << "request " << times.size() << ": " << status;
    }
    hostile.push_back(std::move(honest));
    for (platform::CProcess& client : hostile) {
        int code = -1;
        EXPECT_TRUE(client.Wait(kPatience, code));
        EXPECT_EQ(code, 0);
    }
    StopServer(server);
    EXPECT_EQ(Read(m_strVictim), "kept") << "written through a link";

    // With one account for all an honest request stands behind everybody's.
    ASSERT_GE(times.size(), m_hasAccounts ? kFewestAnswers : 1);
    ASSERT_FALSE(memory.empty());
    std::ranges::sort(times);
    const auto share = [&](std::size_t percent) { return ToMilliseconds(times[(times.size() - 1) * percent / 100]); };
    const std::uint64_t warm = *std::max_element(memory.begin(), memory.begin() + 1 + std::ssize(memory) / 4);
    std::cout << "honest requests: " << times.size() << " in " << duration.count() << " s, refused " << refused
              << "; ms: p50 " << share(50) << ", p99 " << share(99) << ", max " << share(100) << "\n"
              << "server's memory, MiB: after a quarter at most " << (warm >> 20) << ", at the end "
              << (memory.back() >> 20) << (m_hasAccounts ? "; three accounts\n" : "; one account for all\n");
    EXPECT_LT(memory.back(), warm + kMemoryGrowth);
    const bool isSanitized = testsupport::IsAddressSanitized() || testsupport::IsThreadSanitized();
    EXPECT_LT(memory.back(), isSanitized ? kSanitizedMemory : kMemory);
    const std::wstring limit = platform::Environment(L"ZEL_HOSTILE_P99_MS"); // for a machine with nothing else to do
    if (!limit.empty()) {
        EXPECT_LE(share(99), std::stod(limit));
    }
}

} // namespace
