#include "platform/Module.h"

#include "platform/FileSystem.h"
#include "platform/Os.h"
#include "platform/Path.h"
#include "platform/Text.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace platform {
namespace {

/// Built beside the programs; the prefix of its name is the target's.
std::wstring TestModulePath()
{
    const std::wstring directory = DirectoryOf(ProgramPath());
    for (const wchar_t* name : {L"platform_test_module", L"libplatform_test_module"}) {
        const std::wstring path = JoinPath(directory, name) + ModuleExtension();
        if (PathExists(path))
            return path;
    }
    return {};
}

bool IsLoaded(const std::wstring& path)
{
    const auto modules = LoadedModules();
    return std::any_of(modules.begin(), modules.end(), [&path](const std::wstring& module) {
        return EqualsNoCase(FileNameOf(module), FileNameOf(path));
    });
}

TEST(ModuleTest, LoadsFindsAndUnloads)
{
    const std::wstring path = TestModulePath();
    ASSERT_FALSE(path.empty());
    EXPECT_FALSE(IsLoaded(path));
    {
        std::unique_ptr<IModule> module;
        std::wstring errorText;
        ASSERT_EQ(LoadDynamicModule(path, module, errorText), eOsError_None) << ToUtf8(errorText);
        EXPECT_TRUE(IsLoaded(path));
        void* const symbol = module->Symbol("TestModuleAnswer");
        ASSERT_NE(symbol, nullptr);
        EXPECT_EQ(reinterpret_cast<int (*)()>(symbol)(), 42);
        EXPECT_EQ(module->Symbol("NoSuchName"), nullptr);
        EXPECT_TRUE(EqualsNoCase(FileNameOf(ModulePathOf(symbol)), FileNameOf(path)));
        EXPECT_TRUE(PathExists(ModulePathOf(symbol)));
    }
    EXPECT_FALSE(IsLoaded(path));
}

TEST(ModuleTest, FailuresComeWithTheLoadersWords)
{
    const testsupport::CTemporaryDirectory directory;
    std::unique_ptr<IModule> module;
    std::wstring errorText;
    EXPECT_NE(LoadDynamicModule(directory / L"none" + ModuleExtension(), module, errorText), eOsError_None);
    EXPECT_FALSE(errorText.empty());

    errorText.clear();
    const std::wstring text = directory / (std::wstring(L"text") + ModuleExtension());
    ASSERT_EQ(WriteWholeFile(text, "this is no module"), eOsError_None);
    EXPECT_NE(LoadDynamicModule(text, module, errorText), eOsError_None);
    EXPECT_FALSE(errorText.empty());
    EXPECT_EQ(module, nullptr);
}

TEST(ModuleTest, ProgramAndLibraryKnowWhereTheyAre)
{
    EXPECT_TRUE(PathExists(ProgramPath()));
    EXPECT_NE(FileNameOf(ProgramPath()).find(L"platform_tests"), std::wstring::npos);
    static const int here = 0;
    EXPECT_EQ(ModulePathOf(&here), ProgramPath());
    EXPECT_EQ(ModulePathOf(nullptr), L"");
    EXPECT_TRUE(IsLoaded(ProgramPath()));
    for (const std::wstring& module : LoadedModules())
        EXPECT_EQ(AbsolutePath(module), module);
}

TEST(ModuleTest, EnvironmentVariables)
{
    EXPECT_EQ(Environment(L"ZEL_TEST_NOT_SET"), L"");
    SetEnvironment(L"ZEL_TEST_VARIABLE", L"value \u20ac");
    EXPECT_EQ(Environment(L"ZEL_TEST_VARIABLE"), L"value \u20ac");
    const std::wstring longValue(3000, L'x');
    SetEnvironment(L"ZEL_TEST_VARIABLE", longValue);
    EXPECT_EQ(Environment(L"ZEL_TEST_VARIABLE"), longValue);
    SetEnvironment(L"ZEL_TEST_VARIABLE", L"");
    EXPECT_EQ(Environment(L"ZEL_TEST_VARIABLE"), L"");
}

TEST(ModuleTest, FoldersOfTheSystem)
{
    EXPECT_TRUE(DirectoryExists(TemporaryDirectory()));
    EXPECT_FALSE(IsPathSeparator(TemporaryDirectory().back()));
    for (const std::wstring& directory : {SystemConfigDirectory(), UserConfigDirectory()}) {
        EXPECT_TRUE(EqualsNoCase(FileNameOf(directory), L"zel-processor"));
        EXPECT_EQ(AbsolutePath(directory), directory);
    }
    EXPECT_NE(SystemConfigDirectory(), UserConfigDirectory());
}

} // namespace
} // namespace platform
