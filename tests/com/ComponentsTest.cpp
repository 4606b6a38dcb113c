#include "com/Components.h"
#include "ComFixture.h"
#include "TestComponent.h"
#include "com/ComObject.h"
#include "com/Guid.h"
#include "com/ZelCom.h"
#include "platform/FileSystem.h"
#include "platform/Module.h"
#include "platform/Os.h"
#include "platform/Path.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <thread>
#include <vector>

namespace {

class CThousandAnswer final : public CComObject<ITestAnswer> {
public:
    LONG STDMETHODCALLTYPE Answer() override { return 1000; }
};

HRESULT MakeAnswer(REFIID iid, void** object)
{
    return MakeComObject<CThousandAnswer>()->QueryInterface(iid, object);
}

CLSID ClassNumber(std::uint8_t number)
{
    CLSID id = kTestClassNone;
    id.Data4[6] = 0xEE;
    id.Data4[7] = number;
    return id;
}

class CComponentsTest : public CComFixture {
protected:
    ~CComponentsTest() override { ClearComponents(); }

    /// The full path of a module of this build. It is not copied into the test's own folder: Windows does not delete a
    /// module that is loaded. Whatever the builder's habits are, only he may write to it afterwards.
    static std::wstring ModulePath(const std::wstring& name)
    {
        const std::wstring folder =
            platform::JoinPath(platform::DirectoryOf(platform::ProgramPath()), L"com_test_modules");
        const std::wstring path = platform::JoinPath(folder, name + platform::ModuleExtension());
        for (const std::wstring& own : {folder, path})
            std::filesystem::permissions(testsupport::StandardPath(own), std::filesystem::perms::owner_all);
        return path;
    }
    void WriteManifest(const std::wstring& name, const std::wstring& module,
                       const std::vector<SComponentClass>& classes)
    {
        std::wstring error;
        EXPECT_TRUE(WriteComponentManifest(m_folder / name, {module, classes}, error));
    }
    std::vector<std::wstring> AddFolder()
    {
        std::vector<std::wstring> errors;
        AddComponentFolder(m_folder.Path(), errors);
        return errors;
    }
    /// One error, which names this file and has this text.
    void ExpectOneError(const std::wstring& file, const std::wstring& text)
    {
        const std::vector<std::wstring> errors = AddFolder();
        ASSERT_EQ(errors.size(), 1U);
        EXPECT_TRUE(errors[0].starts_with(m_folder / file));
        EXPECT_NE(errors[0].find(text), std::wstring::npos);
    }
    static LONG AnswerOf(REFCLSID classId)
    {
        CComPtr<ITestAnswer> answer;
        const HRESULT result =
            CoCreateInstanceZEL(classId, nullptr, CLSCTX_INPROC_SERVER, ComIid<ITestAnswer>(), answer.PutVoid());
        return FAILED(result) ? static_cast<LONG>(result) : answer->Answer();
    }
    static std::vector<CLSID> Category(const CATID& category)
    {
        std::vector<CLSID> classes;
        EnumerateCategory(category, classes);
        return classes;
    }

    testsupport::CTemporaryDirectory m_folder;
};

TEST_F(CComponentsTest, AModulesClassesAreMade)
{
    WriteManifest(L"a.component", ModulePath(L"com_test_component"),
                  {{kTestClassOne, L"One", {kTestCategory}}, {kTestClassTwo, L"Two", {kTestCategory, kOtherCategory}}});
    EXPECT_TRUE(AddFolder().empty());
    EXPECT_TRUE(IsComponentKnown(kTestClassOne));
    EXPECT_FALSE(IsComponentKnown(kTestClassNone));
    EXPECT_EQ(AnswerOf(kTestClassOne), 1);
    EXPECT_EQ(AnswerOf(kTestClassTwo), 2);
    EXPECT_EQ(Category(kTestCategory), (std::vector<CLSID>{kTestClassOne, kTestClassTwo}));
    EXPECT_EQ(Category(kOtherCategory), std::vector<CLSID>{kTestClassTwo});
    EXPECT_TRUE(Category(kTestClassNone).empty());
}

TEST_F(CComponentsTest, OrderIsThatOfTheManifestsNames)
{
    const std::wstring module = ModulePath(L"com_test_component");
    WriteManifest(L"c.component", module, {{ClassNumber(3), L"", {kTestCategory}}});
    WriteManifest(L"a.component", module, {{ClassNumber(1), L"", {kTestCategory}}});
    WriteManifest(L"b.component", module, {{ClassNumber(2), L"", {kTestCategory}}});
    WriteManifest(L"0.other", module, {{ClassNumber(9), L"", {kTestCategory}}});
    EXPECT_TRUE(AddFolder().empty());
    EXPECT_EQ(Category(kTestCategory), (std::vector<CLSID>{ClassNumber(1), ClassNumber(2), ClassNumber(3)}));
}

TEST_F(CComponentsTest, AClassMayServeSeveralWhenItSaysSo)
{
    const std::wstring module = ModulePath(L"com_test_component");
    std::vector<SComponentClass> classes;
    std::vector<bool> expected;
    std::uint8_t number = 1;
    for (const auto& [model, mayServe] :
         {std::pair(L"Both", true), std::pair(L"Free", true), std::pair(L"Apartment", true), std::pair(L"", false),
          std::pair(L"both", true), std::pair(L"Single", false)}) {
        classes.push_back({ClassNumber(number++), L"", {kTestCategory}});
        classes.back().threadingModel = model;
        classes.back().isThreadingTold = true;
        expected.push_back(mayServe);
    }
    classes.push_back({ClassNumber(number), L"", {kTestCategory}}); // says nothing
    expected.push_back(false);
    WriteManifest(L"a.component", module, classes);
    EXPECT_TRUE(AddFolder().empty());
    std::vector<bool> told;
    for (const SComponentInfo& info : ListComponents(kTestCategory))
        told.push_back(info.mayServeSeveral);
    EXPECT_EQ(told, expected);
}

TEST_F(CComponentsTest, AddingAFolderAgainAddsOnlyWhatIsNew)
{
    const std::wstring module = ModulePath(L"com_test_component");
    WriteManifest(L"a.component", module, {{kTestClassOne, L"", {kTestCategory}}});
    EXPECT_TRUE(AddFolder().empty());
    WriteManifest(L"b.component", module, {{kTestClassTwo, L"", {kTestCategory}}});
    EXPECT_TRUE(AddFolder().empty());
    EXPECT_EQ(Category(kTestCategory), (std::vector<CLSID>{kTestClassOne, kTestClassTwo}));
}

TEST_F(CComponentsTest, AnEnumerationAppendsEachIdOnce)
{
    ASSERT_EQ(RegisterComponentClass(kTestClassOne, MakeAnswer, {kTestCategory}), S_OK);
    ASSERT_EQ(RegisterComponentClass(kTestClassTwo, MakeAnswer, {kTestCategory}), S_OK);
    std::vector<CLSID> classes = {kTestClassTwo};
    EnumerateCategory(kTestCategory, classes);
    EXPECT_EQ(classes, (std::vector<CLSID>{kTestClassTwo, kTestClassOne}));
}

TEST_F(CComponentsTest, ABrokenManifestDoesNotKeepTheOthersOut)
{
    WriteManifest(L"b.component", ModulePath(L"com_test_component"), {{kTestClassOne, L"", {}}});
    ASSERT_EQ(platform::WriteWholeFile(m_folder / L"a.component", "<component>"), platform::eOsError_None);
    ExpectOneError(L"a.component", L"not well formed");
    EXPECT_EQ(AnswerOf(kTestClassOne), 1);
}

TEST_F(CComponentsTest, AMissingModuleIsAnErrorOfTheManifest)
{
    WriteManifest(L"a.component", L"missing.so", {{kTestClassOne, L"", {}}});
    ExpectOneError(L"a.component", L"missing.so does not exist");
    EXPECT_FALSE(IsComponentKnown(kTestClassOne));
}

TEST_F(CComponentsTest, AnIdThatIsTakenStaysWhereItIs)
{
    const std::wstring module = ModulePath(L"com_test_component");
    WriteManifest(L"a.component", module, {{kTestClassOne, L"", {}}});
    WriteManifest(L"b.component", ModulePath(L"com_test_no_component"),
                  {{kTestClassOne, L"Thief", {}}, {kTestClassTwo, L"", {}}});
    ExpectOneError(L"b.component", L"\"Thief\"");
    EXPECT_EQ(AnswerOf(kTestClassOne), 1);
    EXPECT_TRUE(IsComponentKnown(kTestClassTwo)) << "the manifest's other class is there";
}

TEST_F(CComponentsTest, AFileThatIsNoModuleFailsWhenItIsUsed)
{
    ASSERT_EQ(platform::WriteWholeFile(m_folder / L"text.so", "this is text"), platform::eOsError_None);
    WriteManifest(L"a.component", L"text.so", {{kTestClassOne, L"", {}}});
    EXPECT_TRUE(AddFolder().empty());
    CComPtr<IClassFactory> factory;
    std::wstring error;
    EXPECT_EQ(GetComponentClassObject(kTestClassOne, ComIid<IClassFactory>(), factory.PutVoid(), &error),
              CO_E_DLLNOTFOUND);
    EXPECT_TRUE(error.starts_with(m_folder / L"text.so"));
    EXPECT_GT(error.size(), (m_folder / L"text.so").size() + 2);
    EXPECT_EQ(AnswerOf(kTestClassOne), static_cast<LONG>(CO_E_DLLNOTFOUND));
}

TEST_F(CComponentsTest, AModuleWithoutTheEntryPointFailsWhenItIsUsed)
{
    WriteManifest(L"a.component", ModulePath(L"com_test_no_component"), {{kTestClassOne, L"", {}}});
    EXPECT_TRUE(AddFolder().empty());
    CComPtr<IClassFactory> factory;
    std::wstring error;
    EXPECT_EQ(GetComponentClassObject(kTestClassOne, ComIid<IClassFactory>(), factory.PutVoid(), &error),
              CO_E_ERRORINDLL);
    EXPECT_NE(error.find(L"DllGetClassObject"), std::wstring::npos);
}

TEST_F(CComponentsTest, AModuleMayNotServeTheClassThatItsManifestNames)
{
    WriteManifest(L"a.component", ModulePath(L"com_test_component"), {{kTestClassNone, L"", {}}});
    EXPECT_TRUE(AddFolder().empty());
    EXPECT_EQ(AnswerOf(kTestClassNone), static_cast<LONG>(CLASS_E_CLASSNOTAVAILABLE));
}

TEST_F(CComponentsTest, AMissingFolderIsAnError)
{
    std::vector<std::wstring> errors;
    AddComponentFolder(m_folder / L"none", errors);
    ASSERT_EQ(errors.size(), 1U);
    EXPECT_TRUE(errors[0].starts_with(m_folder / L"none"));
}

TEST_F(CComponentsTest, TheVariableNamesFoldersInTheirOrder)
{
    const std::wstring module = ModulePath(L"com_test_component");
    testsupport::CTemporaryDirectory second;
    std::wstring error;
    ASSERT_TRUE(
        WriteComponentManifest(second / L"a.component", {module, {{kTestClassTwo, L"", {kTestCategory}}}}, error));
    WriteManifest(L"z.component", module, {{kTestClassOne, L"", {kTestCategory}}});
    const std::wstring separator(1, platform::PathListSeparator());
    platform::SetEnvironment(L"ZEL_COMPONENT_PATH",
                             separator + m_folder.Path() + separator + separator + second.Path() + separator);
    std::vector<std::wstring> errors;
    LoadDefaultComponentFolders(errors);
    platform::SetEnvironment(L"ZEL_COMPONENT_PATH", L"");
    EXPECT_TRUE(errors.empty());
    EXPECT_EQ(Category(kTestCategory), (std::vector<CLSID>{kTestClassOne, kTestClassTwo}));
}

TEST_F(CComponentsTest, AHostRegistersClassesOfItsOwn)
{
    EXPECT_EQ(RegisterComponentClass(kTestClassOne, MakeAnswer, {kTestCategory}), S_OK);
    EXPECT_EQ(RegisterComponentClass(kTestClassOne, MakeAnswer, {kTestCategory}), S_FALSE);
    EXPECT_EQ(AnswerOf(kTestClassOne), 1000);
    EXPECT_EQ(Category(kTestCategory), std::vector<CLSID>{kTestClassOne});
    EXPECT_EQ(RevokeComponentClass(kTestClassOne), S_OK);
    EXPECT_EQ(RevokeComponentClass(kTestClassOne), S_FALSE);
    EXPECT_EQ(AnswerOf(kTestClassOne), static_cast<LONG>(REGDB_E_CLASSNOTREG));
    EXPECT_EQ(RegisterComponentClass(GUID_NULL, MakeAnswer, {}), E_INVALIDARG);
    EXPECT_EQ(RegisterComponentClass(kTestClassOne, nullptr, {}), E_INVALIDARG);
}

TEST_F(CComponentsTest, AModulesClassCanBeTakenOutAndComesWithItsFolderAgain)
{
    WriteManifest(L"a.component", ModulePath(L"com_test_component"),
                  {{kTestClassOne, L"", {}}, {kTestClassTwo, L"", {}}});
    EXPECT_TRUE(AddFolder().empty());
    EXPECT_EQ(RevokeComponentClass(kTestClassOne), S_OK);
    EXPECT_EQ(RevokeComponentClass(kTestClassOne), S_FALSE);
    EXPECT_EQ(AnswerOf(kTestClassOne), static_cast<LONG>(REGDB_E_CLASSNOTREG));
    EXPECT_EQ(AnswerOf(kTestClassTwo), 2) << "its neighbour stays";
    EXPECT_TRUE(AddFolder().empty());
    EXPECT_EQ(AnswerOf(kTestClassOne), 1);
}

TEST_F(CComponentsTest, AClassIsNotAggregatedAndNotMadeOutOfProcess)
{
    ASSERT_EQ(RegisterComponentClass(kTestClassOne, MakeAnswer, {}), S_OK);
    const CComPtr<CThousandAnswer> outer = MakeComObject<CThousandAnswer>();
    CComPtr<IUnknown> object;
    EXPECT_EQ(
        CoCreateInstanceZEL(kTestClassOne, outer.Get(), CLSCTX_INPROC_SERVER, ComIid<IUnknown>(), object.PutVoid()),
        CLASS_E_NOAGGREGATION);
    EXPECT_EQ(CoCreateInstanceZEL(kTestClassOne, nullptr, CLSCTX_LOCAL_SERVER, ComIid<IUnknown>(), object.PutVoid()),
              REGDB_E_CLASSNOTREG);
}

TEST_F(CComponentsTest, ThreadsLoadAModuleAtOnce)
{
    WriteManifest(L"a.component", ModulePath(L"com_test_component"),
                  {{kTestClassOne, L"", {}}, {kTestClassTwo, L"", {}}});
    EXPECT_TRUE(AddFolder().empty());
    std::vector<std::jthread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([] {
            EXPECT_EQ(CoInitializeZEL(nullptr), S_OK);
            for (int k = 0; k < 50; ++k) {
                EXPECT_EQ(AnswerOf(kTestClassOne), 1);
                EXPECT_EQ(AnswerOf(kTestClassTwo), 2);
            }
            EXPECT_EQ(Category(kOtherCategory).size(), 0U);
            CoUninitializeZEL();
        });
    }
}

} // namespace
