#include "ZEL_Processor/ZEL_ProcessorApp.h"

#include "VWQ_StringCodeDll.h"
#include "ZEL_Processor/IWQ_CLSIDArray.h"
#include "ZEL_Processor/IWQ_ProjectMarker.h"
#include "exchange/LibraryUses.h"
#include "framework/ComModule.h"
#include "processor/ZelProcessorFactories.h"
#include "reports/SourceNames.h"

#include <utility>

namespace {

constexpr GUID kTypeLibraryId = {0x33211DD3, 0xEA28, 0x4CB5, {0x8A, 0x31, 0x36, 0x61, 0x0A, 0x6D, 0xCF, 0xF7}};

constexpr const wchar_t* kClsidArrayScript = LR"(<component>
  <module>%MODULE%</module>
  <class id="{857C58CE-8D5E-4341-925F-D64E40D9366C}" name="CLSID array" threadingModel="Both" appId="%APPID%"/>
</component>
)";

std::vector<SWQ_ClassEntry> ScriptedClasses()
{
    return {{{CLSID_WQ_CLSIDArray, CreateWQ_CLSIDArray, L"CLSID array"},
             {},
             &CWQ_ComModule::UpdateClassFromScript,
             kClsidArrayScript}};
}

std::vector<SWQ_ClassEntry> PlainClasses()
{
    return {{{CLSID_WQ_ProjectMarker, CreateWQ_ProjectMarker, L"Project marker"}, {}, &CWQ_ComModule::UpdateClass}};
}

} // namespace

struct CZEL_ProcessorApp::SState {
    CVWQ_StringCodeDll stringCodes;
    CWQ_ComModule module{&LibraryUses(), LibraryUses()};
    bool isStarted = false;
};

CZEL_ProcessorApp::CZEL_ProcessorApp() : m_pState(std::make_unique<SState>())
{
    CWQ_ComModule& module = m_pState->module;
    module.SetClasses(ScriptedClasses(), PlainClasses());
    module.SetTypeLibrary(kTypeLibraryId);
    module.SetStringCodeModule(&m_pState->stringCodes);
    module.AddReplacement(L"APPID", L"");
}

CZEL_ProcessorApp::~CZEL_ProcessorApp()
{
    static_cast<void>(ZELAtlUnregisterStringCodeModule(m_pState->stringCodes));
}

CWQ_ComModule& CZEL_ProcessorApp::ComModule()
{
    return m_pState->module;
}

bool CZEL_ProcessorApp::InitInstance()
{
    if (FAILED(m_pState->module.Init()))
        return false;
    CWQ_RootApp& root = WQ_RootApp();
    root.SetModuleState({kResourceModule, m_pState->module.Path()});
    if (!root.InitInstance()) {
        m_pState->module.Term();
        return false;
    }
    SetWQ_StringCodeResource(root.FindLangRC(kResourceModule));
    root.SetAtlModule(&m_pState->module);
    m_pState->isStarted = true;
    return true;
}

int CZEL_ProcessorApp::ExitInstance()
{
    if (!std::exchange(m_pState->isStarted, false))
        return 0;
    m_pState->module.Term();
    return WQ_RootApp().ExitInstance();
}

void CZEL_ProcessorApp::OnFreeGlobalInstances()
{
    CZelProcessorFactories::ForgetCategory();
    CWQ_HelpSupportApp::OnFreeGlobalInstances();
}

CZEL_ProcessorApp& ZEL_ProcessorApp()
{
    static CZEL_ProcessorApp app;
    return app;
}
