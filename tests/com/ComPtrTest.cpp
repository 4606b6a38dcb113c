#include "com/ComPtr.h"
#include "TestComponent.h"
#include "com/ComObject.h"

#include <gtest/gtest.h>

namespace {

class CCountedAnswer final : public CComObject<ITestAnswer> {
public:
    explicit CCountedAnswer(int& alive) : m_nAlive(alive) { ++m_nAlive; }
    ~CCountedAnswer() override { --m_nAlive; }
    LONG STDMETHODCALLTYPE Answer() override { return 7; }

private:
    int& m_nAlive;
};

class CComPtrTest : public testing::Test {
protected:
    CComPtr<ITestAnswer> Make()
    {
        CComPtr<ITestAnswer> answer;
        answer.Attach(MakeComObject<CCountedAnswer>(m_nAlive).Detach());
        return answer;
    }
    ~CComPtrTest() override { EXPECT_EQ(m_nAlive, 0) << "an object was not released"; }

    int m_nAlive = 0;
};

TEST_F(CComPtrTest, TakingAnInterfaceAddsAReference)
{
    const CComPtr<ITestAnswer> first = Make();
    {
        const CComPtr<ITestAnswer> second(first.Get());
        EXPECT_EQ(first->AddRef(), 3U);
        EXPECT_EQ(first->Release(), 2U);
    }
    EXPECT_EQ(first->AddRef(), 2U);
    EXPECT_EQ(first->Release(), 1U);
}

TEST_F(CComPtrTest, NullIsAnErrorWhenUsed)
{
    const CComPtr<ITestAnswer> empty;
    EXPECT_FALSE(empty);
    EXPECT_TRUE(empty == nullptr);
    try {
        static_cast<void>(empty->Answer());
        FAIL() << "null was dereferenced";
    } catch (const CComError& error) {
        EXPECT_EQ(error.Code(), E_POINTER);
    }
}

TEST_F(CComPtrTest, CopiesMovesAndAssignmentsKeepTheCount)
{
    CComPtr<ITestAnswer> first = Make();
    CComPtr<ITestAnswer> second = first;
    CComPtr<ITestAnswer> third = std::move(first);
    EXPECT_FALSE(first);
    EXPECT_TRUE(second == third);
    first = second;
    CComPtr<ITestAnswer>& same = first;
    first = same;
    EXPECT_TRUE(first);
    first = std::move(same);
    EXPECT_TRUE(first);
    first = first.Get();
    EXPECT_TRUE(first);
    second = nullptr;
    third = Make();
    EXPECT_EQ(m_nAlive, 2);
    first.Reset();
    EXPECT_EQ(m_nAlive, 1);
}

TEST_F(CComPtrTest, PutEmptiesFirst)
{
    CComPtr<ITestAnswer> answer = Make();
    ITestAnswer** address = answer.Put();
    EXPECT_EQ(m_nAlive, 0);
    *address = Make().Detach();
    EXPECT_EQ(answer->Answer(), 7);
}

TEST_F(CComPtrTest, QueryFindsWhatTheObjectHas)
{
    const CComPtr<ITestAnswer> answer = Make();
    const CComPtr<IUnknown> unknown = answer.QueryTo<IUnknown>();
    ASSERT_TRUE(unknown);
    EXPECT_EQ(unknown.QueryTo<ITestAnswer>()->Answer(), 7);
    EXPECT_FALSE(unknown.QueryTo<IClassFactory>());
    CComPtr<IClassFactory> factory;
    EXPECT_EQ(unknown.QueryTo(factory.Put()), E_NOINTERFACE);
    EXPECT_EQ(CComPtr<IUnknown>().QueryTo(factory.Put()), E_POINTER);
    EXPECT_FALSE(CComPtr<IUnknown>().QueryTo<IClassFactory>());
}

TEST_F(CComPtrTest, CopyToHandsOutAReferenceOfItsOwn)
{
    CComPtr<ITestAnswer> second;
    {
        const CComPtr<ITestAnswer> first = Make();
        EXPECT_EQ(first.CopyTo(second.Put()), S_OK);
        EXPECT_EQ(first.CopyTo(nullptr), E_POINTER);
    }
    EXPECT_EQ(second->Answer(), 7);
}

} // namespace
