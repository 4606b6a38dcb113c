#include "protocol/ProtocolPaths.h"

#include "platform/FileSystem.h"
#include "platform/Path.h"
#include "platform/Text.h"

#include <gtest/gtest.h>

namespace {

constexpr GUID kClient = {0x01234567, 0x89AB, 0xCDEF, {1, 2, 3, 4, 5, 6, 7, 8}};
constexpr const wchar_t* kClientText = L"{01234567-89AB-CDEF-0102-030405060708}";

} // namespace

TEST(ProtocolPaths, OfAPathOnlyTheFileNameCounts)
{
    const SProtocolPaths paths = SProtocolPaths::Of(L"requests", L"output");
    for (const std::wstring& name : {std::wstring(L"x.drq"), platform::JoinPath(L"elsewhere", L"x.drq")}) {
        EXPECT_EQ(paths.InRequestDir(name), platform::JoinPath(L"requests", L"x.drq"));
        EXPECT_EQ(paths.InQueue(name), platform::JoinPath(platform::JoinPath(L"output", L"Queue"), L"x.drq"));
        EXPECT_EQ(paths.Output(name), platform::JoinPath(L"output", L"x.drq"));
        EXPECT_EQ(paths.Status(name), platform::JoinPath(L"output", L"x.drq.status"));
    }
}

TEST(ProtocolPaths, AClientHasThreeFilesInTheOutputDirectory)
{
    const SProtocolPaths paths = SProtocolPaths::Of(L"requests", L"output");
    const std::wstring id = kClientText;
    EXPECT_EQ(paths.DsEvents(kClient), platform::JoinPath(L"output", L"DsEvents_" + id));
    EXPECT_EQ(paths.InsertableItems(kClient), platform::JoinPath(L"output", L"InsertableItemsGroup_" + id));
    EXPECT_EQ(paths.LockResults(kClient), platform::JoinPath(L"output", L"LockResultsChange_" + id));
}

TEST(ProtocolPaths, WhoIsNotRegisteredHasNoFiles)
{
    const SProtocolPaths paths = SProtocolPaths::Of(L"requests", L"output");
    EXPECT_EQ(paths.DsEvents({}), L"");
    EXPECT_EQ(paths.InsertableItems({}), L"");
    EXPECT_EQ(paths.LockResults({}), L"");
}

TEST(ProtocolPaths, WithoutDirectoriesNothingIsTakenForAFileOfSomebody)
{
    EXPECT_EQ(SProtocolPaths().InQueue(L"x.drq"), platform::JoinPath(L"invalid", L"x.drq"));
    EXPECT_EQ(SProtocolPaths().Status(L"x.drq"), platform::JoinPath(L"invalid", L"x.drq.status"));
}

TEST(ProtocolPaths, TheServersOwnFolderHasNoSeparatorBehindIt)
{
    const SProtocolPaths paths = SProtocolPaths::Of(L"requests", L"output");
    EXPECT_EQ(paths.InOwnFolder({}), platform::JoinPath(L"output", L".zel-server"));
    EXPECT_EQ(paths.InOwnFolder(L"x"), platform::JoinPath(paths.InOwnFolder({}), L"x"));
}

TEST(ProtocolPaths, MovesAreSyncedAndReplaceAsAsked)
{
    EXPECT_EQ(Protocol::MoveFlags(false, false), platform::eMoveFlag_None);
    EXPECT_EQ(Protocol::MoveFlags(true, false), platform::eMoveFlag_WriteThrough);
    EXPECT_EQ(Protocol::MoveFlags(false, true), platform::eMoveFlag_ReplaceExisting);
    EXPECT_EQ(Protocol::MoveFlags(true, true), platform::eMoveFlag_WriteThrough | platform::eMoveFlag_ReplaceExisting);
}

TEST(ProtocolFileKind, FollowsTheExtensionInAnyLetterCase)
{
    EXPECT_EQ(Protocol::GetFileKind(L"x.drq"), Protocol::eFileKind_Request);
    EXPECT_EQ(Protocol::GetFileKind(L"x.DRQ"), Protocol::eFileKind_Request);
    EXPECT_EQ(Protocol::GetFileKind(L"x.Xml"), Protocol::eFileKind_Request);
    EXPECT_EQ(Protocol::GetFileKind(L"x.COMMAND"), Protocol::eFileKind_Command);
    for (const wchar_t* other : {L"x.drq.tmp", L"x.status", L"x.txt", L"drq", L"x.", L"", L"x.drqs"})
        EXPECT_EQ(Protocol::GetFileKind(other), Protocol::eFileKind_Other) << platform::ToUtf8(other);
}
