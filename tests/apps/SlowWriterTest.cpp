#include "platform/Os.h"
#include "platform/StandardPath.h"
#include "tests/apps/ProgramFixture.h"
#include "tests/support/ChildProcess.h"

#include <algorithm>
#include <fstream>

namespace {

/// Writes its second argument into the file of its first, a piece for each line of the parent's, and keeps the file
/// open until the parent has no more.
int WriteInPieces(const std::vector<std::wstring>& arguments)
{
    std::ofstream file(platform::StandardPath(arguments[0]), std::ios::binary);
    const std::size_t pieces = std::stoul(arguments[2]);
    std::ifstream source(platform::StandardPath(arguments[1]), std::ios::binary);
    const std::string bytes{std::istreambuf_iterator<char>(source), {}};
    testsupport::TellParent(L"open");
    for (std::size_t piece = 0; testsupport::WaitForParent(); ++piece) {
        const std::size_t from = bytes.size() * piece / pieces;
        file << bytes.substr(from, bytes.size() * (piece + 1) / pieces - from) << std::flush;
        testsupport::TellParent(file.good() ? L"written" : L"failed");
    }
    file.close();
    return file.good() ? 0 : 1;
}
const testsupport::CChildPart writerPart(L"write-in-pieces", &WriteInPieces);

class SlowWriterTest : public CProgramTest {
protected:
    /// How long a request takes from its sending to its end.
    std::chrono::nanoseconds Serve(const std::wstring& name) const
    {
        const std::wstring request = MakeEcho(name, name);
        const std::chrono::nanoseconds start = platform::Clock().Steady();
        EXPECT_EQ(Zel({L"send", request, L"--wait"}).code, 0);
        return platform::Clock().Steady() - start;
    }
    static std::chrono::nanoseconds MedianOf(std::vector<std::chrono::nanoseconds> times)
    {
        std::ranges::nth_element(times, times.begin() + static_cast<std::ptrdiff_t>(times.size() / 2));
        return times[times.size() / 2];
    }
};

TEST_F(SlowWriterTest, OthersAreServedInTheirUsualTimeWhileARequestIsWritten)
{
    constexpr int kOthers = 50;
    CRunningProgram server = StartServer({L"--busy-warning", L"0.001"});
    std::vector<std::chrono::nanoseconds> before;
    std::vector<std::chrono::nanoseconds> meanwhile;
    for (int other = 0; other < kOthers / 2; ++other)
        before.push_back(Serve(L"before" + std::to_wstring(other) + L".drq"));

    const std::wstring slow = InRequests(L"slow.drq");
    platform::CProcess writer = testsupport::StartChild(
        L"write-in-pieces", {slow, MakeEcho(L"slow.drq", L"in pieces"), std::to_wstring(kOthers)});
    ASSERT_TRUE(testsupport::WaitForChild(writer, L"open"));
    for (int other = 0; other < kOthers; ++other) {
        meanwhile.push_back(Serve(L"other" + std::to_wstring(other) + L".drq"));
        ASSERT_TRUE(writer.WriteLine(L"more"));
        ASSERT_TRUE(testsupport::WaitForChild(writer, L"written"));
        ASSERT_TRUE(platform::PathExists(slow)) << "taken half written";
    }
    EXPECT_TRUE(server.WaitForErrors("slow.drq' is kept open by ")) << server.Errors();
    EXPECT_EQ(testsupport::FinishChild(writer), 0);
    EXPECT_EQ(Zel({L"wait", L"slow.drq"}).code, 0);
    EXPECT_EQ(Read(InOutput(L"slow.drq")), EchoResponse("in pieces"));
    // The programs' own starts differ by some milliseconds.
    EXPECT_LT(MedianOf(meanwhile), MedianOf(before) * 2 + std::chrono::milliseconds(10));
    StopServer(server);
}

} // namespace
