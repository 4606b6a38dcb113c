#include "apps/zel/ShownAnswer.h"
#include "platform/FileSystem.h"
#include "platform/Os.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

namespace {

/// Of somebody whose time is over.
class CPatienceAtItsEnd final : public IPatience {
public:
    bool IsInterrupted() override { return false; }
    bool GoOn() override { return false; }
    [[nodiscard]] bool HasGivenUp() const override { return true; }
};

TEST(ShownAnswerTest, AFileThatIsGivenUpIsAFailureWithAReasonAndLeavesNone)
{
    const testsupport::CTemporaryDirectory folder;
    ASSERT_EQ(platform::WriteWholeFile(folder / L"answer.xml", "<R>text</R>"), platform::eOsError_None);
    CPatienceAtItsEnd patience;
    std::wstring error;
    const ByteSource source = AnswerFile(patience, folder / L"answer.xml", error);
    ASSERT_TRUE(source);
    EXPECT_FALSE(ShowAnswer(patience, source, L"a.drq", eAnswerFormat_Csv, folder / L"shown.csv", error));
    EXPECT_NE(error.find(L"'a.drq'"), std::wstring::npos) << "empty is a reader who wanted no more";
    EXPECT_FALSE(platform::PathExists(folder / L"shown.csv"));
}

} // namespace
