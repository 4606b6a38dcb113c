#include "apps/zel-server/ServerDirectories.h"
#include "platform/Installation.h"
#include "platform/Os.h"
#include "platform/Path.h"
#include "platform/Text.h"
#include "tests/apps/ProgramFixture.h"
#include "tests/support/Links.h"
#include "tests/support/ManualClock.h"

#include <filesystem>
#include <map>
#include <memory>
#include <utility>

namespace {

class ServerDirectoriesTest : public CProgramTest {
protected:
    [[nodiscard]] SProgramResult Start(const std::wstring& requests, const std::wstring& output,
                                       const std::vector<std::wstring>& extra = {}) const
    {
        std::vector<std::wstring> arguments = {L"--request-dir", requests,        L"--output-dir",
                                               output,           L"--components", TestPlugins()};
        arguments.insert(arguments.end(), extra.begin(), extra.end());
        return ServerResult(arguments);
    }

    [[nodiscard]] static std::size_t EntriesOf(const std::wstring& directory)
    {
        std::vector<platform::SDirectoryEntry> entries;
        EXPECT_EQ(platform::Files().List(directory, entries), platform::eOsError_None);
        return entries.size();
    }

    void ExpectRefused(const SProgramResult& result, const std::vector<std::string>& words) const
    {
        EXPECT_EQ(result.code, 1);
        EXPECT_EQ(result.output, "");
        for (const std::string& word : words)
            EXPECT_TRUE(Contains(result.errors, word)) << result.errors;
    }
};

TEST_F(ServerDirectoriesTest, MissingDirectoriesAreNamed)
{
    ExpectRefused(Start(m_root / L"missing", m_strOutput), {"request directory", "missing", "--create-dirs"});
    ExpectRefused(Start(m_strRequests, m_root / L"missing"), {"output directory", "missing", "--create-dirs"});
}

TEST_F(ServerDirectoriesTest, FileInPlaceOfADirectoryIsNamed)
{
    Write(InHome(L"file"), "");
    ExpectRefused(Start(InHome(L"file"), m_strOutput, {L"--create-dirs"}), {"file", "not a directory"});
}

TEST_F(ServerDirectoriesTest, AStartWaitsForWhoeverOnlyAsksForTheClaim)
{
    CDirectoryClaim dead;
    ASSERT_EQ(dead.Take(m_strOutput), platform::eOsError_None);
    std::unique_ptr<platform::IFile> asked;
    const std::wstring lock = platform::JoinPath(CDirectoryClaim::OwnFolder(m_strOutput), L"lock");
    dead.End();
    ASSERT_EQ(platform::MakeDirectories(CDirectoryClaim::OwnFolder(m_strOutput)), platform::eOsError_None);
    Write(lock, "4711");
    ASSERT_EQ(platform::Files().Open(lock, platform::eOpenMode_ReadExclusive, asked), platform::eOsError_None);
    testsupport::CManualClock clock;
    clock.OnWait([&asked] { asked.reset(); });
    const platform::CScopedOs os(nullptr, &clock);
    CDirectoryClaim claim;
    EXPECT_EQ(claim.Take(m_strOutput), platform::eOsError_None);
    EXPECT_EQ(clock.Sleeps(), 1U);
    clock.OnWait({});
    EXPECT_EQ(CDirectoryClaim::Ask(m_strOutput), platform::eOsError_SharingViolation);
    claim.End();
    EXPECT_EQ(CDirectoryClaim::Ask(m_strOutput), platform::eOsError_None);
}

TEST_F(ServerDirectoriesTest, ACheckIsRefusedWhereAnotherServerServesAndDisturbsNobody)
{
    const std::wstring other = m_root / L"other";
    ASSERT_EQ(platform::Files().MakeDirectory(other), platform::eOsError_None);
    CRunningProgram server = StartServer();
    const std::string process = "process " + std::to_string(server.Process().Id());
    const auto check = [&](const std::wstring& output, const std::vector<std::wstring>& extra = {}) {
        std::vector<std::wstring> arguments = extra;
        arguments.emplace_back(L"--check");
        return Start(m_strRequests, output, arguments);
    };
    const auto expectRefused = [](const SProgramResult& result, const std::vector<std::string>& words) {
        EXPECT_EQ(result.code, 1);
        EXPECT_FALSE(Contains(result.output, "would start")) << result.output;
        for (const std::string& word : words)
            EXPECT_TRUE(Contains(result.errors, word)) << result.errors;
    };
    expectRefused(check(m_strOutput), {"another server", process, "uses the output directory"});
    expectRefused(check(other), {"another server", process, "takes requests from", "--share-requests"});
    for (const wchar_t* option : {L"--share-requests", L"--strict"})
        EXPECT_EQ(check(other, {option}).code, 0);
    EXPECT_EQ(EntriesOf(other), 0U);
    EXPECT_EQ(Zel({L"send", MakeEcho(L"a.drq", L"x"), L"--wait"}).code, 0);
    StopServer(server);
    for (const char* level : {" warning ", " error "})
        EXPECT_FALSE(Contains(server.Errors(), level)) << server.Errors();
    EXPECT_EQ(check(m_strOutput).code, 0);
}

TEST_F(ServerDirectoriesTest, ACheckLeavesWhatTellsWhenAServerWasKilled)
{
    CRunningProgram server = StartServer();
    server.Process().Kill();
    static_cast<void>(server.Finish());
    const std::wstring folder = CDirectoryClaim::OwnFolder(m_strOutput);
    const auto timeOf = [&folder](const std::wstring& name) {
        platform::SFileAttributes attributes;
        EXPECT_EQ(platform::Files().GetAttributes(platform::JoinPath(folder, name), attributes),
                  platform::eOsError_None);
        return attributes.times.modified;
    };
    const std::vector<std::wstring> files = FilesIn(folder);
    std::map<std::wstring, platform::FileTimeNs> times;
    for (const std::wstring& name : files)
        times[name] = timeOf(name);
    EXPECT_EQ(Start(m_strRequests, m_strOutput, {L"--check"}).code, 0);
    EXPECT_EQ(FilesIn(folder), files);
    for (const auto& [name, time] : times)
        EXPECT_EQ(timeOf(name), time) << platform::ToUtf8(name);
}

TEST_F(ServerDirectoriesTest, CreatesWhatIsMissing)
{
    m_strRequests = m_root / platform::JoinPath(L"new", L"requests");
    m_strOutput = m_root / platform::JoinPath(platform::JoinPath(L"new", L"deep"), L"output");
    CRunningProgram server = StartServer({L"--create-dirs"});
    EXPECT_EQ(Zel({L"send", MakeEcho(L"a.drq", L"x"), L"--wait"}).code, 0);
    StopServer(server);
}

TEST_F(ServerDirectoriesTest, SameDirectoryIsRefusedInEverySpelling)
{
    const std::wstring other = platform::JoinPath(platform::JoinPath(m_strRequests, L".."), L"requests");
    ExpectRefused(Start(m_strRequests, m_strRequests), {"same directory"});
    ExpectRefused(Start(m_strRequests, other), {"same directory"});
    ExpectRefused(Start(m_strRequests, platform::JoinPath(m_strRequests, L"")), {"same directory"});
    EXPECT_EQ(FilesIn(m_strRequests), std::vector<std::wstring>());
}

TEST_F(ServerDirectoriesTest, QueueFolderIsNoRequestDirectory)
{
    ASSERT_EQ(platform::Files().MakeDirectory(InOutput(L"Queue")), platform::eOsError_None);
    Write(InQueue(L"a.drq"), "keep");
    ExpectRefused(Start(InOutput(L"Queue"), m_strOutput), {"Queue"});
    EXPECT_EQ(Read(InQueue(L"a.drq")), "keep");
}

TEST_F(ServerDirectoriesTest, RequestDirectoryMayLieInTheOutputDirectory)
{
    m_strRequests = InOutput(L"in");
    CRunningProgram server = StartServer({L"--create-dirs"});
    EXPECT_EQ(Zel({L"send", MakeEcho(L"a.drq", L"x"), L"--wait"}).code, 0);
    StopServer(server);
}

TEST_F(ServerDirectoriesTest, ForeignFilesAreNotDeletedAndTheFirstIsNamed)
{
    Write(InOutput(L"thesis.txt"), "years of work");
    Write(InOutput(L"budget.txt"), "");
    ExpectRefused(Start(m_strRequests, m_strOutput), {"'budget.txt'", "Queue", "--adopt"});
    EXPECT_EQ(Read(InOutput(L"thesis.txt")), "years of work");
    EXPECT_FALSE(platform::PathExists(InOutput(L"Queue")));
    EXPECT_FALSE(platform::PathExists(InOutput(L".zel-server")));
}

TEST_F(ServerDirectoriesTest, AdoptTakesThem)
{
    Write(InOutput(L"thesis.txt"), "");
    CRunningProgram server = StartServer({L"--adopt"});
    EXPECT_EQ(FilesIn(m_strOutput), std::vector<std::wstring>());
    StopServer(server);
}

TEST_F(ServerDirectoriesTest, FilesBesideAQueueFolderAreOfAnEarlierServer)
{
    ASSERT_EQ(platform::Files().MakeDirectory(InOutput(L"Queue")), platform::eOsError_None);
    ASSERT_EQ(platform::Files().MakeDirectory(InOutput(L"kept")), platform::eOsError_None);
    Write(InOutput(L"old.drq.status"), "");
    CRunningProgram server = StartServer();
    EXPECT_EQ(FilesIn(m_strOutput), std::vector<std::wstring>());
    EXPECT_TRUE(platform::DirectoryExists(InOutput(L"kept")));
    StopServer(server);
}

TEST_F(ServerDirectoriesTest, SecondServerIsRefusedAndTouchesNothing)
{
    CRunningProgram server = StartServer();
    EXPECT_EQ(Zel({L"send", MakeEcho(L"a.drq", L"x"), L"--wait"}).code, 0);
    const std::string process = "process " + std::to_string(server.Process().Id());
    const std::wstring spelling = platform::JoinPath(platform::JoinPath(m_strHome, L".."), L"output");
    for (const std::wstring& output : {m_strOutput, spelling})
        ExpectRefused(Start(m_strRequests, output), {"another server", process, "output"});
    EXPECT_TRUE(platform::PathExists(InOutput(L"a.drq")));
    StopServer(server);
    CRunningProgram next = StartServer();
    StopServer(next);
}

TEST_F(ServerDirectoriesTest, SecondServerOfOneRequestDirectoryIsRefusedUnlessBothAreToShareIt)
{
    const std::wstring other = m_root / L"other";
    ASSERT_EQ(platform::Files().MakeDirectory(other), platform::eOsError_None);
    {
        CRunningProgram server = StartServer();
        const std::string process = "process " + std::to_string(server.Process().Id());
        ExpectRefused(Start(m_strRequests, other), {"another server", process, "requests", "--share-requests"});
        EXPECT_EQ(FilesIn(other), std::vector<std::wstring>()) << "and nothing is left of the one that was refused";
        EXPECT_FALSE(platform::PathExists(platform::JoinPath(other, L".zel-server")));
        const std::wstring first = std::exchange(m_strOutput, other);
        for (const wchar_t* option : {L"--share-requests", L"--strict"}) {
            CRunningProgram second = StartServer({option});
            StopServer(second);
        }
        m_strOutput = first;
        EXPECT_EQ(Zel({L"send", MakeEcho(L"a.drq", L"x"), L"--wait"}).code, 0) << "the claim is no request";
        StopServer(server);
    }
    EXPECT_FALSE(platform::PathExists(InRequests(L".zel-server"))) << "nothing of the claim stays";
    m_strOutput = other;
    CRunningProgram next = StartServer();
    StopServer(next);
}

TEST_F(ServerDirectoriesTest, AStartThatResumesLeavesTheClaimsAlone)
{
    CRunningProgram server = StartServer({L"--resume"});
    for (const std::wstring& directory : {m_strRequests, m_strOutput})
        for (const wchar_t* file : {L"lock", L"process"})
            EXPECT_TRUE(platform::PathExists(platform::JoinPath(platform::JoinPath(directory, L".zel-server"), file)));
    ASSERT_EQ(Zel({L"send", MakeEcho(L"a.drq", L"x"), L"--wait"}).code, 0);
    ExpectRefused(Start(m_strRequests, m_strOutput, {L"--resume"}), {"another server"});
    StopServer(server);
}

TEST_F(ServerDirectoriesTest, SecondServerIsRefusedBehindALink)
{
    std::error_code error;
    std::filesystem::create_directory_symlink(testsupport::StandardPath(m_strOutput),
                                              testsupport::StandardPath(m_root / L"link"), error);
    if (error)
        GTEST_SKIP() << "this system makes no directory links here: " << error.message();
    ExpectRefused(Start(m_root / L"link", m_strOutput), {"same directory"});
    CRunningProgram server = StartServer();
    ExpectRefused(Start(m_strRequests, m_root / L"link"), {"another server"});
    StopServer(server);
}

TEST_F(ServerDirectoriesTest, FolderThatIsALinkIsRefusedAndNothingIsDeleted)
{
    const std::wstring elsewhere = InHome(L"elsewhere");
    ASSERT_EQ(platform::Files().MakeDirectory(elsewhere), platform::eOsError_None);
    Write(platform::JoinPath(elsewhere, L"lock"), "precious");
    for (const std::wstring name : {L"Queue", L".zel-server"}) {
        if (!testsupport::MakeLink(elsewhere, InOutput(name)))
            GTEST_SKIP() << "MakeLink: this system gives no links";
        ExpectRefused(Start(m_strRequests, m_strOutput, {L"--adopt"}),
                      {platform::ToUtf8(InOutput(name)), "is not used",
                       platform::ToUtf8(platform::OsErrorText(platform::eOsError_LinkInTheWay))});
        EXPECT_EQ(FilesIn(elsewhere), std::vector<std::wstring>{L"lock"});
        EXPECT_EQ(Read(platform::JoinPath(elsewhere, L"lock")), "precious");
        std::filesystem::remove(testsupport::StandardPath(InOutput(name)));
    }
}

TEST_F(ServerDirectoriesTest, OutputDirectoryMayBeALinkForTheOperatorGaveIt)
{
    if (!testsupport::MakeLink(m_strOutput, m_root / L"link"))
        GTEST_SKIP() << "MakeLink: this system gives no links";
    m_strOutput = m_root / L"link";
    CRunningProgram server = StartServer();
    EXPECT_EQ(Zel({L"send", MakeEcho(L"a.drq", L"x"), L"--wait"}).code, 0);
    StopServer(server);
}

TEST_F(ServerDirectoriesTest, KilledServerBlocksNobody)
{
    CRunningProgram server = StartServer();
    server.Process().Kill();
    static_cast<void>(server.Finish());
    CRunningProgram next = StartServer();
    StopServer(next);
}

} // namespace
