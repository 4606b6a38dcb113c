#include "protocol/ServerInfoFile.h"

#include "platform/Os.h"
#include "tests/support/FaultyFiles.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

namespace {

SZelServerInfo Sample()
{
    SZelServerInfo info;
    info.process = 4711;
    info.started = 1'700'000'000;
    info.ended = 1'700'000'100;
    info.version = L"1.2.3";
    info.requestDir = L"C:\\in\tand\nout";
    info.options = {L"--strict", L"", L"a\\nb"};
    info.plugins = {{.name = L"Größe", .module = L"/x/y.so", .taskTypes = {L"Echo", L"Sleep"}},
                    {.name = L"none", .module = {}, .taskTypes = {}}};
    info.leftOut = {L"broken: \xdc80"};
    info.commands = {L"HoldQueue", L"ReleaseQueue"};
    return info;
}

TEST(ServerInfoFile, WhatIsWrittenIsRead)
{
    const testsupport::CTemporaryDirectory root;
    const std::wstring path = root / L"server";
    SZelServerInfo info;
    EXPECT_FALSE(ServerInfoFile::Read(path, info));
    for (int turn = 0; turn < 2; ++turn) {
        ASSERT_EQ(ServerInfoFile::Write(path, Sample()), platform::eOsError_None);
        ASSERT_TRUE(ServerInfoFile::Read(path, info));
        EXPECT_EQ(info, Sample());
    }
    EXPECT_FALSE(platform::PathExists(path + L".new"));
}

TEST(ServerInfoFile, APartOfItIsNone)
{
    const std::string text = ServerInfoFile::ToText(Sample());
    SZelServerInfo info;
    for (std::size_t length = 0; length < text.size(); ++length)
        EXPECT_FALSE(ServerInfoFile::FromText(text.substr(0, length), info)) << length;
    EXPECT_TRUE(ServerInfoFile::FromText(text, info));
}

TEST(ServerInfoFile, FlippedBitsNeverGiveMoreThanWasThere)
{
    const std::string text = ServerInfoFile::ToText(Sample());
    int taken = 0;
    for (std::size_t index = 0; index < text.size(); ++index) {
        for (int bit = 0; bit < 8; ++bit) {
            std::string flipped = text;
            flipped[index] = static_cast<char>(flipped[index] ^ (1 << bit));
            SZelServerInfo info;
            taken += ServerInfoFile::FromText(flipped, info) ? 1 : 0;
            EXPECT_LE(info.options.size() + info.leftOut.size() + info.plugins.size(), 8U) << index;
        }
    }
    EXPECT_GT(taken, 0);
}

TEST(ServerInfoFile, WhatIsNotKnownIsPassedOver)
{
    SZelServerInfo info;
    ASSERT_TRUE(ServerInfoFile::FromText(
        "zel-server\t1\nfuture\tx\nno "
        "tabulator\n\ntask\tlost\nmodule\tlost\nprocess\t-1\nstarted\t12x\nversion\t2\nend\t\n",
        info));
    SZelServerInfo expected;
    expected.version = L"2";
    EXPECT_EQ(info, expected);
    EXPECT_FALSE(ServerInfoFile::FromText("zel-server\t2\nend\t\n", info));
}

TEST(ServerInfoFile, WhatIsTooMuchIsLeftOutAndTheRestCanBeRead)
{
    SZelServerInfo info = Sample();
    info.leftOut.assign(10, std::wstring(ServerInfoFile::kMaxBytes / 4, L'x'));
    const std::string text = ServerInfoFile::ToText(info);
    EXPECT_LE(text.size(), ServerInfoFile::kMaxBytes);
    SZelServerInfo read;
    ASSERT_TRUE(ServerInfoFile::FromText(text, read));
    EXPECT_EQ(read.leftOut.size(), 3U);
    EXPECT_EQ(read.plugins, info.plugins);
    EXPECT_FALSE(
        ServerInfoFile::FromText("zel-server\t1\n" + std::string(ServerInfoFile::kMaxBytes, '\n') + "end\t\n", read));
}

TEST(ServerInfoFile, NothingFollowsALineThatDoesNotFit)
{
    SZelServerInfo info = Sample();
    info.plugins.insert(
        info.plugins.begin() + 1,
        {.name = std::wstring(ServerInfoFile::kMaxBytes, L'x'), .module = L"/its", .taskTypes = {L"Its"}});
    SZelServerInfo read;
    ASSERT_TRUE(ServerInfoFile::FromText(ServerInfoFile::ToText(info), read));
    ASSERT_EQ(read.plugins.size(), 1U);
    EXPECT_EQ(read.plugins[0], info.plugins[0]) << "with the module and types of another one";
    EXPECT_TRUE(read.leftOut.empty());
}

TEST(ServerInfoFile, AFileThatCannotBeReplacedStaysAsItWas)
{
    const testsupport::CTemporaryDirectory root;
    const std::wstring path = root / L"server";
    ASSERT_EQ(ServerInfoFile::Write(path, Sample()), platform::eOsError_None);
    testsupport::CFaultyFiles files;
    files.FailAlways(testsupport::eFileCall_Move, platform::eOsError_DiskFull, path + L".new");
    const platform::CScopedOs os(&files, nullptr);
    SZelServerInfo changed = Sample();
    changed.version = L"9";
    EXPECT_EQ(ServerInfoFile::Write(path, changed), platform::eOsError_DiskFull);
    SZelServerInfo info;
    ASSERT_TRUE(ServerInfoFile::Read(path, info));
    EXPECT_EQ(info, Sample());
    EXPECT_FALSE(platform::PathExists(path + L".new"));
}

} // namespace
