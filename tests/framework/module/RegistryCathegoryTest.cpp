#include "framework/module/RegistryCathegory.h"

#include "com/Components.h"

#include <gtest/gtest.h>

#include <cstring>

namespace {

constexpr GUID kCategory = {0x5A1C0001, 0x1111, 0x4222, {0x80, 1, 2, 3, 4, 5, 6, 7}};
constexpr GUID kOtherCategory = {0x5A1C0002, 0x1111, 0x4222, {0x80, 1, 2, 3, 4, 5, 6, 7}};
constexpr CLSID kFirst = {0x5A1C0010, 0x1111, 0x4222, {0x80, 1, 2, 3, 4, 5, 6, 7}};
constexpr CLSID kSecond = {0x5A1C0003, 0x1111, 0x4222, {0x80, 1, 2, 3, 4, 5, 6, 7}};

bool Same(const GUID& left, const GUID& right)
{
    return std::memcmp(&left, &right, sizeof left) == 0;
}

HRESULT MakeNothing(REFIID, void** object)
{
    *object = nullptr;
    return E_NOINTERFACE;
}

class RegistryCathegoryTest : public testing::Test {
protected:
    RegistryCathegoryTest()
    {
        EXPECT_EQ(RegisterComponentClass(kFirst, MakeNothing, {kCategory}), S_OK);
        EXPECT_EQ(RegisterComponentClass(kSecond, MakeNothing, {kCategory}), S_OK);
    }
    ~RegistryCathegoryTest() override
    {
        EXPECT_EQ(RevokeComponentClass(kFirst), S_OK);
        EXPECT_EQ(RevokeComponentClass(kSecond), S_OK);
    }
};

TEST_F(RegistryCathegoryTest, HoldsTheItemsInOrderOfEnumeration)
{
    CMOX_RegistryCathegory category;
    EXPECT_TRUE(category.IsEmpty());
    EXPECT_TRUE(category.Enumerate(kCategory));
    ASSERT_EQ(category.GetItems().size(), 2U);
    EXPECT_TRUE(Same(category.GetItems()[0].GetClsid(), kFirst));
    EXPECT_TRUE(Same(category.GetItems()[1].GetClsid(), kSecond));
}

TEST_F(RegistryCathegoryTest, ACategoryWithoutComponentsIsFalseAndAddsNothing)
{
    CMOX_RegistryCathegory category;
    EXPECT_FALSE(category.Enumerate(kOtherCategory));
    EXPECT_TRUE(category.IsEmpty());
}

TEST_F(RegistryCathegoryTest, EnumeratingAppendsAndClearEmpties)
{
    CMOX_RegistryCathegory category;
    EXPECT_TRUE(category.Enumerate(kCategory));
    EXPECT_TRUE(category.Enumerate(kCategory));
    EXPECT_EQ(category.GetItems().size(), 4U);
    category.Clear();
    EXPECT_TRUE(category.IsEmpty());
}

} // namespace
