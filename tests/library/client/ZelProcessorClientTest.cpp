#include "tests/support/ServerKit.h"

#include "platform/Text.h"
#include "tests/support/ChildProcess.h"

#include <map>
#include <set>

namespace {

/// Tells the first unique name of its process.
int TellFirstName(const std::vector<std::wstring>&)
{
    testsupport::TellParent(CZelProcessorClient::GetUniqueString());
    return 0;
}
const testsupport::CChildPart g_firstName(L"client-first-name", &TellFirstName);

/// The server is made, so that its directories exist, but never runs.
class Client : public CServerFixture {};

} // namespace

TEST_F(Client, BuildsTheSamePathsAsTheServer)
{
    const SClientTestAccess access{m_client};
    for (const std::wstring& path : {std::wstring(L"x.drq"), In(m_clientDir, L"x.drq")}) {
        EXPECT_EQ(access.InRequestDir(path), m_pServer->GetFileInRequestDirFullPath(path));
        EXPECT_EQ(access.InQueue(path), m_pServer->GetFileInQueueFullPath(path));
        EXPECT_EQ(access.Output(path), In(m_outputDir, L"x.drq"));
    }
}

TEST_F(Client, WithoutDirectoriesItsPathsAreInvalid)
{
    CZelProcessorClient client;
    const SClientTestAccess access{client};
    EXPECT_EQ(access.InRequestDir(L"x.drq"), In(L"invalid", L"x.drq"));
    EXPECT_EQ(access.Output(L"x.drq"), In(L"invalid", L"x.drq"));
    EXPECT_EQ(client.GetStatus(L"x.drq", nullptr), eRequestStatus_NotRequested);
}

TEST_F(Client, SendingMovesTheFileAndReplacesOneOfThatName)
{
    Write(In(m_requestDir, L"job.drq"), "old");
    Write(In(m_clientDir, L"job.drq"), "new");
    EXPECT_EQ(m_client.SendRequest(In(m_clientDir, L"job.drq")), eRequestStatus_Sent);
    EXPECT_EQ(Read(In(m_requestDir, L"job.drq")), "new");
    EXPECT_FALSE(platform::PathExists(In(m_clientDir, L"job.drq")));
}

TEST_F(Client, SendingAMissingFileIsAClientError)
{
    EXPECT_EQ(m_client.SendRequest(In(m_clientDir, L"missing.drq")), eRequestStatus_ClientError);
    const auto reports = m_host.TakeReports();
    ASSERT_EQ(reports.size(), 1U);
    EXPECT_EQ(reports[0].message, L"Message file does not exist!");
    EXPECT_EQ(reports[0].function, L"CZelProcessorClient::SendMessageToServer");
    EXPECT_EQ(reports[0].sourceFile, L"Kernel/ZEL_Processor/ZEL_Processor/ZelProcessorClient");
}

TEST_F(Client, AFailedMoveIsAClientErrorAndKeepsTheFile)
{
    Write(In(m_clientDir, L"job.drq"));
    testsupport::CFaultyFiles& files = m_files;
    files.FailCall(testsupport::eFileCall_Move, 1, platform::eOsError_DiskFull);
    const platform::CScopedOs os(&files, nullptr);
    EXPECT_EQ(m_client.SendRequest(In(m_clientDir, L"job.drq")), eRequestStatus_ClientError);
    const auto reports = m_host.TakeReports();
    ASSERT_EQ(reports.size(), 1U);
    EXPECT_EQ(reports[0].message, L"MoveFileWhenFree failed!");
    const std::wstring text = m_client.GetLastErrorText();
    EXPECT_EQ(text, L"'" + In(m_clientDir, L"job.drq") + L"' cannot be moved to '" + In(m_requestDir, L"job.drq") +
                        L"': " + platform::OsErrorText(platform::eOsError_DiskFull));
    EXPECT_TRUE(platform::PathExists(In(m_clientDir, L"job.drq")));
}

TEST_F(Client, TheTextOfTheLastErrorNamesTheFileAndStaysUntilTheNext)
{
    EXPECT_EQ(m_client.GetLastErrorText(), L"");
    EXPECT_EQ(m_client.SendRequest(In(m_clientDir, L"none.drq")), eRequestStatus_ClientError);
    const std::wstring missing = platform::OsErrorText(platform::eOsError_FileNotFound);
    EXPECT_EQ(m_client.GetLastErrorText(), In(m_clientDir, L"none.drq") + L": " + missing);
    Send(L"job.drq");
    EXPECT_EQ(m_client.GetLastErrorText(), In(m_clientDir, L"none.drq") + L": " + missing) << "a success says nothing";
    EXPECT_FALSE(m_client.ReceiveOutput(L"b.drq", In(m_clientDir, L"b.drq")));
    EXPECT_TRUE(m_client.GetLastErrorText().ends_with(L"b.drq: " + missing))
        << platform::ToUtf8(m_client.GetLastErrorText());
    EXPECT_FALSE(m_client.ResetLockResultsChanged());
    EXPECT_TRUE(m_client.GetLastErrorText().ends_with(missing));
    CZelProcessorClient lost;
    lost.Init(m_requestDir, m_outputDir, In(m_clientDir, L"none"));
    EXPECT_EQ(lost.CancelRequest(L"x.drq"), eRequestStatus_ClientError);
    EXPECT_TRUE(lost.GetLastErrorText().starts_with(L"Unable to save pDomDocument into file " + m_clientDir))
        << platform::ToUtf8(lost.GetLastErrorText());
    // The reason is that of the document's library: words, or a number.
    const std::wstring end = L".command: ";
    const std::size_t reason = lost.GetLastErrorText().rfind(end);
    ASSERT_NE(reason, std::wstring::npos) << platform::ToUtf8(lost.GetLastErrorText());
    EXPECT_GT(lost.GetLastErrorText().size(), reason + end.size());
    CZelProcessorClient other;
    EXPECT_EQ(other.GetLastErrorText(), L"") << "each object has its own";
    EXPECT_EQ(m_host.TakeReports().size(), 3U);
    EXPECT_EQ(m_host.TakeBoxes().size(), 2U);
}

TEST_F(Client, AHandOverIsAMoveAloneUnlessTheServerIsToBeLetRead)
{
    const std::wstring path = In(m_clientDir, L"job.drq");
    const auto send = [&] {
        Write(path);
        const platform::CScopedOs os(&m_files, nullptr);
        EXPECT_EQ(m_client.SendRequest(path), eRequestStatus_Sent);
    };
    send();
    EXPECT_EQ(m_files.Count(testsupport::eFileCall_AllowReading), 0U);
    m_client.SetAllowReading(true);
    send();
    ASSERT_EQ(m_files.Count(testsupport::eFileCall_AllowReading), 1U);
    for (const testsupport::SFileCall& call : m_files.Calls()) {
        if (call.call == testsupport::eFileCall_AllowReading) {
            EXPECT_EQ(call.path, path);
            EXPECT_EQ(call.target, m_requestDir);
        }
    }
}

TEST_F(Client, HandOversAreSyncedUnlessSwitchedOff)
{
    testsupport::CFaultyFiles& files = m_files;
    const platform::CScopedOs os(&files, nullptr);
    for (const bool syncing : {true, false}) {
        files.ForgetCalls();
        m_client.SetSyncing(syncing);
        Send(L"job.drq");
        std::vector<unsigned> flags;
        for (const testsupport::SFileCall& call : files.Calls()) {
            if (call.call == testsupport::eFileCall_Move)
                flags.push_back(call.mode);
        }
        EXPECT_EQ(flags, std::vector<unsigned>{syncing ? 9U : 1U});
    }
}

TEST_F(Client, TheFirstUniqueNameOfAProcessIsNumberOne)
{
    auto child = testsupport::StartChild(L"client-first-name", {});
    std::wstring name;
    EXPECT_TRUE(child.ReadLine(name, kPatience));
    EXPECT_EQ(testsupport::FinishChild(child), 0);
    EXPECT_TRUE(name.starts_with(L"{") && name.ends_with(L"}_1")) << platform::ToUtf8(name);
    EXPECT_NE(name.substr(0, 38), CZelProcessorClient::GetUniqueString().substr(0, 38));
}

TEST_F(Client, UniqueNamesCountUpUnderOneGuidAndWrapToZero)
{
    std::wstring name = CZelProcessorClient::GetUniqueString();
    const auto number = [](const std::wstring& text) { return std::stoi(text.substr(text.rfind(L'_') + 1)); };
    const auto guid = [](const std::wstring& text) { return text.substr(0, text.rfind(L'_')); };
    EXPECT_EQ(guid(name).size(), 38U);
    EXPECT_EQ(name[0], L'{');
    for (int left = 65536; left > 0 && number(name) != 0; --left) {
        const std::wstring next = CZelProcessorClient::GetUniqueString();
        EXPECT_EQ(guid(next), guid(name));
        EXPECT_EQ(number(next), (number(name) + 1) % 65536);
        name = next;
    }
    ASSERT_EQ(number(name), 0);
    const std::wstring fresh = CZelProcessorClient::GetUniqueString();
    EXPECT_NE(guid(fresh), guid(name));
    EXPECT_EQ(number(fresh), 1);
}

TEST_F(Client, TwoThreadsNeverGetOneName)
{
    constexpr std::size_t kNames = 20000;
    std::vector<std::wstring> names[4];
    std::vector<platform::CThread> threads(4);
    for (std::size_t index = 0; index < threads.size(); ++index) {
        ASSERT_TRUE(threads[index].Start([&, index] {
            for (std::size_t count = 0; count < kNames; ++count)
                names[index].push_back(CZelProcessorClient::GetUniqueString());
            return 0U;
        }));
    }
    std::set<std::wstring> all;
    for (std::size_t index = 0; index < threads.size(); ++index) {
        EXPECT_TRUE(threads[index].Join());
        all.insert(names[index].begin(), names[index].end());
    }
    EXPECT_EQ(all.size(), 4 * kNames);
}
