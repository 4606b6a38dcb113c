#include "platform/Os.h"
#include "platform/Path.h"
#include "tests/apps/ProgramFixture.h"
#include "tests/support/Links.h"
#include "tests/support/Predicates.h"

#include <filesystem>
#include <system_error>

namespace {

constexpr int kServerError = 3;

/// What somebody may put into the request directory beside requests. Each is served or refused in clear words, and
/// nobody else notices.
class HostileFilesTest : public CProgramTest {
protected:
    void ExpectHonestClientIsServed() const
    {
        EXPECT_EQ(Zel({L"send", MakeEcho(L"honest.drq", L"x"), L"-o", InHome(L"response")}).code, 0);
        EXPECT_EQ(Read(InHome(L"response")), EchoResponse("x"));
    }
    void ExpectRefused(const std::wstring& name, const std::string& reason) const
    {
        const SProgramResult result = Zel({L"wait", name, L"--json"});
        EXPECT_EQ(result.code, kServerError) << result.errors;
        EXPECT_TRUE(Contains(result.output, reason)) << result.output;
    }
    static void StopWithinTwoSeconds(CRunningProgram& server)
    {
        const auto start = platform::Clock().Steady();
        StopServer(server);
        EXPECT_LT(platform::Clock().Steady() - start, std::chrono::seconds(2));
    }
};

TEST_F(HostileFilesTest, ADirectoryNamedLikeARequestIsRefused)
{
    CRunningProgram server = StartServer();
    ASSERT_EQ(platform::Files().MakeDirectory(InRequests(L"dir.drq")), platform::eOsError_None);
    ExpectHonestClientIsServed();
    ExpectRefused(L"dir.drq", "directory");
    EXPECT_TRUE(server.WaitForErrors("Refused: "));
    StopWithinTwoSeconds(server);
    EXPECT_TRUE(platform::DirectoryExists(InRequests(L"dir.drq")));
}

TEST_F(HostileFilesTest, ALinkIsRefusedUnlessTheOperatorFollowsLinks)
{
    const std::wstring target = MakeEcho(L"target.drq", L"behind");
    for (const bool follow : {false, true}) {
        CRunningProgram server =
            StartServer(follow ? std::vector<std::wstring>{L"--follow-links"} : std::vector<std::wstring>());
        if (!testsupport::MakeLink(target, InRequests(L"link.drq"))) {
            StopWithinTwoSeconds(server);
            GTEST_SKIP() << "MakeLink: this system gives no links";
        }
        if (follow) {
            EXPECT_EQ(Zel({L"wait", L"link.drq"}).code, 0);
            EXPECT_EQ(Read(InOutput(L"link.drq")), EchoResponse("behind"));
        } else {
            ExpectRefused(L"link.drq", "symbolic link");
            EXPECT_FALSE(platform::PathExists(InOutput(L"link.drq")));
            ASSERT_EQ(platform::Files().Remove(InRequests(L"link.drq")), platform::eOsError_None);
        }
        ExpectHonestClientIsServed();
        EXPECT_TRUE(platform::PathExists(target));
        StopWithinTwoSeconds(server);
    }
}

TEST_F(HostileFilesTest, ANameThatLeavesNoRoomForItsStatusIsToldAndStays)
{
    CRunningProgram server = StartServer();
    const std::wstring name = std::wstring(251, L'n') + L".drq";
    ASSERT_EQ(platform::WriteWholeFile(InRequests(name), Read(MakeEcho(L"x.drq", L"x"))), platform::eOsError_None);
    EXPECT_TRUE(server.WaitForErrors("nnn.drq: this name is so long"));
    ExpectHonestClientIsServed();
    EXPECT_TRUE(platform::PathExists(InRequests(name)));
    StopWithinTwoSeconds(server);
}

TEST_F(HostileFilesTest, ATerabyteOfNothingIsAnErrorAtOnce)
{
    const std::wstring name = L"sparse.drq";
    Write(InHome(name), "<");
    std::error_code error;
    std::filesystem::resize_file(testsupport::StandardPath(InHome(name)), std::uintmax_t{1} << 40, error);
    if (error)
        GTEST_SKIP() << "resize_file: this volume makes no such file: " << error.message();
    CRunningProgram server = StartServer();
    ASSERT_EQ(platform::Files().Move(InHome(name), InRequests(name), 0), platform::eOsError_None);
    EXPECT_EQ(Zel({L"wait", name}).code, kServerError);
    EXPECT_LT(server.Process().PeakMemory(), std::uint64_t{200} << 20) << "it was read";
    ExpectHonestClientIsServed();
    StopWithinTwoSeconds(server);
    EXPECT_FALSE(platform::PathExists(InQueue(name)));
}

TEST_F(HostileFilesTest, ThousandsOfNamesOfOneFileAreServedLikeAnyFiles)
{
    // Wine makes a name, and moves it, in milliseconds; a sanitizer takes as long for a request.
    const bool isSlow = testsupport::IsWine() || testsupport::IsThreadSanitized() || testsupport::IsAddressSanitized();
    const std::size_t names = isSlow ? 1'000 : 10'000;
    CRunningProgram server = StartServer({L"--no-sync"});
    const std::wstring file = MakeEcho(L"file.drq", L"same");
    for (std::size_t number = 0; number < names; ++number) {
        std::error_code error;
        std::filesystem::create_hard_link(testsupport::StandardPath(file),
                                          testsupport::StandardPath(InRequests(std::to_wstring(number) + L".drq")),
                                          error);
        if (error) {
            StopWithinTwoSeconds(server);
            GTEST_SKIP() << "create_hard_link: this volume gives no second names: " << error.message();
        }
    }
    // However long all of them take, one after the other ends.
    const auto left = [&] { return FilesIn(m_strRequests).size() + FilesIn(InOutput(L"Queue")).size(); };
    std::size_t before = left();
    while (before != 0 && WaitUntil([&] { return left() < before; }))
        before = left();
    EXPECT_EQ(before, 0U);
    for (std::size_t number = 0; number < names; ++number)
        ASSERT_EQ(Read(InOutput(std::to_wstring(number) + L".drq")), EchoResponse("same")) << number;
    EXPECT_TRUE(platform::PathExists(file));
    StopWithinTwoSeconds(server);
}

} // namespace
