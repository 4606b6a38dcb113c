#include "platform/Os.h"
#include "platform/Path.h"
#include "platform/Text.h"
#include "tests/apps/ProgramFixture.h"
#include "tests/support/Predicates.h"

namespace {

/// Plug-ins that end the server, outside of what can be contained.
class PluginEndsServerTest : public CProgramTest {
protected:
    [[nodiscard]] CRunningProgram Start(const std::vector<std::wstring>& extra) const
    {
        EXPECT_TRUE(platform::Succeeded(platform::Files().MakeDirectory(m_crashes)));
        platform::SProcessOptions options;
        // What a given-up task leaves is no leak that a sanitizer should tell.
        options.environment = {{L"ZEL_CRASH_DIR", m_crashes}, {L"LSAN_OPTIONS", L"detect_leaks=0"}};
        return StartServer(extra, std::move(options));
    }
    /// Sends a request that ends the server, and waits for that.
    [[nodiscard]] SProgramResult End(CRunningProgram& server, const std::wstring& kind) const
    {
        EXPECT_EQ(Zel({L"send", MakeRequest(L"x.drq", L"Type=\"Crash\" Kind=\"" + kind + L"\"")}).code, 0);
        return server.Finish();
    }
    void ExpectTold(const SProgramResult& result, const std::string& kind) const
    {
        const std::string words = "a plug-in has ended the server, outside of a task that could be given up: " + kind;
        EXPECT_TRUE(Contains(result.errors, "zel-server: " + words)) << result.errors;
        EXPECT_TRUE(Contains(Read(m_log), words)) << Read(m_log);
        const std::vector<std::wstring> reports = FilesIn(m_crashes);
        ASSERT_EQ(reports.size(), 1U);
        const std::string report = Read(platform::JoinPath(m_crashes, reports[0]));
        EXPECT_TRUE(Contains(report, "Kind:        " + kind)) << report;
        EXPECT_TRUE(Contains(report, "zel_testtasks")) << report;
    }

    const std::wstring m_crashes = m_root / L"crashes";
    const std::wstring m_log = m_root / L"server.log";
};

TEST_F(PluginEndsServerTest, ACallOfExitIsNoCleanEnd)
{
    CRunningProgram server = Start({L"--log-file", m_log});
    const SProgramResult result = End(server, L"CallExit");
    EXPECT_EQ(result.code, 1);
    ExpectTold(result, "a call of exit");
}

TEST_F(PluginEndsServerTest, AStrictServerLeavesAnExitAlone)
{
    CRunningProgram server = Start({L"--strict", L"--log-file", m_log});
    const SProgramResult result = End(server, L"CallExit");
    EXPECT_FALSE(Contains(result.errors, "a plug-in has ended the server")) << result.errors;
    EXPECT_TRUE(FilesIn(m_crashes).empty());
}

TEST_F(PluginEndsServerTest, AFaultOnAThreadOfItsOwnIsToldBeforeTheProcessEnds)
{
    if (testsupport::IsAddressSanitized() || testsupport::IsThreadSanitized())
        GTEST_SKIP() << "IsAddressSanitized, IsThreadSanitized: the sanitizer's own handler comes first";
    CRunningProgram server = Start({L"--log-file", m_log});
    const SProgramResult result = End(server, L"OwnThread");
    EXPECT_NE(result.code, 0);
    EXPECT_NE(result.code, 1) << "it ends by the fault";
    ExpectTold(result, "access violation");
}

TEST_F(PluginEndsServerTest, AnAbortOnAThreadOfItsOwnIsToldBeforeTheProcessEnds)
{
    if (testsupport::IsAddressSanitized() || testsupport::IsThreadSanitized())
        GTEST_SKIP() << "IsAddressSanitized, IsThreadSanitized: the sanitizer's own handler comes first";
    CRunningProgram server = Start({L"--log-file", m_log});
    const SProgramResult result = End(server, L"OwnThreadAbort");
    EXPECT_NE(result.code, 0);
    ExpectTold(result, "abort");
}

TEST_F(PluginEndsServerTest, AContainedFaultIsStillOneRequestsAffair)
{
    CRunningProgram server = Start({L"--log-file", m_log});
    EXPECT_NE(Zel({L"send", MakeRequest(L"c.drq", L"Type=\"Crash\" Kind=\"NullDereference\""), L"--wait"}).code, 0);
    EXPECT_EQ(Zel({L"send", MakeEcho(L"a.drq", L"x"), L"--wait"}).code, 0);
    StopServer(server);
    EXPECT_FALSE(Contains(server.Errors(), "a plug-in has ended the server")) << server.Errors();
}

} // namespace
