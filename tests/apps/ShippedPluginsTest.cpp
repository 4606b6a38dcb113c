#include "ZEL_Processor/IWQ_ZELProcessorFactory.h"
#include "com/Components.h"
#include "platform/Module.h"
#include "platform/Os.h"
#include "platform/Path.h"
#include "platform/Text.h"
#include "tests/apps/ProgramFixture.h"

namespace {

/// A server that is given its two directories and nothing else.
class ShippedPluginsTest : public CProgramTest {
protected:
    [[nodiscard]] CRunningProgram Start(const std::wstring& program,
                                        const platform::SProcessOptions& options = {}) const
    {
        CRunningProgram server(program, DirectoryArguments(), options);
        std::wstring line;
        EXPECT_TRUE(server.Process().ReadLine(line, kPatience)) << server.Errors();
        EXPECT_EQ(platform::ToUtf8(line), "zel-server: ready");
        return server;
    }
    /// A folder with a copy of a manifest that names the same module.
    static void CopyManifest(const std::wstring& manifest, const std::wstring& folder)
    {
        SComponentManifest content;
        std::wstring error;
        ASSERT_TRUE(ReadComponentManifest(manifest, content, error)) << platform::ToUtf8(error);
        ASSERT_EQ(platform::Files().MakeDirectory(folder), platform::eOsError_None);
        ASSERT_TRUE(WriteComponentManifest(platform::JoinPath(folder, platform::FileNameOf(manifest)), content, error))
            << platform::ToUtf8(error);
    }
};

TEST_F(ShippedPluginsTest, TheFolderBesideTheProgramInABuildFolderIsFound)
{
    CRunningProgram server = Start(L"zel-server");
    const std::wstring request = InHome(L"q.drq");
    Write(request, "<Request><Task Type=\"Query\"><DataSource>none</DataSource><Sql>select 1</Sql></Task></Request>");
    // The data store takes it, and has no data here.
    const SProgramResult result = Zel({L"send", request, L"--wait", L"--json"});
    EXPECT_EQ(result.code, 3) << result.errors;
    EXPECT_TRUE(Contains(result.output, "The server has no data sources")) << result.output;
    StopServer(server);
    EXPECT_FALSE(Contains(server.Errors(), "left out")) << server.Errors();
}

TEST_F(ShippedPluginsTest, ALimitOfQueriesThatIsNoNumberIsToldAtTheStart)
{
    for (const wchar_t* const name : {L"ZEL_QUERY_TIME_LIMIT", L"ZEL_QUERY_SPACE_LIMIT"}) {
        platform::SProcessOptions options;
        options.environment.emplace_back(name, L"abc");
        CRunningProgram server = Start(L"zel-server", options);
        StopServer(server);
        const std::string told = "The variable " + platform::ToUtf8(name) + " of the server is no number from ";
        const std::string log = server.Errors();
        const std::size_t at = log.find(told);
        ASSERT_NE(at, std::string::npos) << log;
        EXPECT_EQ(log.find(told, at + 1), std::string::npos) << "once: " << log;
    }
}

TEST_F(ShippedPluginsTest, ItIsFoundWhereverTheProgramLies)
{
    platform::SProcessOptions options;
    const std::wstring folder = m_root / L"unpacked";
    const std::wstring program = CopyServer(folder, options);
    CopyManifest(platform::JoinPath(TestPlugins(), L"zel_testtasks.component"), platform::JoinPath(folder, L"plugins"));
    CRunningProgram server = Start(program, options);
    EXPECT_EQ(Zel({L"send", MakeEcho(L"a.drq", L"x"), L"--wait"}).code, 0);
    StopServer(server);
}

TEST_F(ShippedPluginsTest, WhatIsNamedComesBeforeIt)
{
    // Both have a class of one id: the later one is left out, and told.
    const std::wstring shipped = platform::JoinPath(
        platform::JoinPath(platform::DirectoryOf(platform::ProgramPath()), L"plugins"), L"zel_datastore.component");
    SComponentManifest manifest;
    std::wstring error;
    ASSERT_TRUE(ReadComponentManifest(shipped, manifest, error)) << platform::ToUtf8(error);
    manifest.modulePath =
        platform::JoinPath(TestPlugins(), std::wstring(L"zel_testtasks") + platform::ModuleExtension());
    ASSERT_TRUE(WriteComponentManifest(InHome(L"other.component"), manifest, error)) << platform::ToUtf8(error);
    CRunningProgram server = StartServer({L"--components", m_strHome});
    StopServer(server);
    EXPECT_TRUE(Contains(server.Errors(), "left out: " + platform::ToUtf8(shipped))) << server.Errors();
}

} // namespace
