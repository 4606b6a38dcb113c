#include "com/Registration.h"

#include "platform/FileSystem.h"
#include "platform/Module.h"
#include "platform/Os.h"
#include "platform/Path.h"
#include "platform/Trust.h"
#include "tests/com/ComFixture.h"
#include "tests/com/TestComponent.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

namespace {

constexpr GUID kTypeLibrary = {0x6A0E3D15, 0x5C1B, 0x4B0E, {0x8E, 0x55, 0x11, 0x22, 0x33, 0x44, 0x55, 0x66}};

/// Manifests in a configuration folder of the test's own, and a file that is taken for a module.
class RegistrationTest : public testing::Test {
protected:
    RegistrationTest()
    {
        platform::SetEnvironment(L"ZEL_CONFIG_DIR", m_config.Path());
        m_module = MakeModule(m_modules, L"thing.so");
    }
    ~RegistrationTest() override { platform::SetEnvironment(L"ZEL_CONFIG_DIR", L""); }

    static std::wstring MakeModule(const testsupport::CTemporaryDirectory& folder, const std::wstring& name)
    {
        EXPECT_EQ(platform::WriteWholeFile(folder / name, "x"), platform::eOsError_None);
        for (const std::wstring& path : {folder / name, folder.Path()})
            std::filesystem::permissions(testsupport::StandardPath(path), std::filesystem::perms::owner_all);
        return folder / name;
    }
    [[nodiscard]] static std::wstring ManifestPath(const std::wstring& name = L"thing.component")
    {
        return platform::JoinPath(RegistrationFolder(eRegistrationScope_System), name);
    }
    [[nodiscard]] static SComponentManifest Manifest()
    {
        SComponentManifest manifest;
        std::wstring error;
        EXPECT_TRUE(ReadComponentManifest(ManifestPath(), manifest, error)) << testing::PrintToString(error);
        return manifest;
    }
    [[nodiscard]] static std::vector<SComponentClass> Classes() { return Manifest().classes; }
    [[nodiscard]] HRESULT WriteOne(const std::wstring& name = L"One")
    {
        return m_registry.WriteComponent(m_module, {kTestClassOne, name, {}});
    }

    testsupport::CTemporaryDirectory m_config;
    testsupport::CTemporaryDirectory m_modules;
    std::wstring m_module;
    IComponentRegistry& m_registry = ManifestComponentRegistry();
};

TEST_F(RegistrationTest, TheVariableNamesTheFolder)
{
    EXPECT_EQ(RegistrationFolder(eRegistrationScope_System), m_config / L"components");
    EXPECT_NE(RegistrationFolder(eRegistrationScope_User), m_config / L"components");
}

TEST_F(RegistrationTest, ScopesNest)
{
    EXPECT_EQ(CRegistrationScope::Current(), eRegistrationScope_System);
    {
        const CRegistrationScope user(eRegistrationScope_User);
        EXPECT_EQ(CRegistrationScope::Current(), eRegistrationScope_User);
        const CRegistrationScope inner(eRegistrationScope_System);
        EXPECT_EQ(CRegistrationScope::Current(), eRegistrationScope_System);
    }
    EXPECT_EQ(CRegistrationScope::Current(), eRegistrationScope_System);
}

TEST_F(RegistrationTest, AModulesClassesStandInOneManifest)
{
    ASSERT_EQ(WriteOne(), S_OK) << testing::PrintToString(RegistrationError());
    EXPECT_EQ(m_registry.WriteCategories(m_module, kTestClassOne, {kTestCategory, kOtherCategory}), S_OK);
    EXPECT_EQ(m_registry.WriteCategories(m_module, kTestClassOne, {kTestCategory}), S_OK);
    EXPECT_EQ(m_registry.WriteComponent(m_module, {kTestClassTwo, L"Two", {}, L"Apartment", L"{app}"}), S_OK);
    EXPECT_EQ(m_registry.WriteTypeLibrary(m_module, kTypeLibrary), S_OK);

    const SComponentManifest manifest = Manifest();
    EXPECT_TRUE(manifest.isRegistered);
    EXPECT_EQ(manifest.modulePath, m_module);
    EXPECT_EQ(manifest.typeLibrary, kTypeLibrary);
    ASSERT_EQ(manifest.classes.size(), 2U);
    EXPECT_EQ(manifest.classes[0].id, kTestClassOne);
    EXPECT_EQ(manifest.classes[0].categories, (std::vector<CATID>{kTestCategory, kOtherCategory}));
    EXPECT_EQ(manifest.classes[0].threadingModel, L"Both");
    EXPECT_EQ(manifest.classes[1].name, L"Two");
    EXPECT_EQ(manifest.classes[1].threadingModel, L"Apartment");
    EXPECT_EQ(manifest.classes[1].appId, L"{app}");
    EXPECT_EQ(platform::DistrustOf(ManifestPath()), L"");
}

TEST_F(RegistrationTest, WhoSaysNothingOfThreadsIsWrittenWithoutAModel)
{
    ASSERT_EQ(WriteOne(), S_OK);
    SComponentClass told = {kTestClassTwo, L"Two", {}, L"Both"};
    told.isThreadingTold = true;
    ASSERT_EQ(m_registry.WriteComponent(m_module, told), S_OK);
    ASSERT_EQ(Classes().size(), 2U);
    EXPECT_FALSE(Classes()[0].isThreadingTold);
    EXPECT_TRUE(Classes()[1].isThreadingTold);
}

TEST_F(RegistrationTest, RegisteringAgainReplacesTheClass)
{
    ASSERT_EQ(WriteOne(), S_OK);
    ASSERT_EQ(WriteOne(L"New name"), S_OK);
    ASSERT_EQ(Classes().size(), 1U);
    EXPECT_EQ(Classes()[0].name, L"New name");
}

TEST_F(RegistrationTest, WhatIsTakenOutIsGoneAndTheManifestWithTheLastClass)
{
    ASSERT_EQ(WriteOne(), S_OK);
    ASSERT_EQ(m_registry.WriteComponent(m_module, {kTestClassTwo, L"Two", {kTestCategory, kOtherCategory}}), S_OK);
    ASSERT_EQ(m_registry.WriteTypeLibrary(m_module, kTypeLibrary), S_OK);
    EXPECT_EQ(m_registry.RemoveCategories(m_module, kTestClassTwo, {kTestCategory}), S_OK);
    EXPECT_EQ(Classes()[1].categories, std::vector<CATID>{kOtherCategory});
    EXPECT_EQ(m_registry.RemoveTypeLibrary(m_module, kTestClassNone), S_OK);
    EXPECT_EQ(Manifest().typeLibrary, kTypeLibrary) << "another one";
    EXPECT_EQ(m_registry.RemoveTypeLibrary(m_module, kTypeLibrary), S_OK);
    EXPECT_EQ(Manifest().typeLibrary, GUID_NULL);
    EXPECT_EQ(m_registry.RemoveComponent(m_module, kTestClassOne), S_OK);
    EXPECT_EQ(Classes().size(), 1U);
    EXPECT_EQ(m_registry.RemoveComponent(m_module, kTestClassOne), S_OK) << "not there any more";
    EXPECT_EQ(m_registry.RemoveComponent(m_module, kTestClassTwo), S_OK);
    EXPECT_FALSE(platform::PathExists(ManifestPath()));
    EXPECT_EQ(m_registry.RemoveComponent(m_module, kTestClassTwo), S_OK);
    EXPECT_EQ(m_registry.RemoveCategories(m_module, kTestClassTwo, {kTestCategory}), S_OK);
    EXPECT_EQ(m_registry.RemoveTypeLibrary(m_module, kTypeLibrary), S_OK);
}

TEST_F(RegistrationTest, CategoriesAndTypeLibraryNeedAClass)
{
    EXPECT_EQ(m_registry.WriteCategories(m_module, kTestClassOne, {kTestCategory}), REGDB_E_CLASSNOTREG);
    EXPECT_EQ(m_registry.WriteTypeLibrary(m_module, kTypeLibrary), REGDB_E_CLASSNOTREG);
}

TEST_F(RegistrationTest, AManifestMadeByHandIsLeftAlone)
{
    ASSERT_EQ(platform::Files().MakeDirectory(m_config / L"components"), platform::eOsError_None);
    std::wstring error;
    ASSERT_TRUE(WriteComponentManifest(ManifestPath(), {m_module, {{kTestClassOne, L"Hand", {}}}}, error));
    EXPECT_EQ(WriteOne(), E_ACCESSDENIED);
    EXPECT_TRUE(RegistrationError().starts_with(ManifestPath()));
    EXPECT_NE(RegistrationError().find(L"made by hand"), std::wstring::npos);
    EXPECT_EQ(m_registry.RemoveComponent(m_module, kTestClassOne), S_OK);
    EXPECT_EQ(Classes()[0].name, L"Hand");
}

TEST_F(RegistrationTest, TheManifestOfAnotherModuleIsLeftAloneUnlessThatIsGone)
{
    const testsupport::CTemporaryDirectory other;
    const std::wstring first = MakeModule(other, L"thing.so");
    ASSERT_EQ(m_registry.WriteComponent(first, {kTestClassTwo, L"First", {}}), S_OK);
    EXPECT_EQ(WriteOne(), E_ACCESSDENIED);
    EXPECT_NE(RegistrationError().find(first), std::wstring::npos);
    EXPECT_EQ(m_registry.RemoveComponent(m_module, kTestClassTwo), S_OK);
    EXPECT_EQ(Classes()[0].name, L"First");
    ASSERT_EQ(platform::Files().Remove(first), platform::eOsError_None);
    EXPECT_EQ(WriteOne(), S_OK);
    ASSERT_EQ(Classes().size(), 1U);
    EXPECT_EQ(Classes()[0].id, kTestClassOne);
}

TEST_F(RegistrationTest, OneModuleMayBeNamedInTwoWays)
{
    ASSERT_EQ(WriteOne(), S_OK);
    const std::wstring detour = platform::JoinPath(platform::JoinPath(m_modules.Path(), L"."), L"thing.so");
    EXPECT_EQ(m_registry.WriteComponent(detour, {kTestClassTwo, L"Two", {}}), S_OK);
    EXPECT_EQ(Classes().size(), 2U);
    EXPECT_EQ(m_registry.RemoveComponent(detour, kTestClassOne), S_OK);
    EXPECT_EQ(Classes().size(), 1U);
}

TEST_F(RegistrationTest, ABrokenManifestIsNotOverwritten)
{
    ASSERT_EQ(platform::Files().MakeDirectory(m_config / L"components"), platform::eOsError_None);
    ASSERT_EQ(platform::WriteWholeFile(ManifestPath(), "<component>"), platform::eOsError_None);
    EXPECT_TRUE(FAILED(WriteOne()));
    EXPECT_TRUE(RegistrationError().starts_with(ManifestPath()));
}

TEST_F(RegistrationTest, AModuleThatIsNotThereIsNotRegistered)
{
    EXPECT_EQ(m_registry.WriteComponent(m_modules / L"none.so", {kTestClassOne, L"", {}}), E_ACCESSDENIED);
    EXPECT_NE(RegistrationError().find(L"does not exist"), std::wstring::npos);
    EXPECT_FALSE(platform::PathExists(ManifestPath(L"none.component")));
}

TEST_F(RegistrationTest, WhatIsRegisteredIsFoundByTheDefaultFolders)
{
    ASSERT_EQ(m_registry.WriteComponent(m_module, {kTestClassOne, L"One", {kTestCategory}}), S_OK);
    std::vector<std::wstring> errors;
    LoadDefaultComponentFolders(errors);
    EXPECT_TRUE(errors.empty());
    EXPECT_TRUE(IsComponentKnown(kTestClassOne));
    const std::vector<SComponentInfo> listed = ListComponents(kTestCategory);
    const auto found =
        std::find_if(listed.begin(), listed.end(), [](const SComponentInfo& info) { return info.id == kTestClassOne; });
    ASSERT_NE(found, listed.end());
    EXPECT_EQ(found->name, L"One");
    EXPECT_EQ(found->modulePath, m_module);
    EXPECT_EQ(found->source, ManifestPath());
    ClearComponents();
}

} // namespace
