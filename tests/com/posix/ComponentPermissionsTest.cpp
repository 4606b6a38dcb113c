#include "com/Components.h"
#include "com/Registration.h"
#include "platform/FileSystem.h"
#include "platform/Module.h"
#include "platform/Os.h"
#include "platform/Path.h"
#include "platform/Text.h"
#include "platform/Trust.h"
#include "tests/com/ComFixture.h"
#include "tests/com/TestComponent.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace {

using std::filesystem::perms;

/// A folder with one manifest of one module, all of them the owner's alone.
class CComponentPermissionsTest : public testing::Test {
protected:
    CComponentPermissionsTest()
    {
        EXPECT_EQ(platform::WriteWholeFile(m_folder / L"module.so", "x"), platform::eOsError_None);
        std::wstring error;
        EXPECT_TRUE(
            WriteComponentManifest(m_folder / L"a.component", {L"module.so", {{kTestClassOne, L"", {}}}}, error));
        for (const wchar_t* name : {L"module.so", L"a.component"})
            Allow(m_folder / name, perms::none);
        Allow(m_folder.Path(), perms::none);
    }
    ~CComponentPermissionsTest() override { ClearComponents(); }

    static void Allow(const std::wstring& path, perms more)
    {
        std::filesystem::permissions(testsupport::StandardPath(path), perms::owner_all | more);
    }
    void ExpectRefused(const std::wstring& reason)
    {
        std::vector<std::wstring> errors;
        AddComponentFolder(m_folder.Path(), errors);
        ASSERT_EQ(errors.size(), 1U);
        EXPECT_NE(errors[0].find(reason), std::wstring::npos) << platform::ToUtf8(errors[0]);
        EXPECT_FALSE(IsComponentKnown(kTestClassOne));
    }
    void ExpectRefusedFor(const std::wstring& path) { ExpectRefused(L"others may write to " + path); }

    testsupport::CTemporaryDirectory m_folder;
};

TEST_F(CComponentPermissionsTest, WhatOnlyItsOwnerWritesIsTaken)
{
    std::vector<std::wstring> errors;
    AddComponentFolder(m_folder.Path(), errors);
    EXPECT_TRUE(errors.empty());
    EXPECT_TRUE(IsComponentKnown(kTestClassOne));
}

TEST_F(CComponentPermissionsTest, AFolderForAllIsRefused)
{
    Allow(m_folder.Path(), perms::others_write);
    ExpectRefusedFor(m_folder.Path());
}

TEST_F(CComponentPermissionsTest, AManifestForAllIsRefused)
{
    Allow(m_folder / L"a.component", perms::others_write);
    ExpectRefusedFor(m_folder / L"a.component");
}

TEST_F(CComponentPermissionsTest, AModuleForAllIsRefused)
{
    Allow(m_folder / L"module.so", perms::others_write);
    ExpectRefusedFor(m_folder / L"module.so");
}

TEST_F(CComponentPermissionsTest, AModuleInAFolderForAllIsRefused)
{
    const testsupport::CTemporaryDirectory other;
    ASSERT_EQ(platform::WriteWholeFile(other / L"far.so", "x"), platform::eOsError_None);
    Allow(other / L"far.so", perms::none);
    Allow(other.Path(), perms::others_write);
    std::wstring error;
    ASSERT_TRUE(
        WriteComponentManifest(m_folder / L"a.component", {other / L"far.so", {{kTestClassOne, L"", {}}}}, error));
    ExpectRefusedFor(other.Path());
}

TEST_F(CComponentPermissionsTest, WhatBelongsToSomebodyElseIsRefused)
{
    if (geteuid() != 0)
        GTEST_SKIP() << "not root: only root can give a file away";
    constexpr uid_t stranger = 12345;
    for (const std::wstring& path : {m_folder / L"module.so", m_folder / L"a.component", m_folder.Path()}) {
        ASSERT_EQ(chown(platform::NarrowPath(path).c_str(), stranger, 0), 0);
        ExpectRefused(path + L" belongs to user 12345");
        ASSERT_EQ(chown(platform::NarrowPath(path).c_str(), 0, 0), 0);
    }
    std::vector<std::wstring> errors;
    AddComponentFolder(m_folder.Path(), errors);
    EXPECT_TRUE(errors.empty());
}

TEST_F(CComponentPermissionsTest, AModuleThatIsOpenedToAllLaterIsNotLoaded)
{
    std::vector<std::wstring> errors;
    AddComponentFolder(m_folder.Path(), errors);
    ASSERT_TRUE(errors.empty());
    Allow(m_folder / L"module.so", perms::others_write);
    void* object = nullptr;
    std::wstring error;
    EXPECT_EQ(GetComponentClassObject(kTestClassOne, ComIid<IClassFactory>(), &object, &error), CO_E_DLLNOTFOUND);
    EXPECT_NE(error.find(L"others may write"), std::wstring::npos);
}

TEST_F(CComponentPermissionsTest, AModuleForAllIsNotRegistered)
{
    const testsupport::CTemporaryDirectory config;
    platform::SetEnvironment(L"ZEL_CONFIG_DIR", config.Path());
    for (const std::wstring& path : {m_folder / L"module.so", m_folder.Path()}) {
        Allow(path, perms::others_write);
        EXPECT_EQ(ManifestComponentRegistry().WriteComponent(m_folder / L"module.so", {kTestClassOne, L"", {}}),
                  E_ACCESSDENIED);
        EXPECT_NE(RegistrationError().find(L"others may write to " + path), std::wstring::npos);
        Allow(path, perms::none);
    }
    platform::SetEnvironment(L"ZEL_CONFIG_DIR", L"");
}

TEST_F(CComponentPermissionsTest, NothingIsRegisteredInAFolderForAll)
{
    const testsupport::CTemporaryDirectory config;
    platform::SetEnvironment(L"ZEL_CONFIG_DIR", config.Path());
    ASSERT_EQ(platform::Files().MakeDirectory(config / L"components"), platform::eOsError_None);
    Allow(config / L"components", perms::others_write);
    EXPECT_EQ(ManifestComponentRegistry().WriteComponent(m_folder / L"module.so", {kTestClassOne, L"", {}}),
              E_ACCESSDENIED);
    EXPECT_TRUE(RegistrationError().starts_with(config / L"components"));
    platform::SetEnvironment(L"ZEL_CONFIG_DIR", L"");
}

TEST_F(CComponentPermissionsTest, TheWayToANewFolderIsTheOwnersAloneWhateverHisHabits)
{
    const testsupport::CTemporaryDirectory config;
    platform::SetEnvironment(L"ZEL_CONFIG_DIR", platform::JoinPath(config / L"above", L"folder"));
    const mode_t habits = umask(0);
    EXPECT_EQ(ManifestComponentRegistry().WriteComponent(m_folder / L"module.so", {kTestClassOne, L"", {}}), S_OK);
    umask(habits);
    EXPECT_EQ(platform::DistrustOf(RegistrationFolder(eRegistrationScope_System)), L"");
    platform::SetEnvironment(L"ZEL_CONFIG_DIR", L"");
}

TEST_F(CComponentPermissionsTest, WhatIsRegisteredIsTheOwnersAloneWhateverHisHabits)
{
    const testsupport::CTemporaryDirectory config;
    platform::SetEnvironment(L"ZEL_CONFIG_DIR", config.Path());
    const mode_t habits = umask(0);
    EXPECT_EQ(ManifestComponentRegistry().WriteComponent(m_folder / L"module.so", {kTestClassOne, L"", {}}), S_OK);
    umask(habits);
    std::vector<std::wstring> errors;
    AddComponentFolder(config / L"components", errors);
    EXPECT_TRUE(errors.empty());
    platform::SetEnvironment(L"ZEL_CONFIG_DIR", L"");
}

} // namespace
