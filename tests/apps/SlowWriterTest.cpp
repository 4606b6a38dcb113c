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

using SlowWriterTest = CProgramTest;

TEST_F(SlowWriterTest, OthersAreServedWhileARequestIsWritten)
{
    constexpr int kOthers = 50;
    CRunningProgram server = StartServer({L"--busy-warning", L"0.001"});
    const std::wstring slow = InRequests(L"slow.drq");
    platform::CProcess writer = testsupport::StartChild(
        L"write-in-pieces", {slow, MakeEcho(L"slow.drq", L"in pieces"), std::to_wstring(kOthers)});
    ASSERT_TRUE(testsupport::WaitForChild(writer, L"open"));
    for (int other = 0; other < kOthers; ++other) {
        const std::wstring name = L"other" + std::to_wstring(other) + L".drq";
        ASSERT_EQ(Zel({L"send", MakeEcho(name, name), L"--wait"}).code, 0);
        ASSERT_TRUE(writer.WriteLine(L"more"));
        ASSERT_TRUE(testsupport::WaitForChild(writer, L"written"));
        ASSERT_TRUE(platform::PathExists(slow)) << "taken half written";
    }
    EXPECT_TRUE(server.WaitForErrors("slow.drq' is kept open by ")) << server.Errors();
    EXPECT_EQ(testsupport::FinishChild(writer), 0);
    EXPECT_EQ(Zel({L"wait", L"slow.drq"}).code, 0);
    EXPECT_EQ(Read(InOutput(L"slow.drq")), EchoResponse("in pieces"));
    StopServer(server);
}

} // namespace
