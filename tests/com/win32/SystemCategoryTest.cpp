#include "com/Components.h"
#include "com/ComPtr.h"
#include "tests/com/ComFixture.h"
#include "tests/com/TestComponent.h"

#include <gtest/gtest.h>

#include <vector>

ZEL_DECLARE_IID(ICatRegister, 0x0002E012, 0x0000, 0x0000, 0xC0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x46);

namespace {

/// A class that the system's registry has in a category, for the length of a test.
class CSystemCategoryTest : public CComFixture {
protected:
    CSystemCategoryTest()
    {
        EXPECT_EQ(CoCreateInstance(CLSID_StdComponentCategoriesMgr, nullptr, CLSCTX_INPROC_SERVER, ComIid<ICatRegister>(),
                                   m_pRegister.PutVoid()),
                  S_OK);
        CATEGORYINFO information = {m_category, 0x409, L"category of a test"};
        EXPECT_EQ(m_pRegister->RegisterCategories(1, &information), S_OK);
        EXPECT_EQ(m_pRegister->RegisterClassImplCategories(kTestClassTwo, 1, &m_category), S_OK);
    }
    ~CSystemCategoryTest() override
    {
        EXPECT_EQ(m_pRegister->UnRegisterClassImplCategories(kTestClassTwo, 1, &m_category), S_OK);
        EXPECT_EQ(m_pRegister->UnRegisterCategories(1, &m_category), S_OK);
        m_pRegister.Reset();
        ClearComponents();
    }

    CComPtr<ICatRegister> m_pRegister;
    CATID m_category = kTestCategory;
};

TEST_F(CSystemCategoryTest, FollowsTheTable)
{
    std::vector<CLSID> classes;
    EnumerateCategory(kTestCategory, classes);
    EXPECT_EQ(classes, std::vector<CLSID>{kTestClassTwo});

    ASSERT_EQ(RegisterComponentClass(
                  kTestClassOne, [](REFIID, void**) { return E_NOTIMPL; }, {kTestCategory}),
              S_OK);
    classes.clear();
    EnumerateCategory(kTestCategory, classes);
    EXPECT_EQ(classes, (std::vector<CLSID>{kTestClassOne, kTestClassTwo}));
}

} // namespace
