#include "platform/Os.h"
#include "platform/Process.h"
#include "platform/Text.h"
#include "tests/apps/ProgramFixture.h"
#include "tests/support/Predicates.h"

namespace {

/// Tasks that damage the heap, so that one of its own functions faults with its lock taken.
class HeapFault : public CProgramTest {
protected:
    void SetUp() override
    {
        if (testsupport::IsAddressSanitized() || testsupport::IsThreadSanitized())
            GTEST_SKIP() << "IsAddressSanitized, IsThreadSanitized: the sanitizer's heap ends the program itself";
    }

    void ExpectEnd(const std::wstring& kind)
    {
        SCOPED_TRACE(platform::ToUtf8(kind));
        platform::SProcessOptions options;
        options.environment = {{L"ZEL_CRASH_DIR", m_strHome}};
        CRunningProgram server = StartServer({L"--log-level", L"critical"}, std::move(options));
        const std::wstring name = kind + L".drq";
        const std::wstring file = MakeRequest(name, L"Type=\"Crash\" Kind=\"" + kind + L"\"");
        EXPECT_EQ(Zel({L"send", file}).code, 0);
        int code = 0;
        ASSERT_TRUE(server.Process().Wait(kPatience, code)) << "it hangs, or has borne the damage";
        EXPECT_TRUE(code >= 128 || code < 0) << "by a signal or by an exception's number: " << code;
        const std::string told = server.Errors();
        EXPECT_TRUE(Contains(told, "A fault in the memory allocator ends this process")) << told;
        EXPECT_TRUE(Contains(told, platform::ToUtf8(InQueue(name)) + "\nKind:        ")) << told;
        ExpectReport(name, told);
    }
    void ExpectReport(const std::wstring& request, const std::string& told) const
    {
        std::vector<std::wstring> files = FilesIn(m_strHome);
        std::erase_if(files, [](const std::wstring& name) { return !name.starts_with(L"zel-crash-"); });
        ASSERT_EQ(files.size(), 1U);
        EXPECT_TRUE(files[0].ends_with(L"Z-" + files[0].substr(files[0].rfind(L'Z') + 2))) << "of the usual form";
        EXPECT_TRUE(Contains(told, "\nCrash report: ")) << told;
        EXPECT_TRUE(Contains(told, platform::ToUtf8(files[0]) + "\n")) << told;
        const std::string report = Read(InHome(files[0]));
        EXPECT_TRUE(report.starts_with("ZEL_Processor crash report\nProgram:     ")) << report;
        EXPECT_TRUE(Contains(report, "\nSubject:     " + platform::ToUtf8(InQueue(request)) + "\n")) << report;
        EXPECT_TRUE(Contains(report, "zel_testtasks")) << report;
        ASSERT_TRUE(platform::Succeeded(platform::Files().Remove(InHome(files[0]))));
    }
};

TEST_F(HeapFault, EndsTheServerWithAReportInsteadOfLeavingItLocked)
{
    for (const wchar_t* kind : {L"HeapOverrun", L"HeapWrongFree", L"HeapUseAfterFree"})
        ExpectEnd(kind);
}

TEST_F(HeapFault, FreeingTwiceEndsTheServer)
{
    if (testsupport::IsWine())
        GTEST_SKIP() << "IsWine: its heap refuses the second time and goes on";
    ExpectEnd(L"HeapDoubleFree");
}

} // namespace
