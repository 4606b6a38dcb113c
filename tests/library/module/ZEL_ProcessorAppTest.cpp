#include "ZEL_Processor/ZEL_ProcessorApp.h"

#include "ZEL_Processor/IWQ_CLSIDArray.h"
#include "ZEL_Processor/IWQ_ProjectMarker.h"
#include "com/Components.h"
#include "com/Registration.h"
#include "com/ZelCom.h"
#include "framework/Services.h"
#include "module/VWQ_StringCodeDll.h"
#include "platform/FileSystem.h"
#include "platform/Module.h"
#include "platform/Os.h"
#include "platform/Path.h"
#include "processor/ZelProcessorFactories.h"
#include "tests/support/RecordingAtlSupport.h"
#include "tests/support/RecordingHost.h"
#include "tests/support/ScriptedPlugin.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

using testsupport::CRecordingAtlSupport;

namespace {

using Calls = std::vector<std::string>;

/// A root application that notes what it is asked, into the same list as the module services.
class CRecordingRootApp final : public CWQ_RootApp {
public:
    explicit CRecordingRootApp(CRecordingAtlSupport& calls) : m_calls(calls), m_pPrevious(SetWQ_RootApp(this)) {}
    ~CRecordingRootApp() override { SetWQ_RootApp(m_pPrevious); }

    void SetModuleState(const SWQ_ModuleState& state) override
    {
        m_calls.Note("SetModuleState(" + state.resource + ")");
        CWQ_RootApp::SetModuleState(state);
    }
    bool InitInstance() override
    {
        m_calls.Note("InitInstance");
        return m_bStarts;
    }
    int ExitInstance() override
    {
        m_calls.Note("ExitInstance");
        return 42;
    }
    SWQ_LangRC FindLangRC(const std::string& moduleName) override
    {
        m_calls.Note("FindLangRC(" + moduleName + ")");
        return {moduleName, "xx"};
    }
    void SetAtlModule(CWQ_ComModule* module) override
    {
        m_calls.Note("SetAtlModule");
        CWQ_RootApp::SetAtlModule(module);
    }

    bool m_bStarts = true;

private:
    CRecordingAtlSupport& m_calls;
    CWQ_RootApp* m_pPrevious;
};

class ZEL_ProcessorAppTest : public testing::Test {
protected:
    ZEL_ProcessorAppTest() { static_cast<void>(m_support.TakeCalls()); }
    ~ZEL_ProcessorAppTest() override { SetWQ_StringCodeResource({}); }

    [[nodiscard]] HRESULT Make(REFCLSID classId, REFIID iid, void** object)
    {
        CComPtr<IClassFactory> factory;
        const HRESULT result = m_app.ComModule().GetClassObject(classId, ComIid<IClassFactory>(), factory.PutVoid());
        return FAILED(result) ? result : factory->CreateInstance(nullptr, iid, object);
    }

    CRecordingAtlSupport m_support;
    CRecordingRootApp m_root{m_support};
    CZEL_ProcessorApp m_app;
};

} // namespace

TEST_F(ZEL_ProcessorAppTest, StartsInItsOrder)
{
    EXPECT_TRUE(m_app.InitInstance());
    EXPECT_EQ(m_support.TakeCalls(), (Calls{"RegisterComModule", "SetModuleState(ZEL_Processor)", "InitInstance",
                                            "FindLangRC(ZEL_Processor)", "SetAtlModule"}));
    EXPECT_EQ(m_root.AtlModule(), &m_app.ComModule());
    EXPECT_EQ(m_root.ModuleState().path, m_app.ComModule().Path());
    EXPECT_EQ(WQ_StringCodeResource().module, "ZEL_Processor");
    EXPECT_EQ(WQ_StringCodeResource().language, "xx");
}

TEST_F(ZEL_ProcessorAppTest, ARootApplicationThatDoesNotStartEndsTheStart)
{
    m_root.m_bStarts = false;
    EXPECT_FALSE(m_app.InitInstance());
    EXPECT_EQ(m_support.TakeCalls(),
              (Calls{"RegisterComModule", "SetModuleState(ZEL_Processor)", "InitInstance", "UnregisterComModule"}));
    EXPECT_EQ(m_root.AtlModule(), nullptr);
    EXPECT_EQ(WQ_StringCodeResource().language, "");
}

TEST_F(ZEL_ProcessorAppTest, AComModuleThatDoesNotStartEndsTheStart)
{
    m_support.FailAt("RegisterComModule", E_OUTOFMEMORY);
    EXPECT_FALSE(m_app.InitInstance());
    EXPECT_EQ(m_support.TakeCalls(), Calls{"RegisterComModule"});
}

TEST_F(ZEL_ProcessorAppTest, EndsTheComModuleThenTheRootApplicationOnce)
{
    ASSERT_TRUE(m_app.InitInstance());
    static_cast<void>(m_support.TakeCalls());
    EXPECT_EQ(m_app.ExitInstance(), 42);
    EXPECT_EQ(m_support.TakeCalls(), (Calls{"UnregisterComModule", "ExitInstance"}));
    EXPECT_EQ(m_app.ExitInstance(), 0);
    EXPECT_EQ(m_support.TakeCalls(), Calls{});
}

TEST_F(ZEL_ProcessorAppTest, WhatDidNotStartIsNotEnded)
{
    m_root.m_bStarts = false;
    EXPECT_FALSE(m_app.InitInstance());
    static_cast<void>(m_support.TakeCalls());
    EXPECT_EQ(m_app.ExitInstance(), 0);
    EXPECT_EQ(m_support.TakeCalls(), Calls{}) << "the root application would end without having started";
    m_root.m_bStarts = true;
    EXPECT_TRUE(m_app.InitInstance()) << "a second try";
    EXPECT_EQ(m_app.ExitInstance(), 42);
}

TEST_F(ZEL_ProcessorAppTest, GlobalInstancesAreReleasedLastOneFirstAndOnce)
{
    m_app.AddGlobalInstance([this] { m_support.Note("first"); });
    m_app.AddGlobalInstance([this] { m_support.Note("second"); });
    m_app.OnFreeGlobalInstances();
    m_app.OnFreeGlobalInstances();
    EXPECT_EQ(m_support.TakeCalls(), (Calls{"second", "first"}));
}

TEST_F(ZEL_ProcessorAppTest, AfterThemPlugInsAreLookedForAnew)
{
    CRecordingHost host;
    ASSERT_EQ(CoInitializeZEL(nullptr), S_OK);
    {
        SPluginScript script;
        const CScriptedPlugin plugin(script);
        CZelProcessorFactories::ForgetCategory();
        CScriptedPlugin::SetInstalled(false);
        CZelProcessorFactories factories;
        for (int round = 0; round < 2; ++round) {
            EXPECT_FALSE(factories.LoadFactories());
            EXPECT_FALSE(factories.LoadFactories()) << "what was left out is told once";
            for (int classes = 0; classes < 2; ++classes)
                host.ExpectLogLine(L"A plug-in was left out: class {1F3A6C10-");
            m_app.OnFreeGlobalInstances();
        }
        CScriptedPlugin::SetInstalled(true);
        EXPECT_TRUE(factories.LoadFactories());
    }
    CoUninitializeZEL();
}

TEST_F(ZEL_ProcessorAppTest, RegistersItsClassesTypeLibraryAndTexts)
{
    const testsupport::CTemporaryDirectory config;
    platform::SetEnvironment(L"ZEL_CONFIG_DIR", config.Path());
    m_support.KeepToManifests();
    EXPECT_EQ(m_app.ComModule().RegisterServer(true), S_OK) << testing::PrintToString(RegistrationError());
    EXPECT_EQ(m_support.TakeCalls(),
              (Calls{"SetUseWinRegistry(true)", "RegisterComClass(CLSID array)", "RegisterComClass(Project marker)",
                     "RegisterTypeLibrary", "RegisterComModule", "RegisterStringCodeModule(DLLRC:)",
                     "SetUseWinRegistry(false)"}));
    std::wstring name = platform::FileNameOf(platform::ProgramPath());
    name.resize(name.size() - platform::ExtensionOf(name).size());
    const std::wstring path = config / L"components" + platform::kPathSeparator + name + L".component";
    SComponentManifest manifest;
    std::wstring error;
    ASSERT_TRUE(ReadComponentManifest(path, manifest, error)) << testing::PrintToString(error);
    ASSERT_EQ(manifest.classes.size(), 2U);
    EXPECT_EQ(manifest.classes[0].id, CLSID_WQ_CLSIDArray);
    EXPECT_EQ(manifest.classes[0].name, L"CLSID array");
    EXPECT_EQ(manifest.classes[0].appId, L"") << "the replacement of APPID";
    EXPECT_EQ(manifest.classes[1].id, CLSID_WQ_ProjectMarker);
    EXPECT_EQ(m_app.ComModule().UnregisterServer(true), S_OK);
    EXPECT_FALSE(platform::PathExists(path));
    platform::SetEnvironment(L"ZEL_CONFIG_DIR", L"");
}

TEST_F(ZEL_ProcessorAppTest, ServesItsClassesAndCountsThem)
{
    CComPtr<IWQ_CLSIDArray> array;
    ASSERT_EQ(Make(CLSID_WQ_CLSIDArray, ComIid<IWQ_CLSIDArray>(), array.PutVoid()), S_OK);
    CComPtr<IWQ_ProjectMarker> marker;
    ASSERT_EQ(Make(CLSID_WQ_ProjectMarker, ComIid<IWQ_ProjectMarker>(), marker.PutVoid()), S_OK);
    array.Reset();
    EXPECT_FALSE(m_app.ComModule().CanUnload());
    marker.Reset();
    EXPECT_TRUE(m_app.ComModule().CanUnload());
    EXPECT_EQ(Make(GUID_NULL, ComIid<IUnknown>(), array.PutVoid()), CLASS_E_CLASSNOTAVAILABLE);
}

TEST_F(ZEL_ProcessorAppTest, TellsTheTruthAboutUnloadingWhileThreadsMakeAndReleaseObjects)
{
    constexpr int kThreads = 4;
    constexpr int kRounds = 2000;
    CComPtr<IWQ_CLSIDArray> kept;
    ASSERT_EQ(Make(CLSID_WQ_CLSIDArray, ComIid<IWQ_CLSIDArray>(), kept.PutVoid()), S_OK);
    std::atomic<int> wrong = 0;
    {
        std::vector<std::jthread> threads;
        for (int i = 0; i < kThreads; ++i) {
            threads.emplace_back([this, &wrong] {
                for (int round = 0; round < kRounds; ++round) {
                    CComPtr<IWQ_CLSIDArray> own;
                    const bool made = Make(CLSID_WQ_CLSIDArray, ComIid<IWQ_CLSIDArray>(), own.PutVoid()) == S_OK;
                    if (!made || m_app.ComModule().CanUnload())
                        ++wrong;
                    own.Reset();
                    if (m_app.ComModule().CanUnload()) // the kept one lives
                        ++wrong;
                }
            });
        }
    }
    EXPECT_EQ(wrong, 0);
    EXPECT_FALSE(m_app.ComModule().CanUnload());
    kept.Reset();
    EXPECT_TRUE(m_app.ComModule().CanUnload());
}
