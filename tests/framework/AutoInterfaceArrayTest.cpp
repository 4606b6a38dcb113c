#include "framework/AutoInterfaceArray.h"

#include <gtest/gtest.h>

#include <stdexcept>

namespace {

/// Counts the references that others hold.
class CCounted : public IUnknown {
public:
    virtual ~CCounted() = default;
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID, void** object) override
    {
        *object = nullptr;
        return E_NOINTERFACE;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return ++m_references; }
    ULONG STDMETHODCALLTYPE Release() override { return --m_references; }
    [[nodiscard]] ULONG References() const { return m_references; }

private:
    ULONG m_references = 0;
};

TEST(AutoInterfaceArrayTest, HoldsOneReferenceToEachElement)
{
    CCounted first;
    CCounted second;
    {
        CAutoInterfaceArray<IUnknown> array;
        EXPECT_TRUE(array.IsEmpty());
        array.Add(&first);
        array.Add(&second);
        array.Add(&second);
        EXPECT_EQ(array.GetCount(), 3U);
        EXPECT_EQ(array.GetAt(1), &second);
        EXPECT_EQ(first.References(), 1U);
        EXPECT_EQ(second.References(), 2U);
    }
    EXPECT_EQ(first.References(), 0U);
    EXPECT_EQ(second.References(), 0U);
}

TEST(AutoInterfaceArrayTest, RemoveAllLetsGoOfTheElements)
{
    CCounted object;
    CAutoInterfaceArray<IUnknown> array;
    array.Add(&object);
    array.RemoveAll();
    EXPECT_TRUE(array.IsEmpty());
    EXPECT_EQ(object.References(), 0U);
}

TEST(AutoInterfaceArrayTest, AnIndexBeyondTheEndThrows)
{
    const CAutoInterfaceArray<IUnknown> array;
    EXPECT_THROW((void)array.GetAt(0), std::out_of_range);
}

} // namespace
