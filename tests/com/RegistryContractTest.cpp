#include "RegistryContract.h"

#include "com/Components.h"
#include "platform/FileSystem.h"
#include "platform/Module.h"
#include "platform/Os.h"
#include "platform/Path.h"

#include <algorithm>
#include <filesystem>
#include <vector>

// com/Registration.h says what a registry does; every registry is asked here.

namespace {

/// Manifests in a configuration folder of the test's own.
class CManifestsUnderTest final : public IRegistryUnderTest {
public:
    CManifestsUnderTest() { platform::SetEnvironment(L"ZEL_CONFIG_DIR", m_config.Path()); }
    ~CManifestsUnderTest() override { platform::SetEnvironment(L"ZEL_CONFIG_DIR", L""); }

    IComponentRegistry& Registry() override { return ManifestComponentRegistry(); }
    void MakeModule(const std::wstring& path) override
    {
        EXPECT_EQ(platform::WriteWholeFile(path, "x"), platform::eOsError_None);
        for (const std::wstring& own : {path, platform::DirectoryOf(path)})
            std::filesystem::permissions(testsupport::StandardPath(own), std::filesystem::perms::owner_all);
    }
    std::pair<std::wstring, SComponentClass> Find(REFCLSID classId) override
    {
        const SComponentManifest manifest = Manifest();
        const auto found = std::find_if(manifest.classes.begin(), manifest.classes.end(),
                                        [&](const SComponentClass& known) { return known.id == classId; });
        return found == manifest.classes.end() ? std::pair<std::wstring, SComponentClass>()
                                               : std::pair(manifest.modulePath, *found);
    }
    std::wstring OwnerOfLibrary() override
    {
        const SComponentManifest manifest = Manifest();
        return manifest.typeLibrary == kTestLibrary ? manifest.modulePath : std::wstring();
    }

private:
    [[nodiscard]] static SComponentManifest Manifest()
    {
        const std::wstring path =
            platform::JoinPath(RegistrationFolder(eRegistrationScope_System), L"contract.component");
        SComponentManifest manifest;
        std::wstring error;
        EXPECT_EQ(ReadComponentManifest(path, manifest, error), platform::PathExists(path))
            << testing::PrintToString(error);
        return manifest;
    }

    testsupport::CTemporaryDirectory m_config;
};

TEST_P(RegistryContractTest, AClassIsWrittenAsItIs)
{
    ASSERT_EQ(Write(m_module, L"One"), S_OK) << testing::PrintToString(RegistrationError());
    EXPECT_EQ(Owner(), m_module);
    EXPECT_EQ(Written().name, L"One");
    EXPECT_EQ(Written().threadingModel, L"Apartment");
    EXPECT_EQ(Written().appId, L"{app}");
    EXPECT_EQ(Written().categories, std::vector<CATID>{kCategory});
}

TEST_P(RegistryContractTest, WrittenAgainAClassIsReplacedAsAWhole)
{
    ASSERT_EQ(Write(m_module, L"One"), S_OK);
    ASSERT_EQ(m_registry.WriteComponent(m_module, {kClass, L"New", {kSecond}}), S_OK);
    EXPECT_EQ(Written().name, L"New");
    EXPECT_EQ(Written().threadingModel, L"Both");
    EXPECT_EQ(Written().appId, L"");
    EXPECT_EQ(Written().categories, std::vector<CATID>{kSecond});
}

TEST_P(RegistryContractTest, CategoriesAreAddedAndTakenOut)
{
    ASSERT_EQ(Write(m_module, L"One"), S_OK);
    EXPECT_EQ(m_registry.WriteCategories(m_module, kClass, {kSecond}), S_OK);
    EXPECT_EQ(m_registry.WriteCategories(m_module, kClass, {kSecond}), S_OK) << "again";
    EXPECT_EQ(Written().categories.size(), 2U);
    EXPECT_EQ(m_registry.RemoveCategories(m_module, kClass, {kCategory}), S_OK);
    EXPECT_EQ(Written().categories, std::vector<CATID>{kSecond});
}

TEST_P(RegistryContractTest, WhatIsRemovedAndNotThereIsASuccess)
{
    EXPECT_EQ(m_registry.RemoveComponent(m_module, kClass), S_OK);
    EXPECT_EQ(m_registry.RemoveCategories(m_module, kClass, {kCategory}), S_OK);
    EXPECT_EQ(m_registry.RemoveTypeLibrary(m_module, kTestLibrary), S_OK);
    ASSERT_EQ(Write(m_module, L"One"), S_OK);
    EXPECT_EQ(m_registry.RemoveComponent(m_module, kOther), S_OK);
    EXPECT_EQ(m_registry.RemoveCategories(m_module, kClass, {kSecond}), S_OK);
    EXPECT_EQ(m_registry.RemoveTypeLibrary(m_module, kTestLibrary), S_OK);
    EXPECT_EQ(Written().categories, std::vector<CATID>{kCategory});
    EXPECT_EQ(m_registry.RemoveComponent(m_module, kClass), S_OK);
    EXPECT_EQ(Owner(), L"");
}

TEST_P(RegistryContractTest, CategoriesAndTypeLibraryNeedAClass)
{
    ExpectRefused(REGDB_E_CLASSNOTREG, m_registry.WriteCategories(m_module, kClass, {kCategory}), L"0x80040154");
    ExpectRefused(REGDB_E_CLASSNOTREG, m_registry.WriteTypeLibrary(m_module, kTestLibrary), L"0x80040154");
    EXPECT_EQ(Owner(), L"");
    EXPECT_EQ(m_place->OwnerOfLibrary(), L"");
}

TEST_P(RegistryContractTest, ATypeLibraryIsWrittenAndTakenOut)
{
    ASSERT_EQ(Write(m_module, L"One"), S_OK);
    ASSERT_EQ(m_registry.WriteTypeLibrary(m_module, kTestLibrary), S_OK) << testing::PrintToString(RegistrationError());
    EXPECT_EQ(m_place->OwnerOfLibrary(), m_module);
    EXPECT_EQ(m_registry.RemoveTypeLibrary(m_module, kOther), S_OK) << "another one";
    EXPECT_EQ(m_place->OwnerOfLibrary(), m_module);
    EXPECT_EQ(m_registry.RemoveTypeLibrary(m_module, kTestLibrary), S_OK);
    EXPECT_EQ(m_place->OwnerOfLibrary(), L"");
}

TEST_P(RegistryContractTest, WhatAnotherCopyOwnsIsLeftAlone)
{
    ASSERT_EQ(Write(m_module, L"One"), S_OK);
    ASSERT_EQ(m_registry.WriteTypeLibrary(m_module, kTestLibrary), S_OK);
    ExpectRefused(E_ACCESSDENIED, Write(m_copy, L"Copy"), m_module);
    EXPECT_TRUE(FAILED(m_registry.WriteCategories(m_copy, kClass, {kSecond})));
    EXPECT_TRUE(FAILED(m_registry.WriteTypeLibrary(m_copy, kTestLibrary)));
    EXPECT_EQ(m_registry.RemoveCategories(m_copy, kClass, {kCategory}), S_OK);
    EXPECT_EQ(m_registry.RemoveTypeLibrary(m_copy, kTestLibrary), S_OK);
    EXPECT_EQ(m_registry.RemoveComponent(m_copy, kClass), S_OK);
    EXPECT_EQ(Owner(), m_module);
    EXPECT_EQ(Written().name, L"One");
    EXPECT_EQ(Written().categories, std::vector<CATID>{kCategory});
    EXPECT_EQ(m_place->OwnerOfLibrary(), m_module);
}

TEST_P(RegistryContractTest, WhatACopyOwnedThatIsGoneIsReplaced)
{
    ASSERT_EQ(Write(m_copy, L"Copy"), S_OK);
    ASSERT_EQ(m_registry.WriteTypeLibrary(m_copy, kTestLibrary), S_OK);
    ASSERT_EQ(platform::Files().Remove(m_copy), platform::eOsError_None);
    ASSERT_EQ(m_registry.WriteComponent(m_module, {kClass, L"One", {}}), S_OK);
    ASSERT_EQ(m_registry.WriteTypeLibrary(m_module, kTestLibrary), S_OK);
    EXPECT_EQ(Owner(), m_module);
    EXPECT_TRUE(Written().categories.empty());
    EXPECT_EQ(m_place->OwnerOfLibrary(), m_module);
}

INSTANTIATE_TEST_SUITE_P(Manifests, RegistryContractTest,
                         testing::Values(std::pair("manifests",
                                                   [] { return std::make_unique<CManifestsUnderTest>(); })),
                         [](const auto& parameter) { return std::string(parameter.param.first); });

} // namespace
