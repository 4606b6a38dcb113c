#include "com/ComObject.h"
#include "TestComponent.h"

#include <gtest/gtest.h>

#include <new>
#include <stdexcept>
#include <thread>
#include <vector>

namespace {

struct IDerived : public ITestAnswer {
    virtual LONG STDMETHODCALLTYPE More() = 0;
};

} // namespace

ZEL_DECLARE_IID(IDerived, 0x6A0E3D15, 0x5C1B, 0x4B0E, 0x8E, 0x55, 0x11, 0x22, 0x33, 0x44, 0x55, 0x66);

namespace {

class CDerived final : public CComObject<IDerived, ITestAnswer> {
public:
    explicit CDerived(bool& alive) : m_bAlive(alive) { m_bAlive = true; }
    ~CDerived() override { m_bAlive = false; }
    LONG STDMETHODCALLTYPE Answer() override { return 1; }
    LONG STDMETHODCALLTYPE More() override { return 2; }

private:
    bool& m_bAlive;
};

TEST(ComObject, AnswersForItsWholeChainOfInterfaces)
{
    bool alive = false;
    {
        const CComPtr<CDerived> object = MakeComObject<CDerived>(alive);
        EXPECT_EQ(CComPtr<IUnknown>(object.Get()).QueryTo<ITestAnswer>()->Answer(), 1);
        EXPECT_EQ(CComPtr<IUnknown>(object.Get()).QueryTo<IDerived>()->More(), 2);
        void* none = &alive;
        EXPECT_EQ(object->QueryInterface(ComIid<IClassFactory>(), &none), E_NOINTERFACE);
        EXPECT_EQ(none, nullptr);
        EXPECT_EQ(object->QueryInterface(ComIid<IUnknown>(), nullptr), E_POINTER);
        EXPECT_TRUE(alive);
    }
    EXPECT_FALSE(alive);
}

TEST(ComObject, CountsOnAllThreads)
{
    bool alive = false;
    CComPtr<CDerived> object = MakeComObject<CDerived>(alive);
    {
        std::vector<std::jthread> threads;
        for (int i = 0; i < 4; ++i) {
            threads.emplace_back([copy = object] {
                for (int k = 0; k < 10000; ++k)
                    const CComPtr<CDerived> another = copy;
            });
        }
    }
    EXPECT_EQ(object->AddRef(), 2U);
    EXPECT_EQ(object->Release(), 1U);
    object.Reset();
    EXPECT_FALSE(alive);
}

TEST(ComGuard, TurnsWhatIsThrownIntoAResult)
{
    EXPECT_EQ(ComGuard([] { return S_FALSE; }), S_FALSE);
    EXPECT_EQ(ComGuard([]() -> HRESULT { throw CComError(E_ACCESSDENIED); }), E_ACCESSDENIED);
    EXPECT_EQ(ComGuard([]() -> HRESULT { throw std::bad_alloc(); }), E_OUTOFMEMORY);
    EXPECT_EQ(ComGuard([]() -> HRESULT { throw std::runtime_error("x"); }), E_UNEXPECTED);
    EXPECT_EQ(ComGuard([]() -> HRESULT { throw 5; }), E_UNEXPECTED);
}

} // namespace
