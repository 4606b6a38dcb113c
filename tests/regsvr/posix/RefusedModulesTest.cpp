#include "platform/Text.h"
#include "tests/regsvr/RegsvrFixture.h"

#include <filesystem>

namespace {

using std::filesystem::perms;

/// A plug-in in a folder of the test's own, whose permissions are changed.
class RefusedModulesTest : public CRegsvrFixture {
protected:
    RefusedModulesTest()
    {
        Write(m_module, Read(Module(L"test-plugins/zel_testtasks")));
        Allow(m_module, perms::none);
    }
    static void Allow(const std::wstring& path, perms more)
    {
        std::filesystem::permissions(testsupport::StandardPath(path), perms::owner_all | more);
    }
    void ExpectRefused(const std::wstring& path)
    {
        const SProgramResult result = Regsvr({L"--user", m_module});
        EXPECT_EQ(result.code, 1);
        EXPECT_TRUE(Contains(result.errors, "others may write to " + platform::ToUtf8(path))) << result.errors;
        EXPECT_EQ(List(), "nothing is registered\n");
    }

    const std::wstring m_module = InHome(L"own.so");
};

TEST_F(RefusedModulesTest, AModuleThatOthersMayWriteTo)
{
    Allow(m_module, perms::others_write);
    ExpectRefused(m_module);
}

TEST_F(RefusedModulesTest, AModuleInAFolderThatOthersMayWriteTo)
{
    Allow(m_strHome, perms::others_write);
    ExpectRefused(m_strHome);
    Allow(m_strHome, perms::none);
}

TEST_F(RefusedModulesTest, WhatIsSaidOfThreadsBesideAModuleIsRegisteredUnlessOthersMayWriteToIt)
{
    const std::wstring manifest = Module(L"test-plugins/zel_testtasks");
    const std::wstring beside = InHome(L"own.component");
    Write(beside, Read(manifest.substr(0, manifest.rfind(L'.')) + L".component"));
    const std::wstring registered = m_root / L"user/zel-processor/components/own.component";
    for (const bool isTrusted : {true, false}) {
        Allow(beside, isTrusted ? perms::none : perms::others_write);
        const SProgramResult result = Register(m_module, L"--user");
        ASSERT_EQ(result.code, 0) << result.errors;
        EXPECT_EQ(Contains(Read(registered), "threadingModel=\"Both\""), isTrusted);
    }
}

TEST_F(RefusedModulesTest, AFolderOfRegistrationsThatOthersMayWriteTo)
{
    const std::wstring folder = m_root / L"user/zel-processor/components";
    std::filesystem::create_directories(testsupport::StandardPath(folder));
    Allow(folder, perms::others_write);
    const SProgramResult result = Regsvr({L"--user", m_module});
    EXPECT_EQ(result.code, 1);
    EXPECT_TRUE(Contains(result.errors, platform::ToUtf8(folder) + ": others may write to " + platform::ToUtf8(folder)))
        << result.errors;
}

} // namespace
