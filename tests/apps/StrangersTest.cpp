#include "platform/Os.h"
#include "platform/Text.h"
#include "tests/apps/ProgramFixture.h"
#include "tests/plugins/SampleDatabase.h"

#include <algorithm>
#include <fstream>

namespace {

/// Others have files of the server open, as any program of the system may.
class StrangersTest : public CProgramTest {
protected:
    void SetUp() override { m_data.Make(L"box", "CREATE TABLE birds(id INTEGER PRIMARY KEY, name TEXT)"); }

    [[nodiscard]] CRunningProgram Listen() const
    {
        CRunningProgram listener = StartZel({L"listen", L"--json"});
        EXPECT_TRUE(listener.WaitForErrors("listening")) << listener.Errors();
        return listener;
    }
    /// The one file of the output directory with such a name.
    [[nodiscard]] std::wstring OutputFile(const std::wstring& prefix) const
    {
        const std::vector<std::wstring> names = FilesIn(m_strOutput);
        const auto found =
            std::ranges::find_if(names, [&](const std::wstring& name) { return name.starts_with(prefix); });
        return found == names.end() ? std::wstring() : InOutput(*found);
    }
    static void ExpectStopWithinTwoSeconds(CRunningProgram& server)
    {
        const auto start = platform::Clock().Steady();
        StopServer(server);
        EXPECT_LT(platform::Clock().Steady() - start, std::chrono::seconds(2));
    }

    plugintest::CDataFolder m_data; ///< before the server, which inherits where it is
};

TEST_F(StrangersTest, WhoHoldsTheEventsOfAClientThatHasGoneHoldsUpNobody)
{
    CRunningProgram server = StartServer();
    CRunningProgram first = Listen();
    const std::wstring events = OutputFile(L"DsEvents_");
    ASSERT_FALSE(events.empty());
    std::ifstream stranger(testsupport::StandardPath(events));
    ASSERT_TRUE(stranger.is_open());
    CRunningProgram second = Listen();
    first.Process().RequestStop(); // it unregisters
    static_cast<void>(first.Finish());

    plugintest::CConnection(m_data.PathOf(L"box")).Execute("INSERT INTO birds VALUES(1, 'owl')");
    std::wstring line;
    ASSERT_TRUE(second.Process().ReadLine(line, kPatience)) << "the other client is not told";
    ASSERT_EQ(Zel({L"send", MakeEcho(L"a.drq", L"x"), L"--wait"}).code, 0);
    second.Process().RequestStop(); // its farewell needs the server
    static_cast<void>(second.Finish());
    EXPECT_TRUE(stranger.is_open());
    ExpectStopWithinTwoSeconds(server);
}

TEST_F(StrangersTest, WhoHoldsARequestHoldsUpNeitherTheQueueNorTheStop)
{
    CRunningProgram server = StartServer();
    ASSERT_EQ(Zel({L"send", MakeGate(L"g.drq")}).code, 0);
    ASSERT_TRUE(WaitUntilAtGate(L"g.drq"));
    ASSERT_EQ(Zel({L"send", MakeEcho(L"next.drq", L"next")}).code, 0);
    ASSERT_TRUE(WaitUntil([&] { return platform::PathExists(InQueue(L"next.drq")); }));

    // Writing to its end what the server is to take as soon as it is closed.
    std::ofstream stranger(testsupport::StandardPath(InRequests(L"held.drq")));
    stranger << Read(MakeEcho(L"held.drq", L"x")) << std::flush;
    for (int round = 0; round < 10; ++round) {
        platform::Clock().SleepFor(std::chrono::milliseconds(10)); // the server looks at it meanwhile
        ASSERT_TRUE(platform::PathExists(InRequests(L"held.drq")));
    }
    Write(Gate(L"g.drq"), "");
    ASSERT_TRUE(WaitUntil([&] { return platform::PathExists(InOutput(L"next.drq")); }));
    EXPECT_EQ(Zel({L"wait", L"g.drq", L"next.drq"}).code, 0);
    EXPECT_TRUE(stranger.is_open());
    ExpectStopWithinTwoSeconds(server);
    EXPECT_TRUE(platform::PathExists(InRequests(L"held.drq"))) << "left for the next server";
}

} // namespace
