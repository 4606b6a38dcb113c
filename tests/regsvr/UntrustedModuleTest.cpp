#include "com/Components.h"
#include "com/Guid.h"
#include "platform/Installation.h"
#include "platform/Module.h"
#include "platform/Text.h"
#include "tests/regsvr/LetOthersWrite.h"
#include "tests/regsvr/RegsvrFixture.h"

namespace {

/// A module of the test's own that tells what of it was run.
class UntrustedModule : public CRegsvrFixture {
protected:
    UntrustedModule()
    {
        Write(m_module, Read(Module(L"regsvr_test_modules/regsvr_test_trace")));
        EXPECT_EQ(platform::KeepOthersFromWriting(m_strHome), platform::eOsError_None);
        EXPECT_EQ(platform::KeepOthersFromWriting(m_module), platform::eOsError_None);
        EXPECT_EQ(platform::MakeDirectories(m_traces), platform::eOsError_None);
    }

    [[nodiscard]] SProgramResult Run(const std::vector<std::wstring>& arguments) const
    {
        platform::SProcessOptions options = Environment();
        options.environment.emplace_back(L"ZEL_TEST_TRACES", m_traces);
        return RunProgram(L"zel-regsvr", arguments, options);
    }
    void ExpectRefused(const std::wstring& option)
    {
        const SProgramResult result = Run({L"--user", option, m_module});
        EXPECT_EQ(result.code, 1);
        EXPECT_NE(result.errors.find(platform::ToUtf8(Reason())), std::string::npos) << result.errors;
        EXPECT_TRUE(FilesIn(m_traces).empty()) << platform::ToUtf8(FilesIn(m_traces).front());
    }
    [[nodiscard]] std::wstring Reason() const
    {
        return L"others may write to " + m_module + L", so the module is not used";
    }

    const std::wstring m_module = InHome(L"trace") + platform::ModuleExtension();
    const std::wstring m_traces = InHome(L"traces");
};

TEST_F(UntrustedModule, OneThatIsTrustedRegistersItself)
{
    EXPECT_EQ(Run({L"--user", m_module}).code, 0);
    EXPECT_EQ(FilesIn(m_traces), (std::vector<std::wstring>{L"loaded", L"registered"}));
}

TEST_F(UntrustedModule, NothingOfItIsRun)
{
    LetOthersWrite(m_module);
    ExpectRefused(L"--");
    ExpectRefused(L"-u");
}

TEST_F(UntrustedModule, TheListSaysWhyAndRunsNothingOfIt)
{
    const std::wstring folder = platform::JoinPath(m_root / L"system", L"components");
    ASSERT_EQ(platform::MakeDirectories(folder), platform::eOsError_None);
    ASSERT_EQ(platform::KeepOthersFromWriting(folder), platform::eOsError_None);
    const std::wstring manifest = platform::JoinPath(folder, L"trace.component");
    std::wstring error;
    CLSID id{};
    ASSERT_TRUE(GuidFromText(L"{7B1C0F5E-3D35-4E52-9C57-0C4B6F1A2D3E}", id));
    ASSERT_TRUE(WriteComponentManifest(manifest, {m_module, {{id, L"Trace", {}}}}, error)) << platform::ToUtf8(error);
    LetOthersWrite(m_module);
    const SProgramResult result = Run({L"--list"});
    EXPECT_EQ(result.code, 1);
    EXPECT_NE(result.output.find(platform::ToUtf8(L"broken: " + manifest + L": " + Reason())), std::string::npos)
        << result.output;
    EXPECT_TRUE(FilesIn(m_traces).empty()) << platform::ToUtf8(FilesIn(m_traces).front());
}

} // namespace
