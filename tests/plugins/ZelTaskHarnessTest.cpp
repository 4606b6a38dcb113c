#include <ZEL_Processor/ZelTaskHarness.h>

#include "tests/plugins/PluginHarness.h"

#include "com/Com.h"
#include "platform/FileSystem.h"
#include "platform/Module.h"
#include "platform/Path.h"

#include <gtest/gtest.h>

using namespace plugintest;

namespace {

class ZelTaskHarness : public testing::Test {
protected:
    void SetUp() override
    {
        const std::wstring folder = platform::JoinPath(platform::DirectoryOf(platform::ProgramPath()), L"test-plugins");
        CString error;
        ASSERT_TRUE(m_harness.LoadModule(
            platform::JoinPath(folder, std::wstring(L"zel_testtasks") + platform::ModuleExtension()), error))
            << platform::PathExists(folder);
        EXPECT_EQ(error, L"");
    }
    [[nodiscard]] static std::string ResponseOf(const SZelTaskRun& run)
    {
        std::string response;
        EXPECT_EQ(platform::ReadWholeFile(run.responsePath, platform::eOpenMode_ReadShared, response, 1 << 20),
                  platform::eOsError_None);
        return ElementOf(response, "Response");
    }

    CZelTaskHarness m_harness;
};

} // namespace

TEST_F(ZelTaskHarness, RunsARequestAsAServerDoes)
{
    const SZelTaskRun run = m_harness.RunText("<Request><Task Type=\"Echo\" Text=\"hello\"/></Request>");
    EXPECT_EQ(run.status, eRequestStatus_Done);
    EXPECT_EQ(ResponseOf(run), "hello");
    EXPECT_EQ(run.objectsLeft, 0);
    EXPECT_FALSE(run.isPutOff);
}

TEST_F(ZelTaskHarness, TellsHowFarItIs)
{
    std::vector<std::int32_t> percents;
    m_harness.SetOnProgress([&](const SZelTaskRun& now) { percents.push_back(now.percent); });
    const SZelTaskRun run =
        m_harness.RunText("<Request><Task Type=\"Sleep\" Milliseconds=\"0\" Steps=\"2\"/></Request>");
    EXPECT_EQ(run.percent, 100);
    // Parsing, GettingData, the range, each step with its comment, PreparingResponse, Done.
    EXPECT_EQ(percents, (std::vector<std::int32_t>{-1, -1, 0, 50, 50, 100, 100, 100, 100}));
}

TEST_F(ZelTaskHarness, AFailureHasItsReason)
{
    const SZelTaskRun run =
        m_harness.RunText("<Request><Task Type=\"FailObtain\" Words=\"the disk is away.\"/></Request>");
    EXPECT_EQ(run.status, eRequestStatus_ServerError);
    EXPECT_NE(run.comment.find(L"the disk is away."), CString::npos);
    EXPECT_EQ(run.responsePath, L"");
    EXPECT_EQ(run.objectsLeft, 0);
}

TEST_F(ZelTaskHarness, TheResponseGoesWithTheNextRun)
{
    const SZelTaskRun first = m_harness.RunText("<Request><Task Type=\"Echo\" Text=\"1\"/></Request>");
    EXPECT_EQ(m_harness.RunText("<Request><Task Type=\"FailSave\"/></Request>").status, eRequestStatus_ServerError);
    EXPECT_FALSE(platform::PathExists(first.responsePath));
}

TEST_F(ZelTaskHarness, ATestCancelsThroughTheContext)
{
    CTestContext context;
    m_harness.SetContext(&context);
    context.OnAsked([&](unsigned times) {
        if (times == 4)
            context.SetCanceled(true);
    });
    const SZelTaskRun run = m_harness.RunText("<Request><Task Type=\"Sleep\" Milliseconds=\"100\"/></Request>");
    EXPECT_EQ(run.status, eRequestStatus_Canceled);
}

TEST_F(ZelTaskHarness, AFileIsCopiedAndAMissingOneNamed)
{
    const testsupport::CTemporaryDirectory folder;
    const std::wstring path = folder / std::wstring(L"a.drq");
    ASSERT_EQ(platform::WriteWholeFile(path, "<Request><Task Type=\"Echo\"/></Request>"), platform::eOsError_None);
    EXPECT_EQ(m_harness.RunFile(path).status, eRequestStatus_Done);
    EXPECT_TRUE(platform::PathExists(path));
    const SZelTaskRun none = m_harness.RunFile(folder / std::wstring(L"none.drq"));
    EXPECT_EQ(none.status, eRequestStatus_ClientError);
    EXPECT_NE(none.comment.find(L"none.drq"), CString::npos);
}

TEST(ZelTaskHarnessEmpty, TakesFactoriesOfTheTest)
{
    const CComponents components;
    CZelTaskHarness harness;
    harness.AddFactory(nullptr);
    EXPECT_EQ(harness.RunText("<Request><Task Type=\"Echo\"/></Request>").status, eRequestStatus_ServerError);
    harness.AddFactory(components.MakeFactory(kTestTasksId).Get());
    const SZelTaskRun run = harness.RunText("<Request><Task Type=\"Echo\"/></Request>");
    EXPECT_EQ(run.status, eRequestStatus_Done);
    EXPECT_FALSE(run.objectsLeft) << "nobody counts";
}

TEST(ZelTaskHarnessEmpty, RefusesWhatIsNoPlugin)
{
    CZelTaskHarness harness;
    CString error;
    const std::wstring bin = platform::DirectoryOf(platform::ProgramPath());
    for (const std::wstring& path : {platform::JoinPath(bin, L"none.so"), platform::ProgramPath(), bin,
                                     platform::JoinPath(bin, L"none.component")}) {
        EXPECT_FALSE(harness.LoadModule(path, error));
        EXPECT_NE(error.find(platform::FileNameOf(path)), CString::npos) << platform::FileNameOf(path).c_str();
    }
}
