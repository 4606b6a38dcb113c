#include "com/ComPtr.h"
#include "com/Components.h"
#include "com/win32/RegistryKey.h"
#include "platform/Module.h"
#include "platform/Path.h"
#include "platform/Text.h"
#include "tests/com/ComFixture.h"
#include "tests/com/TestComponent.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

ZEL_DECLARE_IID(ICatRegister, 0x0002E012, 0x0000, 0x0000, 0xC0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x46);

namespace {

/// A class that the system's registry has in a category, for the length of a test.
class CSystemCategoryTest : public CComFixture {
protected:
    CSystemCategoryTest()
    {
        EXPECT_EQ(CoCreateInstance(CLSID_StdComponentCategoriesMgr, nullptr, CLSCTX_INPROC_SERVER,
                                   ComIid<ICatRegister>(), m_pRegister.PutVoid()),
                  S_OK);
        CATEGORYINFO information = {m_category, 0x409, L"category of a test"};
        EXPECT_EQ(m_pRegister->RegisterCategories(1, &information), S_OK);
        EXPECT_EQ(m_pRegister->RegisterClassImplCategories(kTestClassTwo, 1, &m_category), S_OK);
    }
    ~CSystemCategoryTest() override
    {
        static_cast<void>(RegDeleteTreeW(HKEY_CLASSES_ROOT, m_server.c_str())); // where a test wrote it
        EXPECT_EQ(m_pRegister->UnRegisterClassImplCategories(kTestClassTwo, 1, &m_category), S_OK);
        EXPECT_EQ(m_pRegister->UnRegisterCategories(1, &m_category), S_OK);
        m_pRegister.Reset();
        ClearComponents();
    }

    /// Has the system say that a module serves the class, in these words, for the length of the test.
    void SetServer(const std::wstring& text)
    {
        com_win32::CRegistryKey key;
        ASSERT_EQ(key.Create(HKEY_CLASSES_ROOT, m_server), ERROR_SUCCESS);
        ASSERT_EQ(key.SetText(nullptr, text), ERROR_SUCCESS);
    }
    /// What the list of components says of the class's module.
    static std::wstring ListedModule()
    {
        for (const SComponentInfo& info : ListComponents(kTestCategory)) {
            if (info.id == kTestClassTwo)
                return info.modulePath;
        }
        return L"not listed";
    }

    const std::wstring m_server = com_win32::ClassKey(kTestClassTwo) + L"\\InprocServer32";
    CComPtr<ICatRegister> m_pRegister;
    CATID m_category = kTestCategory;
};

TEST_F(CSystemCategoryTest, FollowsTheTable)
{
    std::vector<CLSID> classes;
    EnumerateCategory(kTestCategory, classes);
    EXPECT_EQ(classes, std::vector<CLSID>{kTestClassTwo});

    ASSERT_EQ(RegisterComponentClass(kTestClassOne, [](REFIID, void**) { return E_NOTIMPL; }, {kTestCategory}), S_OK);
    classes.clear();
    EnumerateCategory(kTestCategory, classes);
    EXPECT_EQ(classes, (std::vector<CLSID>{kTestClassOne, kTestClassTwo}));
}

TEST_F(CSystemCategoryTest, AQuotedModuleIsFound)
{
    const std::wstring folder = platform::JoinPath(platform::DirectoryOf(platform::ProgramPath()), L"com_test_modules");
    const std::wstring module = platform::JoinPath(folder, L"com_test_component.dll");
    ASSERT_NO_FATAL_FAILURE(SetServer(L"\"" + module + L"\""));
    EXPECT_EQ(ListedModule(), module);
    CComPtr<ITestAnswer> answer;
    std::wstring error;
    ASSERT_EQ(CreateComponent(kTestClassTwo, ComIid<ITestAnswer>(), answer.PutVoid(), error), S_OK)
        << testing::PrintToString(error);
    EXPECT_EQ(answer->Answer(), 2);
}

TEST_F(CSystemCategoryTest, ABareModuleIsLookedForWhereTheSystemLooks)
{
    const std::wstring system = platform::JoinPath(platform::Environment(L"SystemRoot"), L"system32");
    ASSERT_NO_FATAL_FAILURE(SetServer(L"oleaut32"));
    EXPECT_TRUE(platform::EqualsNoCase(ListedModule(), platform::JoinPath(system, L"oleaut32.dll")))
        << testing::PrintToString(ListedModule());
    CComPtr<ITestAnswer> answer;
    std::wstring error;
    EXPECT_TRUE(FAILED(CreateComponent(kTestClassTwo, ComIid<ITestAnswer>(), answer.PutVoid(), error)));
    EXPECT_EQ(error.find(L"does not exist"), std::wstring::npos) << testing::PrintToString(error);

    ASSERT_NO_FATAL_FAILURE(SetServer(L"no such module.dll"));
    EXPECT_EQ(ListedModule(), L"no such module.dll");
    EXPECT_TRUE(FAILED(CreateComponent(kTestClassTwo, ComIid<ITestAnswer>(), answer.PutVoid(), error)));
    EXPECT_NE(error.find(L"the module no such module.dll does not exist"), std::wstring::npos);
}

} // namespace
