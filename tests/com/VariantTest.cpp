#include "com/Variant.h"
#include "com/ComObject.h"

#include <gtest/gtest.h>

namespace {

class CCounted final : public CComObject<IUnknown> {
public:
    explicit CCounted(bool& alive) : m_bAlive(alive) { m_bAlive = true; }
    ~CCounted() override { m_bAlive = false; }

private:
    bool& m_bAlive;
};

TEST(Variant, StartsEmpty)
{
    const CVariant variant;
    EXPECT_EQ(variant.Type(), VT_EMPTY);
    EXPECT_EQ(variant.Text(), L"");
}

TEST(Variant, HoldsTextsNumbersAndTruth)
{
    const CVariant text(L"abc");
    EXPECT_EQ(text.Type(), VT_BSTR);
    EXPECT_EQ(text.Text(), L"abc");
    const CVariant number = CVariant::FromLong(-5);
    EXPECT_EQ(number.Type(), VT_I4);
    EXPECT_EQ(number.Get().lVal, -5);
    const CVariant truth = CVariant::FromBool(true);
    EXPECT_EQ(truth.Type(), VT_BOOL);
    EXPECT_EQ(truth.Get().boolVal, VARIANT_TRUE);
    EXPECT_EQ(CVariant::FromBool(false).Get().boolVal, VARIANT_FALSE);
}

TEST(Variant, TextOfAnythingElseIsEmpty)
{
    EXPECT_EQ(CVariant::FromLong(5).Text(), L"");
}

TEST(Variant, MovesLeaveAnEmptyOne)
{
    CVariant first(L"abc");
    CVariant second(std::move(first));
    EXPECT_EQ(first.Type(), VT_EMPTY);
    first = std::move(second);
    EXPECT_EQ(first.Text(), L"abc");
    EXPECT_EQ(second.Type(), VT_EMPTY);
}

TEST(Variant, CopyDuplicatesATextAndCountsAnObject)
{
    const CBstr characters(L"abc");
    VARIANT text; // borrows the characters
    VariantInit(&text);
    text.vt = VT_BSTR;
    text.bstrVal = characters.Get();
    CVariant copy;
    ASSERT_EQ(VariantCopy(copy.Put(), &text), S_OK);
    EXPECT_EQ(copy.Text(), L"abc");
    EXPECT_NE(copy.Get().bstrVal, text.bstrVal);

    bool alive = false;
    VARIANT object;
    VariantInit(&object);
    object.vt = VT_UNKNOWN;
    object.punkVal = MakeComObject<CCounted>(alive).Detach();
    VARIANT second;
    VariantInit(&second);
    ASSERT_EQ(VariantCopy(&second, &object), S_OK);
    EXPECT_EQ(VariantClear(&object), S_OK);
    EXPECT_TRUE(alive);
    EXPECT_EQ(object.vt, VT_EMPTY);
    EXPECT_EQ(VariantClear(&second), S_OK);
    EXPECT_FALSE(alive);
}

TEST(Variant, CopyOntoItselfChangesNothing)
{
    VARIANT text;
    VariantInit(&text);
    text.vt = VT_BSTR;
    text.bstrVal = SysAllocString(L"abc");
    EXPECT_EQ(VariantCopy(&text, &text), S_OK);
    EXPECT_STREQ(text.bstrVal, L"abc");
    EXPECT_EQ(VariantClear(&text), S_OK);
}

TEST(Variant, ACopyOfNoTextIsEmpty)
{
    VARIANT none;
    VariantInit(&none);
    none.vt = VT_BSTR;
    none.bstrVal = nullptr;
    VARIANT copy;
    VariantInit(&copy);
    ASSERT_EQ(VariantCopy(&copy, &none), S_OK);
    EXPECT_EQ(copy.vt, VT_BSTR);
    EXPECT_EQ(SysStringLen(copy.bstrVal), 0U); // some make an empty text of it
    EXPECT_EQ(VariantClear(&copy), S_OK);
}

TEST(Variant, AnUnknownTypeIsRefused)
{
    VARIANT strange;
    VariantInit(&strange);
    strange.vt = 0x0FF0;
    VARIANT copy;
    VariantInit(&copy);
    EXPECT_EQ(VariantCopy(&copy, &strange), DISP_E_BADVARTYPE);
    EXPECT_EQ(VariantClear(&strange), DISP_E_BADVARTYPE);
    EXPECT_EQ(copy.vt, VT_EMPTY);
}

} // namespace
