#include "platform/Module.h"
#include "platform/Os.h"
#include "platform/Path.h"
#include "platform/Text.h"
#include "platform/Trust.h"
#include "tests/apps/ProgramFixture.h"
#include "tests/support/Accounts.h"

#include <sys/stat.h>
#include <unistd.h>

namespace {

/// Folders in the output directory that the server's user did not make alone.
class ForeignFoldersTest : public CProgramTest {};

TEST_F(ForeignFoldersTest, FolderOfAnotherUserIsRefusedAndNothingIsDeleted)
{
    if (geteuid() != 0)
        GTEST_SKIP() << "geteuid: only root gives a folder away";
    for (const std::wstring name : {L"Queue", L".zel-server"}) {
        ASSERT_EQ(platform::Files().MakeDirectory(InOutput(name)), platform::eOsError_None);
        ASSERT_EQ(chown(platform::NarrowPath(InOutput(name)).c_str(), 1, 1), 0);
        const std::wstring file = platform::JoinPath(InOutput(name), L"kept.drq");
        Write(file, "x");
        std::vector<std::wstring> arguments = DirectoryArguments();
        arguments.insert(arguments.end(), {L"--components", TestPlugins(), L"--adopt"});
        const SProgramResult result = ServerResult(arguments);
        EXPECT_EQ(result.code, 1);
        EXPECT_TRUE(Contains(result.errors, "is not used: It belongs to another user")) << result.errors;
        EXPECT_EQ(Read(file), "x");
        ASSERT_EQ(chown(platform::NarrowPath(InOutput(name)).c_str(), 0, 0), 0);
    }
}

TEST_F(ForeignFoldersTest, OthersMayNotWriteIntoTheFoldersOfTheServer)
{
    for (const std::wstring name : {L"Queue", L".zel-server"}) {
        ASSERT_EQ(platform::Files().MakeDirectory(InOutput(name)), platform::eOsError_None);
        ASSERT_EQ(chmod(platform::NarrowPath(InOutput(name)).c_str(), 02777),
                  0); // as an earlier server may have left it
    }
    CRunningProgram server = StartServer();
    for (const std::wstring name : {L"Queue", L".zel-server"})
        EXPECT_EQ(platform::DistrustOf(InOutput(name)), L"");
    StopServer(server);
}

TEST_F(ForeignFoldersTest, AnAccountThatMayNotWriteIsRefusedByAStartAndByACheckInTheSameWords)
{
    if (!testsupport::HasAccounts())
        GTEST_SKIP() << "HasAccounts: this takes the superuser and setpriv";
    ASSERT_TRUE(testsupport::OpenDirectory(m_root.Path()));
    for (const std::wstring& directory : {m_strRequests, m_strOutput}) {
        for (const std::wstring& mine : {m_strRequests, m_strOutput, InOutput(L"Queue"), InOutput(L".zel-server")}) {
            static_cast<void>(platform::Files().MakeDirectory(mine));
            ASSERT_TRUE(testsupport::GiveDirectory(mine, testsupport::kServerAccount));
        }
        ASSERT_EQ(chmod(platform::NarrowPath(directory).c_str(), 0555), 0);
        std::string told;
        for (const bool isCheck : {true, false}) {
            std::vector<std::wstring> arguments = DirectoryArguments();
            arguments.insert(arguments.end(), {L"--components", TestPlugins(), L"--log-level", L"critical"});
            if (directory == m_strRequests)
                arguments.emplace_back(L"--share-requests");
            if (isCheck)
                arguments.emplace_back(L"--check");
            const auto command = testsupport::AsAccount(
                testsupport::kServerAccount,
                {platform::JoinPath(platform::DirectoryOf(platform::ProgramPath()), L"zel-server"), arguments});
            const SProgramResult result = RunProgram(command.program, command.arguments);
            EXPECT_EQ(result.code, 1) << result.output;
            EXPECT_TRUE(Contains(result.errors, "'" + platform::ToUtf8(directory) + "'")) << result.errors;
            EXPECT_TRUE(isCheck || result.errors == told) << result.errors << told;
            told = result.errors;
        }
    }
}

TEST_F(ForeignFoldersTest, AFolderOfPluginsThatItsGroupMayWriteToIsNamedToWhoeverWantedThem)
{
    const std::wstring folder = InHome(L"plugins");
    ASSERT_EQ(platform::Files().MakeDirectory(folder), platform::eOsError_None);
    const gid_t group = geteuid() == 0 ? 1 : getegid(); // that of the administrator may write anywhere
    ASSERT_EQ(chown(platform::NarrowPath(folder).c_str(), geteuid(), group), 0);
    ASSERT_EQ(chmod(platform::NarrowPath(folder).c_str(), 0775), 0);
    CRunningProgram server = StartServer({L"--components", folder});
    const std::string reason = "others may write to " + platform::ToUtf8(folder);
    const SProgramResult sent = Zel({L"send", L"--wait", MakeRequest(L"a.drq", L"Type=\"Mine\"")});
    EXPECT_EQ(sent.code, 3);
    EXPECT_TRUE(Contains(sent.output + sent.errors, reason)) << sent.output << sent.errors;
    const SProgramResult asked = Zel({L"server", L"--json"});
    EXPECT_EQ(asked.code, 0) << "it may be meant so";
    ASSERT_EQ(asked.Objects().size(), 1U);
    ASSERT_EQ(asked.Objects()[0].at("wrong").size(), 1U);
    EXPECT_TRUE(Contains(asked.Objects()[0].at("wrong")[0], reason)) << asked.output;
    StopServer(server);
}

} // namespace
