#include "protocol/LockResultsFile.h"

#include "platform/Os.h"
#include "platform/Text.h"
#include "tests/support/FaultyFiles.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

namespace {

class LockResultsFileTest : public testing::Test {
protected:
    testsupport::CTemporaryDirectory m_dir;
    std::wstring m_path = m_dir / L"file";
    testsupport::CFaultyFiles m_files;
};

} // namespace

TEST_F(LockResultsFileTest, HasOneElementEachTime)
{
    for (int time = 0; time < 2; ++time) {
        ASSERT_TRUE(LockResultsFile::Write(m_path));
        std::string bytes;
        EXPECT_EQ(platform::ReadWholeFile(m_path, platform::eOpenMode_ReadShared, bytes, 1000),
                  platform::eOsError_None);
        EXPECT_NE(bytes.find("<Archive version=\"1\"><LockResults/></Archive>"), std::string::npos) << bytes;
    }
}

TEST_F(LockResultsFileTest, SaysWhyItCannotBeWritten)
{
    EXPECT_FALSE(LockResultsFile::Write(m_dir / L"missing" + platform::kPathSeparator + L"file"));
    const platform::CScopedOs os(&m_files, nullptr);
    m_files.FailAlways(testsupport::eFileCall_Write, platform::eOsError_DiskFull);
    CString reason;
    EXPECT_FALSE(LockResultsFile::Write(m_path, &reason));
    EXPECT_NE(reason.find(platform::OsErrorText(platform::eOsError_DiskFull)), CString::npos)
        << platform::ToUtf8(reason);
}
