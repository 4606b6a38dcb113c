#include "com/ComPtr.h"
#include "platform/Module.h"
#include "platform/Text.h"
#include "tests/regsvr/RegsvrFixture.h"

#include <atomic>
#include <thread>

namespace {

using GetClassObject = HRESULT(STDMETHODCALLTYPE*)(REFCLSID, REFIID, void**);
using CanUnloadNow = HRESULT(STDMETHODCALLTYPE*)();

constexpr CLSID kClsidArray = {0x857C58CE, 0x8D5E, 0x4341, {0x92, 0x5F, 0xD6, 0x4E, 0x40, 0xD9, 0x36, 0x6C}};
constexpr CLSID kTestTasksId = {0x94A83206, 0x5715, 0x4640, {0xA9, 0xEB, 0x24, 0x0C, 0x3A, 0x5A, 0x79, 0x15}};

/// The exported entry points of the real modules, under load.
class UnloadTest : public CRegsvrFixture {
protected:
    void Load(const std::wstring& path)
    {
        std::wstring error;
        ASSERT_EQ(platform::LoadDynamicModule(path, m_pModule, error), platform::eOsError_None)
            << platform::ToUtf8(error);
        m_getClassObject = reinterpret_cast<GetClassObject>(m_pModule->Symbol("DllGetClassObject"));
        m_canUnload = reinterpret_cast<CanUnloadNow>(m_pModule->Symbol("DllCanUnloadNow"));
        ASSERT_NE(m_getClassObject, nullptr);
        ASSERT_NE(m_canUnload, nullptr);
    }
    [[nodiscard]] CComPtr<IClassFactory> ClassObject(REFCLSID classId) const
    {
        CComPtr<IClassFactory> factory;
        EXPECT_EQ(m_getClassObject(classId, ComIid<IClassFactory>(), factory.PutVoid()), S_OK);
        return factory;
    }
    [[nodiscard]] CComPtr<IUnknown> Make(REFCLSID classId) const
    {
        CComPtr<IUnknown> object;
        EXPECT_EQ(ClassObject(classId)->CreateInstance(nullptr, ComIid<IUnknown>(), object.PutVoid()), S_OK);
        return object;
    }
    /// Each thread makes and releases objects, and takes and gives back locks; it may never hear that nothing is left
    /// while it holds something itself, or while the test does.
    void MakeAndReleaseOnThreads(REFCLSID classId) const
    {
        std::atomic<int> lies = 0;
        {
            std::vector<std::jthread> threads;
            for (int i = 0; i < 4; ++i) {
                threads.emplace_back([&] {
                    for (int round = 0; round < 500; ++round) {
                        CComPtr<IUnknown> own = Make(classId);
                        lies += m_canUnload() == S_FALSE ? 0 : 1;
                        const CComPtr<IClassFactory> factory = ClassObject(classId);
                        static_cast<void>(factory->LockServer(TRUE));
                        own.Reset();
                        lies += m_canUnload() == S_FALSE ? 0 : 1;
                        static_cast<void>(factory->LockServer(FALSE));
                    }
                });
            }
        }
        EXPECT_EQ(lies, 0);
    }
    void ExpectTheTruth(REFCLSID classId) const
    {
        EXPECT_EQ(m_canUnload(), S_OK);
        MakeAndReleaseOnThreads(classId);
        EXPECT_EQ(m_canUnload(), S_OK) << "nothing is left";
        CComPtr<IUnknown> kept = Make(classId);
        MakeAndReleaseOnThreads(classId);
        EXPECT_EQ(m_canUnload(), S_FALSE) << "one object is left";
        kept.Reset();
        EXPECT_EQ(m_canUnload(), S_OK);
        EXPECT_EQ(ClassObject(classId)->LockServer(TRUE), S_OK);
        EXPECT_EQ(m_canUnload(), S_FALSE) << "a lock is left";
        EXPECT_EQ(ClassObject(classId)->LockServer(FALSE), S_OK);
        EXPECT_EQ(m_canUnload(), S_OK);
    }

    std::unique_ptr<platform::IModule> m_pModule;
    GetClassObject m_getClassObject = nullptr;
    CanUnloadNow m_canUnload = nullptr;
};

TEST_F(UnloadTest, TheLibraryTellsTheTruthUnderLoad)
{
    ASSERT_NO_FATAL_FAILURE(Load(Library()));
    ExpectTheTruth(kClsidArray);
}

TEST_F(UnloadTest, APlugInTellsTheTruthUnderLoad)
{
    ASSERT_NO_FATAL_FAILURE(Load(Module(L"test-plugins/zel_testtasks")));
    ExpectTheTruth(kTestTasksId);
}

} // namespace
