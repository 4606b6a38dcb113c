#include "platform/FileHolders.h"

#include "platform/Os.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/Predicates.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <chrono>
#include <fstream>

namespace platform {
namespace {

using testsupport::CTemporaryDirectory;

/// Arguments: the path, and "locked" or "open".
int HoldFile(const std::vector<std::wstring>& arguments)
{
    std::unique_ptr<IFile> file;
    std::ifstream stream;
    if (arguments[1] == L"locked") {
        if (!Succeeded(Files().Open(arguments[0], eOpenMode_ReadExclusive, file)))
            return 1;
    } else {
        stream.open(testsupport::StandardPath(arguments[0]));
    }
    testsupport::TellParent(L"held");
    testsupport::WaitForParent();
    return 0;
}
const testsupport::CChildPart holdFile(L"hold-file-for-holders", &HoldFile);

TEST(FileHoldersTest, WhoLocksOrOpensAFileIsNamed)
{
    const CTemporaryDirectory directory;
    const std::wstring path = directory / L"x.drq";
    ASSERT_EQ(WriteWholeFile(path, "x"), eOsError_None);
    EXPECT_EQ(FileHolders(path), L"");
    for (const std::wstring way : {L"locked", L"open"}) {
        CProcess child = testsupport::StartChild(L"hold-file-for-holders", {path, way});
        ASSERT_TRUE(testsupport::WaitForChild(child, L"held"));
        std::wstring holders;
        for (int tries = 0; tries < 100 && holders.empty(); ++tries) // a look ends in time, found or not
            holders = FileHolders(path);
        if (testsupport::IsWine() && holders.empty()) {
            EXPECT_EQ(testsupport::FinishChild(child), 0);
            GTEST_SKIP() << "IsWine: its Restart Manager knows no holders";
        }
        EXPECT_TRUE(holders.starts_with(L"process " + std::to_wstring(child.Id()) + L" (")) << holders.size();
        EXPECT_EQ(testsupport::FinishChild(child), 0);
    }
    EXPECT_EQ(FileHolders(path), L"");
}

TEST(FileHoldersTest, WhatIsNotThereIsHeldByNobody)
{
    const CTemporaryDirectory directory;
    EXPECT_EQ(FileHolders(directory / L"none"), L"");
    EXPECT_EQ(FileHolders(L""), L"");
}

} // namespace
} // namespace platform
