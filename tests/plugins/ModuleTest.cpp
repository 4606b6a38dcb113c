#include "tests/plugins/PluginHarness.h"

#include "com/Components.h"
#include "platform/Module.h"
#include "platform/Path.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <utility>

using namespace plugintest;

namespace {

using GetClassObjectFunction = HRESULT(STDMETHODCALLTYPE*)(REFCLSID, REFIID, void**);
using CanUnloadFunction = HRESULT(STDMETHODCALLTYPE*)();

/// A module and its entry points, without the component table. The module was possibly loaded by another test; what it
/// counts must be nothing all the same.
class Module : public testing::TestWithParam<std::pair<const wchar_t*, CLSID>> {
protected:
    void SetUp() override
    {
        const std::wstring bin = platform::DirectoryOf(platform::ProgramPath());
        const std::wstring path = platform::JoinPath(bin, GetParam().first) + platform::ModuleExtension();
        std::wstring error;
        ASSERT_EQ(platform::LoadDynamicModule(path, m_pModule, error), platform::eOsError_None)
            << testing::PrintToString(error);
        m_getClassObject = reinterpret_cast<GetClassObjectFunction>(m_pModule->Symbol("DllGetClassObject"));
        m_canUnload = reinterpret_cast<CanUnloadFunction>(m_pModule->Symbol("DllCanUnloadNow"));
        ASSERT_NE(m_getClassObject, nullptr);
        ASSERT_NE(m_canUnload, nullptr);
    }

    CComponents m_components;
    std::unique_ptr<platform::IModule> m_pModule;
    GetClassObjectFunction m_getClassObject = nullptr;
    CanUnloadFunction m_canUnload = nullptr;
};

} // namespace

TEST_P(Module, CanUnloadWhenNothingOfItLives)
{
    EXPECT_EQ(m_canUnload(), S_OK);
    CComPtr<IClassFactory> classObject;
    ASSERT_EQ(m_getClassObject(GetParam().second, ComIid<IClassFactory>(), classObject.PutVoid()), S_OK);
    EXPECT_EQ(m_canUnload(), S_FALSE);
    CComPtr<IUnknown> factory;
    ASSERT_EQ(classObject->CreateInstance(nullptr, ComIid<IUnknown>(), factory.PutVoid()), S_OK);
    classObject.Reset();
    EXPECT_EQ(m_canUnload(), S_FALSE);
    factory.Reset();
    EXPECT_EQ(m_canUnload(), S_OK);
}

TEST_P(Module, ALockKeepsItLoaded)
{
    CComPtr<IClassFactory> classObject;
    ASSERT_EQ(m_getClassObject(GetParam().second, ComIid<IClassFactory>(), classObject.PutVoid()), S_OK);
    EXPECT_EQ(classObject->LockServer(TRUE), S_OK);
    classObject.Reset();
    EXPECT_EQ(m_canUnload(), S_FALSE);
    ASSERT_EQ(m_getClassObject(GetParam().second, ComIid<IClassFactory>(), classObject.PutVoid()), S_OK);
    EXPECT_EQ(classObject->LockServer(FALSE), S_OK);
    classObject.Reset();
    EXPECT_EQ(m_canUnload(), S_OK);
}

TEST_P(Module, GivesOnlyItsOwnClassesAndInterfaces)
{
    CComPtr<IUnknown> object;
    EXPECT_EQ(m_getClassObject(GUID_NULL, ComIid<IUnknown>(), object.PutVoid()), CLASS_E_CLASSNOTAVAILABLE);
    EXPECT_FALSE(object);
    EXPECT_EQ(m_getClassObject(GetParam().second, ComIid<IUnknown>(), nullptr), E_POINTER);
    EXPECT_EQ(m_getClassObject(GetParam().second, ComIid<IWQ_ZELProcessorTask>(), object.PutVoid()), E_NOINTERFACE);
    CComPtr<IClassFactory> classObject;
    ASSERT_EQ(m_getClassObject(GetParam().second, ComIid<IClassFactory>(), classObject.PutVoid()), S_OK);
    EXPECT_EQ(classObject->CreateInstance(classObject.Get(), ComIid<IUnknown>(), object.PutVoid()),
              CLASS_E_NOAGGREGATION);
    EXPECT_EQ(classObject->CreateInstance(nullptr, ComIid<IUnknown>(), nullptr), E_POINTER);
    EXPECT_EQ(classObject->CreateInstance(nullptr, ComIid<IWQ_ZELProcessorTask>(), object.PutVoid()), E_NOINTERFACE);
    classObject.Reset();
    EXPECT_EQ(m_canUnload(), S_OK);
}

TEST_P(Module, ObjectsHaveOneIdentity)
{
    const auto factory = m_components.MakeFactory(GetParam().second);
    ASSERT_TRUE(factory);
    const auto identity = factory.QueryTo<IUnknown>();
    EXPECT_EQ(identity.QueryTo<IWQ_ZELProcessorFactory>().QueryTo<IUnknown>(), identity);
    EXPECT_FALSE(factory.QueryTo<IWQ_ZELProcessorTask>());
    EXPECT_EQ(factory->QueryInterface(ComIid<IUnknown>(), nullptr), E_POINTER);
}

TEST_P(Module, IsInTheCategory)
{
    std::vector<CLSID> classes;
    EnumerateCategory(CATID_ZELProcessorFactory, classes);
    EXPECT_EQ(std::count(classes.begin(), classes.end(), GetParam().second), 1);
}

INSTANTIATE_TEST_SUITE_P(Plugins, Module,
                         testing::Values(std::pair(L"plugins/zel_datastore", kDataStoreId),
                                         std::pair(L"test-plugins/zel_testtasks", kTestTasksId)));
