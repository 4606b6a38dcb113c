#include "ZEL_Processor/IWQ_ZELProcessorFactory.h"
#include "com/Components.h"
#include "com/Guid.h"
#include "platform/Module.h"
#include "platform/Path.h"
#include "platform/Text.h"
#include "tests/apps/ProgramFixture.h"

#include <sstream>

namespace {

constexpr CLSID kAnyId = {0x5D1B7E20, 0x3A44, 0x4F0B, {0x8C, 0x11, 0x20, 0x61, 0x7D, 0x00, 0x00, 0x77}};
constexpr CLSID kThrowingId = {0x5D1B7E20, 0x3A44, 0x4F0B, {0x8C, 0x11, 0x20, 0x61, 0x7D, 0x00, 0x00, 0x01}};

std::wstring InBin(const std::wstring& name)
{
    return platform::JoinPath(platform::DirectoryOf(platform::ProgramPath()), name) + platform::ModuleExtension();
}

/// A server that finds one plug-in which works, and broken ones beside it.
class BrokenPluginsTest : public CProgramTest {
protected:
    void WriteManifest(const std::wstring& name, const std::wstring& module, const CLSID& id = kAnyId) const
    {
        std::wstring error;
        const SComponentManifest manifest = {module, {{id, L"Broken", {CATID_ZELProcessorFactory}}}};
        EXPECT_TRUE(WriteComponentManifest(InHome(name), manifest, error)) << platform::ToUtf8(error);
    }
    /// What a server says of them while it serves a request with the one that works.
    [[nodiscard]] std::string WhatTheServerSays() const
    {
        CRunningProgram server = StartServer({L"--components", m_strHome});
        EXPECT_EQ(Zel({L"send", MakeEcho(L"a.drq", L"x"), L"--wait"}).code, 0);
        StopServer(server);
        return server.Errors();
    }
    static void ExpectNamed(const std::string& errors, const std::wstring& file, const std::string& reason)
    {
        std::istringstream lines(errors);
        for (std::string line; std::getline(lines, line);) {
            if (Contains(line, platform::ToUtf8(file)) && Contains(line, reason))
                return;
        }
        ADD_FAILURE() << "no line names " << platform::ToUtf8(file) << " and \"" << reason << "\" in:\n" << errors;
    }
};

TEST_F(BrokenPluginsTest, AFileThatIsNoModule)
{
    Write(InHome(L"text.so"), "this is text");
    WriteManifest(L"a.component", L"text.so");
    ExpectNamed(WhatTheServerSays(), InHome(L"text.so"), "\"Broken\"");
}

TEST_F(BrokenPluginsTest, AModuleWithoutTheEntryPoints)
{
    const std::wstring module = InBin(L"com_test_modules/com_test_no_component");
    WriteManifest(L"a.component", module);
    ExpectNamed(WhatTheServerSays(), platform::FileNameOf(module), "exports no DllGetClassObject");
}

TEST_F(BrokenPluginsTest, AManifestWithABrokenClassId)
{
    Write(InHome(L"a.component"), "<component><module>x.so</module><class id=\"{123}\"/></component>");
    ExpectNamed(WhatTheServerSays(), InHome(L"a.component"), "class id \"{123}\"");
}

TEST_F(BrokenPluginsTest, AManifestWithTheClassIdOfAnotherModule)
{
    WriteManifest(L"a.component", InBin(L"plugins/zel_datastore"));
    const std::string errors = WhatTheServerSays();
    ExpectNamed(errors, InHome(L"a.component"), "does not serve this class");
    ExpectNamed(errors, GuidToText(kAnyId), "zel_datastore");
}

TEST_F(BrokenPluginsTest, AManifestWhoseModuleIsMissing)
{
    WriteManifest(L"a.component", L"gone.so");
    ExpectNamed(WhatTheServerSays(), InHome(L"a.component"), "gone.so does not exist");
}

TEST_F(BrokenPluginsTest, APlugInThatThrowsWhenItIsMade)
{
    const std::wstring module = InBin(L"broken-plugins/zel_throwing");
    WriteManifest(L"a.component", module, kThrowingId);
    ExpectNamed(WhatTheServerSays(), platform::FileNameOf(module), "an exception was thrown");
}

TEST_F(BrokenPluginsTest, APlugInOfAnotherVersion)
{
    const std::wstring module = InBin(L"broken-plugins/zel_other_version");
    WriteManifest(L"a.component", module);
    ExpectNamed(WhatTheServerSays(), platform::FileNameOf(module),
                "was built for version 0.2 of the plug-in interfaces; this is version 0.1");
}

TEST_F(BrokenPluginsTest, BrokenOnesAloneEndTheStartWithTheirNames)
{
    WriteManifest(L"a.component", L"gone.so");
    std::vector<std::wstring> arguments = DirectoryArguments();
    arguments.insert(arguments.end(), {L"--components", m_strHome});
    const SProgramResult result = LonelyServerResult(arguments);
    EXPECT_EQ(result.code, 1);
    ExpectNamed(result.errors, InHome(L"a.component"), "gone.so does not exist");
}

} // namespace
