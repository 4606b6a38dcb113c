#include "platform/Os.h"
#include "platform/Path.h"
#include "platform/Text.h"
#include "tests/apps/ProgramFixture.h"

#include <filesystem>

namespace {

using testsupport::CTemporaryDirectory;

/// A directory on another volume than the temporary one, or nothing.
std::wstring OtherVolume()
{
    // With its drive on Windows, where what begins with a slash is an option.
    const std::wstring candidate = platform::AbsolutePath(L"/dev/shm");
    if (!platform::DirectoryExists(candidate))
        return {};
    const CTemporaryDirectory here;
    const CTemporaryDirectory there(candidate);
    EXPECT_EQ(platform::WriteWholeFile(here / L"probe", ""), platform::eOsError_None);
    std::error_code error;
    std::filesystem::create_hard_link(testsupport::StandardPath(here / L"probe"),
                                      testsupport::StandardPath(there / L"probe"), error);
    return error == std::errc::cross_device_link ? candidate : std::wstring();
}

class ReceiveCommandTest : public CProgramTest {
protected:
    /// A request that is done, as a server leaves it.
    void MakeDone(const std::wstring& name) const
    {
        Write(InOutput(name), "<Response/>");
        Write(InOutput(name + L".status"), platform::ToUtf16Le(L"13\r\n"));
    }
};

TEST_F(ReceiveCommandTest, TakesTheResponseAndTheStatus)
{
    MakeDone(L"a.drq");
    const std::wstring target = InHome(L"out.xml");
    Write(target, "older and longer than the response");
    const SProgramResult result = Zel({L"receive", L"a.drq", target, L"--json"});
    EXPECT_EQ(result.code, 0) << result.errors;
    EXPECT_EQ(result.errors, "");
    ASSERT_EQ(result.Objects().size(), 1U);
    EXPECT_EQ(result.Objects()[0]["status"], 13);
    EXPECT_EQ(Read(target), "<Response/>");
    EXPECT_EQ(FilesIn(m_strOutput), std::vector<std::wstring>());
}

TEST_F(ReceiveCommandTest, DirectoryTakesTheResponseUnderTheRequestsName)
{
    MakeDone(L"a.drq");
    EXPECT_EQ(Zel({L"receive", L"a.drq", m_strHome}).code, 0);
    EXPECT_EQ(Read(InHome(L"a.drq")), "<Response/>");
}

TEST_F(ReceiveCommandTest, SeveralGoIntoADirectory)
{
    MakeDone(L"a.drq");
    MakeDone(L"b.drq");
    Write(InOutput(L"c.drq.status"), platform::ToUtf16Le(L"8\r\n"));
    EXPECT_EQ(Zel({L"receive", L"a.drq", L"b.drq", InHome(L"none.xml")}).code, 2);
    const SProgramResult result = Zel({L"receive", L"a.drq", L"c.drq", L"b.drq", m_strHome});
    EXPECT_EQ(result.code, 1);
    EXPECT_TRUE(Contains(result.errors, "'c.drq' has not ended yet")) << result.errors;
    EXPECT_EQ(Read(InHome(L"a.drq")), "<Response/>");
    EXPECT_EQ(Read(InHome(L"b.drq")), "<Response/>");
    EXPECT_EQ(FilesIn(m_strOutput), std::vector<std::wstring>{L"c.drq.status"});
}

TEST_F(ReceiveCommandTest, TargetMayBeOnAnotherVolume)
{
    const std::wstring volume = OtherVolume();
    if (volume.empty())
        GTEST_SKIP() << "OtherVolume: there is no second volume to receive to";
    const CTemporaryDirectory there(volume);
    MakeDone(L"a.drq");
    const SProgramResult result = Zel({L"receive", L"a.drq", there / L"out.xml"});
    EXPECT_EQ(result.code, 0);
    EXPECT_EQ(result.errors, "");
    EXPECT_EQ(Read(there / L"out.xml"), "<Response/>");
    EXPECT_EQ(FilesIn(there.Path()), std::vector<std::wstring>{L"out.xml"});
    EXPECT_EQ(FilesIn(m_strOutput), std::vector<std::wstring>());
}

TEST_F(ReceiveCommandTest, NothingIsLostWhenTheTargetCannotBeWritten)
{
    MakeDone(L"a.drq");
    const SProgramResult result = Zel({L"receive", L"a.drq", InHome(L"no/such/folder.xml"), L"--json"});
    EXPECT_EQ(result.code, 1);
    EXPECT_TRUE(Contains(result.errors, "no/such") || Contains(result.errors, "no\\such")) << result.errors;
    ASSERT_EQ(result.Objects().size(), 1U);
    EXPECT_EQ(result.Objects()[0]["status"], 0);
    EXPECT_EQ(FilesIn(m_strOutput), (std::vector<std::wstring>{L"a.drq", L"a.drq.status"}));
}

TEST_F(ReceiveCommandTest, RequestThatHasNotEndedIsAClientError)
{
    Write(InRequests(L"a.drq"), "");
    const SProgramResult result = Zel({L"receive", L"a.drq", InHome(L"out.xml"), L"--json"});
    EXPECT_EQ(result.code, 1);
    EXPECT_TRUE(Contains(result.errors, "has not ended")) << result.errors;
    ASSERT_EQ(result.Objects().size(), 1U);
    EXPECT_EQ(result.Objects()[0]["status"], 5);
}

TEST_F(ReceiveCommandTest, FailureIsToldWithItsCodeAndCleared)
{
    for (const auto& [status, code] : {std::pair{1, 3}, {2, 4}, {11, 6}}) {
        Write(InOutput(L"a.drq.status"), platform::ToUtf16Le(std::to_wstring(status) + L"\r\n"));
        const SProgramResult result = Zel({L"receive", L"a.drq", InHome(L"out.xml"), L"--json"});
        EXPECT_EQ(result.code, code);
        ASSERT_EQ(result.Objects().size(), 1U);
        EXPECT_EQ(result.Objects()[0]["status"], status);
        EXPECT_EQ(FilesIn(m_strOutput), std::vector<std::wstring>());
        EXPECT_FALSE(platform::PathExists(InHome(L"out.xml")));
    }
}

TEST_F(ReceiveCommandTest, UnknownRequestEndsWithCode5)
{
    EXPECT_EQ(Zel({L"receive", L"a.drq", InHome(L"out.xml")}).code, 5);
}

} // namespace
