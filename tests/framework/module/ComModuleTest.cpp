#include "framework/ComModule.h"

#include "com/ComObject.h"
#include "com/Registration.h"
#include "framework/WorkerThread.h"
#include "platform/FileSystem.h"
#include "platform/Module.h"
#include "platform/Os.h"
#include "platform/Path.h"
#include "platform/Thread.h"
#include "tests/support/RecordingAtlSupport.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

using testsupport::CRecordingAtlSupport;

namespace {

constexpr CLSID kA = {0x2F1B7C01, 0x11D0, 0x4C52, {0x9A, 0x10, 0, 0, 0, 0, 0, 1}};
constexpr CLSID kB = {0x2F1B7C01, 0x11D0, 0x4C52, {0x9A, 0x10, 0, 0, 0, 0, 0, 2}};
constexpr CLSID kC = {0x2F1B7C01, 0x11D0, 0x4C52, {0x9A, 0x10, 0, 0, 0, 0, 0, 3}};
constexpr GUID kLibrary = {0x2F1B7C01, 0x11D0, 0x4C52, {0x9A, 0x10, 0, 0, 0, 0, 0, 9}};

CModuleUses g_moduleTestUses;

class CCountedThing final : public CComObject<IUnknown> {
private:
    const CModuleUse m_use{g_moduleTestUses};
};

HRESULT MakeThing(REFIID iid, void** object)
{
    return ComGuard([&] { return MakeComObject<CCountedThing>()->QueryInterface(iid, object); });
}

class CCodes final : public IWQ_StringCodeModule {
public:
    std::wstring Prefix() override { return L"TEST:"; }
    std::wstring Text(const std::wstring& code) override { return L"text of " + code; }
};

CRecordingAtlSupport* g_recorder = nullptr;

HRESULT NoteUpdate(CWQ_ComModule&, const SWQ_ClassEntry& entry, bool isRegistering)
{
    return g_recorder->Note((isRegistering ? "Update(" : "Remove(") + CRecordingAtlSupport::NameOf(entry) + ")");
}

SWQ_ClassEntry Entry(const CLSID& id, const wchar_t* name)
{
    return {{id, MakeThing, name}, {}, &NoteUpdate};
}

/// A module with two classes in the first table and one in the second, and the services that note what it does.
class ComModuleTest : public testing::Test {
protected:
    ComModuleTest()
    {
        g_recorder = &m_support;
        m_module.SetClasses({Entry(kA, L"A"), Entry(kB, L"B")}, {Entry(kC, L"C")});
        m_module.SetTypeLibrary(kLibrary);
        EXPECT_EQ(m_support.TakeCalls(), std::vector<std::string>{"RegisterAtlModule"});
    }

    CRecordingAtlSupport m_support;
    CCodes m_codes;
    CWQ_ComModule m_module{&g_moduleTestUses, g_moduleTestUses};
};

using Calls = std::vector<std::string>;

TEST_F(ComModuleTest, RegistrationWalksBothTablesThenTheModule)
{
    m_module.SetStringCodeModule(&m_codes);
    m_module.SetRegistrationHook(
        [this](bool isRegistering) { return m_support.Note(isRegistering ? "Hook(true)" : "Hook(false)"); });
    EXPECT_EQ(m_module.RegisterServer(true), S_OK);
    EXPECT_EQ(m_support.TakeCalls(),
              (Calls{"SetUseWinRegistry(true)", "Update(A)", "RegisterComClass(A)", "Update(B)", "RegisterComClass(B)",
                     "Update(C)", "RegisterComClass(C)", "RegisterTypeLibrary", "RegisterComModule", "Hook(true)",
                     "RegisterStringCodeModule(TEST:)", "SetUseWinRegistry(false)"}));
    EXPECT_EQ(m_module.UnregisterServer(true), S_OK);
    EXPECT_EQ(m_support.TakeCalls(), (Calls{"SetUseWinRegistry(true)", "Remove(A)", "UnregisterComClass(A)",
                                            "Remove(B)", "UnregisterComClass(B)", "Remove(C)", "UnregisterComClass(C)",
                                            "UnregisterTypeLibrary", "UnregisterComModule", "Hook(false)",
                                            "UnregisterStringCodeModule(TEST:)", "SetUseWinRegistry(false)"}));
}

TEST_F(ComModuleTest, TheRedirectionOfBeforeComesBack)
{
    m_support.SetUseWinRegistry(true);
    static_cast<void>(m_support.TakeCalls());
    EXPECT_EQ(m_module.RegisterServer(false), S_OK);
    const Calls calls = m_support.TakeCalls();
    EXPECT_EQ(calls.front(), "SetUseWinRegistry(true)");
    EXPECT_EQ(calls.back(), "SetUseWinRegistry(true)");
    EXPECT_TRUE(m_support.IsWinRegistryUsed());
}

TEST_F(ComModuleTest, TheFirstFailureEndsItAndNothingIsUndone)
{
    const Calls all = {"Update(A)",
                       "RegisterComClass(A)",
                       "Update(B)",
                       "RegisterComClass(B)",
                       "Update(C)",
                       "RegisterComClass(C)",
                       "RegisterTypeLibrary",
                       "RegisterComModule",
                       "Hook",
                       "RegisterStringCodeModule(TEST:)"};
    m_module.SetStringCodeModule(&m_codes);
    m_module.SetRegistrationHook([this](bool) { return m_support.Note("Hook"); });
    for (std::size_t failing = 0; failing < all.size(); ++failing) {
        const HRESULT failure = HRESULT_FROM_WIN32(static_cast<std::uint32_t>(100 + failing));
        m_support.FailAt(all[failing], failure);
        EXPECT_EQ(m_module.RegisterServer(true), failure) << all[failing];
        Calls expected = {"SetUseWinRegistry(true)"};
        expected.insert(expected.end(), all.begin(), all.begin() + static_cast<std::ptrdiff_t>(failing) + 1);
        expected.emplace_back("SetUseWinRegistry(false)");
        EXPECT_EQ(m_support.TakeCalls(), expected) << all[failing];
    }
}

TEST_F(ComModuleTest, OneClassAloneCanBeAskedFor)
{
    EXPECT_EQ(m_module.RegisterServer(false, &kC), S_OK);
    EXPECT_EQ(m_support.TakeCalls(), (Calls{"SetUseWinRegistry(true)", "Update(C)", "RegisterComClass(C)",
                                            "RegisterComModule", "SetUseWinRegistry(false)"}));
    EXPECT_EQ(m_module.UnregisterServer(false, &kB), S_OK);
    EXPECT_EQ(m_support.TakeCalls(), (Calls{"SetUseWinRegistry(true)", "Remove(B)", "UnregisterComClass(B)",
                                            "UnregisterComModule", "SetUseWinRegistry(false)"}));
}

TEST_F(ComModuleTest, ClassesOfBothTablesAreMade)
{
    for (const CLSID& id : {kA, kB, kC}) {
        CComPtr<IClassFactory> classObject;
        ASSERT_EQ(m_module.GetClassObject(id, ComIid<IClassFactory>(), classObject.PutVoid()), S_OK);
        CComPtr<IUnknown> object;
        EXPECT_EQ(classObject->CreateInstance(nullptr, ComIid<IUnknown>(), object.PutVoid()), S_OK);
    }
    CComPtr<IClassFactory> none;
    EXPECT_EQ(m_module.GetClassObject(kLibrary, ComIid<IClassFactory>(), none.PutVoid()), CLASS_E_CLASSNOTAVAILABLE);
    EXPECT_EQ(m_module.GetClassObject(kA, ComIid<IClassFactory>(), nullptr), E_POINTER);
}

TEST_F(ComModuleTest, ObjectsLocksAndTheHostKeepItLoaded)
{
    EXPECT_TRUE(m_module.CanUnload());
    CComPtr<IClassFactory> classObject;
    ASSERT_EQ(m_module.GetClassObject(kA, ComIid<IClassFactory>(), classObject.PutVoid()), S_OK);
    EXPECT_FALSE(m_module.CanUnload());
    CComPtr<IUnknown> object;
    ASSERT_EQ(classObject->CreateInstance(nullptr, ComIid<IUnknown>(), object.PutVoid()), S_OK);
    EXPECT_EQ(classObject->LockServer(TRUE), S_OK);
    classObject.Reset();
    EXPECT_FALSE(m_module.CanUnload()) << "an object and a lock";
    object.Reset();
    EXPECT_FALSE(m_module.CanUnload()) << "a lock";
    ASSERT_EQ(m_module.GetClassObject(kA, ComIid<IClassFactory>(), classObject.PutVoid()), S_OK);
    EXPECT_EQ(classObject->LockServer(FALSE), S_OK);
    EXPECT_FALSE(m_module.CanUnload()) << "the class object";
    classObject.Reset();
    EXPECT_TRUE(m_module.CanUnload());
    m_support.SetUnloadable(false);
    EXPECT_FALSE(m_module.CanUnload()) << "the host says no";
}

TEST_F(ComModuleTest, InitAndTermTellTheHost)
{
    EXPECT_EQ(m_module.Init(), S_OK);
    m_module.Term();
    EXPECT_EQ(m_support.TakeCalls(), (Calls{"RegisterComModule", "UnregisterComModule"}));
}

/// The services as they are, with the registrations in a folder of the test's own.
class DefaultAtlSupportTest : public testing::Test {
protected:
    DefaultAtlSupportTest() { platform::SetEnvironment(L"ZEL_CONFIG_DIR", m_folder.Path()); }
    ~DefaultAtlSupportTest() override { platform::SetEnvironment(L"ZEL_CONFIG_DIR", L""); }

    testsupport::CTemporaryDirectory m_folder;
    CWQ_DefaultAtlSupport m_support;
};

unsigned WaitForEvent(void* event)
{
    static_cast<platform::CManualResetEvent*>(event)->Wait();
    return 0;
}

TEST_F(DefaultAtlSupportTest, ARunningThreadKeepsModulesLoaded)
{
    const CWQ_ComModule module(&g_moduleTestUses, g_moduleTestUses);
    EXPECT_TRUE(m_support.CanUnload(module));
    platform::CManualResetEvent end;
    const std::unique_ptr<CWQ_Thread> thread = AfxBeginThread(&WaitForEvent, &end);
    ASSERT_NE(thread, nullptr);
    EXPECT_FALSE(m_support.CanUnload(module));
    end.Set();
    EXPECT_TRUE(thread->Wait());
    EXPECT_TRUE(m_support.CanUnload(module));
}

TEST_F(DefaultAtlSupportTest, ItKnowsTheModulesWhileTheyLive)
{
    IWQ_AtlSupport* const previous = SetWQ_AtlSupport(&m_support);
    {
        CWQ_ComModule module(&g_moduleTestUses, g_moduleTestUses);
        EXPECT_EQ(m_support.AtlModules(), std::vector<const CWQ_ComModule*>{&module});
        EXPECT_TRUE(m_support.ComModules().empty());
        EXPECT_EQ(module.Init(), S_OK);
        EXPECT_EQ(module.Init(), S_FALSE);
        EXPECT_EQ(m_support.ComModules(), std::vector<const CWQ_ComModule*>{&module});
    }
    EXPECT_TRUE(m_support.AtlModules().empty());
    EXPECT_TRUE(m_support.ComModules().empty());
    SetWQ_AtlSupport(previous);
}

TEST_F(DefaultAtlSupportTest, StringCodesGoToTheModuleWithTheirPrefix)
{
    CCodes codes;
    EXPECT_EQ(m_support.ResolveStringCode(L"TEST:5"), L"");
    EXPECT_EQ(m_support.RegisterStringCodeModule(codes), S_OK);
    EXPECT_EQ(m_support.RegisterStringCodeModule(codes), S_FALSE);
    EXPECT_EQ(m_support.ResolveStringCode(L"TEST:5"), L"text of 5");
    EXPECT_EQ(m_support.ResolveStringCode(L"OTHER:5"), L"");
    EXPECT_EQ(m_support.UnregisterStringCodeModule(codes), S_OK);
    EXPECT_EQ(m_support.UnregisterStringCodeModule(codes), S_FALSE);
    EXPECT_EQ(m_support.ResolveStringCode(L"TEST:5"), L"");
}

TEST_F(DefaultAtlSupportTest, AScriptIsWrittenWithItsReplacements)
{
    CWQ_ComModule module(&g_moduleTestUses, g_moduleTestUses);
    module.AddReplacement(L"WHO", L"\"A\" & <B>");
    module.AddReplacement(L"APPID", L"");
    const SWQ_ClassEntry entry = {
        {kA, MakeThing, L"A"},
        {},
        &CWQ_ComModule::UpdateClassFromScript,
        L"<component><module>%MODULE%</module>"
        L"<class id=\"{2F1B7C01-11D0-4C52-9A10-000000000001}\" name=\"%WHO%, %WHO%\" appId=\"%APPID%\"/></component>"};
    ASSERT_FALSE(SetUseWinRegistry(false)) << "so it goes into a manifest on every system";
    ASSERT_EQ(CWQ_ComModule::UpdateClassFromScript(module, entry, true), S_OK)
        << testing::PrintToString(RegistrationError());
    std::vector<platform::SDirectoryEntry> files;
    ASSERT_EQ(platform::Files().List(RegistrationFolder(eRegistrationScope_System), files), platform::eOsError_None);
    ASSERT_EQ(files.size(), 1U);
    const std::wstring path = platform::JoinPath(RegistrationFolder(eRegistrationScope_System), files[0].name);
    SComponentManifest manifest;
    std::wstring error;
    ASSERT_TRUE(ReadComponentManifest(path, manifest, error));
    EXPECT_EQ(manifest.modulePath, platform::ModulePathOf(&g_moduleTestUses));
    ASSERT_EQ(manifest.classes.size(), 1U);
    EXPECT_EQ(manifest.classes[0].id, kA);
    EXPECT_EQ(manifest.classes[0].name, L"\"A\" & <B>, \"A\" & <B>");
    EXPECT_EQ(manifest.classes[0].appId, L"");
    EXPECT_EQ(CWQ_ComModule::UpdateClassFromScript(module, entry, false), S_OK);
    EXPECT_FALSE(platform::PathExists(path));
}

TEST_F(DefaultAtlSupportTest, ABrokenScriptIsRefusedWithItsReason)
{
    CWQ_ComModule module(&g_moduleTestUses, g_moduleTestUses);
    const SWQ_ClassEntry entry = {
        {kA, MakeThing, L"A"}, {}, &CWQ_ComModule::UpdateClassFromScript, L"<component><module>%MODULE%</module>"};
    EXPECT_EQ(CWQ_ComModule::UpdateClassFromScript(module, entry, true), E_INVALIDARG);
    EXPECT_NE(RegistrationError().find(L"not well formed"), std::wstring::npos);
}

} // namespace
