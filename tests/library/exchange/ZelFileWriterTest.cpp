#include "ZEL_Processor/ZelPluginWriter.h"

#include "platform/Os.h"
#include "tests/support/FaultyFiles.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <string>

using namespace testsupport;

namespace {

std::string ContentOf(const std::wstring& path)
{
    std::string bytes;
    EXPECT_EQ(platform::ReadWholeFile(path, platform::eOpenMode_ReadShared, bytes, 10000000), platform::eOsError_None);
    return bytes;
}

} // namespace

TEST(ZelFileWriter, WritesAllOrNothing)
{
    const CTemporaryDirectory folder;
    const std::wstring path = folder / L"file";
    CZelFileWriter file;
    ASSERT_TRUE(file.Open(path));
    for (int piece = 0; piece < 1000; ++piece)
        ASSERT_TRUE(file.Write(std::string(200, 'x')));
    EXPECT_TRUE(file.Close());
    EXPECT_EQ(ContentOf(path), std::string(200000, 'x'));
}

TEST(ZelFileWriter, ReplacesALongerFile)
{
    const CTemporaryDirectory folder;
    const std::wstring path = folder / L"file";
    ASSERT_EQ(platform::WriteWholeFile(path, std::string(100, 'y')), platform::eOsError_None);
    CZelFileWriter file;
    ASSERT_TRUE(file.Open(path));
    ASSERT_TRUE(file.Write("short"));
    ASSERT_TRUE(file.Close());
    EXPECT_EQ(ContentOf(path), "short");
}

TEST(ZelFileWriter, AFileThatIsNotClosedIsRemoved)
{
    const CTemporaryDirectory folder;
    {
        CZelFileWriter file;
        ASSERT_TRUE(file.Open(folder / L"file"));
        ASSERT_TRUE(file.Write(std::string(200000, 'x')));
    }
    EXPECT_FALSE(platform::PathExists(folder / L"file"));
}

TEST(ZelFileWriter, AFailedWriteRemovesTheFileAndIsRemembered)
{
    const CTemporaryDirectory folder;
    CFaultyFiles files;
    const platform::CScopedOs scope(&files, nullptr);
    CZelFileWriter file;
    ASSERT_TRUE(file.Open(folder / L"file"));
    files.FailCall(eFileCall_Write, 1, platform::eOsError_DiskFull);
    EXPECT_FALSE(file.Write(std::string(200000, 'x')));
    EXPECT_FALSE(file.Write("more"));
    EXPECT_FALSE(file.Close());
    EXPECT_EQ(file.Error(), platform::eOsError_DiskFull);
    EXPECT_FALSE(platform::PathExists(folder / L"file"));
}

TEST(ZelFileWriter, AFailedCloseRemovesTheFile)
{
    const CTemporaryDirectory folder;
    CFaultyFiles files;
    const platform::CScopedOs scope(&files, nullptr);
    CZelFileWriter file;
    ASSERT_TRUE(file.Open(folder / L"file"));
    ASSERT_TRUE(file.Write("x"));
    files.FailCall(eFileCall_Close, 1, platform::eOsError_IoError);
    EXPECT_FALSE(file.Close());
    EXPECT_EQ(file.Error(), platform::eOsError_IoError);
    EXPECT_FALSE(platform::PathExists(folder / L"file"));
}

TEST(ZelFileWriter, AFileThatCannotBeOpenedIsAFailure)
{
    const CTemporaryDirectory folder;
    CZelFileWriter file;
    EXPECT_FALSE(file.Open(folder / L"missing" + L"/file"));
    EXPECT_TRUE(platform::IsAbsent(file.Error()));
    EXPECT_FALSE(file.Close());
}
